#pragma once

#include <QStringList>

// The source database on the embedded engine: the tables that the wizard reads and
// their columns, as on the server, with the text columns compared without regard to
// case (NOCASE) as the server's collation compares them. The stored procedures
// spRegistryValueGet / spRegistryNameExists read the table VA_Registry here.
namespace VarnelSchema {

// CREATE TABLE and CREATE INDEX statements, in order.
QStringList CreateStatements();

// The tables of the schema, in creation order.
QStringList TableNames();

} // namespace VarnelSchema

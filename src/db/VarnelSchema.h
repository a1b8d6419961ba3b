#pragma once

#include <QStringList>

// The source database that the wizard reads: its tables and their columns on either
// engine, text compared without regard to case as the server's collation compares
// it (NOCASE on the embedded engine). On SQL Server the stored procedures
// spRegistryValueGet and spRegistryNameExists read the table VA_Registry, with the
// parameters the wizard passes; on the embedded engine the wizard reads the table.
namespace VarnelSchema {

// CREATE TABLE and CREATE INDEX statements of the embedded engine, in order.
QStringList EmbeddedStatements();
// The tables and the two registry procedures on SQL Server, one statement each.
QStringList SqlServerStatements();

// The tables of the schema, in creation order.
QStringList TableNames();

} // namespace VarnelSchema

#pragma once

#include "frame/Collection.h"

#include <QString>
#include <QStringList>

class DbConnection;

// Listing the databases of a server, the identity checks of the source and target
// databases, the working tables of the conflict check (declared in UserConflicts.h
// together with the check and the name sort). Every operation opens its own
// connection from the string it is given and closes it before it returns.
//
// On the embedded engine (Data Source "sqlite:<folder>") a target Directory is marked
// by a table sysprocedures(name TEXT) that holds the row 'fwupDirectoryStoresGet', the
// counterpart of that stored procedure on SQL Server; the Directory schema creates it.
namespace AdministrativeDBCon {

// The databases that the account may use, in the server's order. On the embedded
// engine: the *.sqlite files of the folder that open as databases, names without the
// suffix, sorted without regard to case. Any failure is raised again with the source
// "AdministrativeDBCon.GetDatabases - " followed by the failure's own source.
QStringList GetDatabases(const QString& connectionString);

// True when VA_User, VA_UserSetting and VA_Setting all hold at least one row.
// Never raises. When the database cannot be opened (the server refuses the login,
// no such database) and failure is given, it gets "Error <number>: <description>" of
// that; it is left empty when the check read the database and answered.
bool CheckExportDatabase(const QString& connectionString, QString* failure = nullptr);

// True when the database is a Directory (the stored procedure fwupDirectoryStoresGet,
// or its embedded mark, exists). Never raises; failure as above.
bool CheckImportDatabase(const QString& connectionString, QString* failure = nullptr);

// (Re)creates the working tables MT_VarnelUsers / MT_ZephrinUsers on an open
// connection, dropping a leftover of an earlier run first; and drops them.
void CreateVarnelUsersTable(DbConnection& connection);
void CreateZephrinUsersTable(DbConnection& connection);
void DropVarnelUsersTable(DbConnection& connection);
void DropZephrinUsersTable(DbConnection& connection);

} // namespace AdministrativeDBCon

#pragma once

#include <QString>

class QSqlDatabase;

// Cheaper embedded connections for a long run of small operations (the migration
// run), without changing what an operation sees: every DbConnection still opens its
// own connection and closes it when it is done.
//
// While a Scope is alive, an embedded connection that a DbConnection closes is kept
// open and idle (no statement, no transaction, so it holds no lock) and handed to
// the next DbConnection of the same database file, which saves opening the file and
// reading its schema again. The databases are switched to write-ahead logging with
// normal synchronisation, so that a commit does not wait for the disk: a crash keeps
// every database whole, a power cut may lose the last commits. When the last Scope
// ends, the kept connections are closed and each database goes back to its rollback
// journal, so that afterwards the .sqlite file alone holds everything.
//
// SQL Server connections are kept the same way while a Scope lives, by their ODBC
// connection text: the next DbConnection with the same text gets the session the last
// one closed, idle, outside any transaction, as the driver manager's pool would hand
// it over, but without the round trip that every opening through the Qt driver costs
// (SET QUOTED_IDENTIFIER ON, sent through a server cursor). A connection that failed,
// or that was kept idle longer than the pool keeps one, is closed instead.
namespace ConnectionReuse {

class Scope
{
public:
    Scope();
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
};

// --- used by DbConnection -------------------------------------------------------------

// Hands over a kept connection to the file, with its connection name; false when
// there is none (or the file is no longer the one it was opened on).
bool Take(const QString& file, QSqlDatabase& database, QString& name);
// Sets up a connection opened while a Scope is alive.
void Prepare(QSqlDatabase& database);
// Keeps a connection that is being closed; false when it is not kept (no Scope, a
// transaction or statement still open, or one is kept for the file already), and the
// caller closes it.
bool Keep(QSqlDatabase& database, const QString& name);

// The same for SQL Server connections, by their ODBC connection text. Keep is told
// whether the connection is clean: no transaction open and no failure met.
bool TakeServer(const QString& odbcText, QSqlDatabase& database, QString& name);
bool KeepServer(QSqlDatabase& database, const QString& name, bool clean);

} // namespace ConnectionReuse

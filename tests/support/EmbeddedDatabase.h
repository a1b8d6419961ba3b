#pragma once

#include <QString>
#include <QStringList>

// Embedded databases for the database tests, in a folder the test owns.
namespace EmbeddedDatabase {

// Where no SQL Server listens: a connection there is refused at once.
inline const QString NoServer = QStringLiteral("127.0.0.1,1");

// The connection string of <folder>/<database>.sqlite, logging in as "sa".
QString connectionString(const QString& folder, const QString& database);
// A new database made of the given statements; its connection string.
QString make(const QString& folder, const QString& database, const QStringList& statements);

} // namespace EmbeddedDatabase

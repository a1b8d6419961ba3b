#pragma once

#include <QSqlError>
#include <QString>
#include <QVariant>
#include <QVariantList>

class QSqlDatabase;

// Runs one statement with parameters on a SQL Server connection through the ODBC
// driver itself: SQLExecDirect with the values bound, which the driver sends as one
// call (sp_executesql). The Qt driver prepares every statement with parameters, and
// FreeTDS then prepares and runs it in one round trip and unprepares it in another
// (again before every further run with new values): this halves the round trips of
// a statement with parameters. Every result is read to its end.
namespace OdbcDirect {

// False when the connection is not an ODBC one (the caller runs it through Qt).
// On a failure error holds the driver's number and text as the Qt driver gives them.
// firstValue, when given, receives the first column of the first row (a whole
// number, or null without a row).
bool Run(const QSqlDatabase& database, const QString& sql, const QVariantList& values,
         QSqlError& error, QVariant* firstValue = nullptr);

} // namespace OdbcDirect

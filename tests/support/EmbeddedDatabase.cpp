#include "support/EmbeddedDatabase.h"

#include "db/ConnectionString.h"
#include "db/DbConnection.h"

namespace EmbeddedDatabase {

QString connectionString(const QString& folder, const QString& database)
{
    return BuildSqlConnectionString(QStringLiteral("sqlite:") + folder, database,
                                    QStringLiteral("sa"), QString());
}

QString make(const QString& folder, const QString& database, const QStringList& statements)
{
    const QString text = connectionString(folder, database);
    DbConnection connection(text, DbConnection::Mode::CreateIfMissing);
    for (const QString& statement : statements) {
        connection.execute(statement);
    }
    return text;
}

} // namespace EmbeddedDatabase

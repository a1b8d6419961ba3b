#include "support/Engines.h"

#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "frame/MigrationError.h"
#include "support/EmbeddedDatabase.h"

#include <QCoreApplication>
#include <QThread>

namespace Engines {

QString sqlServerConnectionString(const QString& database)
{
    return BuildSqlConnectionString(sqlServerAddress(), database, sqlServerLogin(),
                                    sqlServerPassword());
}

void executeOnMaster(const QString& sql)
{
    DbConnection master(sqlServerConnectionString(QStringLiteral("master")));
    for (int attempt = 1;; ++attempt) {
        try {
            master.execute(sql);
            return;
        } catch (const MigrationError& error) {
            if (attempt == 20 || !error.description().contains(QLatin1String("concurrently"))) {
                throw;
            }
            QThread::msleep(100);
        }
    }
}

} // namespace Engines

TestDatabase::TestDatabase(const QString& engine, const QString& name) : mEngine(engine)
{
    if (isEmbedded()) {
        mFolder = std::make_unique<QTemporaryDir>();
        mName = name;
        mConnectionString = EmbeddedDatabase::connectionString(mFolder->path(), mName);
        return;
    }
    if (engine != Engines::SqlServer || !Engines::sqlServerNamed()) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("No test database on the engine \"%1\": set "
                                            "VARNEL_TEST_SQLSERVER to host,port for SQL Server")
                                 .arg(engine),
                             QStringLiteral("TestDatabase"));
    }
    static int counter = 0;
    mName = QStringLiteral("%1_t%2_%3")
                .arg(name.toLower())
                .arg(QCoreApplication::applicationPid())
                .arg(++counter);
    mConnectionString = Engines::sqlServerConnectionString(mName);
    Engines::executeOnMaster(QStringLiteral("CREATE DATABASE [%1]").arg(mName));
}

TestDatabase::~TestDatabase()
{
    if (isEmbedded()) {
        return;
    }
    try {
        DbConnection master(Engines::sqlServerConnectionString(QStringLiteral("master")));
        // Connections that the driver manager keeps in its pool still use the
        // database, and the server refuses to drop a database in use. A killed
        // session takes a moment to end.
        for (int attempt = 1;; ++attempt) {
            const auto sessions = master.select(
                QStringLiteral("SELECT spid FROM master.dbo.sysprocesses WHERE dbid = DB_ID(?) "
                               "AND spid <> @@SPID"),
                {mName});
            for (const QSqlRecord& session : sessions) {
                master.execute(QStringLiteral("KILL %1").arg(session.value(0).toInt()));
            }
            try {
                master.execute(QStringLiteral("DROP DATABASE [%1]").arg(mName));
                break;
            } catch (const MigrationError&) {
                if (attempt == 50) {
                    throw;
                }
                QThread::msleep(100);
            }
        }
    } catch (const MigrationError& error) {
        qWarning("The test database %s was not dropped: %s", qPrintable(mName),
                 qPrintable(error.description()));
    }
}

QString TestDatabase::connectionStringOf(const QString& database) const
{
    return isEmbedded() ? EmbeddedDatabase::connectionString(mFolder->path(), database)
                        : Engines::sqlServerConnectionString(database);
}

void TestDatabase::make(const QStringList& statements) const
{
    DbConnection connection(mConnectionString, DbConnection::Mode::CreateIfMissing);
    for (const QString& statement : statements) {
        connection.execute(statement);
    }
}

void TestDatabase::execute(const QString& sql, const QVariantList& parameters) const
{
    DbConnection(mConnectionString).execute(sql, parameters);
}

QList<QSqlRecord> TestDatabase::rows(const QString& sql, const QVariantList& parameters) const
{
    return DbConnection(mConnectionString).select(sql, parameters);
}

QVariant TestDatabase::scalar(const QString& sql, const QVariantList& parameters) const
{
    const auto found = rows(sql, parameters);
    return found.isEmpty() ? QVariant() : found.first().value(0);
}

QStringList TestDatabase::tables() const
{
    const QString sql =
        isEmbedded()
            ? QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name")
            : QStringLiteral("SELECT TABLE_NAME FROM INFORMATION_SCHEMA.TABLES WHERE TABLE_TYPE "
                             "= 'BASE TABLE' ORDER BY TABLE_NAME");
    QStringList names;
    for (const QSqlRecord& row : rows(sql)) {
        names << row.value(0).toString();
    }
    return names;
}

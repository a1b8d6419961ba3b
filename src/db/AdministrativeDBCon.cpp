#include "db/AdministrativeDBCon.h"

#include "db/AdministrativeSql.h"
#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "frame/MigrationError.h"

#include <QDir>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <memory>

namespace AdministrativeDBCon {

namespace {

// The connection of an identity check, or null when the database cannot be opened
// (the server refuses the login, the file is missing): failure, when asked for, then
// gets "Error <number>: <description>" of that, and is otherwise left empty. What the
// queries meet once the database is open is the check's answer, not a failure.
std::unique_ptr<DbConnection> openForCheck(const QString& connectionString, QString* failure)
{
    if (failure != nullptr) {
        failure->clear();
    }
    try {
        return std::make_unique<DbConnection>(connectionString);
    } catch (const MigrationError& error) {
        if (failure != nullptr) {
            *failure = QStringLiteral("Error %1: %2").arg(error.number()).arg(error.description());
        }
    } catch (const std::exception& error) {
        if (failure != nullptr) {
            *failure = QStringLiteral("Error 0: ") + QString::fromLocal8Bit(error.what());
        }
    }
    return nullptr;
}

const QString GetDatabasesSource =
    QStringLiteral("AdministrativeDBCon.") + QStringLiteral("GetDatabases - ");

// Whether a file opens as an embedded database; it is opened read-only, so nothing
// is written to a file that is not one.
bool opensAsDatabase(const QString& file)
{
    static quint64 counter = 0;
    const QString name = QStringLiteral("probe-%1").arg(++counter);
    bool ok = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(file);
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (db.open()) {
            QSqlQuery query(db);
            ok = query.exec(AdministrativeSql::ProbeDatabaseSqlite) && query.next();
            query.finish();
            query.clear();
            db.close();
        }
    }
    QSqlDatabase::removeDatabase(name);
    return ok;
}

QStringList embeddedDatabases(const ConnectionParts& parts)
{
    const QString folder = parts.embeddedFolder();
    const QFileInfo info(folder);
    if (folder.trimmed().isEmpty() || !info.isDir()) {
        throw MigrationError(
            DbConnection::ProviderFailure,
            QStringLiteral("The database folder \"%1\" does not exist").arg(folder),
            QStringLiteral("SQLite"));
    }
    if (!info.isReadable()) {
        throw MigrationError(
            DbConnection::ProviderFailure,
            QStringLiteral("The database folder \"%1\" cannot be read").arg(folder),
            QStringLiteral("SQLite"));
    }
    const QString suffix = QLatin1String(EmbeddedFileSuffix);
    const QDir dir(folder);
    const QStringList files =
        dir.entryList({QLatin1Char('*') + suffix}, QDir::Files | QDir::CaseSensitive);
    QStringList names;
    for (const QString& file : files) {
        const QString name = file.left(file.size() - suffix.size());
        if (!name.isEmpty() && opensAsDatabase(dir.filePath(file))) {
            names.append(name);
        }
    }
    names.sort(Qt::CaseInsensitive);
    return names;
}

bool hasRow(DbConnection& connection, const QString& sqlServer, const QString& embedded)
{
    return connection.hasRow(connection.isEmbedded() ? embedded : sqlServer);
}

} // namespace

QStringList GetDatabases(const QString& connectionString)
{
    try {
        const ConnectionParts parts = ParseConnectionString(connectionString);
        if (parts.isEmbedded()) {
            return embeddedDatabases(parts);
        }
        DbConnection connection(connectionString);
        QStringList names;
        const auto rows = connection.select(AdministrativeSql::ListDatabases);
        for (const QSqlRecord& row : rows) {
            names.append(row.value(QStringLiteral("name")).toString());
        }
        return names;
    } catch (const MigrationError& error) {
        throw error.withSource(GetDatabasesSource + error.source());
    } catch (const std::exception& error) {
        throw MigrationError(DbConnection::ProviderFailure, QString::fromLocal8Bit(error.what()),
                             GetDatabasesSource);
    }
}

bool CheckExportDatabase(const QString& connectionString, QString* failure)
{
    try {
        const std::unique_ptr<DbConnection> connection = openForCheck(connectionString, failure);
        if (!connection) {
            return false;
        }
        // All three queries run, as on the server; the answer is their conjunction.
        const bool users = hasRow(*connection, AdministrativeSql::ExportUsers,
                                  AdministrativeSql::ExportUsersSqlite);
        const bool userSettings = hasRow(*connection, AdministrativeSql::ExportUserSettings,
                                         AdministrativeSql::ExportUserSettingsSqlite);
        const bool settings = hasRow(*connection, AdministrativeSql::ExportSettings,
                                     AdministrativeSql::ExportSettingsSqlite);
        return users && userSettings && settings;
    } catch (...) {
        return false;
    }
}

bool CheckImportDatabase(const QString& connectionString, QString* failure)
{
    try {
        const std::unique_ptr<DbConnection> connection = openForCheck(connectionString, failure);
        if (!connection) {
            return false;
        }
        const auto rows =
            connection->select(connection->isEmbedded() ? AdministrativeSql::ImportMarkerSqlite
                                                        : AdministrativeSql::ImportMarker);
        if (rows.isEmpty() || rows.first().count() < 1) {
            return false;
        }
        bool ok = false;
        const int exists = rows.first().value(0).toInt(&ok);
        return ok && exists == 1;
    } catch (...) {
        return false;
    }
}

void CreateVarnelUsersTable(DbConnection& connection)
{
    connection.executeBatch(AdministrativeSql::CreateVarnelUsers,
                            AdministrativeSql::CreateVarnelUsersSqlite);
}

void CreateZephrinUsersTable(DbConnection& connection)
{
    connection.executeBatch(AdministrativeSql::CreateZephrinUsers,
                            AdministrativeSql::CreateZephrinUsersSqlite);
}

void DropVarnelUsersTable(DbConnection& connection)
{
    connection.execute(connection.isEmbedded() ? AdministrativeSql::DropVarnelUsersSqlite
                                               : AdministrativeSql::DropVarnelUsers);
}

void DropZephrinUsersTable(DbConnection& connection)
{
    connection.execute(connection.isEmbedded() ? AdministrativeSql::DropZephrinUsersSqlite
                                               : AdministrativeSql::DropZephrinUsers);
}

} // namespace AdministrativeDBCon

#include "db/VarnelBuilder.h"

#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/VarnelSchema.h"
#include "frame/MigrationError.h"

#include <QDir>
#include <QFile>
#include <QSqlError>
#include <QSqlQuery>

namespace VarnelBuilder {

namespace {

// A prepared insert that runs once per row.
class Insert
{
public:
    Insert(DbConnection& connection, const QString& sql) : mQuery(connection.prepare(sql)) {}

    void run(const QVariantList& values)
    {
        for (int i = 0; i < values.size(); ++i) {
            mQuery.bindValue(i, values.at(i));
        }
        if (!mQuery.exec()) {
            DbConnection::raise(mQuery.lastError());
        }
    }

private:
    QSqlQuery mQuery;
};

// Null for a default-constructed value, otherwise its text.
QVariant text(const QVariant& value)
{
    return value.isNull() ? QVariant(QMetaType(QMetaType::QString)) : QVariant(value.toString());
}

void writeRows(DbConnection& connection, const VarnelSource& source)
{
    const QStringList schema = connection.isEmbedded() ? VarnelSchema::EmbeddedStatements()
                                                       : VarnelSchema::SqlServerStatements();
    for (const QString& statement : schema) {
        connection.execute(statement);
    }

    const QMap<QString, int> settingIDs = SettingIDs(source);
    {
        Insert insert(connection, QStringLiteral("INSERT INTO VA_Setting (SettingID, SettingName) "
                                                 "VALUES (?, ?)"));
        for (auto it = settingIDs.constBegin(); it != settingIDs.constEnd(); ++it) {
            insert.run({it.value(), it.key()});
        }
    }
    {
        Insert user(connection,
                    QStringLiteral("INSERT INTO VA_User (UserID, GivenName, FamilyName, "
                                   "Domain, LoginID, Password) VALUES (?, ?, ?, ?, ?, ?)"));
        Insert setting(connection, QStringLiteral("INSERT INTO VA_UserSetting (UserID, SettingID, "
                                                  "SettingValue) VALUES (?, ?, ?)"));
        for (const VarnelSourceUser& u : source.users) {
            user.run({u.userID, text(u.givenName), text(u.familyName), text(u.domain),
                      text(u.loginID), text(u.password)});
            for (auto it = u.settings.constBegin(); it != u.settings.constEnd(); ++it) {
                setting.run({u.userID, settingIDs.value(it.key()), text(it.value())});
            }
        }
    }
    {
        // Profiles are numbered in the order given, which is the order they are read in.
        Insert insert(connection,
                      QStringLiteral("INSERT INTO ProvisioningProfiles (ProfileID, XML, "
                                     "Name, Description) VALUES (?, ?, ?, ?)"));
        int profileID = 0;
        for (const VarnelSourceProfile& p : source.profiles) {
            insert.run({++profileID, text(p.xml), text(p.name), text(p.description)});
        }
    }
    {
        Insert insert(connection, QStringLiteral("INSERT INTO VA_Registry (RegistryName, "
                                                 "RegistryValue) VALUES (?, ?)"));
        for (const VarnelRegistryValue& r : source.registry) {
            insert.run({r.name, text(r.value)});
        }
    }
}

} // namespace

QMap<QString, int> SettingIDs(const VarnelSource& source)
{
    QMap<QString, int> ids;
    auto note = [&ids](const QString& name) {
        if (!ids.contains(name)) {
            const int id = static_cast<int>(ids.size()) + 1;
            ids.insert(name, id);
        }
    };
    for (const QString& name : source.settingNames) {
        note(name);
    }
    for (const VarnelSourceUser& user : source.users) {
        for (auto it = user.settings.constBegin(); it != user.settings.constEnd(); ++it) {
            note(it.key());
        }
    }
    return ids;
}

QString Write(const QString& folder, const QString& database, const VarnelSource& source)
{
    const QString connectionString =
        BuildSqlConnectionString(QLatin1String(EmbeddedDataSourcePrefix) + folder, database,
                                 QStringLiteral("sa"), QString());
    WriteTo(connectionString, source);
    return connectionString;
}

void WriteTo(const QString& connectionString, const VarnelSource& source)
{
    const ConnectionParts parts = ParseConnectionString(connectionString);
    if (parts.initialCatalog.isEmpty()) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("A source database needs a name (Initial Catalog)"),
                             QStringLiteral("VarnelBuilder"));
    }
    if (!parts.isEmbedded()) {
        // On SQL Server the database exists and is empty.
        DbConnection connection(connectionString);
        connection.inTransaction([&] { writeRows(connection, source); });
        return;
    }
    if (!QDir().mkpath(parts.embeddedFolder())) {
        throw MigrationError(
            ErrorNumber::PathFileAccess,
            QStringLiteral("Cannot create the folder %1").arg(parts.embeddedFolder()),
            QStringLiteral("VarnelBuilder"));
    }
    const QString file = parts.embeddedFile();
    if (QFile::exists(file) && !QFile::remove(file)) {
        throw MigrationError(ErrorNumber::PermissionDenied,
                             QStringLiteral("Cannot replace the database file %1").arg(file),
                             QStringLiteral("VarnelBuilder"));
    }
    DbConnection connection(connectionString, DbConnection::Mode::CreateIfMissing);
    // A new file that is thrown away on failure needs no syncing on the way.
    connection.execute(QStringLiteral("PRAGMA synchronous = OFF"));
    connection.inTransaction([&] { writeRows(connection, source); });
}

} // namespace VarnelBuilder

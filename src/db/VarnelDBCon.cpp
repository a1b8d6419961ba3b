#include "db/VarnelDBCon.h"

#include "db/DbConnection.h"
#include "db/VarnelSql.h"
#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"

#include <QDomDocument>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QUuid>
#include <QXmlStreamReader>

namespace VarnelDBCon {

namespace {

constexpr long NoSettingNames = 1001;

const QString ModuleSource = QStringLiteral("VarnelMigrationTool.VarnelDBCon.");

// A text column as the record keeps it: null stays null, anything else is text.
QVariant textValue(const QSqlRecord& row, const QString& column)
{
    const QVariant value = row.value(column);
    return value.isNull() ? QVariant() : QVariant(value.toString());
}

QString nodeText(const QDomNode& node)
{
    return node.isElement() ? node.toElement().text() : node.nodeValue();
}

// Why the XML is not handed to the DOM parser, or empty. The nesting is measured
// with a streaming reader, which takes time in proportion to the text.
QString profileXmlRefusal(const QString& xml)
{
    if (xml.size() > MaxProfileXmlLength) {
        return QStringLiteral("its XML has %1 characters; at most %2 are read")
            .arg(xml.size())
            .arg(MaxProfileXmlLength);
    }
    QXmlStreamReader reader(xml);
    int depth = 0;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::StartElement:
            if (++depth > MaxProfileXmlDepth) {
                return QStringLiteral("its XML is nested more than %1 levels deep")
                    .arg(MaxProfileXmlDepth);
            }
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            break;
        default:
            break;
        }
    }
    // A text that is not well formed is left to the DOM parser, which says why.
    return QString();
}

// Runs a registry procedure with one input and one output parameter and returns the
// output.
QVariant callRegistryProcedure(DbConnection& connection, const QString& call,
                               const QString& registryName, const QVariant& outputPrototype)
{
    QSqlQuery query(connection.database());
    query.setForwardOnly(true);
    if (!query.prepare(call)) {
        DbConnection::raise(query.lastError());
    }
    query.bindValue(0, registryName, QSql::In);
    query.bindValue(1, outputPrototype, QSql::Out);
    if (!query.exec()) {
        DbConnection::raise(query.lastError());
    }
    // Output parameters arrive once the results of the call are consumed.
    while (query.next()) {
    }
    query.finish();
    return query.boundValue(1);
}

} // namespace

QString UserByIDSql(int userID)
{
    return VarnelSql::UserByID + QString::number(userID);
}

QString SettingNamesCondition(const QStringList& settingNames)
{
    QString condition;
    for (int i = 0; i < settingNames.size(); ++i) {
        if (i > 0) {
            condition += VarnelSql::SettingNameSeparator;
        }
        condition += QString(VarnelSql::SettingNameCondition)
                         .replace(QStringLiteral("<Name>"), settingNames.at(i), Qt::CaseSensitive);
    }
    return condition;
}

QString UserSettingsSql(int userID, const QStringList& settingNames)
{
    QString sql = VarnelSql::UserSettings;
    sql.replace(QStringLiteral("<SettingNames>"), SettingNamesCondition(settingNames),
                Qt::CaseSensitive);
    sql.replace(QStringLiteral("<UserID>"), QString::number(userID), Qt::CaseSensitive);
    return sql;
}

QString MailHomeServersSql(int settingID)
{
    return VarnelSql::MailHomeServers + QString::number(settingID);
}

CollectionPtr GetAllUsers(const QString& connectionString)
{
    DbConnection connection(connectionString);
    const QList<QSqlRecord> rows = connection.select(
        connection.isEmbedded() ? VarnelSql::AllUsersSqlite : VarnelSql::AllUsers);
    const CollectionPtr users = Collection::create();
    for (const QSqlRecord& row : rows) {
        const CollectionPtr user = Collection::create();
        user->add(row.value(QStringLiteral("UserID")).toInt(), QStringLiteral("UserID"));
        user->add(textValue(row, QStringLiteral("GivenName")), QStringLiteral("FirstName"));
        user->add(textValue(row, QStringLiteral("FamilyName")), QStringLiteral("LastName"));
        user->add(textValue(row, QStringLiteral("LoginID")), QStringLiteral("LoginID"));
        users->add(toVariant(user));
    }
    return users;
}

CollectionPtr GetUserByID(int userID, const QString& connectionString)
{
    DbConnection connection(connectionString);
    const QString sql = connection.isEmbedded()
                            ? VarnelSql::UserByIDSqlite + QString::number(userID)
                            : UserByIDSql(userID);
    const QList<QSqlRecord> rows = connection.select(sql);
    const CollectionPtr user = Collection::create();
    if (!rows.isEmpty()) {
        const QSqlRecord& row = rows.first();
        user->add(textValue(row, QStringLiteral("GivenName")), QStringLiteral("FirstName"));
        user->add(textValue(row, QStringLiteral("FamilyName")), QStringLiteral("LastName"));
        user->add(textValue(row, QStringLiteral("LoginID")), QStringLiteral("LoginID"));
        user->add(textValue(row, QStringLiteral("Domain")), QStringLiteral("Domain"));
        user->add(textValue(row, QStringLiteral("Password")), QStringLiteral("Password"));
    }
    return user;
}

CollectionPtr GetUserSettingsByID(int userID, const QStringList& settingNames,
                                  const QString& connectionString)
{
    if (settingNames.isEmpty()) {
        throw MigrationError(NoSettingNames, QStringLiteral("No setting names specified"),
                             QStringLiteral("VarnelMigrationTool.VarnelDBCon.GetUserSettingsByID"));
    }
    DbConnection connection(connectionString);
    // The same text on both engines: VA_Setting.SettingName is NOCASE on the embedded one.
    const QList<QSqlRecord> rows = connection.select(UserSettingsSql(userID, settingNames));
    const CollectionPtr settings = Collection::create();
    for (const QSqlRecord& row : rows) {
        settings->add(textValue(row, QStringLiteral("SettingValue")),
                      row.value(QStringLiteral("SettingName")).toString());
    }
    return settings;
}

QStringList GetUserMailHomeServers(const QString& connectionString)
{
    DbConnection connection(connectionString);
    const bool embedded = connection.isEmbedded();
    QStringList servers;
    const QList<QSqlRecord> settingRows = connection.select(
        embedded ? VarnelSql::MailHomeServerSettingSqlite : VarnelSql::MailHomeServerSetting);
    if (settingRows.isEmpty()) {
        return servers;
    }
    const int settingID = settingRows.first().value(QStringLiteral("SettingID")).toInt();
    QString sql = VarnelSql::MailHomeServersSqlite;
    sql.replace(QStringLiteral("<SettingID>"), QString::number(settingID));
    const QList<QSqlRecord> rows =
        connection.select(embedded ? sql : MailHomeServersSql(settingID));
    for (const QSqlRecord& row : rows) {
        servers.append(row.value(QStringLiteral("SettingValue")).toString());
    }
    return servers;
}

CollectionPtr GetProvisioningProfiles(const QString& connectionString)
{
    const CollectionPtr profiles = Collection::create();
    try {
        DbConnection connection(connectionString);
        const QList<QSqlRecord> rows = connection.select(
            connection.isEmbedded() ? VarnelSql::ProfilesSqlite : VarnelSql::Profiles);
        for (const QSqlRecord& row : rows) {
            const QVariant xml = row.value(QStringLiteral("XML"));
            if (xml.isNull()) {
                continue;
            }
            const QString name = row.value(QStringLiteral("Name")).toString();
            QString why;
            const CollectionPtr profile = ParseProfileXml(
                xml.toString(), name, row.value(QStringLiteral("Description")).toString(), &why);
            if (profile) {
                profiles->add(toVariant(profile),
                              profile->item(QStringLiteral("ProfileID")).toString());
            } else {
                CommonFunctions::WriteLog(
                    QStringLiteral("VarnelDBCon: Device Provisioning profile \"%1\" skipped: %2")
                        .arg(name, why));
            }
        }
    } catch (...) {
        // The profiles read so far are returned.
    }
    return profiles;
}

CollectionPtr ParseProfileXml(const QString& xml, const QString& name, const QString& description,
                              QString* why)
{
    const auto refuse = [&](const QString& reason) {
        if (why != nullptr) {
            *why = reason;
        }
        return nullptr;
    };
    try {
        const QString refusal = profileXmlRefusal(xml);
        if (!refusal.isEmpty()) {
            return refuse(refusal);
        }
        QDomDocument document;
        QString message;
        int line = 0;
        int column = 0;
        if (!document.setContent(xml, &message, &line, &column)) {
            return refuse(QStringLiteral("its XML is not well formed: %1 (line %2, column %3)")
                              .arg(message)
                              .arg(line)
                              .arg(column));
        }
        const QDomNode root = document.firstChild();
        if (root.isNull()) {
            return refuse(QStringLiteral("its XML is empty"));
        }
        const CollectionPtr profile = Collection::create();
        const QDomNodeList pairs = root.childNodes();
        for (int i = 0; i < pairs.count(); ++i) {
            const QDomNodeList parts = pairs.item(i).childNodes();
            QString pairName;
            QString pairValue;
            for (int j = 0; j < parts.count(); ++j) {
                const QDomNode part = parts.item(j);
                const QString partName = part.nodeName().toLower();
                if (partName == QLatin1String("name")) {
                    pairName = nodeText(part);
                } else if (partName == QLatin1String("value")) {
                    pairValue = nodeText(part);
                }
            }
            // A node without a name (a comment, a stray text) carries no pair.
            if (!pairName.isEmpty() && !profile->contains(pairName)) {
                profile->add(pairValue, pairName);
            }
        }
        const QString profileID = NewGuidText();
        profile->add(profileID, QStringLiteral("ProfileID"));
        profile->add(name, QStringLiteral("ProfileName"));
        profile->add(description, QStringLiteral("ProfileDescription"));
        return profile;
    } catch (const std::exception& failure) {
        return refuse(QString::fromLocal8Bit(failure.what()));
    } catch (...) {
        return refuse(QStringLiteral("its XML could not be read"));
    }
}

QString NewGuidText()
{
    const QString text = QUuid::createUuid().toString(QUuid::WithBraces).toUpper();
    const qsizetype close = text.indexOf(QLatin1Char('}'));
    return close < 0 ? text : text.left(close + 1);
}

QString RegistryValueGet(const QString& connectionString, const QString& registryName)
{
    try {
        DbConnection connection(connectionString);
        QVariant value;
        if (connection.isEmbedded()) {
            const QList<QSqlRecord> rows =
                connection.select(VarnelSql::RegistryValueGetSqlite, {registryName});
            if (!rows.isEmpty()) {
                value = rows.first().value(0);
            }
        } else {
            value = callRegistryProcedure(
                connection, VarnelSql::RegistryValueGetCall, registryName,
                QVariant(QString(VarnelSql::RegistryValueLength, QLatin1Char(' '))));
            if (!value.isNull()) {
                // The driver ends the value with a NUL inside the 255 characters bound
                // for it, and the Qt driver hands back the whole buffer, not the
                // length the driver reported: the value is what comes before the NUL.
                QString text = value.toString();
                const qsizetype end = text.indexOf(QChar(0));
                if (end >= 0) {
                    text.truncate(end);
                }
                value = text;
            }
        }
        return value.isNull() ? QString() : value.toString();
    } catch (const MigrationError& error) {
        throw error.withSource(ModuleSource + QStringLiteral(".RegistryValueGet - ") +
                               error.source());
    }
}

bool RegistryNameExists(const QString& connectionString, const QString& registryName)
{
    try {
        DbConnection connection(connectionString);
        if (connection.isEmbedded()) {
            const QList<QSqlRecord> rows =
                connection.select(VarnelSql::RegistryNameExistsSqlite, {registryName});
            return !rows.isEmpty() && rows.first().value(0).toInt() > 0;
        }
        return callRegistryProcedure(connection, VarnelSql::RegistryNameExistsCall, registryName,
                                     QVariant(false))
            .toBool();
    } catch (const MigrationError& error) {
        throw error.withSource(ModuleSource + QStringLiteral(".RegistryNameExists - ") +
                               error.source());
    }
}

} // namespace VarnelDBCon

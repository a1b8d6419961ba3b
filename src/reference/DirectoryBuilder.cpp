#include "reference/DirectoryBuilder.h"

#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "directory/DefaultServices.h"
#include "reference/DirectorySchema.h"
#include "reference/DirectoryWriter.h"

#include <QHash>
#include <QVariantList>

namespace {

void writeSetting(DbConnection& connection, const QString& category, const QString& name,
                  const QString& value)
{
    connection.execute(
        QStringLiteral("INSERT INTO fwtSystemSetting (Category, Name, Value) VALUES (?, ?, ?)"),
        {category, name, value});
}

QVariantList userFields(const DirectoryDescription::User& user)
{
    QVariantList fields(19);
    fields[1] = user.firstName;
    fields[2] = user.lastName;
    fields[5] = user.enabled;
    fields[6] = user.languageID;
    fields[7] = user.timezoneID;
    fields[8] = user.loginID;
    fields[9] = user.password;
    fields[10] = QStringLiteral("yy-mm-dd");
    fields[11] = QStringLiteral("hh:mm");
    fields[15] = user.graphicsOn;
    fields[16] = user.mobileNumber;
    fields[17] = true;
    fields[18] = 0;
    return fields;
}

void writeContent(DbConnection& connection, const DirectoryDescription& description)
{
    DirectoryWriter writer(connection);

    QHash<QString, int> storeIDs;
    for (const auto& store : description.stores) {
        VariantTable record(0, 3, 0);
        record.set(1, store.name);
        record.set(2, store.exchangeVersion);
        record.set(3, store.description);
        VariantTable settings(0, 3, 1);
        settings.set(0, 0, QStringLiteral("exchangeversion"));
        settings.set(1, 0, QStringLiteral("store"));
        settings.set(3, 0, store.exchangeVersion);
        storeIDs.insert(store.name.toLower(), writer.insertStore(record, settings));
    }

    for (const auto& user : description.users) {
        QList<QVariantList> services;
        if (!user.mailServer.isEmpty()) {
            services = DefaultServices::BuildServiceEntries(
                DefaultServices::MailConnection(user.mailServer, user.alias, user.email),
                user.firstName + QLatin1Char(' ') + user.lastName,
                storeIDs.value(user.mailServer.toLower(), -1));
        }
        writer.insertUser(userFields(user), services);
    }

    int templateID = 0;
    for (const auto& entry : description.templates) {
        connection.execute(QStringLiteral("INSERT INTO fwtTemplate (TemplateID, Title, "
                                          "FromAddress, Subject, Body) VALUES (?, ?, ?, ?, ?)"),
                           {++templateID, DirectoryWriter::text(entry.title),
                            DirectoryWriter::text(entry.from), DirectoryWriter::text(entry.subject),
                            DirectoryWriter::text(entry.body)});
    }
    if (description.chosenTemplateID > 0) {
        writeSetting(connection, QString::fromLatin1(DirectorySchema::TemplateCategory),
                     QString::fromLatin1(DirectorySchema::SelectedTemplateName),
                     QString::number(description.chosenTemplateID));
    }
    if (!description.baseHref.isEmpty()) {
        writeSetting(connection, QStringLiteral("systemSetting"), QStringLiteral("basehref"),
                     description.baseHref);
    }
    if (!description.serviceAccount.isEmpty()) {
        writeSetting(connection, QStringLiteral("mail"), QStringLiteral("serviceaccount"),
                     description.serviceAccount);
    }
    if (!description.serviceAccountName.isEmpty()) {
        writeSetting(connection, QStringLiteral("mail"), QStringLiteral("serviceaccountname"),
                     description.serviceAccountName);
    }
}

} // namespace

QString DirectoryBuilder::EmbeddedConnectionString(const QString& folder, const QString& catalog)
{
    return BuildSqlConnectionString(QLatin1String(EmbeddedDataSourcePrefix) + folder, catalog,
                                    QStringLiteral("sa"), QString());
}

void DirectoryBuilder::Build(const QString& connectionString,
                             const DirectoryDescription& description)
{
    DbConnection connection(connectionString, DbConnection::Mode::CreateIfMissing);
    connection.inTransaction([&] {
        DirectorySchema::Create(connection);
        writeContent(connection, description);
    });
}

#pragma once

#include <QList>
#include <QString>

// A Directory as plain data, for DirectoryBuilder.
struct DirectoryDescription
{
    struct User
    {
        QString firstName;
        QString lastName;
        QString loginID;
        // Written as it stands: the builder encodes nothing.
        QString password;
        int languageID = 1033;
        int timezoneID = 24;
        bool enabled = true;
        bool graphicsOn = false;
        QString mobileNumber;
        // With a mail server the user gets the ten default services on the store of
        // that name (store ID -1 when there is none); without one, no services.
        QString mailServer;
        QString alias;
        QString email;
    };
    struct Store
    {
        QString name;
        int exchangeVersion = 2; // 1 Exchange 5.5, 2 Exchange 2000/2003
        QString description;
    };
    struct Template
    {
        QString title;
        QString from;
        QString subject;
        QString body;
    };

    QList<User> users;
    QList<Store> stores;
    // Get the IDs 1, 2, ... in this order.
    QList<Template> templates;
    // The template already chosen (its ID), 0 for none.
    int chosenTemplateID = 0;
    // ('systemSetting', 'basehref'); not written when empty.
    QString baseHref;
    // ('mail', 'serviceaccount') as server;alias;address and ('mail',
    // 'serviceaccountname'); each not written when empty.
    QString serviceAccount;
    QString serviceAccountName;
};

// Creates a Directory database from a description, in one transaction: the schema
// of DirectorySchema and the described rows. Fast enough for 50,000 users.
namespace DirectoryBuilder {

// The connection string of an embedded Directory <folder>/<catalog>.sqlite.
QString EmbeddedConnectionString(const QString& folder,
                                 const QString& catalog = QStringLiteral("Directory"));

// A new Directory; on the embedded engine the file must not exist yet.
void Build(const QString& connectionString, const DirectoryDescription& description);

} // namespace DirectoryBuilder

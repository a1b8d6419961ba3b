#pragma once

#include "directory/VariantTable.h"
#include "frame/Collection.h"

#include <QString>
#include <QVariantList>

// Every operation of the wizard on the target system. Users, stores, templates,
// mail and profiles go through the target's components (ComponentFactory); only
// SetDefaultService writes the Directory with SQL of its own.
// Procedures that return a flag catch every failure and hand back its number and
// description; the others raise.
namespace ZephrinFunctions {

// --- Directory users -------------------------------------------------------------

// The application GUID of the mail service, which becomes the default service.
inline constexpr const char* MailServiceGuid = "{B4E1A160-BF8F-11D4-AA78-00508B638B18}";

bool AddUserToDirectory(const QString& firstName, const QString& lastName,
                        const QString& exchangeServer, const QString& alias, const QString& email,
                        const QString& languageID, int timezoneID, QString& loginID, int& newUserID,
                        const QString& password, const QString& mobileTelephoneNumber,
                        const QString& graphicsSetting, bool enabled, int userLogonFailureCounter,
                        const QString& directoryConnectionString, long& errorNumber,
                        QString& errorDescription);
bool UpdateUser(int zeUserID, const QString& firstName, const QString& lastName,
                const QString& exchangeServer, const QString& alias, const QString& email,
                const QString& languageID, int timezoneID, QString& loginID,
                const QString& password, const QString& mobileTelephoneNumber,
                const QString& graphicsSetting, bool enabled, int userLogonFailureCounter,
                const QString& directoryConnectionString, long& errorNumber,
                QString& errorDescription);
bool DeleteUser(int zeUserID, const QString& directoryConnectionString, long& errorNumber,
                QString& errorDescription);
// Makes the user's mail service its default; a failing statement raises.
void SetDefaultService(const QString& directoryConnectionString, int userID);
// The statement SetDefaultService sends to SQL Server.
QString SetDefaultServiceSql(int userID);
int ConvertTimezoneID(int timezoneID);
// The store ID of the named server in a store list, or -1.
int FindStoreID(const QString& serverName, const VariantTable& storeList);
// A table of nulls, fields firstField to lastField, records 0 to records - 1; one-
// dimensional when records is 0.
VariantTable MakeNullTable(int firstField, int lastField, int records);
CollectionPtr GetDirectoryIDList(const QString& directoryConnectionString);
// "LoginIDs", "Names", "IDs": three parallel collections keyed by the user ID.
CollectionPtr GetDirectoryUsers(const QString& directoryConnectionString);
// One Directory user as the user listing returns it: the user field array's
// positions 0 to 18. Empty when the Directory has no user with that ID. Failures raise.
QVariantList GetDirectoryUser(int userID, const QString& directoryConnectionString);

// --- Passwords and introduction e-mail ---------------------------------------------

QString GeneratePassword(int length);
void CreateNewPassword(QString& clearPassword, QString& encodedPassword);
// "IDs" and "Titles".
CollectionPtr GetTemplateList(const QString& directoryConnectionString);
void ChooseTemplate(int templateID, const QString& directoryConnectionString);
// "From", "Subject" and "Body" of the chosen template.
CollectionPtr GetTemplateText(const QString& directoryConnectionString);
QString GetWizardLinkBase(const QString& directoryConnectionString);
bool FindServiceAccount(const QString& directoryConnectionString,
                        const CollectionPtr& exchangeServers);
void SetServiceAccount(const QString& alias, const QString& email, const QString& serverName);
bool TestServiceAccount();
bool MailUser(const CollectionPtr& userRecord, const CollectionPtr& templateText,
              const QString& linkBase, long& errorNumber, QString& errorDescription);
// True for the error numbers with which the mail component says that it could not
// reach its mail server or gave up waiting for it (host unknown, connection refused,
// time-out): a failure that the next message would meet in the same way.
bool IsMailTransportFailure(long errorNumber);
// The target's product name ("global:productname"); "4.5" when it cannot be read.
// When the account may not create the component, the "Access Denied" message is
// shown first.
QString GetProductName();
// The Directory database's connection string as the target's configuration names it;
// empty when it names none or cannot be asked.
QString GetZeCS();

// --- Stores ------------------------------------------------------------------------

// Lower-cases serverName in place. Failures are raised with the source prefixed.
bool StoreExists(QString& serverName, const QString& directoryConnectionString);
void AddStore(const QString& serverName, int exchangeVersion, const QString& description,
              const QString& directoryConnectionString);

// --- Device Provisioning profiles --------------------------------------------------

// The profile as the target expects it: defaults for the missing connection
// fields, the bearer's name for its number, then every other key of the input.
CollectionPtr NormaliseProfile(const CollectionPtr& profile);
void AddDPProfileToDirectory(const QString& directoryConnectionString,
                             const CollectionPtr& profile);
// How many profiles of that name the Directory holds (the resume of an interrupted
// run asks whether a profile's write had landed). Failures raise.
int CountDirectoryProfiles(const QString& directoryConnectionString, const QString& profileName);

} // namespace ZephrinFunctions

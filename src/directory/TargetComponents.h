#pragma once

#include "directory/VariantTable.h"
#include "frame/Collection.h"

#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantList>

#include <memory>

// The target system's components as the wizard calls them, with their operations
// and argument orders. Each is created per call through the ComponentFactory and
// released on return. Operations report failures by throwing MigrationError.

// Users of the Directory. A user field array is 19 values (index 0 to 18); a
// service array is 10 entries of 7 values, value 6 a VariantTable of settings.
class DirectoryUserComponent
{
public:
    virtual ~DirectoryUserComponent() = default;
    virtual QVariant ModifyUser(const QVariantList& userFields, const QString& reserved,
                                const QString& connectionString) = 0;
    // Returns the new directory user ID.
    virtual int AddUser(const QVariantList& userFields, const QList<QVariantList>& services,
                        const QString& reserved, const QString& connectionString) = 0;
    virtual QVariant RemoveUser(int userID, const QString& reserved,
                                const QString& connectionString) = 0;
    virtual bool LoginIDExists(const QString& loginID, const QString& connectionString) = 0;
    virtual int CountUsers(const QString& connectionString) = 0;
    // Field 0 user ID, 1 first name, 2 last name, 8 login ID, as in the user field array.
    // c names one user to list by its ID; -1 lists every user.
    virtual VariantTable ListUsers(int a, int b, int c, int d, const QString& reserved,
                                   const QString& connectionString) = 0;
};

// The Directory's stores (mail servers). Field 1 of a store is its name.
class StoreMaintenanceComponent
{
public:
    virtual ~StoreMaintenanceComponent() = default;
    virtual VariantTable GetStores(int which, const QString& connectionString) = 0;
    // storeRecord is one-dimensional, fields 0 to 3; settings are fields 0 to 3, one record.
    virtual QVariant AddStoreEntry(const VariantTable& storeRecord, const VariantTable& settings,
                                   const QString& reserved, const QString& connectionString) = 0;
};

// The list of Directory IDs that the engine keeps for the run; field 0 is the ID.
class DirectoryListingComponent
{
public:
    virtual ~DirectoryListingComponent() = default;
    virtual VariantTable GetList(int which, const QString& connectionString) = 0;
};

// Encodings of new passwords made ahead, on threads of the encoder's own, while the
// caller goes on with other work. Released, it drops the encodings not begun and
// returns once none runs any more: no thread outlives it.
class PreparedPasswords
{
public:
    virtual ~PreparedPasswords() = default;
    // Begins encoding these clear passwords, in the order given.
    virtual void Prepare(const QStringList& clearPasswords) = 0;
    // Waits up to the given time for the encoding of a prepared password; true once
    // it is done (or has failed).
    virtual bool Wait(const QString& clearPassword, int milliseconds) = 0;
    // The encoded form of a prepared password, as EncodePassword gives it, waiting for
    // it when needed; raises what the encoding raised. The password is forgotten.
    virtual QString Take(const QString& clearPassword) = 0;
};

// Turns a clear password into the form that the Directory stores.
class PasswordEncoderComponent
{
public:
    virtual ~PasswordEncoderComponent() = default;
    virtual QString EncodePassword(const QString& clearPassword) = 0;
    // Offered by an encoder that can encode ahead: where passwords named before they
    // are needed are encoded and then looked up. Null (the default) when it encodes
    // only when asked. What it gives lives on after the component is released.
    virtual std::shared_ptr<PreparedPasswords> PreparePasswords() { return nullptr; }
};

// The introduction e-mail templates; the chosen template is remembered per Directory.
class TemplateComponent
{
public:
    virtual ~TemplateComponent() = default;
    // Field 0 the template ID, field 1 its title.
    virtual VariantTable ListTemplates(const QString& connectionString) = 0;
    virtual void SelectTemplate(int templateID, const QString& connectionString) = 0;
    // A map with the keys "From", "Subject" and "Body" of the chosen template.
    virtual CollectionPtr ReadTemplate(const QString& connectionString) = 0;
};

// Mail through the service account. An account is server + ";" + alias + ";" + address.
class MailComponent
{
public:
    virtual ~MailComponent() = default;
    virtual void SendMail(const QString& recipients, const QString& subject, const QString& body,
                          const QString& account, const QVariant& logonHandle) = 0;
    virtual QString GetStoredAccount(const QString& connectionString) = 0;
    virtual QString GetAccountName(const QString& connectionString) = 0;
    virtual QString GetAccountForName(const QString& name) = 0;
    virtual QString GetAccountForServer(const QString& name, const QString& server) = 0;
    virtual void TestLogon(const QString& account, bool& passed, QVariant& logonHandle) = 0;
};

// System and user settings of the Directory.
class SettingsComponent
{
public:
    virtual ~SettingsComponent() = default;
    // The value is field 4 of the first record.
    virtual VariantTable GetSetting(int kind, const QString& owner, const QString& name,
                                    const QString& category, const QString& connectionString) = 0;
};

// Device Provisioning profiles: component A keeps the profile itself, component B
// its bearer settings and change flags.
class ProfileComponentA
{
public:
    virtual ~ProfileComponentA() = default;
    // Returns the new profile's ID.
    virtual int AddProfile(const QString& name, const QString& description, const QString& urlValue,
                           const QString& wapProxy, const QString& bearer,
                           const QString& provisioningMode, const QString& connectionMode,
                           const QString& connectionString) = 0;
    // Takes back a profile whose bearer settings could not be stored.
    virtual void RemoveProfile(int profileID, const QString& connectionString) = 0;
};

class ProfileComponentB
{
public:
    virtual ~ProfileComponentB() = default;
    virtual void SetBearerSettings(int profileID, const QStringList& fieldNames,
                                   const QStringList& fieldValues,
                                   const QStringList& changeFlagNames,
                                   const QStringList& changeFlagValues,
                                   const QString& connectionString) = 0;
};

#include "db/VarnelSchema.h"

namespace VarnelSchema {

QStringList CreateStatements()
{
    return {
        QStringLiteral("CREATE TABLE VA_User (UserID INTEGER NOT NULL PRIMARY KEY, "
                       "GivenName TEXT COLLATE NOCASE NULL, FamilyName TEXT COLLATE NOCASE NULL, "
                       "Domain TEXT COLLATE NOCASE NULL, LoginID TEXT COLLATE NOCASE NULL, "
                       "Password TEXT NULL)"),
        QStringLiteral("CREATE TABLE VA_Setting (SettingID INTEGER NOT NULL PRIMARY KEY, "
                       "SettingName TEXT COLLATE NOCASE NOT NULL)"),
        QStringLiteral("CREATE TABLE VA_UserSetting (UserID INTEGER NOT NULL, "
                       "SettingID INTEGER NOT NULL, SettingValue TEXT COLLATE NOCASE NULL, "
                       "PRIMARY KEY (UserID, SettingID))"),
        QStringLiteral("CREATE INDEX IX_VA_UserSetting_SettingID ON VA_UserSetting (SettingID)"),
        QStringLiteral("CREATE TABLE ProvisioningProfiles (ProfileID INTEGER NOT NULL PRIMARY KEY, "
                       "XML TEXT NULL, Name TEXT COLLATE NOCASE NULL, Description TEXT NULL)"),
        QStringLiteral("CREATE TABLE VA_Registry (RegistryName TEXT COLLATE NOCASE NOT NULL "
                       "PRIMARY KEY, RegistryValue TEXT NULL)"),
    };
}

QStringList TableNames()
{
    return {QStringLiteral("VA_User"), QStringLiteral("VA_Setting"),
            QStringLiteral("VA_UserSetting"), QStringLiteral("ProvisioningProfiles"),
            QStringLiteral("VA_Registry")};
}

} // namespace VarnelSchema

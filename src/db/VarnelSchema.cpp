#include "db/VarnelSchema.h"

namespace VarnelSchema {

QStringList EmbeddedStatements()
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

QStringList SqlServerStatements()
{
    return {
        QStringLiteral("CREATE TABLE dbo.VA_User (UserID int NOT NULL CONSTRAINT PK_VA_User "
                       "PRIMARY KEY, GivenName nvarchar(255) COLLATE SQL_Latin1_General_CP1_CI_AS "
                       "NULL, FamilyName nvarchar(255) COLLATE SQL_Latin1_General_CP1_CI_AS NULL, "
                       "Domain nvarchar(255) COLLATE SQL_Latin1_General_CP1_CI_AS NULL, "
                       "LoginID nvarchar(255) COLLATE SQL_Latin1_General_CP1_CI_AS NULL, "
                       "Password nvarchar(1000) NULL)"),
        QStringLiteral("CREATE TABLE dbo.VA_Setting (SettingID int NOT NULL CONSTRAINT "
                       "PK_VA_Setting PRIMARY KEY, SettingName nvarchar(255) COLLATE "
                       "SQL_Latin1_General_CP1_CI_AS NOT NULL)"),
        QStringLiteral("CREATE TABLE dbo.VA_UserSetting (UserID int NOT NULL, SettingID int NOT "
                       "NULL, SettingValue nvarchar(4000) COLLATE SQL_Latin1_General_CP1_CI_AS "
                       "NULL, CONSTRAINT PK_VA_UserSetting PRIMARY KEY (UserID, SettingID))"),
        QStringLiteral(
            "CREATE INDEX IX_VA_UserSetting_SettingID ON dbo.VA_UserSetting (SettingID)"),
        QStringLiteral("CREATE TABLE dbo.ProvisioningProfiles (ProfileID int NOT NULL CONSTRAINT "
                       "PK_ProvisioningProfiles PRIMARY KEY, XML nvarchar(max) NULL, Name "
                       "nvarchar(255) COLLATE SQL_Latin1_General_CP1_CI_AS NULL, Description "
                       "nvarchar(1000) NULL)"),
        QStringLiteral("CREATE TABLE dbo.VA_Registry (RegistryName varchar(80) COLLATE "
                       "SQL_Latin1_General_CP1_CI_AS NOT NULL CONSTRAINT PK_VA_Registry PRIMARY "
                       "KEY, RegistryValue varchar(255) NULL)"),
        // A name that is not there leaves the value null.
        QStringLiteral("CREATE PROCEDURE dbo.spRegistryValueGet @RegistryName varchar(80), "
                       "@RegistryValue varchar(255) OUTPUT AS SET @RegistryValue = (SELECT "
                       "RegistryValue FROM dbo.VA_Registry WHERE RegistryName = @RegistryName)"),
        QStringLiteral("CREATE PROCEDURE dbo.spRegistryNameExists @RegistryName varchar(80), "
                       "@RegistryNameExists bit OUTPUT AS SET @RegistryNameExists = CASE WHEN "
                       "EXISTS (SELECT * FROM dbo.VA_Registry WHERE RegistryName = @RegistryName) "
                       "THEN 1 ELSE 0 END"),
    };
}

QStringList TableNames()
{
    return {QStringLiteral("VA_User"), QStringLiteral("VA_Setting"),
            QStringLiteral("VA_UserSetting"), QStringLiteral("ProvisioningProfiles"),
            QStringLiteral("VA_Registry")};
}

} // namespace VarnelSchema

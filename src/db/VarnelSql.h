#pragma once

#include <QString>

// The SQL of VarnelDBCon for both engines. The SQL Server texts are sent as they stand;
// the embedded source schema (VarnelSchema) declares its text columns NOCASE, as the
// server's case-insensitive collation compares them, so most texts run unchanged on
// the embedded engine; the counterparts that differ say why.
namespace VarnelSql {

inline const QString AllUsers =
    QStringLiteral("Select UserID, GivenName, FamilyName, LoginID From VA_User order by UserID");
inline const QString AllUsersSqlite = AllUsers;

// Followed by the decimal user ID.
inline const QString UserByID = QStringLiteral(
    "Select GivenName, FamilyName, Domain, LoginID, Password From VA_User where userid=");
inline const QString UserByIDSqlite = UserByID;

// "<SettingNames>" is "SettingName='a' or SettingName='b' ..."; "<UserID>" decimal. The
// embedded engine runs the same text.
inline const QString UserSettings = QStringLiteral(
    "select t1.SettingName, t2.SettingValue From (Select SettingName,SettingID From VA_Setting "
    "where <SettingNames>) as t1, (select SettingID,SettingValue,UserID From VA_UserSetting) as "
    "t2 WHERE t1.SettingID=t2.SettingID and t2.userid=<UserID>");
inline const QString SettingNameCondition = QStringLiteral("SettingName='<Name>'");
inline const QString SettingNameSeparator = QStringLiteral(" or ");

inline const QString MailHomeServerSetting =
    QStringLiteral("SELECT SettingID FROM VA_Setting where SettingName='UserMailHomeServer'");
inline const QString MailHomeServerSettingSqlite = MailHomeServerSetting;
// Followed by the decimal setting ID.
inline const QString MailHomeServers =
    QStringLiteral("SELECT DISTINCT SettingValue FROM VA_UserSetting WHERE SettingID=");
// Placeholder "<SettingID>"; the embedded engine gives the names in alphabetical order,
// where SQL Server gives them in an order of its own.
inline const QString MailHomeServersSqlite =
    QStringLiteral("SELECT DISTINCT SettingValue FROM VA_UserSetting WHERE SettingID=<SettingID> "
                   "ORDER BY SettingValue");

inline const QString Profiles =
    QStringLiteral("Select XML, Name, Description FROM ProvisioningProfiles");
// In the order the profiles were written.
inline const QString ProfilesSqlite =
    QStringLiteral("SELECT XML, Name, Description FROM ProvisioningProfiles ORDER BY rowid");

// Stored procedures on SQL Server, called with an input parameter RegistryName
// (varchar 80) and an output parameter: RegistryValue (varchar 255) or
// RegistryNameExists (bit).
inline const QString RegistryValueGetCall = QStringLiteral("{call spRegistryValueGet(?, ?)}");
inline const QString RegistryNameExistsCall = QStringLiteral("{call spRegistryNameExists(?, ?)}");
inline constexpr int RegistryNameLength = 80;
inline constexpr int RegistryValueLength = 255;
// The embedded registry table VA_Registry(RegistryName NOCASE PRIMARY KEY, RegistryValue
// NULL): a missing name reads as null, as the procedure leaves its output null.
inline const QString RegistryValueGetSqlite =
    QStringLiteral("SELECT RegistryValue FROM VA_Registry WHERE RegistryName = ?");
inline const QString RegistryNameExistsSqlite =
    QStringLiteral("SELECT COUNT(*) FROM VA_Registry WHERE RegistryName = ?");

} // namespace VarnelSql

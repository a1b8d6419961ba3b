#pragma once

#include "frame/Collection.h"

#include <QString>
#include <QStringList>

// Every read of the source database. Each operation opens its own connection from
// the source connection string, reads, closes it and returns; nothing is cached.
namespace VarnelDBCon {

// User summary records ("UserID", "FirstName", "LastName", "LoginID") by ascending
// UserID, without keys. Failures reach the caller.
CollectionPtr GetAllUsers(const QString& connectionString);

// "FirstName", "LastName", "LoginID", "Domain", "Password" of one user; an empty
// record when there is no such user. Failures reach the caller.
CollectionPtr GetUserByID(int userID, const QString& connectionString);

// The user's values of the named settings, keyed by the setting name as stored; a
// setting without a row is absent. No names raises 1001 before the database is
// touched; two rows under names that differ only in case fail as a duplicate key.
CollectionPtr GetUserSettingsByID(int userID, const QStringList& settingNames,
                                  const QString& connectionString);

// The distinct values of the setting "UserMailHomeServer"; empty without that setting.
QStringList GetUserMailHomeServers(const QString& connectionString);

// One profile record per readable profile, keyed by its "ProfileID"; a profile whose
// XML cannot be read is skipped, and the log says which and why. A failure of the
// read ends the list where it is.
CollectionPtr GetProvisioningProfiles(const QString& connectionString);

// Profile XML beyond these is refused before it is parsed: the DOM parser slows
// down badly on deep nesting, and no profile needs more than a few levels.
inline constexpr qsizetype MaxProfileXmlLength = 1024 * 1024; // characters
inline constexpr int MaxProfileXmlDepth = 64;                 // nested elements

// The name/value pairs of a profile's XML (the first pair of a name wins), then
// "ProfileID" (a new GUID text), "ProfileName" and "ProfileDescription". Null when the
// XML cannot be read: not well formed, longer or deeper than the limits above; why
// then says which.
CollectionPtr ParseProfileXml(const QString& xml, const QString& name, const QString& description,
                              QString* why = nullptr);

// A new GUID as "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", upper-case hexadecimal.
QString NewGuidText();

// The value stored under a registry name, empty text when it is null or missing.
// Failures are raised again with the source
// "VarnelMigrationTool.VarnelDBCon..RegistryValueGet - " + the failure's source.
QString RegistryValueGet(const QString& connectionString, const QString& registryName);
// Whether the registry holds the name (compared without regard to case). Failures
// are raised again with the source
// "VarnelMigrationTool.VarnelDBCon..RegistryNameExists - " + the failure's source.
bool RegistryNameExists(const QString& connectionString, const QString& registryName);

// --- The texts sent to SQL Server ---------------------------------------------------

QString UserByIDSql(int userID);
// The setting-name condition and the whole settings query; names are not quoted.
QString SettingNamesCondition(const QStringList& settingNames);
QString UserSettingsSql(int userID, const QStringList& settingNames);
QString MailHomeServersSql(int settingID);

} // namespace VarnelDBCon

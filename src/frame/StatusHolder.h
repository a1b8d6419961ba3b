#pragma once

#include "frame/Collection.h"

#include <QString>

// The wizard's state between pages, in seven groups. A setter replaces its whole
// group; a getter builds a new keyed map on every call. Texts, numbers and flags
// are handed out as copies, collections as the very objects that were stored, so a
// change to such a collection is seen by every holder. Nothing is ever reset.
namespace StatusHolder {

// Groups 1 and 2: keys "DatabaseServer", "Database", "Authentication",
// "DatabaseListIndex", "LoginID", "Password", "DatabasesLoaded", "ConnectionString".
void SetVarnelDatabase(const QString& server, const QString& database, int listIndex,
                       int authentication, const QString& loginID, const QString& password,
                       bool databasesLoaded, const QString& connectionString);
CollectionPtr GetVarnelDatabase();
void SetZephrinDatabase(const QString& server, const QString& database, int listIndex,
                        int authentication, const QString& loginID, const QString& password,
                        bool databasesLoaded, const QString& connectionString);
CollectionPtr GetZephrinDatabase();

// Group 3: "ConflictDecisions", "ConflictUsers", "ConflictUserNames", "Link",
// "AllUsers", "ExportedUsers", "OldUsers", "MigrationList", "NeedEmail".
void SetUserLists(const CollectionPtr& conflictDecisions, const CollectionPtr& conflictUsers,
                  const CollectionPtr& conflictUserNames, const CollectionPtr& link,
                  const CollectionPtr& allUsers, const CollectionPtr& exportedUsers,
                  const CollectionPtr& oldUsers, const CollectionPtr& migrationList,
                  const CollectionPtr& needEmail);
CollectionPtr GetUserLists();

// Group 4: "AllProfiles", "ExportedProfiles", "OldProfiles".
void SetProfileLists(const CollectionPtr& allProfiles, const CollectionPtr& exportedProfiles,
                     const CollectionPtr& oldProfiles);
CollectionPtr GetProfileLists();

// Group 5: "E2kServers", "E55Servers".
void SetExchangeServers(const CollectionPtr& e2kServers, const CollectionPtr& e55Servers);
CollectionPtr GetExchangeServers();

// Group 6: "Send", "Title".
void SetEmailChoice(bool send, const QString& title);
CollectionPtr GetEmailChoice();

// Group 7: "ServerName", "Alias", "EmailAddress".
void SetConnectData(const QString& serverName, const QString& alias, const QString& emailAddress);
CollectionPtr GetConnectData();

// Puts every group back to its state at program start: empty texts, 0, false and
// absent collections. The wizard never calls it; tests start from it.
void Reset();

// Authentication values of groups 1 and 2.
constexpr int WindowsNtAuthentication = 0;
constexpr int SqlServerAuthentication = 1;

} // namespace StatusHolder

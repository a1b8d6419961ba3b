#include "frame/StatusHolder.h"

namespace {

struct DatabaseGroup
{
    QString server;
    QString database;
    int authentication = 0;
    int listIndex = 0;
    QString loginID;
    QString password;
    bool databasesLoaded = false;
    QString connectionString;
};

struct State
{
    DatabaseGroup varnel;
    DatabaseGroup zephrin;
    CollectionPtr userLists[9];
    CollectionPtr profileLists[3];
    CollectionPtr e2kServers;
    CollectionPtr e55Servers;
    bool send = false;
    QString title;
    QString serverName;
    QString alias;
    QString emailAddress;
};

State& state()
{
    static State s;
    return s;
}

const char* const userListKeys[9] = {
    "ConflictDecisions", "ConflictUsers", "ConflictUserNames", "Link",     "AllUsers",
    "ExportedUsers",     "OldUsers",      "MigrationList",     "NeedEmail"};
const char* const profileListKeys[3] = {"AllProfiles", "ExportedProfiles", "OldProfiles"};

DatabaseGroup makeGroup(const QString& server, const QString& database, int listIndex,
                        int authentication, const QString& loginID, const QString& password,
                        bool databasesLoaded, const QString& connectionString)
{
    DatabaseGroup g;
    g.server = server;
    g.database = database;
    g.listIndex = listIndex;
    g.authentication = authentication;
    g.loginID = loginID;
    g.password = password;
    g.databasesLoaded = databasesLoaded;
    g.connectionString = connectionString;
    return g;
}

CollectionPtr groupMap(const DatabaseGroup& g)
{
    auto map = Collection::create();
    map->add(g.server, QStringLiteral("DatabaseServer"));
    map->add(g.database, QStringLiteral("Database"));
    map->add(g.authentication, QStringLiteral("Authentication"));
    map->add(g.listIndex, QStringLiteral("DatabaseListIndex"));
    map->add(g.loginID, QStringLiteral("LoginID"));
    map->add(g.password, QStringLiteral("Password"));
    map->add(g.databasesLoaded, QStringLiteral("DatabasesLoaded"));
    map->add(g.connectionString, QStringLiteral("ConnectionString"));
    return map;
}

} // namespace

void StatusHolder::SetVarnelDatabase(const QString& server, const QString& database, int listIndex,
                                     int authentication, const QString& loginID,
                                     const QString& password, bool databasesLoaded,
                                     const QString& connectionString)
{
    state().varnel = makeGroup(server, database, listIndex, authentication, loginID, password,
                               databasesLoaded, connectionString);
}

CollectionPtr StatusHolder::GetVarnelDatabase()
{
    return groupMap(state().varnel);
}

void StatusHolder::SetZephrinDatabase(const QString& server, const QString& database, int listIndex,
                                      int authentication, const QString& loginID,
                                      const QString& password, bool databasesLoaded,
                                      const QString& connectionString)
{
    state().zephrin = makeGroup(server, database, listIndex, authentication, loginID, password,
                                databasesLoaded, connectionString);
}

CollectionPtr StatusHolder::GetZephrinDatabase()
{
    return groupMap(state().zephrin);
}

void StatusHolder::SetUserLists(const CollectionPtr& conflictDecisions,
                                const CollectionPtr& conflictUsers,
                                const CollectionPtr& conflictUserNames, const CollectionPtr& link,
                                const CollectionPtr& allUsers, const CollectionPtr& exportedUsers,
                                const CollectionPtr& oldUsers, const CollectionPtr& migrationList,
                                const CollectionPtr& needEmail)
{
    const CollectionPtr lists[9] = {
        conflictDecisions, conflictUsers, conflictUserNames, link,     allUsers,
        exportedUsers,     oldUsers,      migrationList,     needEmail};
    for (int i = 0; i < 9; ++i) {
        state().userLists[i] = lists[i];
    }
}

CollectionPtr StatusHolder::GetUserLists()
{
    auto map = Collection::create();
    for (int i = 0; i < 9; ++i) {
        map->add(toVariant(state().userLists[i]), QLatin1String(userListKeys[i]));
    }
    return map;
}

void StatusHolder::SetProfileLists(const CollectionPtr& allProfiles,
                                   const CollectionPtr& exportedProfiles,
                                   const CollectionPtr& oldProfiles)
{
    state().profileLists[0] = allProfiles;
    state().profileLists[1] = exportedProfiles;
    state().profileLists[2] = oldProfiles;
}

CollectionPtr StatusHolder::GetProfileLists()
{
    auto map = Collection::create();
    for (int i = 0; i < 3; ++i) {
        map->add(toVariant(state().profileLists[i]), QLatin1String(profileListKeys[i]));
    }
    return map;
}

void StatusHolder::SetExchangeServers(const CollectionPtr& e2kServers,
                                      const CollectionPtr& e55Servers)
{
    state().e2kServers = e2kServers;
    state().e55Servers = e55Servers;
}

CollectionPtr StatusHolder::GetExchangeServers()
{
    auto map = Collection::create();
    map->add(toVariant(state().e2kServers), QStringLiteral("E2kServers"));
    map->add(toVariant(state().e55Servers), QStringLiteral("E55Servers"));
    return map;
}

void StatusHolder::SetEmailChoice(bool send, const QString& title)
{
    state().send = send;
    state().title = title;
}

CollectionPtr StatusHolder::GetEmailChoice()
{
    auto map = Collection::create();
    map->add(state().send, QStringLiteral("Send"));
    map->add(state().title, QStringLiteral("Title"));
    return map;
}

void StatusHolder::SetConnectData(const QString& serverName, const QString& alias,
                                  const QString& emailAddress)
{
    state().serverName = serverName;
    state().alias = alias;
    state().emailAddress = emailAddress;
}

CollectionPtr StatusHolder::GetConnectData()
{
    auto map = Collection::create();
    map->add(state().serverName, QStringLiteral("ServerName"));
    map->add(state().alias, QStringLiteral("Alias"));
    map->add(state().emailAddress, QStringLiteral("EmailAddress"));
    return map;
}

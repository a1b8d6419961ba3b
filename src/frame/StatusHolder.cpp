#include "frame/StatusHolder.h"

#include "frame/StateKeys.h"

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

const QLatin1String userListKeys[9] = {StateKeys::ConflictDecisions, StateKeys::ConflictUsers,
                                       StateKeys::ConflictUserNames, StateKeys::Link,
                                       StateKeys::AllUsers,          StateKeys::ExportedUsers,
                                       StateKeys::OldUsers,          StateKeys::MigrationList,
                                       StateKeys::NeedEmail};
const QLatin1String profileListKeys[3] = {StateKeys::AllProfiles, StateKeys::ExportedProfiles,
                                          StateKeys::OldProfiles};

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
    map->add(g.server, StateKeys::DatabaseServer);
    map->add(g.database, StateKeys::Database);
    map->add(g.authentication, StateKeys::Authentication);
    map->add(g.listIndex, StateKeys::DatabaseListIndex);
    map->add(g.loginID, StateKeys::LoginID);
    map->add(g.password, StateKeys::Password);
    map->add(g.databasesLoaded, StateKeys::DatabasesLoaded);
    map->add(g.connectionString, StateKeys::ConnectionString);
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
        map->add(toVariant(state().userLists[i]), userListKeys[i]);
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
        map->add(toVariant(state().profileLists[i]), profileListKeys[i]);
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
    map->add(toVariant(state().e2kServers), StateKeys::E2kServers);
    map->add(toVariant(state().e55Servers), StateKeys::E55Servers);
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
    map->add(state().send, StateKeys::Send);
    map->add(state().title, StateKeys::Title);
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
    map->add(state().serverName, StateKeys::ServerName);
    map->add(state().alias, StateKeys::Alias);
    map->add(state().emailAddress, StateKeys::EmailAddress);
    return map;
}

void StatusHolder::Reset()
{
    state() = State();
}

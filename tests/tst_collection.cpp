#include "frame/Collection.h"
#include "frame/MigrationError.h"
#include "frame/StatusHolder.h"

#include <QTest>
#include <functional>

class TestCollection : public QObject
{
    Q_OBJECT
private slots:
    void keysIgnoreCase();
    void positionsAndRemoval();
    void lookupErrors_data();
    void lookupErrors();

    // The wizard state store. The untouched groups are checked first, before any
    // other test runs a setter.
    void untouchedStoreIsEmpty();
    void databaseGroupsCopyTheirValues_data();
    void databaseGroupsCopyTheirValues();
    void collectionGroupsShareTheirObjects_data();
    void collectionGroupsShareTheirObjects();
    void plainGroupsCopyTheirValues();
};

void TestCollection::keysIgnoreCase()
{
    auto c = Collection::create();
    c->add(1, QStringLiteral("FirstName"));
    QCOMPARE(c->item(QStringLiteral("Firstname")).toInt(), 1);
    QVERIFY_THROWS_EXCEPTION(MigrationError, c->add(2, QStringLiteral("FIRSTNAME")));
    QCOMPARE(c->count(), 1);
}

void TestCollection::positionsAndRemoval()
{
    auto c = Collection::create();
    c->add(QStringLiteral("a"), QStringLiteral("A"));
    c->add(QStringLiteral("b"));
    c->add(QStringLiteral("c"), QStringLiteral("C"));
    QCOMPARE(c->item(2).toString(), QStringLiteral("b"));
    QCOMPARE(c->keys(), QStringList({QStringLiteral("A"), QString(), QStringLiteral("C")}));

    c->remove(QStringLiteral("a"));
    QCOMPARE(c->count(), 2);
    QCOMPARE(c->item(1).toString(), QStringLiteral("b"));
    // The key still finds its item after the items before it moved up.
    QCOMPARE(c->item(QStringLiteral("c")).toString(), QStringLiteral("c"));
    QCOMPARE(c->key(2), QStringLiteral("C"));
    c->add(QStringLiteral("again"), QStringLiteral("a"));
    QCOMPARE(c->item(3).toString(), QStringLiteral("again"));
}

void TestCollection::lookupErrors_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<QString>("key");
    QTest::addColumn<long>("number");
    QTest::newRow("position 0") << 0 << QString() << ErrorNumber::SubscriptOutOfRange;
    QTest::newRow("position past the end") << 3 << QString() << ErrorNumber::SubscriptOutOfRange;
    QTest::newRow("unknown key") << -1 << QStringLiteral("Missing")
                                 << ErrorNumber::InvalidProcedureCall;
    QTest::newRow("empty key") << -1 << QString() << ErrorNumber::InvalidProcedureCall;
}

void TestCollection::lookupErrors()
{
    QFETCH(int, position);
    QFETCH(QString, key);
    QFETCH(long, number);
    auto c = Collection::create();
    c->add(1, QStringLiteral("One"));
    c->add(2);
    try {
        if (position >= 0) {
            c->item(position);
        } else {
            c->item(key);
        }
        QFAIL("no error raised");
    } catch (const MigrationError& error) {
        QCOMPARE(error.number(), number);
    }
}

void TestCollection::untouchedStoreIsEmpty()
{
    const CollectionPtr users = StatusHolder::GetUserLists();
    QCOMPARE(users->keys(),
             QStringList({"ConflictDecisions", "ConflictUsers", "ConflictUserNames", "Link",
                          "AllUsers", "ExportedUsers", "OldUsers", "MigrationList", "NeedEmail"}));
    for (int i = 1; i <= users->count(); ++i) {
        QVERIFY2(users->collection(i) == nullptr, qPrintable(users->key(i)));
    }
    const CollectionPtr profiles = StatusHolder::GetProfileLists();
    QCOMPARE(profiles->keys(), QStringList({"AllProfiles", "ExportedProfiles", "OldProfiles"}));
    QVERIFY(profiles->collection(1) == nullptr);

    const CollectionPtr source = StatusHolder::GetVarnelDatabase();
    QCOMPARE(source->keys(),
             QStringList({"DatabaseServer", "Database", "Authentication", "DatabaseListIndex",
                          "LoginID", "Password", "DatabasesLoaded", "ConnectionString"}));
    QCOMPARE(source->item(QStringLiteral("DatabaseServer")).toString(), QString());
    QCOMPARE(source->item(QStringLiteral("DatabaseListIndex")).toInt(), 0);
    QCOMPARE(source->item(QStringLiteral("DatabasesLoaded")).toBool(), false);

    const CollectionPtr email = StatusHolder::GetEmailChoice();
    QCOMPARE(email->keys(), QStringList({"Send", "Title"}));
    QCOMPARE(email->item(QStringLiteral("Send")).toBool(), false);
    QCOMPARE(StatusHolder::GetConnectData()->keys(),
             QStringList({"ServerName", "Alias", "EmailAddress"}));
}

void TestCollection::databaseGroupsCopyTheirValues_data()
{
    QTest::addColumn<bool>("target");
    QTest::newRow("source database") << false;
    QTest::newRow("target database") << true;
}

void TestCollection::databaseGroupsCopyTheirValues()
{
    QFETCH(bool, target);
    const auto set = target ? &StatusHolder::SetZephrinDatabase : &StatusHolder::SetVarnelDatabase;
    const auto get = target ? &StatusHolder::GetZephrinDatabase : &StatusHolder::GetVarnelDatabase;

    // Argument order: server, database, list index, authentication, login,
    // password, loaded flag, connection string.
    set(QStringLiteral("SQL01"), QStringLiteral("Directory"), 3,
        StatusHolder::SqlServerAuthentication, QStringLiteral("sa"), QStringLiteral("pw"), true,
        QStringLiteral("Provider=SQLOLEDB.1;Data Source=SQL01"));

    const CollectionPtr first = get();
    QCOMPARE(first->item(QStringLiteral("DatabaseServer")).toString(), QStringLiteral("SQL01"));
    QCOMPARE(first->item(QStringLiteral("Database")).toString(), QStringLiteral("Directory"));
    QCOMPARE(first->item(QStringLiteral("DatabaseListIndex")).toInt(), 3);
    QCOMPARE(first->item(QStringLiteral("Authentication")).toInt(), 1);
    QCOMPARE(first->item(QStringLiteral("LoginID")).toString(), QStringLiteral("sa"));
    QCOMPARE(first->item(QStringLiteral("Password")).toString(), QStringLiteral("pw"));
    QCOMPARE(first->item(QStringLiteral("DatabasesLoaded")).toBool(), true);

    // A changed text in one map is not seen by the store or the next getter.
    first->remove(QStringLiteral("Database"));
    first->add(QStringLiteral("Other"), QStringLiteral("Database"));
    const CollectionPtr second = get();
    QVERIFY(second != first);
    QCOMPARE(second->item(QStringLiteral("Database")).toString(), QStringLiteral("Directory"));

    // A setter replaces the whole group, empty values and -1 included.
    set(QString(), QString(), -1, StatusHolder::WindowsNtAuthentication, QString(), QString(),
        false, QString());
    const CollectionPtr cleared = get();
    QCOMPARE(cleared->item(QStringLiteral("DatabaseServer")).toString(), QString());
    QCOMPARE(cleared->item(QStringLiteral("DatabaseListIndex")).toInt(), -1);
    QCOMPARE(cleared->item(QStringLiteral("Authentication")).toInt(), 0);
}

void TestCollection::collectionGroupsShareTheirObjects_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("key");
    QTest::newRow("user lists, first") << "users"
                                       << "ConflictDecisions";
    QTest::newRow("user lists, migration list") << "users"
                                                << "MigrationList";
    QTest::newRow("user lists, last") << "users"
                                      << "NeedEmail";
    QTest::newRow("profile lists") << "profiles"
                                   << "ExportedProfiles";
    QTest::newRow("Exchange 5.5 servers") << "servers"
                                          << "E55Servers";
}

void TestCollection::collectionGroupsShareTheirObjects()
{
    QFETCH(QString, group);
    QFETCH(QString, key);

    QList<CollectionPtr> lists;
    const int count = group == QLatin1String("users")      ? 9
                      : group == QLatin1String("profiles") ? 3
                                                           : 2;
    for (int i = 0; i < count; ++i) {
        auto list = Collection::create();
        list->add(i);
        lists.append(list);
    }
    std::function<CollectionPtr()> get;
    if (group == QLatin1String("users")) {
        StatusHolder::SetUserLists(lists[0], lists[1], lists[2], lists[3], lists[4], lists[5],
                                   lists[6], lists[7], lists[8]);
        get = &StatusHolder::GetUserLists;
    } else if (group == QLatin1String("profiles")) {
        StatusHolder::SetProfileLists(lists[0], lists[1], lists[2]);
        get = &StatusHolder::GetProfileLists;
    } else {
        StatusHolder::SetExchangeServers(lists[0], lists[1]);
        get = &StatusHolder::GetExchangeServers;
    }

    const CollectionPtr map = get();
    const int position = map->keys().indexOf(key) + 1;
    QVERIFY(position > 0);
    // Each key holds the argument at its own position.
    QVERIFY(map->collection(key) == lists[position - 1]);

    map->collection(key)->add(QStringLiteral("SRV01"), QStringLiteral("srv01"));
    const CollectionPtr again = get();
    QVERIFY(again != map);
    QCOMPARE(again->collection(key)->count(), 2);
    QCOMPARE(again->collection(key)->item(QStringLiteral("SRV01")).toString(),
             QStringLiteral("SRV01"));
    QCOMPARE(lists[position - 1]->count(), 2);
}

void TestCollection::plainGroupsCopyTheirValues()
{
    StatusHolder::SetEmailChoice(true, QStringLiteral("Welcome"));
    StatusHolder::SetConnectData(QStringLiteral("MAIL01"), QStringLiteral("svc"),
                                 QStringLiteral("svc@example.com"));
    const CollectionPtr email = StatusHolder::GetEmailChoice();
    QCOMPARE(email->item(QStringLiteral("Send")).toBool(), true);
    QCOMPARE(email->item(QStringLiteral("Title")).toString(), QStringLiteral("Welcome"));
    email->remove(QStringLiteral("Title"));
    QCOMPARE(StatusHolder::GetEmailChoice()->item(QStringLiteral("Title")).toString(),
             QStringLiteral("Welcome"));
    const CollectionPtr logon = StatusHolder::GetConnectData();
    QCOMPARE(logon->item(QStringLiteral("ServerName")).toString(), QStringLiteral("MAIL01"));
    QCOMPARE(logon->item(QStringLiteral("Alias")).toString(), QStringLiteral("svc"));
    QCOMPARE(logon->item(QStringLiteral("EmailAddress")).toString(),
             QStringLiteral("svc@example.com"));
}

QTEST_GUILESS_MAIN(TestCollection)
#include "tst_collection.moc"

#include "frame/Collection.h"
#include "frame/StatusHolder.h"
#include "support/Describe.h"

#include <QTest>
#include <functional>

using namespace Qt::Literals::StringLiterals;

// The wizard state store: seven groups, texts and flags copied, collections shared.
class TestStatusHolder : public QObject
{
    Q_OBJECT
private slots:
    // Every test starts from the store as the program starts with it.
    void init() { StatusHolder::Reset(); }

    // The untouched store, also after setters ran and the store was reset.
    void untouchedStoreIsEmpty_data()
    {
        QTest::addColumn<bool>("setFirst");
        QTest::newRow("at program start") << false;
        QTest::newRow("reset after every group was set") << true;
    }

    void untouchedStoreIsEmpty()
    {
        QFETCH(bool, setFirst);
        if (setFirst) {
            const CollectionPtr c = Collection::create();
            StatusHolder::SetVarnelDatabase(u"S"_s, u"D"_s, 2, 1, u"L"_s, u"P"_s, true, u"C"_s);
            StatusHolder::SetUserLists(c, c, c, c, c, c, c, c, c);
            StatusHolder::SetProfileLists(c, c, c);
            StatusHolder::SetEmailChoice(true, u"T"_s);
            StatusHolder::SetConnectData(u"S"_s, u"A"_s, u"E"_s);
            StatusHolder::Reset();
        }
        // Nine collections, all absent, before any setter ran.
        QCOMPARE(describe(StatusHolder::GetUserLists()),
                 QStringList({"ConflictDecisions=(null)", "ConflictUsers=(null)",
                              "ConflictUserNames=(null)", "Link=(null)", "AllUsers=(null)",
                              "ExportedUsers=(null)", "OldUsers=(null)", "MigrationList=(null)",
                              "NeedEmail=(null)"}));
        QCOMPARE(
            describe(StatusHolder::GetProfileLists()),
            QStringList({"AllProfiles=(null)", "ExportedProfiles=(null)", "OldProfiles=(null)"}));
        QCOMPARE(StatusHolder::GetVarnelDatabase()->keys(),
                 QStringList({"DatabaseServer", "Database", "Authentication", "DatabaseListIndex",
                              "LoginID", "Password", "DatabasesLoaded", "ConnectionString"}));
        QCOMPARE(
            describe(StatusHolder::GetVarnelDatabase()),
            QStringList({"DatabaseServer=", "Database=", "Authentication=0", "DatabaseListIndex=0",
                         "LoginID=", "Password=", "DatabasesLoaded=false", "ConnectionString="}));
        QCOMPARE(describe(StatusHolder::GetEmailChoice()), QStringList({"Send=false", "Title="}));
        QCOMPARE(StatusHolder::GetEmailChoice()->keys(), QStringList({"Send", "Title"}));
        QCOMPARE(StatusHolder::GetConnectData()->keys(),
                 QStringList({"ServerName", "Alias", "EmailAddress"}));
    }

    void databaseGroupsCopyTheirValues_data()
    {
        QTest::addColumn<bool>("target");
        QTest::newRow("source database") << false;
        QTest::newRow("target database") << true;
    }

    void databaseGroupsCopyTheirValues()
    {
        QFETCH(bool, target);
        const auto set =
            target ? &StatusHolder::SetZephrinDatabase : &StatusHolder::SetVarnelDatabase;
        const auto get =
            target ? &StatusHolder::GetZephrinDatabase : &StatusHolder::GetVarnelDatabase;

        // Argument order: server, database, list index, authentication, login,
        // password, loaded flag, connection string.
        set(u"SQL01"_s, u"Directory"_s, 3, StatusHolder::SqlServerAuthentication, u"sa"_s, u"pw"_s,
            true, u"Provider=SQLOLEDB.1"_s);
        const CollectionPtr first = get();
        QCOMPARE(describe(first),
                 QStringList({"DatabaseServer=SQL01", "Database=Directory", "Authentication=1",
                              "DatabaseListIndex=3", "LoginID=sa", "Password=pw",
                              "DatabasesLoaded=true", "ConnectionString=Provider=SQLOLEDB.1"}));

        // A changed text in one map is not seen by the store or the next getter.
        first->remove(u"Database"_s);
        QCOMPARE(get()->item(u"Database"_s).toString(), u"Directory"_s);

        // A setter replaces the whole group, empty values and -1 included.
        set(QString(), QString(), -1, StatusHolder::WindowsNtAuthentication, QString(), QString(),
            false, QString());
        QCOMPARE(get()->item(u"DatabaseListIndex"_s).toInt(), -1);
        QCOMPARE(get()->item(u"DatabaseServer"_s).toString(), QString());
    }

    void collectionGroupsShareTheirObjects_data()
    {
        QTest::addColumn<int>("group");
        QTest::addColumn<QString>("key");
        QTest::newRow("user lists, first") << 9 << "ConflictDecisions";
        QTest::newRow("user lists, migration list") << 9 << "MigrationList";
        QTest::newRow("user lists, last") << 9 << "NeedEmail";
        QTest::newRow("profile lists") << 3 << "ExportedProfiles";
        QTest::newRow("Exchange 5.5 servers") << 2 << "E55Servers";
    }

    void collectionGroupsShareTheirObjects()
    {
        QFETCH(int, group); // the number of collections in the group
        QFETCH(QString, key);
        QList<CollectionPtr> l;
        for (int i = 0; i < group; ++i) {
            l << Collection::create();
            l.last()->add(i);
        }
        std::function<CollectionPtr()> get = &StatusHolder::GetExchangeServers;
        if (group == 9) {
            StatusHolder::SetUserLists(l[0], l[1], l[2], l[3], l[4], l[5], l[6], l[7], l[8]);
            get = &StatusHolder::GetUserLists;
        } else if (group == 3) {
            StatusHolder::SetProfileLists(l[0], l[1], l[2]);
            get = &StatusHolder::GetProfileLists;
        } else {
            StatusHolder::SetExchangeServers(l[0], l[1]);
        }

        const CollectionPtr map = get();
        const int position = map->keys().indexOf(key) + 1;
        QVERIFY(position > 0);
        // Each key holds the argument at its own position, the object itself.
        QVERIFY(map->collection(key) == l[position - 1]);
        map->collection(key)->add(u"SRV01"_s, u"srv01"_s);
        QCOMPARE(get()->collection(key)->item(u"SRV01"_s).toString(), u"SRV01"_s);
    }

    void plainGroupsCopyTheirValues()
    {
        StatusHolder::SetEmailChoice(true, u"Welcome"_s);
        StatusHolder::SetConnectData(u"MAIL01"_s, u"svc"_s, u"svc@example.com"_s);
        const CollectionPtr email = StatusHolder::GetEmailChoice();
        QCOMPARE(describe(email), QStringList({"Send=true", "Title=Welcome"}));
        email->remove(u"Title"_s);
        QCOMPARE(describe(StatusHolder::GetEmailChoice()),
                 QStringList({"Send=true", "Title=Welcome"}));
        QCOMPARE(describe(StatusHolder::GetConnectData()),
                 QStringList({"ServerName=MAIL01", "Alias=svc", "EmailAddress=svc@example.com"}));
    }
};

QTEST_GUILESS_MAIN(TestStatusHolder)
#include "tst_statusholder.moc"

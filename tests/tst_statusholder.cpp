#include "frame/Collection.h"
#include "frame/StatusHolder.h"
#include "support/Describe.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

// The wizard state store: texts and flags copied, collections shared, and all of it
// back to the program's start by a reset.
class TestStatusHolder : public QObject
{
    Q_OBJECT
private slots:
    void init() { StatusHolder::Reset(); }

    // A reset after every group was set leaves the store as the program starts with it.
    void resetEmptiesEveryGroup()
    {
        const CollectionPtr c = Collection::create();
        StatusHolder::SetVarnelDatabase(u"S"_s, u"D"_s, 2, 1, u"L"_s, u"P"_s, true, u"C"_s);
        StatusHolder::SetUserLists(c, c, c, c, c, c, c, c, c);
        StatusHolder::SetProfileLists(c, c, c);
        StatusHolder::SetEmailChoice(true, u"T"_s);
        StatusHolder::SetConnectData(u"S"_s, u"A"_s, u"E"_s);
        StatusHolder::Reset();
        QCOMPARE(describe(StatusHolder::GetUserLists()),
                 QStringList({"ConflictDecisions=(null)", "ConflictUsers=(null)",
                              "ConflictUserNames=(null)", "Link=(null)", "AllUsers=(null)",
                              "ExportedUsers=(null)", "OldUsers=(null)", "MigrationList=(null)",
                              "NeedEmail=(null)"}));
        QCOMPARE(
            describe(StatusHolder::GetProfileLists()),
            QStringList({"AllProfiles=(null)", "ExportedProfiles=(null)", "OldProfiles=(null)"}));
        QCOMPARE(
            describe(StatusHolder::GetVarnelDatabase()),
            QStringList({"DatabaseServer=", "Database=", "Authentication=0", "DatabaseListIndex=0",
                         "LoginID=", "Password=", "DatabasesLoaded=false", "ConnectionString="}));
        QCOMPARE(describe(StatusHolder::GetEmailChoice()), QStringList({"Send=false", "Title="}));
        QCOMPARE(describe(StatusHolder::GetConnectData()),
                 QStringList({"ServerName=", "Alias=", "EmailAddress="}));
    }

    // A page that changes what a getter gave it does not change the store's values;
    // the lists it was given are the store's own objects.
    void valuesCopiedCollectionsShared()
    {
        StatusHolder::SetZephrinDatabase(u"SQL01"_s, u"Directory"_s, 3,
                                         StatusHolder::SqlServerAuthentication, u"sa"_s, u"pw"_s,
                                         true, u"Provider=SQLOLEDB.1"_s);
        StatusHolder::GetZephrinDatabase()->remove(u"Database"_s);
        QCOMPARE(describe(StatusHolder::GetZephrinDatabase()),
                 QStringList({"DatabaseServer=SQL01", "Database=Directory", "Authentication=1",
                              "DatabaseListIndex=3", "LoginID=sa", "Password=pw",
                              "DatabasesLoaded=true", "ConnectionString=Provider=SQLOLEDB.1"}));
        StatusHolder::SetEmailChoice(true, u"Welcome"_s);
        StatusHolder::GetEmailChoice()->remove(u"Title"_s);
        QCOMPARE(describe(StatusHolder::GetEmailChoice()),
                 QStringList({"Send=true", "Title=Welcome"}));

        QList<CollectionPtr> lists;
        for (int i = 0; i < 9; ++i) {
            lists << Collection::create();
        }
        StatusHolder::SetUserLists(lists[0], lists[1], lists[2], lists[3], lists[4], lists[5],
                                   lists[6], lists[7], lists[8]);
        StatusHolder::SetExchangeServers(lists[0], lists[1]);
        QVERIFY(StatusHolder::GetUserLists()->collection(u"MigrationList"_s) == lists[7]);
        QVERIFY(StatusHolder::GetExchangeServers()->collection(u"E55Servers"_s) == lists[1]);
    }
};

QTEST_GUILESS_MAIN(TestStatusHolder)
#include "tst_statusholder.moc"

#include "frame/StatusHolder.h"
#include "support/Describe.h"
#include "support/Golden.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

// The wizard state store: texts and flags copied, collections shared, and all of it
// back to the program's start by a reset.
class TestStatusHolder : public QObject
{
    Q_OBJECT
private slots:
    // Every group as set (a page that changes what a getter gave it does not change
    // the store's values) and after a reset, in statusholder/groups.txt; the lists a
    // page was given are the store's own objects.
    void groups()
    {
        StatusHolder::Reset();
        QList<CollectionPtr> lists;
        for (int i = 0; i < 9; ++i) {
            lists << Collection::create();
            lists[i]->add(i);
        }
        StatusHolder::SetVarnelDatabase(u"S"_s, u"D"_s, 2, 1, u"L"_s, u"P"_s, true, u"C"_s);
        StatusHolder::SetZephrinDatabase(u"SQL01"_s, u"Directory"_s, 3,
                                         StatusHolder::SqlServerAuthentication, u"sa"_s, u"pw"_s,
                                         true, u"Provider=SQLOLEDB.1"_s);
        StatusHolder::SetUserLists(lists[0], lists[1], lists[2], lists[3], lists[4], lists[5],
                                   lists[6], lists[7], lists[8]);
        StatusHolder::SetProfileLists(lists[0], lists[1], lists[2]);
        StatusHolder::SetExchangeServers(lists[0], lists[1]);
        StatusHolder::SetEmailChoice(true, u"Welcome"_s);
        StatusHolder::SetConnectData(u"S"_s, u"A"_s, u"E"_s);
        StatusHolder::GetZephrinDatabase()->remove(u"Database"_s);
        StatusHolder::GetEmailChoice()->remove(u"Title"_s);
        QVERIFY(StatusHolder::GetUserLists()->collection(u"MigrationList"_s) == lists[7]);
        QVERIFY(StatusHolder::GetExchangeServers()->collection(u"E55Servers"_s) == lists[1]);
        QStringList seen;
        for (const char* when : {"set", "after a reset"}) {
            seen << u"## "_s + QLatin1String(when);
            for (const CollectionPtr& group :
                 {StatusHolder::GetVarnelDatabase(), StatusHolder::GetZephrinDatabase(),
                  StatusHolder::GetUserLists(), StatusHolder::GetProfileLists(),
                  StatusHolder::GetExchangeServers(), StatusHolder::GetEmailChoice(),
                  StatusHolder::GetConnectData()}) {
                seen << describe(group).join(u", "_s);
            }
            StatusHolder::Reset();
        }
        QCOMPARE_GOLDEN(seen, u"statusholder/groups.txt"_s);
    }
};

QTEST_GUILESS_MAIN(TestStatusHolder)
#include "tst_statusholder.moc"

#include "frame/Collection.h"
#include "frame/MigrationError.h"
#include "support/Describe.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

class TestCollection : public QObject
{
    Q_OBJECT
private slots:
    void keysAndPositions()
    {
        auto c = Collection::create();
        c->add(u"a"_s, u"FirstName"_s);
        QVERIFY_THROWS_EXCEPTION(MigrationError, c->add(2, u"FIRSTNAME"_s));
        c->add(u"b"_s);
        c->add(u"c"_s, u"C"_s);
        QCOMPARE(c->item(u"firstname"_s).toString(), u"a"_s);
        QCOMPARE(describe(c), QStringList({"FirstName=a", "b", "C=c"}));

        c->remove(u"FIRSTNAME"_s);
        // The key still finds its item after the items before it moved up.
        QCOMPARE(c->item(u"c"_s).toString(), u"c"_s);
        c->add(u"again"_s, u"FirstName"_s);
        QCOMPARE(describe(c), QStringList({"b", "C=c", "FirstName=again"}));
    }

    void lookupErrors_data()
    {
        QTest::addColumn<int>("position");
        QTest::addColumn<QString>("key");
        QTest::addColumn<long>("number");
        QTest::newRow("position 0") << 0 << QString() << ErrorNumber::SubscriptOutOfRange;
        QTest::newRow("past the end") << 3 << QString() << ErrorNumber::SubscriptOutOfRange;
        QTest::newRow("unknown key") << -1 << u"x"_s << ErrorNumber::InvalidProcedureCall;
        QTest::newRow("empty key") << -1 << QString() << ErrorNumber::InvalidProcedureCall;
    }

    void lookupErrors()
    {
        QFETCH(int, position);
        QFETCH(QString, key);
        auto c = Collection::create();
        c->add(1, u"One"_s);
        c->add(2);
        try {
            position >= 0 ? c->item(position) : c->item(key);
            QFAIL("no error raised");
        } catch (const MigrationError& error) {
            QTEST(error.number(), "number");
        }
    }
};

QTEST_GUILESS_MAIN(TestCollection)
#include "tst_collection.moc"

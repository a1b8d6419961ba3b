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

    // Position 0, past the end, an unknown and an empty key.
    void lookupErrors()
    {
        auto c = Collection::create();
        c->add(1, u"One"_s);
        c->add(2);
        QStringList numbers;
        for (const auto& [position, key] : QList<std::pair<int, QString>>{
                 {0, QString()}, {3, QString()}, {-1, u"x"_s}, {-1, QString()}}) {
            try {
                position >= 0 ? c->item(position) : c->item(key);
            } catch (const MigrationError& error) {
                numbers << QString::number(error.number());
            }
        }
        QCOMPARE(numbers, QStringList({"9", "9", "5", "5"}));
    }
};

QTEST_GUILESS_MAIN(TestCollection)
#include "tst_collection.moc"

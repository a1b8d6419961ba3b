#include "frame/Collection.h"
#include "frame/MigrationError.h"

#include <QTest>

class TestCollection : public QObject
{
    Q_OBJECT
private slots:
    void keysIgnoreCase();
};

void TestCollection::keysIgnoreCase()
{
    auto c = Collection::create();
    c->add(1, QStringLiteral("FirstName"));
    QCOMPARE(c->item(QStringLiteral("Firstname")).toInt(), 1);
    QVERIFY_THROWS_EXCEPTION(MigrationError, c->add(2, QStringLiteral("FIRSTNAME")));
}

QTEST_GUILESS_MAIN(TestCollection)
#include "tst_collection.moc"

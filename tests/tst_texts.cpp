#include "support/Engines.h"

#include "db/DbConnection.h"

#include <QSqlDatabase>
#include <QSqlRecord>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

// Texts come back from either engine as they were written, whatever their length and
// letters: a profile's XML or an e-mail template's body in a column without a length
// of its own, and names whose letters take more bytes than the column has characters.
class TestTexts : public QObject
{
    Q_OBJECT
private slots:
    void cleanup() { QCOMPARE(QSqlDatabase::connectionNames(), QStringList()); }

    void readWhole_data()
    {
        Engines::addColumn();
        QTest::addColumn<QString>("column"); // "bounded": 300 characters; "unbounded"
        QTest::addColumn<QVariant>("value");
        Engines::newRows("a short name", u"bounded"_s, QVariant(u"Zoë Müller"_s));
        Engines::newRows("300 accented letters", u"bounded"_s,
                         QVariant(QString(300, QChar(0x00EB))));
        Engines::newRows("300 euro signs", u"bounded"_s, QVariant(QString(300, QChar(0x20AC))));
        Engines::newRows("255 letters", u"unbounded"_s, QVariant(QString(255, u'a')));
        Engines::newRows("257 letters", u"unbounded"_s, QVariant(QString(257, u'a')));
        Engines::newRows("a 70,000 character profile", u"unbounded"_s,
                         QVariant(u"<Pair>ë</Pair>"_s.repeated(5000)));
        Engines::newRows("two million characters", u"unbounded"_s,
                         QVariant(QString(2000000, u'x')));
        Engines::newRows("empty", u"unbounded"_s, QVariant(QString(u""_s)));
        Engines::newRows("null", u"unbounded"_s, QVariant(QMetaType::fromType<QString>()));
    }

    void readWhole()
    {
        QFETCH(QString, engine);
        QFETCH(QString, column);
        QFETCH(QVariant, value);
        TestDatabase database(engine, u"Texts"_s);
        database.make({database.isEmbedded()
                           ? u"CREATE TABLE t (id INTEGER, bounded TEXT, unbounded TEXT)"_s
                           : u"CREATE TABLE t (id int, bounded nvarchar(300), unbounded "
                             "nvarchar(max))"_s});
        DbConnection connection(database.connectionString());
        connection.execute(u"INSERT INTO t (id, %1) VALUES (1, ?)"_s.arg(column), {value});
        // The text sits between two other columns, as in the reader's queries.
        const QList<QSqlRecord> rows =
            connection.select(u"SELECT id, %1, id + 1 AS next FROM t"_s.arg(column));
        QCOMPARE(rows.size(), 1);
        const QVariant read = rows.first().value(1);
        QCOMPARE(read.isNull(), value.isNull());
        QCOMPARE(read.toString().size(), value.toString().size());
        QVERIFY(read.toString() == value.toString());
        QCOMPARE(rows.first().value(2).toInt(), 2);
    }
};

QTEST_GUILESS_MAIN(TestTexts)
#include "tst_texts.moc"

#include "support/EmbeddedDatabase.h"
#include "support/Failure.h"
#include "support/LockHolder.h"
#include "support/PlainRights.h"

#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/EngineSettings.h"

#include <QFile>
#include <QSqlDatabase>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QTest>
#include <optional>

using namespace Qt::Literals::StringLiterals;

// What the embedded engine's file brings about: another program's lock, a file that
// is empty, not a database or read-only, a folder that may not be written. These
// belong to the embedded engine's files alone; a SQL Server keeps its own files, so
// there is no counterpart to run there.
class TestDbConnection : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mDir = std::make_unique<QTemporaryDir>();
        mConnectionString =
            EmbeddedDatabase::make(mDir->path(), u"Directory"_s, {u"CREATE TABLE t (x INTEGER)"_s});
        mFile = mDir->filePath(u"Directory.sqlite"_s);
    }

    void cleanup()
    {
        EngineSettings::giEmbeddedBusyTimeout = 5000;
        QVERIFY(QFile::setPermissions(mDir->path(), QFileDevice::ReadOwner |
                                                        QFileDevice::WriteOwner |
                                                        QFileDevice::ExeOwner));
        mDir.reset();
        QCOMPARE(QSqlDatabase::connectionNames(), QStringList());
    }

    // A transaction that reads before it writes waits while another program holds the
    // write lock and goes on once the lock is let go. A write that cannot be made says
    // why and leaves nothing behind: a lock that stays is waited for as long as the
    // busy wait; a read-only file and a folder that may not be written both stop a
    // write (the engine keeps its journal beside the file), and reading goes on.
    void refusedWrite_data()
    {
        QTest::addColumn<QString>("description"); // %1 the file, %2 its folder
        QTest::newRow("lock let go") << QString();
        QTest::newRow("lock that stays")
            << u"The database %1 is in use by another program, which keeps it locked; waited "
               "0.5 seconds for it. Try again when that program has finished (database is "
               "locked)"_s;
        QTest::newRow("empty file") << u"Cannot open database \"Directory\": the file %1 is "
                                       "empty, it holds no database"_s;
        QTest::newRow("not a database")
            << u"The file %1 is not a database (file is not a database)"_s;
        QTest::newRow("read-only file")
            << u"The database file %1 is read-only (attempt to write a readonly database)"_s;
        QTest::newRow("read-only folder")
            << u"The database file %1 cannot be changed: the folder %2 that holds it may not be "
               "written to (attempt to write a readonly database)"_s;
        QTest::newRow("no server named")
            << u"The connection string names no database server (Data Source)"_s;
    }

    void refusedWrite()
    {
        QFETCH(QString, description);
        const QString row = QString::fromLatin1(QTest::currentDataTag());
        std::optional<LockHolder> holder;
        std::optional<PlainRights> plain;
        QString cs = mConnectionString;
        if (row.startsWith("lock"_L1)) {
            EngineSettings::giEmbeddedBusyTimeout = row == "lock let go"_L1 ? 5000 : 500;
            holder.emplace(mFile, row == "lock let go"_L1 ? 700 : -1);
            QVERIFY2(holder->isHolding(), qPrintable(holder->errorString()));
        } else if (row == "no server named"_L1) {
            cs = BuildSqlConnectionString(QString(), u"Directory"_s, u"sa"_s, u"pw"_s);
        } else if (row.startsWith("read-only"_L1)) {
            QVERIFY(QFile::setPermissions(row.endsWith("file"_L1) ? mFile : mDir->path(),
                                          QFileDevice::ReadOwner | QFileDevice::ExeOwner));
            if (!plain.emplace().isActive()) {
                QSKIP(qPrintable(plain->skipReason()));
            }
        } else {
            QFile file(mFile);
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            file.write(row == "empty file"_L1
                           ? QByteArray()
                           : QByteArray("[directory]\nconnectionstring=\n").repeated(9));
        }
        const auto count = [](DbConnection& connection) {
            return connection.select(u"SELECT COUNT(*) FROM t"_s).first().value(0).toInt();
        };
        const Failure failure = Failure::of([&] {
            DbConnection connection(cs);
            connection.inTransaction([&] {
                connection.execute(u"INSERT INTO t (x) VALUES (?)"_s, {count(connection) + 1});
            });
        });
        QCOMPARE(failure.description,
                 description.replace(u"%1"_s, mFile).replace(u"%2"_s, mDir->path()));
        if (row.startsWith("lock"_L1) || row.startsWith("read-only"_L1)) {
            DbConnection reader(mConnectionString);
            QCOMPARE(count(reader), row == "lock let go"_L1 ? 1 : 0);
        }
    }

private:
    std::unique_ptr<QTemporaryDir> mDir;
    QString mConnectionString;
    QString mFile;
};

QTEST_GUILESS_MAIN(TestDbConnection)
#include "tst_dbconnection.moc"

#include "support/EmbeddedDatabase.h"
#include "support/LockHolder.h"
#include "support/PlainRights.h"

#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/EngineSettings.h"
#include "frame/MigrationError.h"

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QTest>

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
        QVERIFY(mDir->isValid());
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

    // A transaction that reads before it writes waits while another program holds
    // the write lock, and goes on once the lock is let go.
    void writerWaitsForAnotherProgram()
    {
        LockHolder holder(mFile, 700);
        QVERIFY2(holder.isHolding(), qPrintable(holder.errorString()));
        DbConnection connection(mConnectionString);
        connection.inTransaction([&] {
            const int before =
                connection.select(u"SELECT COUNT(*) FROM t"_s).first().value(0).toInt();
            connection.execute(u"INSERT INTO t (x) VALUES (?)"_s, {before + 1});
        });
        QVERIFY(holder.waitReleased(5000));
        QCOMPARE(connection.select(u"SELECT x FROM t"_s).first().value(0).toInt(), 1);
    }

    // When the lock stays, the write gives up after the busy wait and says that
    // another program holds the database; nothing of it is left behind.
    void writerGivesUpOnALockThatStays()
    {
        EngineSettings::giEmbeddedBusyTimeout = 500;
        LockHolder holder(mFile, -1);
        QVERIFY2(holder.isHolding(), qPrintable(holder.errorString()));
        DbConnection connection(mConnectionString);
        try {
            connection.inTransaction(
                [&] { connection.execute(u"INSERT INTO t (x) VALUES (1)"_s); });
            QFAIL("the write went through another program's lock");
        } catch (const MigrationError& error) {
            QCOMPARE(error.description(),
                     u"The database %1 is in use by another program, which keeps it locked; "
                     "waited 0.5 seconds for it. Try again when that program has finished "
                     "(database is locked)"_s.arg(mFile));
        }
        QCOMPARE(connection.select(u"SELECT COUNT(*) FROM t"_s).first().value(0).toInt(), 0);
    }

    void unusableFile_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("description");
        QTest::newRow("empty file") << QByteArray()
                                    << u"Cannot open database \"Directory\": the file %1 is "
                                       "empty, it holds no database"_s;
        QTest::newRow("not a database")
            << QByteArray("[directory]\nconnectionstring=\n").repeated(9)
            << u"The file %1 is not a database (file is not a database)"_s;
    }

    void unusableFile()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, description);
        QFile file(mFile);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(content);
        file.close();
        try {
            DbConnection connection(mConnectionString);
            connection.select(u"SELECT * FROM fwtUser"_s);
            QFAIL("an unusable file was read");
        } catch (const MigrationError& error) {
            QCOMPARE(error.description(), description.arg(mFile));
        }
    }

    void noServerNamed()
    {
        try {
            DbConnection connection(
                BuildSqlConnectionString(QString(), u"Directory"_s, u"sa"_s, u"pw"_s));
            QFAIL("a connection without a server was opened");
        } catch (const MigrationError& error) {
            QCOMPARE(error.description(),
                     u"The connection string names no database server (Data Source)"_s);
        }
    }

    // A read-only file and a folder that may not be written both stop a write (the
    // engine keeps its journal beside the file); the message says which it is.
    // Reading goes on in both cases.
    void readOnly_data()
    {
        QTest::addColumn<bool>("folder");
        QTest::addColumn<QString>("description");
        QTest::newRow("read-only file")
            << false
            << u"The database file %1 is read-only (attempt to write a readonly database)"_s;
        QTest::newRow("read-only folder")
            << true
            << u"The database file %1 cannot be changed: the folder %2 that holds it may "
               "not be written to (attempt to write a readonly database)"_s;
    }

    void readOnly()
    {
        QFETCH(bool, folder);
        QFETCH(QString, description);
        if (folder) {
            QVERIFY(QFile::setPermissions(mDir->path(),
                                          QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        } else {
            QVERIFY(QFile::setPermissions(mFile, QFileDevice::ReadOwner));
        }
        PlainRights plain;
        if (!plain.isActive()) {
            QSKIP(qPrintable(plain.skipReason()));
        }
        DbConnection connection(mConnectionString);
        QCOMPARE(connection.select(u"SELECT COUNT(*) FROM t"_s).first().value(0).toInt(), 0);
        try {
            connection.inTransaction(
                [&] { connection.execute(u"INSERT INTO t (x) VALUES (1)"_s); });
            QFAIL("a read-only database was written");
        } catch (const MigrationError& error) {
            description.replace(u"%1"_s, mFile).replace(u"%2"_s, mDir->path());
            QCOMPARE(error.description(), description);
        }
    }

private:
    std::unique_ptr<QTemporaryDir> mDir;
    QString mConnectionString;
    QString mFile;
};

QTEST_GUILESS_MAIN(TestDbConnection)
#include "tst_dbconnection.moc"

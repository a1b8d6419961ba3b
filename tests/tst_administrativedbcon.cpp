#include "db/AdministrativeDBCon.h"
#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/VarnelBuilder.h"
#include "frame/MigrationError.h"
#include "support/EmbeddedDatabase.h"
#include "support/Engines.h"

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

using namespace EmbeddedDatabase;

namespace {

bool writeFile(const QString& path, const QByteArray& bytes = QByteArray())
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace

class TestAdministrativeDBCon : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mDir = std::make_unique<QTemporaryDir>();
        QVERIFY(mDir->isValid());
    }

    void cleanup()
    {
        // Every operation closes what it opened, on success and on failure.
        QCOMPARE(QSqlDatabase::connectionNames(), QStringList());
        mDir.reset();
    }

    void embeddedListing()
    {
        const QString folder = mDir->path();
        VarnelBuilder::Write(folder, u"varnel"_s, {});
        make(folder, u"Directory"_s, {u"CREATE TABLE t (a)"_s});
        make(folder, u"Archive"_s, {});
        const QByteArray notes = "Plain notes, long enough to be no database header at all.\n";
        QVERIFY(writeFile(folder + u"/notes.sqlite"_s, notes));
        QVERIFY(writeFile(folder + u"/readme.txt"_s));
        QVERIFY(writeFile(folder + u"/Loud.SQLITE"_s));
        QVERIFY(QDir(folder).mkdir(u"sub.sqlite"_s));

        QCOMPARE(AdministrativeDBCon::GetDatabases(connectionString(folder, u"master"_s)),
                 QStringList({"Archive", "Directory", "varnel"}));
        // The listing neither changes a file that is no database nor creates "master".
        QFile junk(folder + u"/notes.sqlite"_s);
        QVERIFY(junk.open(QIODevice::ReadOnly));
        QCOMPARE(junk.readAll(), notes);
        QVERIFY(!QFile::exists(folder + u"/master.sqlite"_s));

        QTemporaryDir empty;
        QCOMPARE(AdministrativeDBCon::GetDatabases(connectionString(empty.path(), u"master"_s)),
                 QStringList());
    }

    // A new database shows in the list of its server (or folder).
    void listing_data() { Engines::rows(); }

    void listing()
    {
        QFETCH(QString, engine);
        TestDatabase database(engine);
        database.make({});
        const QStringList names =
            AdministrativeDBCon::GetDatabases(database.connectionStringOf(u"master"_s));
        QVERIFY2(names.contains(database.name()), qPrintable(names.join(',')));
        QVERIFY(database.isEmbedded() || names.contains(u"master"_s));
    }

    void listingFailures_data()
    {
        QTest::addColumn<QString>("connectionString");
        QTest::addColumn<QString>("sourceTail");
        QTest::addColumn<long>("number"); // 0: any
        QTest::newRow("no server, SQL login")
            << BuildSqlConnectionString(NoServer, "master", "sa", "pw") << "" << 0L;
        QTest::newRow("no server, trusted")
            << BuildTrustedConnectionString(NoServer, "master") << "" << 0L;
        QTest::newRow("missing folder")
            << connectionString("/nonexistent/folder/x", "master") << "SQLite" << 0L;
        if (Engines::sqlServerNamed()) {
            // The login error, not an empty list.
            QTest::newRow("sqlserver: wrong password")
                << BuildSqlConnectionString(Engines::sqlServerAddress(), u"master"_s,
                                            Engines::sqlServerLogin(), u"wrong"_s)
                << "" << 18456L;
        }
    }

    void listingFailures()
    {
        QFETCH(QString, connectionString);
        QFETCH(QString, sourceTail);
        QFETCH(long, number);
        try {
            AdministrativeDBCon::GetDatabases(connectionString);
            QFAIL("GetDatabases returned without a server");
        } catch (const MigrationError& error) {
            QVERIFY(error.number() != 0);
            QVERIFY(number == 0 || error.number() == number);
            QVERIFY(!error.description().isEmpty());
            const QString prefix = u"AdministrativeDBCon.GetDatabases - "_s;
            QVERIFY2(error.source().startsWith(prefix), qPrintable(error.source()));
            if (!sourceTail.isEmpty()) {
                QCOMPARE(error.source(), prefix + sourceTail);
            }
        }
    }

    void exportCheck_data()
    {
        Engines::addColumn();
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("expected");
        Engines::newRows("users with settings", u"full"_s, true);
        Engines::newRows("empty user table", u"no users"_s, false);
        Engines::newRows("users without settings", u"no settings"_s, false);
        Engines::newRows("settings without user values", u"no user settings"_s, false);
        Engines::newRows("tables missing", u"empty database"_s, false);
        Engines::newRows("no such database", u"missing database"_s, false);
        QTest::newRow("no server") << Engines::Embedded << u"no server"_s << false;
    }

    void exportCheck()
    {
        QFETCH(QString, engine);
        QFETCH(QString, kind);
        TestDatabase database(engine);
        QString cs = database.connectionString();
        VarnelSourceUser ann;
        ann.userID = 1;
        ann.loginID = u"ann"_s;
        VarnelSource source;
        if (kind == QLatin1String("full")) {
            ann.settings = {{u"UserLogin"_s, "a"}};
        }
        if (kind != QLatin1String("no users")) {
            source.users = {ann};
        }
        if (kind == QLatin1String("no users") || kind == QLatin1String("no user settings")) {
            source.settingNames = {u"UserLogin"_s};
        }
        if (kind == QLatin1String("empty database")) {
            database.make({});
        } else if (kind == QLatin1String("no server")) {
            cs = BuildSqlConnectionString(NoServer, "Varnel", "sa", QString());
        } else if (kind == QLatin1String("missing database")) {
            cs = database.connectionStringOf(u"NoSuchVarnel"_s);
        } else {
            VarnelBuilder::WriteTo(cs, source);
        }
        QTEST(AdministrativeDBCon::CheckExportDatabase(cs), "expected");
        // A missing embedded database is not created by the check.
        QVERIFY(!ParseConnectionString(cs).isEmbedded() ||
                kind != QLatin1String("missing database") ||
                !QFile::exists(ParseConnectionString(cs).embeddedFile()));
    }

    // The mark of a Directory: the stored procedure fwupDirectoryStoresGet on SQL
    // Server, a row of the table sysprocedures on the embedded engine.
    void importCheck_data()
    {
        Engines::addColumn();
        QTest::addColumn<QStringList>("statements");
        QTest::addColumn<bool>("expected");
        for (const QString& engine : Engines::available()) {
            const bool embedded = engine == Engines::Embedded;
            const QString markTable = u"CREATE TABLE sysprocedures (name TEXT)"_s;
            const auto mark = [&](const char* name) {
                return embedded ? u"INSERT INTO sysprocedures VALUES ('%1')"_s.arg(name)
                                : u"CREATE PROCEDURE dbo.%1 AS SELECT 1"_s.arg(name);
            };
            const QStringList directoryTables = {
                u"CREATE TABLE fwtUser (UserID INTEGER PRIMARY KEY, LoginID %1)"_s.arg(
                    embedded ? u"TEXT"_s : u"nvarchar(255)"_s),
                u"CREATE TABLE fwupDirectoryStoresGet (StoreID INTEGER)"_s};
            const QStringList marks = embedded ? QStringList{markTable} : QStringList{};
            const auto row = [&](const char* name) -> QTestData& {
                return QTest::newRow(qPrintable(engine + u": "_s + QLatin1String(name))) << engine;
            };
            row("marked Directory")
                << marks + QStringList{mark("fwupUserGet"), mark("fwupDirectoryStoresGet")} << true;
            row("mark in other case")
                << marks + QStringList{mark("FWUPDIRECTORYSTORESGET")} << true;
            row("same tables, no mark") << marks + directoryTables << false;
            row("other procedures only")
                << marks + QStringList{mark("fwupDirectoryStores")} << false;
            if (embedded) {
                row("same tables, no mark table") << directoryTables << false;
            }
        }
    }

    void importCheck()
    {
        QFETCH(QString, engine);
        QFETCH(QStringList, statements);
        TestDatabase database(engine, u"Directory"_s);
        database.make(statements);
        QTEST(AdministrativeDBCon::CheckImportDatabase(database.connectionString()), "expected");
        // Neither a missing database (which is not created) nor a missing server passes.
        const QString missing = database.connectionStringOf(u"NoSuchDirectory"_s);
        QVERIFY(!AdministrativeDBCon::CheckImportDatabase(missing));
        QVERIFY(!ParseConnectionString(missing).isEmbedded() ||
                !QFile::exists(ParseConnectionString(missing).embeddedFile()));
        QVERIFY(!AdministrativeDBCon::CheckImportDatabase(
            BuildTrustedConnectionString(NoServer, u"Directory"_s)));
    }

    void workingTables_data() { Engines::rows(); }

    void workingTables()
    {
        QFETCH(QString, engine);
        TestDatabase database(engine);
        VarnelBuilder::WriteTo(database.connectionString(), {});
        const QString cs = database.connectionString();
        {
            DbConnection connection(cs);
            // A leftover with other columns and rows is replaced.
            connection.execute(database.isEmbedded()
                                   ? u"CREATE TABLE MT_VarnelUsers (x TEXT)"_s
                                   : u"CREATE TABLE MT_VarnelUsers (x nvarchar(20))"_s);
            connection.execute(u"INSERT INTO MT_VarnelUsers VALUES ('left over')"_s);
            AdministrativeDBCon::CreateVarnelUsersTable(connection);
            AdministrativeDBCon::CreateZephrinUsersTable(connection);
            connection.execute(
                u"INSERT INTO MT_VarnelUsers (UserID, Name, LoginID) VALUES (1, 'A B', 'ab')"_s);
            QCOMPARE(connection.select(u"SELECT * FROM MT_VarnelUsers"_s).size(), 1);
            // Login IDs over 50 characters fail as on the server.
            QVERIFY_THROWS_EXCEPTION(
                MigrationError, connection.execute(u"INSERT INTO MT_ZephrinUsers (UserID, Name, "
                                                   "LoginID) VALUES (1, 'x', ?)"_s,
                                                   {QString(51, QLatin1Char('a'))}));
        }
        QVERIFY(database.tables().contains(u"MT_ZephrinUsers"_s));
        {
            DbConnection connection(cs);
            AdministrativeDBCon::DropVarnelUsersTable(connection);
            AdministrativeDBCon::DropZephrinUsersTable(connection);
            AdministrativeDBCon::DropZephrinUsersTable(connection);
        }
        const QStringList names = database.tables();
        QVERIFY(!names.contains(u"MT_VarnelUsers"_s));
        QVERIFY(!names.contains(u"MT_ZephrinUsers"_s));
    }

private:
    std::unique_ptr<QTemporaryDir> mDir;
};

QTEST_GUILESS_MAIN(TestAdministrativeDBCon)
#include "tst_administrativedbcon.moc"

#include "db/AdministrativeDBCon.h"
#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/VarnelBuilder.h"
#include "support/EmbeddedDatabase.h"
#include "support/Engines.h"
#include "support/Failure.h"

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace EmbeddedDatabase;
using namespace AdministrativeDBCon;

namespace {

// A check of a database that does not exist must not create it on the way.
bool created(const QString& connectionString)
{
    const ConnectionParts parts = ParseConnectionString(connectionString);
    return parts.isEmbedded() && QFile::exists(parts.embeddedFile());
}

} // namespace

class TestAdministrativeDBCon : public QObject
{
    Q_OBJECT
private slots:
    void cleanup()
    {
        // Every operation closes what it opened, on success and on failure.
        QCOMPARE(QSqlDatabase::connectionNames(), QStringList());
    }

    // The listing of a folder neither changes a file that is no database nor creates
    // "master".
    void embeddedListing()
    {
        QTemporaryDir dir;
        const QString folder = dir.path();
        VarnelBuilder::Write(folder, u"varnel"_s, {});
        make(folder, u"Directory"_s, {u"CREATE TABLE t (a)"_s});
        make(folder, u"Archive"_s, {});
        const QByteArray notes = "Plain notes, long enough to be no database header at all.\n";
        const QList<std::pair<QString, QByteArray>> files = {
            {u"notes.sqlite"_s, notes}, {u"readme.txt"_s, {}}, {u"Loud.SQLITE"_s, {}}};
        for (const auto& [name, content] : files) {
            QFile file(folder + u'/' + name);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        }
        QVERIFY(QDir(folder).mkdir(u"sub.sqlite"_s));
        QCOMPARE(GetDatabases(connectionString(folder, u"master"_s)),
                 QStringList({"Archive", "Directory", "varnel"}));
        QFile junk(folder + u"/notes.sqlite"_s);
        QVERIFY(junk.open(QIODevice::ReadOnly));
        QCOMPARE(junk.readAll(), notes);
        QVERIFY(!QFile::exists(folder + u"/master.sqlite"_s));
        QTemporaryDir empty;
        QCOMPARE(GetDatabases(connectionString(empty.path(), u"master"_s)), QStringList());
    }

    // A new database shows in the list of its server (or folder).
    void listing_data() { Engines::rows(); }

    void listing()
    {
        QFETCH(QString, engine);
        TestDatabase database(engine);
        database.make({});
        const QStringList names = GetDatabases(database.connectionStringOf(u"master"_s));
        QVERIFY2(names.contains(database.name()), qPrintable(names.join(',')));
        QVERIFY(database.isEmbedded() || names.contains(u"master"_s));
    }

    // A listing that cannot be made is an error that says where it arose (after the
    // procedure's name); a login refused is the login's error, not an empty list.
    void listingFailures()
    {
        QList<std::tuple<QString, QString, long>> cases = {
            {BuildSqlConnectionString(NoServer, "master", "sa", "pw"), QString(), 0},
            {BuildTrustedConnectionString(NoServer, "master"), QString(), 0},
            {connectionString("/nonexistent/folder/x", "master"), u"SQLite"_s, 0}};
        if (Engines::sqlServerNamed()) {
            cases.append({BuildSqlConnectionString(Engines::sqlServerAddress(), u"master"_s,
                                                   Engines::sqlServerLogin(), u"wrong"_s),
                          QString(), 18456});
        }
        for (const auto& [cs, source, number] : cases) {
            const Failure failure = Failure::of([&] { GetDatabases(cs); });
            QVERIFY2(failure.thrown && failure.number != 0 && !failure.description.isEmpty() &&
                         failure.source.startsWith(u"AdministrativeDBCon.GetDatabases - "_s),
                     qPrintable(cs + u": "_s + failure.source));
            QVERIFY(source.isEmpty() || failure.source.endsWith(u"- "_s + source));
            QVERIFY(number == 0 || failure.number == number);
        }
    }

    // Only a source with users, setting names and users' settings passes; neither a
    // database that does not exist nor a missing server does.
    void exportCheck_data() { Engines::rows(); }

    void exportCheck()
    {
        QFETCH(QString, engine);
        QStringList passed;
        for (const QString& kind : {u"full"_s, u"no users"_s, u"no settings"_s,
                                    u"no user settings"_s, u"empty database"_s}) {
            TestDatabase database(engine);
            VarnelSource source;
            source.users = {{1, {}, {}, {}, u"ann"_s, {}, {}}};
            if (kind == "full"_L1) {
                source.users[0].settings = {{u"UserLogin"_s, "a"}};
            } else if (kind == "no users"_L1) {
                source.users.clear();
            }
            if (kind == "no users"_L1 || kind == "no user settings"_L1) {
                source.settingNames = {u"UserLogin"_s};
            }
            if (kind == "empty database"_L1) {
                database.make({});
            } else {
                VarnelBuilder::WriteTo(database.connectionString(), source);
            }
            passed << u"%1 %2"_s.arg(kind).arg(CheckExportDatabase(database.connectionString()));
            const QString missing = database.connectionStringOf(u"NoSuchVarnel"_s);
            QVERIFY(!CheckExportDatabase(missing) && !created(missing));
        }
        QCOMPARE(passed, QStringList({"full 1", "no users 0", "no settings 0", "no user settings 0",
                                      "empty database 0"}));
        QVERIFY(!CheckExportDatabase(BuildSqlConnectionString(NoServer, "Varnel", "sa", "")));
    }

    // The mark of a Directory: the stored procedure fwupDirectoryStoresGet on SQL
    // Server, a row of the table sysprocedures on the embedded engine. Neither a
    // database that does not exist nor a missing server passes.
    void importCheck_data() { Engines::rows(); }

    void importCheck()
    {
        QFETCH(QString, engine);
        const bool embedded = engine == Engines::Embedded;
        const QStringList marks =
            embedded ? QStringList{u"CREATE TABLE sysprocedures (name TEXT)"_s} : QStringList{};
        const auto mark = [&](const char* name) {
            return embedded ? u"INSERT INTO sysprocedures VALUES ('%1')"_s.arg(name)
                            : u"CREATE PROCEDURE dbo.%1 AS SELECT 1"_s.arg(name);
        };
        const QStringList directoryTables = {
            u"CREATE TABLE fwtUser (UserID INTEGER PRIMARY KEY, LoginID %1)"_s.arg(
                embedded ? u"TEXT"_s : u"nvarchar(255)"_s),
            u"CREATE TABLE fwupDirectoryStoresGet (StoreID INTEGER)"_s};
        const QList<std::tuple<QString, QStringList, bool>> cases = {
            {u"marked Directory"_s,
             marks + QStringList{mark("fwupUserGet"), mark("fwupDirectoryStoresGet")}, true},
            {u"mark in other case"_s, marks + QStringList{mark("FWUPDIRECTORYSTORESGET")}, true},
            {u"same tables, no mark"_s, marks + directoryTables, false},
            {u"other procedures only"_s, marks + QStringList{mark("fwupDirectoryStores")}, false},
            {u"same tables, no mark table"_s, directoryTables, false}};
        for (const auto& [name, statements, expected] : cases) {
            TestDatabase database(engine, u"Directory"_s);
            database.make(statements);
            QVERIFY2(CheckImportDatabase(database.connectionString()) == expected,
                     qPrintable(name));
            const QString missing = database.connectionStringOf(u"NoSuchDirectory"_s);
            QVERIFY(!CheckImportDatabase(missing) && !created(missing));
        }
        QVERIFY(!CheckImportDatabase(BuildTrustedConnectionString(NoServer, u"Directory"_s)));
    }

    void workingTables_data() { Engines::rows(); }

    void workingTables()
    {
        QFETCH(QString, engine);
        TestDatabase database(engine);
        VarnelBuilder::WriteTo(database.connectionString(), {});
        {
            DbConnection connection(database.connectionString());
            // A leftover with other columns and rows is replaced.
            connection.execute(database.isEmbedded()
                                   ? u"CREATE TABLE MT_VarnelUsers (x TEXT)"_s
                                   : u"CREATE TABLE MT_VarnelUsers (x nvarchar(20))"_s);
            connection.execute(u"INSERT INTO MT_VarnelUsers VALUES ('left over')"_s);
            CreateVarnelUsersTable(connection);
            CreateZephrinUsersTable(connection);
            connection.execute(
                u"INSERT INTO MT_VarnelUsers (UserID, Name, LoginID) VALUES (1, 'A B', 'ab')"_s);
            QCOMPARE(connection.select(u"SELECT * FROM MT_VarnelUsers"_s).size(), 1);
            // Login IDs over 50 characters fail as on the server.
            QVERIFY(Failure::of([&] {
                        connection.execute(u"INSERT INTO MT_ZephrinUsers (UserID, Name, LoginID) "
                                           "VALUES (1, 'x', ?)"_s,
                                           {QString(51, u'a')});
                    }).thrown);
        }
        QVERIFY(database.tables().contains(u"MT_ZephrinUsers"_s));
        {
            DbConnection connection(database.connectionString());
            DropVarnelUsersTable(connection);
            DropZephrinUsersTable(connection);
            DropZephrinUsersTable(connection);
        }
        QVERIFY(!database.tables().contains(u"MT_VarnelUsers"_s) &&
                !database.tables().contains(u"MT_ZephrinUsers"_s));
    }
};

QTEST_GUILESS_MAIN(TestAdministrativeDBCon)
#include "tst_administrativedbcon.moc"

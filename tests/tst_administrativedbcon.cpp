#include "db/AdministrativeDBCon.h"
#include "db/AdministrativeSql.h"
#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/VarnelBuilder.h"
#include "frame/MigrationError.h"

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Where no SQL Server listens: the connection is refused at once.
const QString NoServer = QStringLiteral("127.0.0.1,1");

QString embedded(const QString& folder, const QString& database)
{
    return BuildSqlConnectionString(QStringLiteral("sqlite:") + folder, database,
                                    QStringLiteral("sa"), QString());
}

// An embedded database made of the given statements.
QString makeDatabase(const QString& folder, const QString& name, const QStringList& statements)
{
    const QString connectionString = embedded(folder, name);
    DbConnection connection(connectionString, DbConnection::Mode::CreateIfMissing);
    for (const QString& statement : statements) {
        connection.execute(statement);
    }
    return connectionString;
}

VarnelSourceUser user(int id, const QString& login, const QMap<QString, QVariant>& settings)
{
    VarnelSourceUser u;
    u.userID = id;
    u.givenName = QStringLiteral("Given%1").arg(id);
    u.familyName = QStringLiteral("Family%1").arg(id);
    u.loginID = login;
    u.settings = settings;
    return u;
}

QStringList tablesOf(const QString& connectionString)
{
    DbConnection connection(connectionString);
    QStringList names;
    for (const QSqlRecord& row : connection.select(
             QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name"))) {
        names.append(row.value(0).toString());
    }
    return names;
}

} // namespace

class TestAdministrativeDBCon : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void embeddedListing();
    void listingFailures_data();
    void listingFailures();
    void exportCheck_data();
    void exportCheck();
    void importCheck_data();
    void importCheck();
    void workingTables();
    void sqlServerTexts_data();
    void sqlServerTexts();

private:
    QTemporaryDir* mDir = nullptr;
};

void TestAdministrativeDBCon::init()
{
    mDir = new QTemporaryDir;
    QVERIFY(mDir->isValid());
}

void TestAdministrativeDBCon::cleanup()
{
    // Every operation closes what it opened, on success and on failure.
    QCOMPARE(QSqlDatabase::connectionNames(), QStringList());
    delete mDir;
    mDir = nullptr;
}

void TestAdministrativeDBCon::embeddedListing()
{
    const QString folder = mDir->path();
    VarnelBuilder::Write(folder, QStringLiteral("varnel"), {});
    makeDatabase(folder, QStringLiteral("Directory"), {QStringLiteral("CREATE TABLE t (a)")});
    makeDatabase(folder, QStringLiteral("Archive"), {});
    QFile junk(folder + QStringLiteral("/notes.sqlite"));
    QVERIFY(junk.open(QIODevice::WriteOnly));
    const QByteArray notes =
        "These are plain notes, long enough to be no database header at all.\n";
    junk.write(notes);
    junk.close();
    QFile other(folder + QStringLiteral("/readme.txt"));
    QVERIFY(other.open(QIODevice::WriteOnly));
    other.close();
    QVERIFY(QDir(folder).mkdir(QStringLiteral("sub.sqlite")));
    QFile upper(folder + QStringLiteral("/Loud.SQLITE"));
    QVERIFY(upper.open(QIODevice::WriteOnly));
    upper.close();

    const QString listing = embedded(folder, QStringLiteral("master"));
    QCOMPARE(AdministrativeDBCon::GetDatabases(listing),
             (QStringList{QStringLiteral("Archive"), QStringLiteral("Directory"),
                          QStringLiteral("varnel")}));
    // The listing neither changes a file that is no database nor creates "master".
    QVERIFY(junk.open(QIODevice::ReadOnly));
    QCOMPARE(junk.readAll(), notes);
    junk.close();
    QVERIFY(!QFile::exists(folder + QStringLiteral("/master.sqlite")));

    QTemporaryDir empty;
    QCOMPARE(AdministrativeDBCon::GetDatabases(embedded(empty.path(), QStringLiteral("master"))),
             QStringList());
}

void TestAdministrativeDBCon::listingFailures_data()
{
    QTest::addColumn<QString>("connectionString");
    QTest::addColumn<QString>("sourceTail");

    QTest::newRow("no server, SQL login")
        << BuildSqlConnectionString(NoServer, QStringLiteral("master"), QStringLiteral("sa"),
                                    QStringLiteral("pw"))
        << "";
    QTest::newRow("no server, trusted")
        << BuildTrustedConnectionString(NoServer, QStringLiteral("master")) << "";
    QTest::newRow("missing folder")
        << embedded(QStringLiteral("/nonexistent/folder/x"), QStringLiteral("master")) << "SQLite";
}

void TestAdministrativeDBCon::listingFailures()
{
    QFETCH(QString, connectionString);
    QFETCH(QString, sourceTail);
    try {
        AdministrativeDBCon::GetDatabases(connectionString);
        QFAIL("GetDatabases returned without a server");
    } catch (const MigrationError& error) {
        QVERIFY(error.number() != 0);
        QVERIFY2(error.source().startsWith(QStringLiteral("AdministrativeDBCon.GetDatabases - ")),
                 qPrintable(error.source()));
        QVERIFY(!error.description().isEmpty());
        if (!sourceTail.isEmpty()) {
            QCOMPARE(error.source(),
                     QStringLiteral("AdministrativeDBCon.GetDatabases - ") + sourceTail);
        }
    }
}

void TestAdministrativeDBCon::exportCheck_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("expected");

    QTest::newRow("users with settings") << "full" << true;
    QTest::newRow("empty user table") << "no users" << false;
    QTest::newRow("users without settings") << "no settings" << false;
    QTest::newRow("settings without user values") << "no user settings" << false;
    QTest::newRow("tables missing") << "empty database" << false;
    QTest::newRow("no such database") << "missing file" << false;
    QTest::newRow("no server") << "no server" << false;
}

void TestAdministrativeDBCon::exportCheck()
{
    QFETCH(QString, kind);
    QFETCH(bool, expected);
    const QString folder = mDir->path();
    QString connectionString = embedded(folder, QStringLiteral("Varnel"));
    VarnelSource source;
    if (kind == QLatin1String("full")) {
        source.users = {user(1, QStringLiteral("ann"), {{QStringLiteral("UserLogin"), "a"}})};
    } else if (kind == QLatin1String("no users")) {
        source.settingNames = {QStringLiteral("UserLogin")};
    } else if (kind == QLatin1String("no settings")) {
        source.users = {user(1, QStringLiteral("ann"), {})};
    } else if (kind == QLatin1String("no user settings")) {
        source.users = {user(1, QStringLiteral("ann"), {})};
        source.settingNames = {QStringLiteral("UserLogin")};
    }
    if (kind == QLatin1String("empty database")) {
        makeDatabase(folder, QStringLiteral("Varnel"), {});
    } else if (kind == QLatin1String("no server")) {
        connectionString = BuildSqlConnectionString(NoServer, QStringLiteral("Varnel"),
                                                    QStringLiteral("sa"), QString());
    } else if (kind != QLatin1String("missing file")) {
        VarnelBuilder::WriteTo(connectionString, source);
    }
    QCOMPARE(AdministrativeDBCon::CheckExportDatabase(connectionString), expected);
    if (kind == QLatin1String("missing file")) {
        QVERIFY(!QFile::exists(folder + QStringLiteral("/Varnel.sqlite")));
    }
}

void TestAdministrativeDBCon::importCheck_data()
{
    QTest::addColumn<QStringList>("statements");
    QTest::addColumn<bool>("expected");

    const QString markerTable = QStringLiteral("CREATE TABLE sysprocedures (name TEXT)");
    const QStringList directoryTables = {
        QStringLiteral("CREATE TABLE fwtUser (UserID INTEGER PRIMARY KEY, LoginID TEXT)"),
        QStringLiteral("CREATE TABLE fwtService (ServiceID INTEGER PRIMARY KEY)"),
        QStringLiteral("CREATE TABLE fwupDirectoryStoresGet (StoreID INTEGER)")};

    QTest::newRow("marked Directory")
        << (QStringList{markerTable} + directoryTables +
            QStringList{
                QStringLiteral("INSERT INTO sysprocedures VALUES ('fwupUserGet')"),
                QStringLiteral("INSERT INTO sysprocedures VALUES ('fwupDirectoryStoresGet')")})
        << true;
    QTest::newRow("mark in other case")
        << QStringList{markerTable,
                       QStringLiteral(
                           "INSERT INTO sysprocedures VALUES ('FWUPDIRECTORYSTORESGET')")}
        << true;
    QTest::newRow("same tables, empty mark table")
        << (QStringList{markerTable} + directoryTables) << false;
    QTest::newRow("other procedures only")
        << QStringList{markerTable,
                       QStringLiteral("INSERT INTO sysprocedures VALUES ('fwupDirectoryStores')")}
        << false;
    QTest::newRow("same tables, no mark table") << directoryTables << false;
    QTest::newRow("source database")
        << QStringList{QStringLiteral("CREATE TABLE VA_User (a)")} << false;
}

void TestAdministrativeDBCon::importCheck()
{
    QFETCH(QStringList, statements);
    QFETCH(bool, expected);
    const QString connectionString =
        makeDatabase(mDir->path(), QStringLiteral("Directory"), statements);
    QCOMPARE(AdministrativeDBCon::CheckImportDatabase(connectionString), expected);
    QVERIFY(QFile::remove(mDir->filePath(QStringLiteral("Directory.sqlite"))));
    QCOMPARE(AdministrativeDBCon::CheckImportDatabase(connectionString), false);
    QVERIFY(!QFile::exists(mDir->filePath(QStringLiteral("Directory.sqlite"))));
    QCOMPARE(AdministrativeDBCon::CheckImportDatabase(
                 BuildTrustedConnectionString(NoServer, QStringLiteral("Directory"))),
             false);
}

void TestAdministrativeDBCon::workingTables()
{
    const QString connectionString =
        VarnelBuilder::Write(mDir->path(), QStringLiteral("Varnel"), {});
    {
        DbConnection connection(connectionString);
        // A leftover with other columns and rows is replaced.
        connection.execute(QStringLiteral("CREATE TABLE MT_VarnelUsers (x TEXT)"));
        connection.execute(QStringLiteral("INSERT INTO MT_VarnelUsers VALUES ('left over')"));
        AdministrativeDBCon::CreateVarnelUsersTable(connection);
        AdministrativeDBCon::CreateVarnelUsersTable(connection);
        AdministrativeDBCon::CreateZephrinUsersTable(connection);
        connection.execute(QStringLiteral(
            "INSERT INTO MT_VarnelUsers (UserID, Name, LoginID) VALUES (1, 'A B', 'ab')"));
        QCOMPARE(connection.select(QStringLiteral("SELECT * FROM MT_VarnelUsers")).size(), 1);
        // Login IDs over 50 characters fail as on the server.
        QVERIFY_THROWS_EXCEPTION(
            MigrationError,
            connection.execute(
                QStringLiteral("INSERT INTO MT_ZephrinUsers (UserID, Name, LoginID) VALUES (1, "
                               "'x', '") +
                QString(51, QLatin1Char('a')) + QStringLiteral("')")));
    }
    QVERIFY(tablesOf(connectionString).contains(QStringLiteral("MT_ZephrinUsers")));
    {
        DbConnection connection(connectionString);
        AdministrativeDBCon::DropVarnelUsersTable(connection);
        AdministrativeDBCon::DropZephrinUsersTable(connection);
        AdministrativeDBCon::DropZephrinUsersTable(connection);
    }
    const QStringList tables = tablesOf(connectionString);
    QVERIFY(!tables.contains(QStringLiteral("MT_VarnelUsers")));
    QVERIFY(!tables.contains(QStringLiteral("MT_ZephrinUsers")));
}

void TestAdministrativeDBCon::sqlServerTexts_data()
{
    QTest::addColumn<QString>("actual");
    QTest::addColumn<QString>("expected");

    QTest::newRow("listing") << AdministrativeSql::ListDatabases
                             << "select name from master.dbo.sysdatabases where "
                                "has_dbaccess(name) = 1";
    QTest::newRow("export users") << AdministrativeSql::ExportUsers << "Select * FROM VA_User";
    QTest::newRow("export user settings")
        << AdministrativeSql::ExportUserSettings << "SELECT * FROM VA_UserSetting";
    QTest::newRow("export settings")
        << AdministrativeSql::ExportSettings << "SELECT * FROM VA_Setting";
    QTest::newRow("import mark")
        << AdministrativeSql::ImportMarker
        << "declare @iExist as integer IF EXISTS(SELECT * FROM dbo.sysobjects WHERE id = "
           "object_id(N'[dbo].[fwupDirectoryStoresGet]') and OBJECTPROPERTY(id, N'IsProcedure') "
           "= 1) BEGIN SET @iExist=1 END ELSE BEGIN SET @iExist=0 END SELECT @iExist";
    QTest::newRow("create source users")
        << AdministrativeSql::CreateVarnelUsers
        << "if exists (select * from dbo.sysobjects where id = "
           "object_id(N'[dbo].[MT_VarnelUsers]') and OBJECTPROPERTY(id, N'IsUserTable') = 1) drop "
           "table [dbo].[MT_VarnelUsers] CREATE TABLE [dbo].[MT_VarnelUsers] ( [UserID] [int] NOT "
           "NULL , [Name] [nvarchar] (255) COLLATE SQL_Latin1_General_CP1_CI_AS NOT NULL , "
           "[LoginID] [nvarchar] (50) COLLATE SQL_Latin1_General_CP1_CI_AS NOT NULL ) ON "
           "[PRIMARY]ALTER TABLE [dbo].[MT_VarnelUsers] WITH NOCHECK ADD CONSTRAINT "
           "[PK_MT_VarnelUsers] PRIMARY KEY  CLUSTERED ( [UserID] )  ON [PRIMARY]";
    QTest::newRow("create target users")
        << AdministrativeSql::CreateZephrinUsers
        << "if exists (select * from dbo.sysobjects where id = "
           "object_id(N'[dbo].[MT_ZephrinUsers]') and OBJECTPROPERTY(id, N'IsUserTable') = 1) "
           "drop table [dbo].[MT_ZephrinUsers] CREATE TABLE [dbo].[MT_ZephrinUsers] (    [UserID] "
           "[int] NOT NULL ,     [Name] [nvarchar] (255) COLLATE SQL_Latin1_General_CP1_CI_AS NOT "
           "NULL ,     [LoginID] [nvarchar] (50) COLLATE SQL_Latin1_General_CP1_CI_AS NOT NULL ) "
           "ON [PRIMARY] ALTER TABLE [dbo].[MT_ZephrinUsers] WITH NOCHECK ADD CONSTRAINT "
           "[PK_MT_ZephrinUsers] PRIMARY KEY  CLUSTERED ( [UserID] ) ON [PRIMARY]";
    QTest::newRow("drop source users")
        << AdministrativeSql::DropVarnelUsers
        << "if exists (select * from dbo.sysobjects where id = "
           "object_id(N'[dbo].[MT_VarnelUsers]') and OBJECTPROPERTY(id, N'IsUserTable') = 1) drop "
           "table [dbo].[MT_VarnelUsers]";
    QTest::newRow("drop target users")
        << AdministrativeSql::DropZephrinUsers
        << "if exists (select * from dbo.sysobjects where id = "
           "object_id(N'[dbo].[MT_ZephrinUsers]') and OBJECTPROPERTY(id, N'IsUserTable') = 1) "
           "drop table [dbo].[MT_ZephrinUsers]";
}

void TestAdministrativeDBCon::sqlServerTexts()
{
    QFETCH(QString, actual);
    QFETCH(QString, expected);
    QCOMPARE(actual, expected);
}

QTEST_GUILESS_MAIN(TestAdministrativeDBCon)
#include "tst_administrativedbcon.moc"

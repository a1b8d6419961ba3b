#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "directory/ZephrinFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/StatusHolder.h"
#include "pages/PageNames.h"
#include "pages/Verifier.h"
#include "support/Engines.h"
#include "support/PageFixture.h"

#include <QCheckBox>
#include <QPointer>
#include <QTest>
#include <functional>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// What a test does to the demo before the verification: its source and Directory
// connection strings are given.
using Setup = std::function<void(const DemoInstallation&)>;

// Runs statements on one connection, with the embedded engine's foreign keys off so
// that a table can be taken away under the rows that name it.
void execute(const QString& connectionString, const QString& sql)
{
    DbConnection connection(connectionString);
    connection.execute(u"PRAGMA foreign_keys = OFF"_s);
    connection.execute(sql);
}

void setAuthenticationMethod(const DemoInstallation& demo, const QString& value)
{
    execute(demo.sourceConnectionString,
            u"UPDATE VA_Registry SET RegistryValue = '%1' WHERE RegistryName = "
            "'AuthenticationMethod'"_s.arg(value));
}

void addStore(const DemoInstallation& demo, const QString& server)
{
    ZephrinFunctions::AddStore(server, 1, u"added by the test"_s, demo.directoryConnectionString);
}

// The four boxes as "1" (ticked) or "0", top to bottom.
QString ticks(const Verifier& page)
{
    QString state;
    for (const QCheckBox* box :
         {page.Verify313, page.Verify40, page.CheckConflictingUsers, page.CheckStoresCbx}) {
        state += box->isChecked() ? u'1' : u'0';
    }
    return state;
}

} // namespace

Q_DECLARE_METATYPE(Setup)

class TestVerifier : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        mFixture->useDemo();
    }
    void cleanup()
    {
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    void captionsAndLaunchLine()
    {
        mFixture->markLog();
        Verifier* page = mFixture->open<Verifier>(PageNames::Verifier);
        QVERIFY(page != nullptr);
        QCOMPARE(page->windowTitle(), u"Verifying..."_s);
        QCOMPARE(page->Verify313->text(), u"Verifying 3.1x database..."_s);
        QCOMPARE(page->Verify40->text(), u"Verifying Zephrin 4.5 Directory database..."_s);
        QCOMPARE(page->CheckConflictingUsers->text(), u"Checking for conflicting users..."_s);
        QCOMPARE(page->CheckStoresCbx->text(), u"Checking stores..."_s);
        QCOMPARE(ticks(*page), u"0000"_s);
        QCOMPARE(mFixture->newLogEntries(), QStringList{u"Verifier Launched2003-12-04 15:30:12"_s});
    }

    void verify_data()
    {
        QTest::addColumn<Setup>("setup");
        QTest::addColumn<QString>("flags"); // source valid, target valid, stores missing
        QTest::addColumn<QString>("ticked");
        QTest::addColumn<QStringList>("log");
        QTest::addColumn<int>("pauses");
        QTest::addColumn<QString>("logon"); // gbNtLogon, gbNewPasswords; both start "01"
        QTest::addColumn<QStringList>("storesNotAdded");

        const QStringList start = {u"AdministrativeDBCon.CheckExportDatabase True"_s,
                                   u"AdministrativeDBCon.CheckImportDatabase True"_s,
                                   u"Calling AdministrativeDBCon.CheckForUserConflicts"_s};
        const auto method = [](const QString& value) {
            return u"Authentication Method: "_s + value;
        };
        const QString storesChecked = u"CheckStores: True"_s;

        QTest::newRow("method in lower case") << Setup([](const DemoInstallation& demo) {
            setAuthenticationMethod(demo, u"ntlogon"_s);
        }) << u"111"_s << u"1111"_s << start + QStringList{method(u"ntlogon"_s), storesChecked}
                                              << 4 << u"11"_s << QStringList{u"EXCH55"_s};
        QTest::newRow("another method") << Setup([](const DemoInstallation& demo) {
            setAuthenticationMethod(demo, u"VARNEL"_s);
        }) << u"111"_s << u"1111"_s << start + QStringList{method(u"VARNEL"_s), storesChecked}
                                        << 4 << u"00"_s << QStringList{u"EXCH55"_s};
        QTest::newRow("no method named: NT logon, new passwords unchanged")
            << Setup([](const DemoInstallation& demo) {
                   execute(
                       demo.sourceConnectionString,
                       u"DELETE FROM VA_Registry WHERE RegistryName = 'AuthenticationMethod'"_s);
               })
            << u"111"_s << u"1111"_s << start + QStringList{storesChecked} << 4 << u"11"_s
            << QStringList{u"EXCH55"_s};
        QTest::newRow("every server a store")
            << Setup([](const DemoInstallation& demo) { addStore(demo, u"EXCH55"_s); }) << u"110"_s
            << u"1111"_s << start + QStringList{method(u"NTLOGON"_s), storesChecked} << 4 << u"11"_s
            << QStringList();
        QTest::newRow("store known in other letter case")
            << Setup([](const DemoInstallation& demo) { addStore(demo, u"exch55"_s); }) << u"110"_s
            << u"1111"_s << start + QStringList{method(u"NTLOGON"_s), storesChecked} << 4 << u"11"_s
            << QStringList();
        QTest::newRow("source is a Directory")
            << Setup([](const DemoInstallation& demo) {
                   StatusHolder::SetVarnelDatabase({}, {}, 0, 0, {}, {}, true,
                                                   demo.directoryConnectionString);
               })
            << u"000"_s << u"0000"_s
            << QStringList{u"AdministrativeDBCon.CheckExportDatabase False"_s} << 0 << u"01"_s
            << QStringList();
        QTest::newRow("target is a source database")
            << Setup([](const DemoInstallation& demo) {
                   StatusHolder::SetZephrinDatabase({}, {}, 0, 0, {}, {}, true,
                                                    demo.sourceConnectionString);
               })
            << u"100"_s << u"1000"_s
            << QStringList{u"AdministrativeDBCon.CheckExportDatabase True"_s,
                           u"AdministrativeDBCon.CheckImportDatabase False"_s}
            << 1 << u"01"_s << QStringList();
    }

    void verify()
    {
        QFETCH(Setup, setup);
        QFETCH(QString, flags);
        QFETCH(QString, ticked);
        QFETCH(QStringList, log);
        QFETCH(int, pauses);
        QFETCH(QString, logon);
        QFETCH(QStringList, storesNotAdded);
        if (setup) {
            setup(mFixture->demo());
        }
        GlobalVariables::gbNtLogon = false;
        GlobalVariables::gbNewPasswords = true;
        Verifier* page = mFixture->open<Verifier>(PageNames::Verifier);
        QVERIFY(page != nullptr);
        mFixture->markLog();

        const Verifier::Flags result = page->Verify();

        QCOMPARE(QString::number(result.exportValid) + QString::number(result.importValid) +
                     QString::number(result.storesMissing),
                 flags);
        QCOMPARE(ticks(*page), ticked);
        QStringList expectedLog;
        for (const QString& line : log) {
            expectedLog << u"Verifier: "_s + line;
        }
        QCOMPARE(mFixture->newLogEntries(), expectedLog);
        QCOMPARE(mFixture->clock().pauses(), QList<int>(pauses, 300));
        QCOMPARE(QString::number(GlobalVariables::gbNtLogon) +
                     QString::number(GlobalVariables::gbNewPasswords),
                 logon);
        QCOMPARE(page->gcStoresNotAdded, storesNotAdded);
        if (result.importValid) {
            QVERIFY(page->mcConflicts != nullptr);
            QCOMPARE(page->mcConflicts->collection(u"VaUserID"_s)->count(),
                     mFixture->demo().conflictCount);
        } else {
            QVERIFY(page->mcConflicts == nullptr);
        }
    }

    // A database that cannot be opened answers its check false like any database that
    // is not what it was chosen as; the log adds why after the check's own line, and
    // the page keeps it for the database page's message. SQL Server refuses a wrong
    // password with 18456 (the test server too); the embedded engine has no logins,
    // so a database that is not there stands for it.
    void unopenedDatabaseSaysWhy_data()
    {
        Engines::addColumn();
        QTest::addColumn<bool>("target");
        Engines::newRows("source", false);
        Engines::newRows("target", true);
    }

    void unopenedDatabaseSaysWhy()
    {
        QFETCH(QString, engine);
        QFETCH(bool, target);
        const bool sqlServer = engine == Engines::SqlServer;
        const QString unopened =
            sqlServer ? BuildSqlConnectionString(Engines::sqlServerAddress(), u"master"_s,
                                                 Engines::sqlServerLogin(), u"not the password"_s)
                      : BuildTrustedConnectionString(u"sqlite:"_s + mFixture->demo().folder,
                                                     u"Missing"_s);
        if (target) {
            StatusHolder::SetZephrinDatabase({}, {}, 0, 0, {}, {}, true, unopened);
        } else {
            StatusHolder::SetVarnelDatabase({}, {}, 0, 0, {}, {}, true, unopened);
        }
        Verifier* page = mFixture->open<Verifier>(PageNames::Verifier);
        QVERIFY(page != nullptr);
        mFixture->markLog();

        const Verifier::Flags result = page->Verify();

        QCOMPARE(result.importValid, false);
        const QString check = target ? u"AdministrativeDBCon.CheckImportDatabase"_s
                                     : u"AdministrativeDBCon.CheckExportDatabase"_s;
        const QString failure = page->checkFailure();
        QVERIFY2(failure.startsWith(sqlServer ? u"Error 18456: "_s
                                              : u"Error -2147467259: Cannot open database "
                                                "\"Missing\": no such database in "_s),
                 qPrintable(failure));
        QStringList expected;
        if (target) {
            expected << u"Verifier: AdministrativeDBCon.CheckExportDatabase True"_s;
        }
        expected << u"Verifier: "_s + check + u" False"_s
                 << u"Verifier: "_s + check + u" could not open the database: "_s + failure;
        QCOMPARE(mFixture->newLogEntries(), expected);
    }

    // Each box is ticked before the pause that follows its step, while the window is
    // on screen; the window does not close during the verification.
    void ticksAreSeenDuringPauses()
    {
        QPointer<Verifier> page = mFixture->open<Verifier>(PageNames::Verifier);
        QVERIFY(page);
        QStringList seen;
        mFixture->clock().onEvents = [&] {
            page->close();
            seen << ticks(*page) + (page->isVisible() ? u" shown"_s : u" hidden"_s);
        };
        page->Verify();
        mFixture->clock().onEvents = nullptr;
        QCOMPARE(seen, QStringList({u"0000 shown"_s, u"1000 shown"_s, u"1100 shown"_s,
                                    u"1110 shown"_s, u"1111 shown"_s}));

        // Only the page that made it takes it away.
        QVERIFY(!page->close());
        page->gbUnloadVerifier = true;
        page->unload();
        PageFixture::processDeletions();
        QVERIFY(page.isNull());
    }

    void failuresReachTheCaller_data()
    {
        QTest::addColumn<QString>("connection"); // "source" or "target"
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("step");
        QTest::addColumn<QString>("ticked");
        QTest::addColumn<QString>("description");
        QTest::newRow("conflict check: Directory users unreadable")
            << u"target"_s << u"DROP TABLE fwtUser"_s << u"Checking for conflicting users..."_s
            << u"1100"_s << u"no such table: fwtUser"_s;
        QTest::newRow("authentication method unreadable")
            << u"source"_s << u"DROP TABLE VA_Registry"_s
            << u"Reading the authentication method of the 3.1x database..."_s << u"1110"_s
            << u"VA_Registry"_s;
        QTest::newRow("store check: stores unreadable")
            << u"target"_s << u"DROP TABLE fwtStore"_s << u"Checking stores..."_s << u"1110"_s
            << u"VarnelMigrationTool.ZephrinFunctions.StoreExists - "_s;
    }

    void failuresReachTheCaller()
    {
        QFETCH(QString, connection);
        QFETCH(QString, sql);
        QFETCH(QString, step);
        QFETCH(QString, ticked);
        QFETCH(QString, description);
        const DemoInstallation& demo = mFixture->demo();
        execute(connection == "source"_L1 ? demo.sourceConnectionString
                                          : demo.directoryConnectionString,
                sql);
        Verifier* page = mFixture->open<Verifier>(PageNames::Verifier);
        QVERIFY(page != nullptr);
        try {
            page->Verify();
            QFAIL("the failure did not reach the caller");
        } catch (const MigrationError& error) {
            QVERIFY2(error.description().contains(description), qPrintable(error.description()));
        }
        QCOMPARE(page->step(), step);
        QCOMPARE(ticks(*page), ticked);
        QVERIFY(!page->isWorking());
    }

private:
    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestVerifier)
#include "tst_verifier.moc"

#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "directory/ZephrinFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/StatusHolder.h"
#include "pages/PageNames.h"
#include "pages/Verifier.h"
#include "support/Engines.h"
#include "support/Golden.h"
#include "support/PageFixture.h"
#include "support/Transcript.h"

#include <QCheckBox>
#include <QPointer>
#include <QTest>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

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

// The verification on the demo, changed first by a row's statements ("source: SQL" and
// "target: SQL" run on the source or the Directory, with the embedded engine's foreign
// keys off; "store: NAME" adds a store; "source is target" and "target is source" put
// the other database's connection string in a database group). Its results are
// compared whole with tests/data/verifier/<row>.txt.
class TestVerifier : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        mFixture->useDemo();
        mTranscript = std::make_unique<Transcript>(*mFixture);
    }
    void cleanup()
    {
        mTranscript.reset();
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    void verify_data()
    {
        QTest::addColumn<QString>("change");
        const QString method =
            u"source: UPDATE VA_Registry SET RegistryValue = '%1' WHERE RegistryName = "
            "'AuthenticationMethod'"_s;
        QTest::newRow("as the demo is") << QString();
        QTest::newRow("method in lower case") << method.arg(u"ntlogon"_s);
        QTest::newRow("another method") << method.arg(u"VARNEL"_s);
        QTest::newRow("no method named: NT logon, new passwords unchanged")
            << u"source: DELETE FROM VA_Registry WHERE RegistryName = 'AuthenticationMethod'"_s;
        QTest::newRow("every server a store") << u"store: EXCH55"_s;
        QTest::newRow("store known in other letter case") << u"store: exch55"_s;
        QTest::newRow("source is a Directory") << u"source is target"_s;
        QTest::newRow("target is a source database") << u"target is source"_s;
        // A failure inside a step reaches the caller with the step named.
        QTest::newRow("conflict check: Directory users unreadable")
            << u"target: DROP TABLE fwtUser"_s;
        QTest::newRow("authentication method unreadable") << u"source: DROP TABLE VA_Registry"_s;
        QTest::newRow("store check: stores unreadable") << u"target: DROP TABLE fwtStore"_s;
    }

    // The flags, the boxes, the log, the pauses, the logon flags (gbNtLogon and
    // gbNewPasswords start as 0 and 1), the stores not added and the conflicts.
    void verify()
    {
        QFETCH(QString, change);
        const DemoInstallation& demo = mFixture->demo();
        const QString where = change.section(u": "_s, 0, 0);
        if (where == "store"_L1) {
            ZephrinFunctions::AddStore(change.section(u": "_s, 1), 1, u"added by the test"_s,
                                       demo.directoryConnectionString);
        } else if (where == "source is target"_L1) {
            StatusHolder::SetVarnelDatabase({}, {}, 0, 0, {}, {}, true,
                                            demo.directoryConnectionString);
        } else if (where == "target is source"_L1) {
            StatusHolder::SetZephrinDatabase({}, {}, 0, 0, {}, {}, true,
                                             demo.sourceConnectionString);
        } else if (!change.isEmpty()) {
            DbConnection connection(where == "source"_L1 ? demo.sourceConnectionString
                                                         : demo.directoryConnectionString);
            connection.execute(u"PRAGMA foreign_keys = OFF"_s);
            connection.execute(change.section(u": "_s, 1));
        }
        GlobalVariables::gbNtLogon = false;
        GlobalVariables::gbNewPasswords = true;
        Verifier* page = mFixture->open<Verifier>(PageNames::Verifier);
        QVERIFY(page != nullptr);
        mTranscript->step(u"opened"_s);
        QString outcome;
        try {
            const Verifier::Flags result = page->Verify();
            outcome = u"valid source %1 target %2, stores missing %3"_s.arg(result.exportValid)
                          .arg(result.importValid)
                          .arg(result.storesMissing);
        } catch (const MigrationError& error) {
            outcome = u"failed in \"%1\": %2"_s.arg(page->step(), error.description());
        }
        QVERIFY(!page->isWorking());
        mTranscript->stepQuiet(u"verified"_s);
        mTranscript->note(outcome);
        QStringList pauses;
        for (const int pause : mFixture->clock().pauses()) {
            pauses << QString::number(pause);
        }
        mTranscript->note(u"ticks %1, pauses %2, NT logon %3, new passwords %4"_s.arg(ticks(*page))
                              .arg(pauses.join(u' '))
                              .arg(GlobalVariables::gbNtLogon)
                              .arg(GlobalVariables::gbNewPasswords));
        mTranscript->note(u"stores not added: "_s + page->gcStoresNotAdded.join(u", "_s));
        mTranscript->note(
            page->mcConflicts
                ? u"conflicts: %1"_s.arg(page->mcConflicts->collection(u"VaUserID"_s)->count())
                : u"no conflicts read"_s);
        QCOMPARE_GOLDEN(mTranscript->text(), Golden::rowFile(u"verifier/"_s));
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
    // on screen; the window does not close during the verification. Only the page that
    // made it takes it away.
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
        QVERIFY(!page->close());
        page->gbUnloadVerifier = true;
        page->unload();
        PageFixture::processDeletions();
        QVERIFY(page.isNull());
    }

private:
    std::unique_ptr<PageFixture> mFixture;
    std::unique_ptr<Transcript> mTranscript;
};

QTEST_MAIN(TestVerifier)
#include "tst_verifier.moc"

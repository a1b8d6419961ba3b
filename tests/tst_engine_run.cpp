// The migration run on a demo installation, started from the wizard state as the
// pages leave it. Each scenario (the choices, and what goes wrong) is compared whole
// with tests/data/engine_run/<scenario>.txt: the log, the questions asked, the
// progress calls, the report, the outcome records, the mails and what the Directory
// holds afterwards.
//
// The whole demo runs on both engines. The scenarios run on the embedded one: they
// take the run's branches, whose database work is the same operations; what makes
// them fail (triggers that refuse a change, another program's lock on the file) is
// the embedded engine's.
#include "db/DbConnection.h"
#include "db/EngineSettings.h"
#include "directory/ComponentFactory.h"
#include "directory/TargetComponents.h"
#include "engine/MigrationEngine.h"
#include "frame/GlobalVariables.h"
#include "frame/RecordKeys.h"
#include "reference/TargetComponentFactory.h"
#include "support/Describe.h"
#include "support/Golden.h"
#include "support/PageFixture.h"
#include "support/RunState.h"
#include "support/SmtpServer.h"
#include "support/Transcript.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace RecordKeys;

// What a scenario does between the filling of the pages' state and the run.
using Hook = std::function<void(const RunChoices&)>;
Q_DECLARE_METATYPE(RunChoices)
Q_DECLARE_METATYPE(Hook)

namespace {

// The reference installation's mail component, counting the messages it is asked to
// send.
class CountingMail : public MailComponent
{
public:
    CountingMail(std::unique_ptr<MailComponent> inner, int& sends)
        : mInner(std::move(inner)), mSends(sends)
    {
    }
    void SendMail(const QString& r, const QString& s, const QString& b, const QString& a,
                  const QVariant& h) override
    {
        ++mSends;
        mInner->SendMail(r, s, b, a, h);
    }
    QString GetStoredAccount(const QString& c) override { return mInner->GetStoredAccount(c); }
    QString GetAccountName(const QString& c) override { return mInner->GetAccountName(c); }
    QString GetAccountForName(const QString& n) override { return mInner->GetAccountForName(n); }
    QString GetAccountForServer(const QString& n, const QString& s) override
    {
        return mInner->GetAccountForServer(n, s);
    }
    void TestLogon(const QString& a, bool& p, QVariant& h) override { mInner->TestLogon(a, p, h); }

private:
    std::unique_ptr<MailComponent> mInner;
    int& mSends;
};

class CountingFactory : public TargetComponentFactory
{
public:
    using TargetComponentFactory::TargetComponentFactory;
    std::unique_ptr<MailComponent> CreateMail() override
    {
        return std::make_unique<CountingMail>(TargetComponentFactory::CreateMail(), sends);
    }
    int sends = 0;
};

// Another program that holds the write lock of a database file until it is let go.
struct DatabaseLock
{
    explicit DatabaseLock(const QString& file)
    {
        process.start(u"python3"_s, {u"-c"_s,
                                     u"import sqlite3, sys\n"
                                     "c = sqlite3.connect(sys.argv[1], isolation_level=None)\n"
                                     "c.execute('BEGIN EXCLUSIVE')\n"
                                     "print('locked', flush=True)\n"
                                     "sys.stdin.read()\n"_s,
                                     file});
        taken = process.waitForReadyRead(10000) && process.readAll().contains("locked");
    }
    ~DatabaseLock()
    {
        process.closeWriteChannel();
        process.waitForFinished(5000);
    }
    QProcess process;
    bool taken = false;
};

QString fields(const CollectionPtr& record, const QList<QLatin1String>& keys)
{
    QStringList parts;
    for (const QLatin1String& key : keys) {
        if (record->contains(key)) {
            parts << key + u'=' + describe(record->value(key));
        }
    }
    return parts.join(u' ');
}

} // namespace

class EngineRunTest : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        fixture = std::make_unique<PageFixture>();
        demo = &fixture->useDemo();
        mails = std::make_shared<CountingFactory>(demo->configurationPath);
        Components::setFactory(mails);
        progress = std::make_unique<RecordingProgress>();
    }
    void cleanup()
    {
        engine.reset();
        fixture.reset();
        EngineSettings::giEmbeddedBusyTimeout = 5000;
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    void scenario_data()
    {
        QTest::addColumn<RunChoices>("choices");
        QTest::addColumn<Hook>("hook");
        QTest::addColumn<QStringList>("queries"); // of the Directory, after the run
        const QString stores =
            u"SELECT Name, ExchangeVersion, Description FROM fwtStore ORDER BY StoreID"_s;
        const Hook cancel = [this](const RunChoices&) {
            fixture->prompter().answers = {Prompter::Answer::Cancel};
        };
        const RunChoices mailed{.users = {1, 5, 10, 13, 16}};

        // Stores, a new user, one whose login ID is taken, a repaired one, an update, one
        // graded 3, a delete and re-insert and one that cannot be read, with e-mail, then
        // a good profile and one the Directory refuses. The last store was registered, so
        // the failed users are listed without their error text.
        QTest::addRow("full run")
            << RunChoices{.users = {1, 2, 4, 11, 28, 44, 999},
                          .actions = {{11, 1}, {44, 2}},
                          .addStores = true,
                          .e2kServers = {u"MAIL02"_s},
                          .profiles = {u"Sales WAP dial-in"_s, u"Pager gateway"_s}}
            << Hook()
            << QStringList{stores, u"SELECT Name FROM fwtDeviceProfile ORDER BY ProfileID"_s};
        QTest::addRow("nothing chosen") << RunChoices() << Hook() << QStringList();

        // A store that cannot be registered asks whether to go on: Cancel stops before
        // any user (the profile phase still runs); OK goes on with the next store and
        // the users. Exchange 5.5 stores are registered through the source database,
        // which holds no stores: the reference installation refuses every one.
        QTest::addRow("exchange 5.5 store, cancel")
            << RunChoices{.users = {28},
                          .addStores = true,
                          .e2kServers = {u"MAIL02"_s},
                          .e55Servers = {u"EXCH55"_s, u"EXCH56"_s}}
            << cancel << QStringList{stores};
        QTest::addRow("exchange 5.5 store, ok") << RunChoices{.users = {28},
                                                              .addStores = true,
                                                              .e2kServers = {u"MAIL02"_s},
                                                              .e55Servers = {u"EXCH55"_s}}
                                                << Hook() << QStringList{stores};
        QTest::addRow("the first of three stores refused, cancel")
            << RunChoices{.users = {28},
                          .addStores = true,
                          .e2kServers = {u"BROKEN"_s, u"MAIL02"_s, u"MAIL03"_s}}
            << Hook([this, cancel](const RunChoices& choices) {
                   refuse(u"BEFORE INSERT ON fwtStore WHEN NEW.Name = 'BROKEN' BEGIN SELECT "
                          "RAISE(ABORT, 'The Directory refuses the store BROKEN'); END"_s);
                   cancel(choices);
               })
            << QStringList{stores};
        // A user that is gone from the source, or a source that cannot be opened, is
        // listed by its ID; when the log cannot be written, a message box tells.
        QTest::addRow("user not in the source")
            << RunChoices{.users = {999}, .newPasswords = false} << Hook() << QStringList();
        QTest::addRow("source cannot be opened")
            << RunChoices{.users = {999}, .newPasswords = false} << Hook([this](const RunChoices&) {
                   QVERIFY(QDir(demo->folder).rename(u"Varnel.sqlite"_s, u"Varnel.moved"_s));
               })
            << QStringList();
        QTest::addRow("failure that cannot be logged")
            << RunChoices{.users = {999}}
            << Hook([](const RunChoices&) { GlobalVariables::gsLogFileName.clear(); })
            << QStringList();

        // A user with an essential field missing is not written; its grades explain why.
        QTest::addRow("no alias") << RunChoices{.users = {31}} << Hook() << QStringList();
        QTest::addRow("empty password, passwords kept")
            << RunChoices{.users = {39}, .newPasswords = false} << Hook() << QStringList();
        // Missing and invalid settings are repaired and the user is migrated.
        QTest::addRow("warnings repaired")
            << RunChoices{.users = {4, 7, 9, 12, 15, 17, 20, 23, 26}, .newPasswords = false}
            << Hook()
            << QStringList{
                   u"SELECT LoginID, GraphicsOn, LanguageID, TimeZoneID, Enabled, "
                   "MobileNumber, Password FROM fwtUser WHERE UserID > 10 ORDER BY UserID"_s};
        // A new user whose login ID is taken (and whose first choice is taken too) gets
        // the next free one; action 6 sends the e-mail although passwords are kept.
        QTest::addRow("login made unique")
            << RunChoices{.users = {2}, .actions = {{2, 6}}, .newPasswords = false} << Hook()
            << QStringList();
        // Action 1 overwrites the Directory user's own fields and leaves its services
        // and their settings as they are.
        QTest::addRow("update")
            << RunChoices{.users = {44}, .actions = {{44, 1}}, .newPasswords = false} << Hook()
            << QStringList{u"SELECT FirstName, LastName, LoginID, LanguageID, TimeZoneID, "
                           "Enabled, Password FROM fwtUser WHERE UserID = 10"_s,
                           u"SELECT s.ServiceID, s.Position, s.ApplicationID, s.StoreID, t.Name, "
                           "t.Value FROM fwtService s JOIN fwtServiceSetting t ON t.ServiceID = "
                           "s.ServiceID WHERE s.OwnerUserID = 10 ORDER BY s.ServiceID, "
                           "t.Position"_s};
        // Action 2 with a delete that the Directory refuses: nothing is inserted, the
        // Directory user stays with its services.
        QTest::addRow("delete refused")
            << RunChoices{.users = {22}, .actions = {{22, 2}}, .newPasswords = false}
            << Hook([this](const RunChoices&) {
                   refuse(u"BEFORE DELETE ON fwtUser WHEN OLD.UserID = 6 BEGIN SELECT RAISE("
                          "ABORT, 'The user is held by another administrator'); END"_s);
               })
            << QStringList{u"SELECT COUNT(*) FROM fwtService WHERE OwnerUserID = 6"_s};
        // Action 2 whose re-insertion fails: the Directory user is gone, and what it held
        // is in a recovery file beside the log, named after it.
        QTest::addRow("reinsertion refused")
            << RunChoices{.users = {33}, .actions = {{33, 2}}, .newPasswords = false}
            << Hook([this](const RunChoices&) {
                   refuse(u"BEFORE INSERT ON fwtUser WHEN NEW.LoginID = 'atorres' BEGIN SELECT "
                          "RAISE(ABORT, 'The Directory is being maintained'); END"_s);
               })
            << QStringList();
        // A user stopped before anything is written is reported as such, not as a failed
        // delete: an action code the run does not know, or a replacement whose password
        // or time zone cannot be converted.
        QTest::addRow("unknown action")
            << RunChoices{.users = {1}, .actions = {{1, 9}}, .newPasswords = false} << Hook()
            << QStringList();
        QTest::addRow("replacement, password not character codes")
            << RunChoices{.users = {22}, .actions = {{22, 2}}, .newPasswords = false}
            << source(u"UPDATE VA_User SET Password = ',115,ecret,' WHERE UserID = 22"_s)
            << QStringList();
        QTest::addRow("replacement, time zone not a number")
            << RunChoices{.users = {22}, .actions = {{22, 2}}, .newPasswords = false}
            << source(u"UPDATE VA_UserSetting SET SettingValue = 'Europe' WHERE UserID = 22 AND "
                      "SettingID = (SELECT SettingID FROM VA_Setting WHERE SettingName = "
                      "'TimezoneIndex')"_s)
            << QStringList();

        // New passwords are made, but e-mail was declined: the users count as migrated,
        // no mail is tried, and the report lists their passwords.
        QTest::addRow("new passwords without e-mail")
            << RunChoices{.users = {1, 5}, .sendEmail = false} << Hook() << QStringList();
        // Introduction e-mails that cannot be sent: the users stay in the Directory and
        // are reported with code 7. When the mail transport fails in the same way three
        // times in a row (the SMTP server is down), the rest are not tried but get the
        // same error at once; other failures are met user by user.
        RunChoices smtp = mailed;
        smtp.serviceAccount = {u"svc-migrate"_s, u"svc-migrate@example.com"_s, u"127.0.0.1"_s};
        QTest::addRow("smtp server down") << smtp << Hook([this](const RunChoices& choices) {
            const SmtpServer server;
            QVERIFY2(server.isRunning(), qPrintable(server.errorString()));
            useSmtp(server.port());
            RunState::Fill(*demo, choices); // the account's logon finds the server
        }) << QStringList();
        QTest::addRow("pickup folder gone") << mailed << Hook([this](const RunChoices&) {
            QVERIFY(QDir(demo->mailFolder).removeRecursively());
        }) << QStringList();

        // A profile whose bearer the Directory does not know fails alone.
        QTest::addRow("profile with an unknown bearer")
            << RunChoices{.profiles = {u"Field engineers SMS"_s, u"Pager gateway"_s,
                                       u"Prepaid USSD"_s}}
            << Hook() << QStringList{u"SELECT Name FROM fwtDeviceProfile ORDER BY ProfileID"_s};
        // Another program locks the Directory after the second user: the remaining users
        // fail with the database's message and nothing of them is written.
        QTest::addRow("directory locked mid-run")
            << RunChoices{.users = {1, 5, 10, 13, 16, 19}, .newPasswords = false}
            << Hook([this](const RunChoices&) {
                   EngineSettings::giEmbeddedBusyTimeout = 100;
                   progress->onEvents = [this] {
                       if (!lock && progress->calls.contains(u"value 2"_s)) {
                           lock = std::make_unique<DatabaseLock>(
                               QDir(demo->folder).filePath(u"Directory.sqlite"_s));
                       }
                   };
               })
            << QStringList{u"SELECT OwnerUserID, COUNT(*) FROM fwtService WHERE OwnerUserID > "
                           "10 GROUP BY OwnerUserID ORDER BY OwnerUserID"_s,
                           u"SELECT COUNT(*) FROM fwtServiceSetting WHERE ServiceID NOT IN "
                           "(SELECT ServiceID FROM fwtService)"_s};
    }
    void scenario()
    {
        QFETCH(RunChoices, choices);
        QFETCH(Hook, hook);
        QFETCH(QStringList, queries);
        RunState::Fill(*demo, choices);
        if (hook) {
            hook(choices);
        }
        Transcript transcript(*fixture);
        const QString report = run();
        progress->onEvents = {};
        if (lock) {
            transcript.note(u"locked by another program: "_s + (lock->taken ? u"yes"_s : u"no"_s));
            lock.reset();
        }
        record(
            transcript, report,
            queries
                << u"SELECT UserID, FirstName, LastName, LoginID FROM fwtUser ORDER BY UserID"_s);
        QCOMPARE_GOLDEN(transcript.text(), Golden::rowFile(u"engine_run/"_s));
    }

    // Every user and profile of the demo, with the store its users need, on each
    // engine: the report, and the Directory's users with the stores of their services.
    void theWholeDemo_data() { Engines::rows(); }
    void theWholeDemo()
    {
        QFETCH(QString, engine);
        const EngineDemo on(engine, *demo);
        RunChoices choices = on.everything;
        choices.addStores = true;
        choices.e2kServers = {u"EXCH55"_s};
        const QStringList queries = {
            u"SELECT StoreID, Name FROM fwtStore ORDER BY StoreID"_s,
            u"SELECT Name FROM fwtDeviceProfile ORDER BY ProfileID"_s,
            u"SELECT u.UserID, u.FirstName, u.LastName, u.LoginID, CASE WHEN u.DefaultServiceID "
            "IS NULL THEN 0 ELSE 1 END, s.StoreID, COUNT(*) FROM fwtUser u LEFT JOIN fwtService s "
            "ON s.OwnerUserID = u.UserID GROUP BY u.UserID, u.FirstName, u.LastName, u.LoginID, "
            "u.DefaultServiceID, s.StoreID ORDER BY 1, 6"_s};
        QCOMPARE_GOLDEN(on.run(*progress, choices, queries), u"engine_run/whole-demo.txt"_s);
    }

private:
    QString run()
    {
        engine = std::make_unique<MigrationEngine>(*progress);
        engine->Load();
        RunState::Run(*engine);
        return engine->gsReport;
    }

    // The progress calls a line per phase caption, the report with the new passwords
    // named by their users, the outcome records, the mails and the Directory's rows.
    void record(Transcript& transcript, const QString& report, const QStringList& queries)
    {
        transcript.stepQuiet(u"the run"_s);
        transcript.note(u"## progress\n"_s + progress->calls.join(u", "_s).replace(
                                                 u", description"_s, u"\ndescription"_s));
        const QStringList mailed = RunState::TakeMails(demo->mailFolder);
        transcript.note(u"## report\n"_s +
                        Golden::fromCrlf(RunState::NamePasswords(*engine, report, mailed)));
        transcript.note(u"## outcomes"_s);
        for (int position = 1; position <= engine->cUserResults->count(); ++position) {
            transcript.note(u"user "_s + fields(engine->cUserResults->collection(position),
                                                {VaUserID, Action, Status, LoginIDChanged}));
        }
        for (const QString& grades : describe(engine->cUserWarnings)) {
            transcript.note(u"grades "_s + grades);
        }
        transcript.note(u"stores "_s + describe(engine->cStoreResults).join(u' '));
        const CollectionPtr profiles = engine->cProfileResults;
        for (int position = 1; profiles && position <= profiles->count(); ++position) {
            const CollectionPtr result = profiles->collection(position);
            transcript.note(u"profile "_s + fields(result->collection(Profile), {ProfileName}) +
                            u' ' + fields(result, {Status}));
        }
        const auto count = [](const CollectionPtr& list) {
            return list ? QString::number(list->count()) : u"no"_s;
        };
        transcript.note(u"interrupted %1; %2 profile results; mails: %3 queued, %4 tried, %5 "
                        "in the pickup folder"_s.arg(engine->bInterrupted)
                            .arg(count(profiles), count(engine->cMailQueue))
                            .arg(mails->sends)
                            .arg(mailed.size()));
        QStringList logins; // the mails' names tell nothing of their order
        for (const QString& mail : mailed) {
            logins << QRegularExpression(u"Login ID: [^\r]*"_s).match(mail).captured();
        }
        logins.sort();
        transcript.note(logins.join(u'\n'));
        QFile recovery(engine->recoveryFilePath());
        if (!recovery.fileName().isEmpty() && recovery.open(QIODevice::ReadOnly)) {
            transcript.note(u"## "_s + recovery.fileName() + u'\n' +
                            Golden::fromCrlf(QString::fromUtf8(recovery.readAll())));
        }
        for (const QString& sql : queries) {
            transcript.note(u"## "_s + sql);
            for (const QString& row :
                 describe(DbConnection(demo->directoryConnectionString).select(sql))) {
                transcript.note(row);
            }
        }
        transcript.mask(QRegularExpression(u"pbkdf2-sha256\\$\\S+"_s), u"<encoded>"_s);
        // The SMTP server's port, and how long its refusal took.
        transcript.mask(QRegularExpression(u"1:\\d+ failed"_s), u"1:<port> failed"_s);
        transcript.mask(QRegularExpression(u"port \\d+ after \\d+ ms"_s),
                        u"port <port> after <n> ms"_s);
    }

    // A hook that changes the source.
    Hook source(const QString& sql)
    {
        return [this, sql](const RunChoices&) {
            DbConnection(demo->sourceConnectionString).execute(sql);
        };
    }

    // The Directory refuses a change: a trigger in its database.
    void refuse(const QString& trigger)
    {
        DbConnection(demo->directoryConnectionString)
            .execute(u"CREATE TRIGGER refusal"_s + QString::number(++mTriggers) + u' ' + trigger);
    }

    // The demo's mail goes to the SMTP server on the given loopback port.
    void useSmtp(int port)
    {
        QFile file(demo->configurationPath);
        QVERIFY(file.open(QIODevice::ReadWrite));
        const QByteArray text = file.readAll().replace(
            "transport=pickup",
            "transport=smtp\nsmtphost=127.0.0.1\nsmtpport=" + QByteArray::number(port));
        QVERIFY(file.resize(0) && file.write(text) == text.size());
    }

    std::unique_ptr<PageFixture> fixture;
    const DemoInstallation* demo = nullptr;
    std::shared_ptr<CountingFactory> mails;
    std::unique_ptr<RecordingProgress> progress;
    std::unique_ptr<MigrationEngine> engine;
    std::unique_ptr<DatabaseLock> lock;
    int mTriggers = 0;
};

QTEST_MAIN(EngineRunTest)
#include "tst_engine_run.moc"

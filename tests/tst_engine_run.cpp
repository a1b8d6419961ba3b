// The migration run on a demo installation, started from the wizard state as the
// pages leave it: scenarios with their exact report texts, the whole log of one full
// run, and what the Directory holds afterwards.
//
// The whole demo runs on both engines. The scenarios run on the embedded one: they
// take the run's branches, whose database work is the same operations; what makes
// them fail (triggers that refuse a change, another program's lock on the file) is
// the embedded engine's.
#include "db/DbConnection.h"
#include "db/EngineSettings.h"
#include "db/VarnelBuilder.h"
#include "demo/DemoData.h"
#include "directory/ComponentFactory.h"
#include "directory/TargetComponents.h"
#include "engine/MigrationEngine.h"
#include "frame/GlobalVariables.h"
#include "frame/StatusHolder.h"
#include "reference/DirectoryBuilder.h"
#include "reference/ReferencePasswordEncoder.h"
#include "reference/TargetComponentFactory.h"
#include "support/Describe.h"
#include "support/Engines.h"
#include "support/PageFixture.h"
#include "support/RunState.h"
#include "support/SmtpServer.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSqlRecord>
#include <QStandardPaths>
#include <QTest>
#include <algorithm>

using namespace Qt::Literals::StringLiterals;

Q_DECLARE_METATYPE(Prompter::Answer)

namespace {

const QString Time = u"2003-12-04 15:30:12"_s;
const QString Dashes(70, u'-');

QString profileLine(int migrated, int count)
{
    return Dashes + u"\r\n\r\n%1 of %2 Device Provisioning profile(s) were successfully "
                    "migrated.\r\n\r\n"_s.arg(migrated)
                        .arg(count);
}

// One row of the table of changed logins and passwords.
QString changeRow(const QString& name, const QString& login, const QString& password)
{
    return name.leftJustified(30) + u' ' + login.leftJustified(30) + u' ' + password + u"\r\n"_s;
}

QString changeTable(const QStringList& rows)
{
    return u"\r\nUsers with changed Login ID and/or password:\r\n\r\n"
           "Name                           Login ID                       Password\r\n"_s +
           Dashes + u"\r\n"_s + rows.join(QString());
}

// The lines a user's migration logs before the action: read, graded, converted.
QStringList userStart(int position, int id, int action, bool repaired = false)
{
    QStringList lines = {u"Migrating user, lLoopvar=%1"_s.arg(position), u"VaUserID=%1"_s.arg(id),
                         u"Action=%1"_s.arg(action), u"Calling GetUserInformation"_s};
    if (repaired) {
        lines << u"Trying to fix user with UserID=%1"_s.arg(id);
    }
    return lines << u"GetUserInformation succeeded"_s << u"Converting password"_s
                 << u"Converting timezone"_s;
}

// A mail component of the reference installation that counts the messages it is
// asked to send.
class CountingFactory : public TargetComponentFactory
{
public:
    using TargetComponentFactory::TargetComponentFactory;
    std::unique_ptr<MailComponent> CreateMail() override
    {
        class Counting : public MailComponent
        {
        public:
            Counting(std::unique_ptr<MailComponent> inner, int& sends)
                : mInner(std::move(inner)), mSends(sends)
            {
            }
            void SendMail(const QString& r, const QString& s, const QString& b, const QString& a,
                          const QVariant& h) override
            {
                ++mSends;
                mInner->SendMail(r, s, b, a, h);
            }
            QString GetStoredAccount(const QString& c) override
            {
                return mInner->GetStoredAccount(c);
            }
            QString GetAccountName(const QString& c) override { return mInner->GetAccountName(c); }
            QString GetAccountForName(const QString& n) override
            {
                return mInner->GetAccountForName(n);
            }
            QString GetAccountForServer(const QString& n, const QString& s) override
            {
                return mInner->GetAccountForServer(n, s);
            }
            void TestLogon(const QString& a, bool& p, QVariant& h) override
            {
                mInner->TestLogon(a, p, h);
            }

        private:
            std::unique_ptr<MailComponent> mInner;
            int& mSends;
        };
        return std::make_unique<Counting>(TargetComponentFactory::CreateMail(), sends);
    }
    int sends = 0;
};

// Another program that holds the write lock of a database file until it is let go.
class DatabaseLock
{
public:
    bool take(const QString& file)
    {
        const QString python = QStandardPaths::findExecutable(u"python3"_s);
        if (python.isEmpty()) {
            return false;
        }
        mProcess.start(python, {u"-c"_s,
                                u"import sqlite3, sys\n"
                                "c = sqlite3.connect(sys.argv[1], timeout=10, "
                                "isolation_level=None)\n"
                                "c.execute('BEGIN EXCLUSIVE')\n"
                                "print('locked', flush=True)\n"
                                "sys.stdin.read()\n"
                                "c.execute('ROLLBACK')\n"_s,
                                file});
        while (mProcess.waitForReadyRead(10000)) {
            if (mProcess.readAllStandardOutput().contains("locked")) {
                return true;
            }
        }
        return false;
    }
    ~DatabaseLock()
    {
        mProcess.closeWriteChannel();
        mProcess.waitForFinished(5000);
    }

private:
    QProcess mProcess;
};

} // namespace

class EngineRunTest : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        fixture = std::make_unique<PageFixture>();
        demo = &fixture->useDemo();
        mDirectory = demo->directoryConnectionString;
        progress = std::make_unique<RecordingProgress>();
    }
    void cleanup()
    {
        engine.reset();
        fixture.reset();
        EngineSettings::giEmbeddedBusyTimeout = 5000;
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    // Stores, a new user, one whose login ID is taken, a repaired one, an update, one
    // graded 3, a delete and re-insert and one that cannot be read, with e-mail, then
    // a good profile and one the Directory refuses: the whole log, the progress and
    // the report. The last store was registered, so the failed users are listed
    // without their error text.
    void aFullRun()
    {
        RunChoices choices;
        choices.users = {1, 2, 4, 11, 28, 44, 999};
        choices.actions = {{11, 1}, {44, 2}};
        choices.addStores = true;
        choices.e2kServers = {u"MAIL02"_s};
        choices.profiles = {u"Sales WAP dial-in"_s, u"Pager gateway"_s};
        const QString report = run(choices);

        QStringList log = {u"Starting migration "_s + Time,
                           u"Getting connection strings"_s,
                           u"Ze Connection String: "_s + demo->directoryConnectionString,
                           u"Va Connection String: "_s + demo->sourceConnectionString,
                           u"Adding stores "_s + Time,
                           u"Number of E2k servers: 1"_s,
                           u"Adding MAIL02"_s,
                           u"Number of E55 servers: 0"_s,
                           u"Finished adding stores "_s + Time,
                           u"Migrating Users "_s + Time,
                           u"Number of users to migrate: 7"_s};
        log << userStart(1, 1, 0) << u"Calling AddUserToDirectory"_s
            << u"AddUserToDirectory succeeded"_s;
        log << userStart(2, 2, 0) << u"Calling AddUserToDirectory"_s
            << u"AddUserToDirectory succeeded"_s;
        log << userStart(3, 4, 0, true) << u"Calling AddUserToDirectory"_s
            << u"AddUserToDirectory succeeded"_s;
        log << userStart(4, 11, 1) << u"Ze User ID: 4"_s << u"Calling UpdateUser"_s
            << u"UpdateUser succeeded"_s;
        log << u"Migrating user, lLoopvar=5"_s << u"VaUserID=28"_s << u"Action=0"_s
            << u"Calling GetUserInformation"_s << u"GetUserInformation succeeded"_s;
        log << userStart(6, 44, 2) << u"Ze User ID: 10"_s << u"Calling DeleteUser"_s
            << u"DeleteUser succeeded"_s << u"Calling addUserToDirectory"_s
            << u"AddUserToDirectory succeeded"_s;
        log << u"Migrating user, lLoopvar=7"_s << u"VaUserID=999"_s << u"Action=0"_s
            << u"Calling GetUserInformation"_s
            << u"GetUserInformation Failed Va User ID: 999 Error Number: 5 Error Description: "
               "There is no user with the ID 999 in the 3.1x database"_s;
        log << u"Mail sent to 1 James Smith"_s << u"Mail sent to 2 Mary Davis"_s
            << u"Mail sent to 4 Patricia Perez"_s << u"Mail sent to 11 David White"_s
            << u"Mail sent to 44 Patricia Dubois"_s << u"Finished migrating users "_s + Time;
        log << u"Starting migration of Device Provisioning profiles "_s + Time
            << u"Getting connection string"_s
            << u"Ze Connection String: "_s + demo->directoryConnectionString
            << u"Migrating Decice Provisioning profiles "_s + Time
            << u"Number of Device Provisioning profiles to migrate: 2"_s
            << u"Migrating Device Provisioning profile Sales WAP dial-in"_s
            << u"Calling AddDPProfileToDirectory"_s
            << u"Migrating Device Provisioning profile Pager gateway"_s
            << u"Calling AddDPProfileToDirectory"_s
            << u"AddDPProfileToDirectory failed for Pager gateway Error Number: 5 Error "
               "Description: The Device Provisioning profile \"Pager gateway\" has the bearer "
               "\"7\", which is none of 0 (GSM/CSD), 1 (GSM/SMS), 2 (GSM/USSD), 3 (IS-136/CSD) "
               "and 4 (GPRS); the profile was not migrated."_s
            << u"Finished migrating Device Provisioning profiles "_s + Time
            << u"Finished migration "_s + Time;
        QCOMPARE(fixture->newLogEntries(), log);

        QStringList bar = {u"description Migrating stores, please wait."_s,
                           u"events"_s,
                           u"value 0"_s,
                           u"minimum 0"_s,
                           u"maximum 1"_s,
                           u"value 1"_s,
                           u"repaint"_s,
                           u"events"_s,
                           u"description Migrating Users, please wait."_s,
                           u"events"_s,
                           u"value 0"_s,
                           u"minimum 0"_s,
                           u"maximum 7"_s};
        for (int position = 1; position <= 7; ++position) {
            bar << u"value %1"_s.arg(position) << u"repaint"_s << u"events"_s;
        }
        for (int mail = 1; mail <= 5; ++mail) {
            bar << u"events"_s;
        }
        bar << u"description Migrating stores, please wait."_s << u"events"_s
            << u"description Migrating Device Provisioning profiles, please wait."_s << u"events"_s
            << u"value 0"_s << u"minimum 0"_s << u"maximum 2"_s << u"value 1"_s << u"repaint"_s
            << u"events"_s << u"value 2"_s << u"repaint"_s
            << u"events"_s
            // The report's name sort, between two passes.
            << u"events"_s << u"events"_s;
        QCOMPARE(progress->calls, bar);

        QCOMPARE(report,
                 u"Status, migrated stores: \r\n\r\n"
                 "Exchange 2000/2003: \r\n"
                 "    Migrated MAIL02 successfully\r\n\r\n\r\n"
                 "\r\nStatus, migrated users:\r\n\r\n"
                 "4 of 7 user(s) successfully migrated\r\n\r\n"
                 "1 of 7 user(s) migrated with warning(s)\r\n\r\n"
                 "    Patricia Perez\r\n\r\n"
                 "        Warning(s):\r\n\r\n"
                 "        PROBLEM: Graphics setting missing\r\n"
                 "        ACTION: Graphics setting set to false\r\n\r\n\r\n"
                 "2 of 7 user(s) not migrated due to error\r\n\r\n"
                 "    Sandra Johnson\r\n\r\n"
                 "        Warning(s):\r\n"
                 "        PROBLEM: Login ID missing\r\n"
                 "        ACTION: User not migrated\r\n\r\n"
                 "        Error:\r\n\r\n\r\n\r\n\r\n"
                 "    999 No firstname No Surname\r\n\r\n"
                 "        Warning(s):\r\n"
                 "        Error:\r\n\r\n\r\n\r\n\r\n"_s +
                     changeTable({changeRow(u"Davis, Mary"_s, u"MaDa1"_s, password(2)),
                                  changeRow(u"Dubois, Patricia"_s, u"Not Changed"_s, password(44)),
                                  changeRow(u"Perez, Patricia"_s, u"Not Changed"_s, password(4)),
                                  changeRow(u"Smith, James"_s, u"Not Changed"_s, password(1)),
                                  changeRow(u"White, David"_s, u"Not Changed"_s, password(11))}) +
                     profileLine(1, 2));
        QCOMPARE(QDir(demo->mailFolder).entryList({u"*.eml"_s}).size(), 5);
        QCOMPARE(directory(u"SELECT Name, ExchangeVersion FROM fwtStore ORDER BY StoreID"_s),
                 QStringList({u"MAIL01/2"_s, u"MAIL02/2"_s}));
        QCOMPARE(directory(u"SELECT Name FROM fwtDeviceProfile"_s),
                 QStringList({u"Sales WAP dial-in"_s}));
    }

    // A store that cannot be registered asks whether to go on: Cancel stops before
    // any user and the report says so; OK goes on with the next store and the users.
    void aFailedStore_data()
    {
        QTest::addColumn<QStringList>("e2kServers");
        QTest::addColumn<QStringList>("e55Servers");
        QTest::addColumn<Prompter::Answer>("answer");
        QTest::addColumn<QStringList>("storeLog");
        QTest::addColumn<QStringList>("stores");
        QTest::addColumn<QString>("report");

        // Exchange 5.5 stores are registered through the source database, which holds
        // no stores: the reference installation refuses every one.
        const QString e55Failure = u"AddStore failed for EXCH55 Error Number: 1 Error "
                                   "Description: no such table: fwtStore"_s;
        QTest::newRow("Exchange 5.5 store, Cancel")
            << QStringList{u"MAIL02"_s} << QStringList{u"EXCH55"_s, u"EXCH56"_s}
            << Prompter::Answer::Cancel
            << QStringList{u"Number of E2k servers: 1"_s, u"Adding MAIL02"_s,
                           u"Number of E55 servers: 2"_s, u"Adding EXCH55"_s, e55Failure}
            << QStringList{u"[Server=MAIL02|Status=true|Type=2]"_s,
                           u"[Server=EXCH55|Status=false|Type=5]"_s}
            << u"Status, migrated stores: \r\n\r\n"
               "Exchange 2000/2003: \r\n    Migrated MAIL02 successfully\r\n\r\n\r\n"
               "Exchange 5.5: \r\n    Failed to migrate EXCH55\r\n\r\n\r\n"
               "\r\nStatus, migrated users:\r\n\r\n"
               "No users migrated due to interrupt.\r\n\r\n"_s +
                   profileLine(0, 0);
        QTest::newRow("the first of three, Cancel")
            << QStringList{u"BROKEN"_s, u"MAIL02"_s, u"MAIL03"_s} << QStringList{}
            << Prompter::Answer::Cancel
            << QStringList{u"Number of E2k servers: 3"_s, u"Adding BROKEN"_s,
                           u"AddStore failed for BROKEN Error Number: 1811 Error Description: "
                           "The Directory refuses the store BROKEN"_s}
            << QStringList{u"[Server=BROKEN|Status=false|Type=2]"_s}
            << u"Status, migrated stores: \r\n\r\n"
               "Exchange 2000/2003: \r\n    Failed to migrate BROKEN\r\n\r\n\r\n"
               "\r\nStatus, migrated users:\r\n\r\n"
               "No users migrated due to interrupt.\r\n\r\n"_s +
                   profileLine(0, 0);
        QTest::newRow("Exchange 5.5 store, OK")
            << QStringList{u"MAIL02"_s} << QStringList{u"EXCH55"_s} << Prompter::Answer::Ok
            << QStringList{u"Number of E2k servers: 1"_s,
                           u"Adding MAIL02"_s,
                           u"Number of E55 servers: 1"_s,
                           u"Adding EXCH55"_s,
                           e55Failure,
                           u"Finished adding stores "_s + Time,
                           u"Migrating Users "_s + Time}
            << QStringList{u"[Server=MAIL02|Status=true|Type=2]"_s,
                           u"[Server=EXCH55|Status=false|Type=5]"_s}
            << u"Status, migrated stores: \r\n\r\n"
               "Exchange 2000/2003: \r\n    Migrated MAIL02 successfully\r\n\r\n\r\n"
               "Exchange 5.5: \r\n    Failed to migrate EXCH55\r\n\r\n\r\n"
               "\r\nStatus, migrated users:\r\n\r\n"
               "0 of 1 user(s) successfully migrated\r\n\r\n"
               "1 of 1 user(s) not migrated due to error\r\n\r\n"
               "    Sandra Johnson\r\n\r\n"
               "        Warning(s):\r\n"
               "        PROBLEM: Login ID missing\r\n"
               "        ACTION: User not migrated\r\n\r\n"
               "        Error:\r\n\r\n"
               "        User information was corrupt (See Warnings for details)\r\n\r\n\r\n"_s +
                   profileLine(0, 0);
    }
    void aFailedStore()
    {
        QFETCH(QStringList, e2kServers);
        QFETCH(QStringList, e55Servers);
        QFETCH(Prompter::Answer, answer);
        QFETCH(QStringList, storeLog);
        QFETCH(QStringList, stores);
        QFETCH(QString, report);
        refuse(u"BEFORE INSERT ON fwtStore WHEN NEW.Name = 'BROKEN' BEGIN SELECT RAISE(ABORT, "
               "'The Directory refuses the store BROKEN'); END"_s);
        fixture->prompter().answers = {answer};

        RunChoices choices;
        choices.users = {28};
        choices.addStores = true;
        choices.e2kServers = e2kServers;
        choices.e55Servers = e55Servers;
        QCOMPARE(run(choices), report);

        const QStringList log = fixture->newLogEntries();
        QCOMPARE(log.mid(5, storeLog.size()), storeLog);
        QCOMPARE(describe(engine->cStoreResults), stores);
        QCOMPARE(fixture->prompter().asked.size(), 1);
        const ScriptedPrompter::Asked& asked = fixture->prompter().asked.first();
        const QString failed = stores.last().section(u'=', 1, 1).section(u'|', 0, 0);
        QCOMPARE(asked.text, u"Failed to add %1 as a store for 3.1x, some of the users might not "
                             "migrate successfully. You can add the store manually and then run "
                             "the migration tool again. Do you want to continue with the "
                             "migration process?"_s.arg(failed));
        QCOMPARE(asked.title, u"Could not Add Store"_s);
        QCOMPARE(asked.buttons, Prompter::Buttons::OkCancel);
        if (answer == Prompter::Answer::Cancel) {
            QVERIFY(engine->bInterrupted);
            // The user part ends at once; the profile phase still runs.
            QCOMPARE(log.at(5 + storeLog.size()),
                     u"Starting migration of Device Provisioning profiles "_s + Time);
            QCOMPARE(engine->cUserResults->count(), 0);
        }
    }

    // The description of a registered store names the day and time it was added.
    void aStoresDescription()
    {
        fixture->clock().set(QDateTime(QDate(2004, 1, 9), QTime(7, 5, 3)));
        RunChoices choices;
        choices.addStores = true;
        choices.e2kServers = {u"MAIL02"_s};
        run(choices);
        QCOMPARE(directory(u"SELECT Description FROM fwtStore WHERE Name = 'MAIL02'"_s),
                 QStringList({u"This Exchange 2000/2003 store was manually added at 01-09-2004 "
                              "07:05:03 while migrating users from 3.1x to Zephrin 4.5."_s}));
    }

    void noUsersAndNoProfiles()
    {
        const QString report = run(RunChoices());
        QCOMPARE(report, u"\r\nStatus, migrated users:\r\n\r\n"
                         "0 of 0 user(s) successfully migrated\r\n\r\n"_s +
                             profileLine(0, 0));
        QVERIFY(!engine->cProfileResults);
        QCOMPARE(fixture->newLogEntries().mid(4, 4),
                 QStringList({u"No need to add stores"_s, u"Migrating Users "_s + Time,
                              u"Number of users to migrate: 0"_s,
                              u"Finished migrating users "_s + Time}));
        QCOMPARE(fixture->newLogEntries().mid(12, 3),
                 QStringList({u"Number of Device Provisioning profiles to migrate: 0"_s,
                              u"Finished migrating Device Provisioning profiles "_s + Time,
                              u"Finished migration "_s + Time}));
        QCOMPARE(progress->calls,
                 QStringList({u"description Migrating stores, please wait."_s, u"events"_s,
                              u"description Migrating Users, please wait."_s, u"events"_s,
                              u"value 0"_s, u"minimum 0"_s, u"maximum 1"_s,
                              u"description Migrating stores, please wait."_s, u"events"_s,
                              u"description Migrating Device Provisioning profiles, please "
                              "wait."_s,
                              u"events"_s, u"value 0"_s, u"minimum 0"_s, u"maximum 1"_s}));
    }

    // A user that is gone from the source, or a source that cannot be opened, is
    // listed by its ID; the other users go on.
    void aUserThatCannotBeRead_data()
    {
        QTest::addColumn<bool>("sourceGone");
        QTest::addColumn<QString>("logLine");
        QTest::newRow("not in the source")
            << false
            << u"GetUserInformation Failed Va User ID: 999 Error Number: 5 Error Description: "
               "There is no user with the ID 999 in the 3.1x database"_s;
        QTest::newRow("the source cannot be opened")
            << true
            << u"GetUserInformation Failed Va User ID: 999 Error Number: -2147467259 Error "
               "Description: Cannot open database \"Varnel\": no such database in %1"_s;
    }
    void aUserThatCannotBeRead()
    {
        QFETCH(bool, sourceGone);
        QFETCH(QString, logLine);
        if (sourceGone) {
            logLine = logLine.arg(demo->folder);
        }
        RunChoices choices;
        choices.users = {999};
        choices.newPasswords = false;
        RunState::Fill(*demo, choices);
        if (sourceGone) {
            QVERIFY(QFile::rename(QDir(demo->folder).filePath(u"Varnel.sqlite"_s),
                                  QDir(demo->folder).filePath(u"Varnel.moved"_s)));
        }
        QCOMPARE(runFilled(), u"\r\nStatus, migrated users:\r\n\r\n"
                              "0 of 1 user(s) successfully migrated\r\n\r\n"
                              "1 of 1 user(s) not migrated due to error\r\n\r\n"
                              "    999 No firstname No Surname\r\n\r\n"
                              "        Warning(s):\r\n"
                              "        Error:\r\n\r\n"
                              "        Failed to retrieve user information.\r\n\r\n\r\n"_s +
                                  profileLine(0, 0));
        QVERIFY(fixture->newLogEntries().contains(logLine));
        QCOMPARE(describe(engine->cUserResults),
                 QStringList({u"999=[VaUserID=999|Action=4|Status=false]"_s}));
        QVERIFY(!engine->cUserWarnings->contains(u"999"_s));
    }

    // A user with an essential field missing is not written; its grades explain why.
    void aUserGradedThree_data()
    {
        QTest::addColumn<int>("id");
        QTest::addColumn<bool>("newPasswords");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("problem");
        QTest::newRow("no alias") << 31 << true << u"Stefan Thompson"_s << u"Alias missing"_s;
        QTest::newRow("empty password, passwords kept")
            << 39 << false << u"Kevin Young"_s << u"Password missing"_s;
    }
    void aUserGradedThree()
    {
        QFETCH(int, id);
        QFETCH(bool, newPasswords);
        QFETCH(QString, name);
        QFETCH(QString, problem);
        RunChoices choices;
        choices.users = {id};
        choices.newPasswords = newPasswords;
        const int before = directory(u"SELECT UserID FROM fwtUser"_s).size();
        QCOMPARE(
            run(choices),
            u"\r\nStatus, migrated users:\r\n\r\n"
            "0 of 1 user(s) successfully migrated\r\n\r\n"
            "1 of 1 user(s) not migrated due to error\r\n\r\n"
            "    %1\r\n\r\n"
            "        Warning(s):\r\n"
            "        PROBLEM: %2\r\n"
            "        ACTION: User not migrated\r\n\r\n"
            "        Error:\r\n\r\n"
            "        User information was corrupt (See Warnings for details)\r\n\r\n\r\n"_s.arg(
                name, problem) +
                profileLine(0, 0));
        QCOMPARE(directory(u"SELECT UserID FROM fwtUser"_s).size(), before);
        QCOMPARE(engine->cUserWarnings->collection(QString::number(id))->item(u"Total"_s).toInt(),
                 3);
        QCOMPARE(engine->cMailQueue->count(), 0);
    }

    // Missing and invalid settings are repaired, the user is migrated, and the report
    // tells what was done; the Directory holds the repaired values.
    void warningsRepaired()
    {
        RunChoices choices;
        choices.users = {4, 7, 9, 12, 15, 17, 20, 23, 26};
        choices.newPasswords = false;
        const auto warning = [](const QString& name, const QString& problem,
                                const QString& action) {
            return u"    %1\r\n\r\n        Warning(s):\r\n\r\n        PROBLEM: %2\r\n"
                   "        ACTION: %3\r\n\r\n\r\n"_s.arg(name, problem, action);
        };
        QCOMPARE(run(choices), u"\r\nStatus, migrated users:\r\n\r\n"
                               "0 of 9 user(s) successfully migrated\r\n\r\n"
                               "9 of 9 user(s) migrated with warning(s)\r\n\r\n"_s +
                                   warning(u"Patricia Perez"_s, u"Graphics setting missing"_s,
                                           u"Graphics setting set to false"_s) +
                                   warning(u"Michael Nelson"_s, u"Graphics setting invalid"_s,
                                           u"Graphics setting set to false"_s) +
                                   warning(u"William Martinez"_s, u"Language ID missing"_s,
                                           u"User's language ID set to 1033 (english)"_s) +
                                   warning(u"Ingrid Walker"_s, u"Language not supported"_s,
                                           u"User's language set to english"_s) +
                                   warning(u"Joseph Jones"_s, u"Timezone ID missing"_s,
                                           u"Timezone ID set to 24 (GMT+1)"_s) +
                                   warning(u"Thomas Jackson"_s, u"Enabled setting missing"_s,
                                           u"User set to disabled"_s) +
                                   warning(u"Karen Flores"_s, u"Enabled setting missing"_s,
                                           u"User set to disabled"_s) +
                                   warning(u"Matthew Wilson"_s,
                                           u"Mobile Telephone Number missing"_s, u"No Action"_s) +
                                   warning(u"Margaret Wright"_s,
                                           u"Mobile Telephone Number invalid"_s, u"No Action"_s) +
                                   profileLine(0, 0));
        // Stored as repaired: graphics off, English, time zone 24, disabled, no number;
        // the password as the source kept it.
        QCOMPARE(
            directory(u"SELECT LoginID, GraphicsOn, LanguageID, TimeZoneID, Enabled, "
                      "MobileNumber, Password FROM fwtUser WHERE UserID > 10 ORDER BY UserID"_s),
            QStringList({u"pperez/0/1036/22/1/+44 7700 900003/letmein9"_s,
                         u"mnelson/0/1034/24/1/+44 7700 900006/Summer03"_s,
                         u"wmartinez/1/1033/24/1/+44 7700 900008/Tr0ub4dor"_s,
                         u"iwalker/0/1033/48/1/+44 7700 900011/qwerty12"_s,
                         u"jjones/1/1034/24/1/+44 7700 900014/Tr0ub4dor"_s,
                         u"tjackson/1/1033/4/0/+44 7700 900016/Pa55word"_s,
                         u"kflores/0/1036/22/0/+44 7700 900019/blue42sky"_s,
                         u"mwilson/1/1034/24/1//Pa55word"_s, u"mwright/0/1033/35/0//blue42sky"_s}));
    }

    // A new user whose login ID is taken (and whose first choice is taken too) gets
    // the next free one; action 6 sends the e-mail although passwords are kept.
    void aLoginMadeUnique()
    {
        RunChoices choices;
        choices.users = {2};
        choices.actions = {{2, 6}};
        choices.newPasswords = false;
        QCOMPARE(run(choices),
                 u"\r\nStatus, migrated users:\r\n\r\n"
                 "1 of 1 user(s) successfully migrated\r\n\r\n"_s +
                     changeTable({changeRow(u"Davis, Mary"_s, u"MaDa1"_s, u"Not Changed"_s)}) +
                     profileLine(0, 0));
        QCOMPARE(directory(u"SELECT FirstName, LastName FROM fwtUser WHERE LoginID = 'MaDa1'"_s),
                 QStringList({u"Mary/Davis"_s}));
        const QStringList mails = QDir(demo->mailFolder).entryList({u"*.eml"_s});
        QCOMPARE(mails.size(), 1);
        QFile mail(QDir(demo->mailFolder).filePath(mails.first()));
        QVERIFY(mail.open(QIODevice::ReadOnly));
        QVERIFY(mail.readAll().contains("MaDa1"));
        QVERIFY(fixture->newLogEntries().contains(u"Mail sent to 2 Mary Davis"_s));
    }

    // Action 1 overwrites the Directory user's own fields and leaves its services
    // and their settings as they are.
    void anUpdateLeavesServicesUntouched()
    {
        const QString services = u"SELECT s.ServiceID, s.Position, s.ApplicationID, s.StoreID, "
                                 "t.Name, t.Value FROM fwtService s JOIN fwtServiceSetting t ON "
                                 "t.ServiceID = s.ServiceID WHERE s.OwnerUserID = 10 "
                                 "ORDER BY s.ServiceID, t.Position"_s;
        const QStringList before = directory(services);
        QCOMPARE(before.size(), 31);
        RunChoices choices;
        choices.users = {44};
        choices.actions = {{44, 1}};
        choices.newPasswords = false;
        QCOMPARE(run(choices), u"\r\nStatus, migrated users:\r\n\r\n"
                               "1 of 1 user(s) successfully migrated\r\n\r\n"_s +
                                   profileLine(0, 0));
        QCOMPARE(directory(services), before);
        QCOMPARE(directory(u"SELECT FirstName, LastName, LoginID, LanguageID, TimeZoneID, Enabled, "
                           "Password FROM fwtUser WHERE UserID = 10"_s),
                 QStringList({u"Patricia/Dubois/pdubois/1036/48/0/blue42sky"_s}));
        QCOMPARE(directory(u"SELECT COUNT(*) FROM fwtUser"_s), QStringList({u"10"_s}));
    }

    // Action 2 with a delete that the Directory refuses: nothing is inserted, the
    // Directory user stays.
    void aDeleteThatFails()
    {
        refuse(u"BEFORE DELETE ON fwtUser WHEN OLD.UserID = 6 BEGIN SELECT RAISE(ABORT, "
               "'The user is held by another administrator'); END"_s);
        RunChoices choices;
        choices.users = {22};
        choices.actions = {{22, 2}};
        choices.newPasswords = false;
        QCOMPARE(run(choices),
                 u"\r\nStatus, migrated users:\r\n\r\n"
                 "0 of 1 user(s) successfully migrated\r\n\r\n"
                 "1 of 1 user(s) not migrated due to error\r\n\r\n"
                 "    Nancy Miller\r\n\r\n"
                 "        Warning(s):\r\n"
                 "        Error:\r\n\r\n"
                 "        Failed to delete user before reinsertion, reinsertion aborted\r\n"
                 "\r\n\r\n"_s +
                     profileLine(0, 0));
        QStringList expected = userStart(1, 22, 2);
        expected << u"Ze User ID: 6"_s << u"Calling DeleteUser"_s
                 << u"DeleteUser Failed Va User ID: 22 Error Number: 1811 Error Description: The "
                    "user is held by another administrator"_s
                 << u"Insertion of user aborted since delete failed."_s
                 << u"Finished migrating users "_s + Time;
        QCOMPARE(fixture->newLogEntries().mid(7, expected.size()), expected);
        QCOMPARE(directory(u"SELECT UserID, FirstName, LoginID FROM fwtUser WHERE LoginID IN "
                           "('nmiller', 'NaMi0') ORDER BY UserID"_s),
                 QStringList({u"6/Nancy/nmiller"_s}));
        QCOMPARE(directory(u"SELECT COUNT(*) FROM fwtService WHERE OwnerUserID = 6"_s),
                 QStringList({u"10"_s}));
    }

    // Action 2 whose re-insertion fails: the Directory user is gone, and what it held
    // is in a recovery file beside the log, named after it, for an administrator to
    // put back by hand.
    void aReinsertionThatFails()
    {
        refuse(u"BEFORE INSERT ON fwtUser WHEN NEW.LoginID = 'atorres' BEGIN SELECT "
               "RAISE(ABORT, 'The Directory is being maintained'); END"_s);
        RunChoices choices;
        choices.users = {33};
        choices.actions = {{33, 2}};
        choices.newPasswords = false;
        QCOMPARE(run(choices), u"\r\nStatus, migrated users:\r\n\r\n"
                               "0 of 1 user(s) successfully migrated\r\n\r\n"
                               "1 of 1 user(s) not migrated due to error\r\n\r\n"
                               "    Andrew Torres\r\n\r\n"
                               "        Warning(s):\r\n"
                               "        Error:\r\n\r\n"
                               "        Deleted user but failed to reinsert.\r\n\r\n\r\n"_s +
                                   profileLine(0, 0));
        const QString recovery =
            fixture->folder() + u"/MigrationLog20031204153012-DeletedUsers.txt"_s;
        QCOMPARE(engine->recoveryFilePath(), recovery);
        QStringList expected = userStart(1, 33, 2);
        expected << u"Ze User ID: 8"_s << u"Calling DeleteUser"_s << u"DeleteUser succeeded"_s
                 << u"Calling addUserToDirectory"_s
                 << u"AddUserToDirectory Failed Va User ID: 33 Error Number: 1811 Error "
                    "Description: The Directory is being maintained"_s
                 << u"The deleted Directory user 8 is kept in "_s + recovery +
                        u" to be put back by hand"_s
                 << u"Finished migrating users "_s + Time;
        QCOMPARE(fixture->newLogEntries().mid(7, expected.size()), expected);
        QCOMPARE(directory(u"SELECT COUNT(*) FROM fwtUser WHERE UserID = 8"_s),
                 QStringList({u"0"_s}));

        QFile file(recovery);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString kept = QString::fromUtf8(file.readAll());
        QVERIFY2(kept.startsWith(u"Directory user 8, deleted at 2003-12-04 15:30:12 to migrate "
                                 "the 3.1x user 33 in its place:\r\n"
                                 "    0 user ID: 8\r\n"
                                 "    1 first name: Amanda\r\n"
                                 "    2 last name: Torres\r\n"_s),
                 qPrintable(kept));
        QVERIFY(kept.contains(u"    8 login ID: atorres\r\n"_s));
        QVERIFY(kept.contains(u"    16 mobile telephone number: +44 7700 900000\r\n"_s));
        QVERIFY(kept.contains(u"    9 password (as the Directory stores it): pbkdf2-sha256$"_s));
    }

    // New passwords are made, but e-mail was declined: the users count as migrated,
    // no mail is tried, and the report lists their passwords.
    void newPasswordsWithoutEmail()
    {
        RunChoices choices;
        choices.users = {1, 5};
        choices.sendEmail = false;
        const QString report = run(choices);
        QCOMPARE(report,
                 u"\r\nStatus, migrated users:\r\n\r\n"
                 "2 of 2 user(s) successfully migrated\r\n\r\n"_s +
                     changeTable({changeRow(u"Lewis, Robert"_s, u"Not Changed"_s, password(5)),
                                  changeRow(u"Smith, James"_s, u"Not Changed"_s, password(1))}) +
                     profileLine(0, 0));
        for (const QString& entry : fixture->newLogEntries()) {
            QVERIFY2(!entry.startsWith(u"Mail sent"_s) && !entry.contains(u"MailUser"_s),
                     qPrintable(entry));
        }
        QCOMPARE(QDir(demo->mailFolder).entryList({u"*.eml"_s}).size(), 0);
        for (const auto& [id, login] : {std::pair{1, u"jsmith"_s}, std::pair{5, u"rlewis"_s}}) {
            const QStringList stored =
                directory(u"SELECT Password FROM fwtUser WHERE LoginID = '%1'"_s.arg(login));
            QCOMPARE(stored.size(), 1);
            QVERIFY(ReferencePasswordEncoder::VerifyPassword(password(id), stored.first()));
            QCOMPARE(password(id).size(), 6);
        }
    }

    // Introduction e-mails that cannot be sent: the users stay in the Directory and
    // are reported with code 7. When the mail transport fails in the same way three
    // times in a row (the SMTP server is down), the rest are not tried but get the
    // same error and their log lines at once; other failures are met user by user.
    void emailThatFails_data()
    {
        QTest::addColumn<bool>("serverDown");
        QTest::addColumn<int>("sends");
        QTest::newRow("SMTP server down") << true << 3;
        QTest::newRow("pickup folder gone") << false << 5;
    }
    void emailThatFails()
    {
        QFETCH(bool, serverDown);
        QFETCH(int, sends);
        auto factory = std::make_shared<CountingFactory>(demo->configurationPath);
        Components::setFactory(factory);
        RunChoices choices;
        choices.users = {1, 5, 10, 13, 16};
        std::unique_ptr<SmtpServer> server;
        if (serverDown) {
            server = std::make_unique<SmtpServer>();
            QVERIFY2(server->isRunning(), qPrintable(server->errorString()));
            useSmtp(server->port());
            choices.serviceAccount = {u"svc-migrate"_s, u"svc-migrate@example.com"_s,
                                      u"127.0.0.1"_s};
            RunState::Fill(*demo, choices);
            server.reset();
        } else {
            RunState::Fill(*demo, choices);
            QVERIFY(QDir(demo->mailFolder).removeRecursively());
        }
        const QString report = runFilled();
        QCOMPARE(factory->sends, sends);

        const QString failed = u"    %1\r\n\r\n        Warning(s):\r\n        Error:\r\n\r\n"
                               "        Failed to send introduction E-mail to user\r\n\r\n\r\n"_s;
        QVERIFY2(report.startsWith(u"\r\nStatus, migrated users:\r\n\r\n"
                                   "0 of 5 user(s) successfully migrated\r\n\r\n"
                                   "5 of 5 user(s) not migrated due to error\r\n\r\n"_s +
                                   failed.arg(u"James Smith"_s) + failed.arg(u"Robert Lewis"_s) +
                                   failed.arg(u"Elisabeth Taylor"_s) +
                                   failed.arg(u"Richard Nguyen"_s) +
                                   failed.arg(u"Jessica Lopez"_s) +
                                   u"\r\nUsers with changed Login ID and/or password:"_s),
                 qPrintable(report));
        QCOMPARE(directory(u"SELECT COUNT(*) FROM fwtUser"_s), QStringList({u"15"_s}));

        const QStringList log = fixture->newLogEntries();
        QStringList mailLines;
        for (const QString& entry : log) {
            if (entry.startsWith(u"ZephrinFunctions.MailUser failed  Va User ID: "_s) ||
                entry.startsWith(u"The mail transport"_s)) {
                mailLines << entry;
            }
        }
        QCOMPARE(mailLines.size(), serverDown ? 6 : 5);
        const QString number = serverDown ? u"7"_s : u"75"_s;
        for (const auto& [line, id] : {std::pair{0, 1}, std::pair{1, 5}, std::pair{2, 10}}) {
            QVERIFY2(mailLines.at(line).startsWith(
                         u"ZephrinFunctions.MailUser failed  Va User ID: %1 Error Number: %2 Error "
                         "Description: "_s.arg(id)
                             .arg(number)),
                     qPrintable(mailLines.at(line)));
        }
        if (serverDown) {
            QCOMPARE(mailLines.at(3), u"The mail transport failed for 3 users in a row; the "
                                      "remaining 2 users are not sent an e-mail"_s);
            // The users not tried carry the error of the last one that was.
            const QString error = mailLines.at(2).section(u" Error Number: "_s, 1);
            QCOMPARE(mailLines.at(4), u"ZephrinFunctions.MailUser failed  Va User ID: 13 Error "
                                      "Number: "_s +
                                          error);
            QCOMPARE(mailLines.at(5), u"ZephrinFunctions.MailUser failed  Va User ID: 16 Error "
                                      "Number: "_s +
                                          error);
        }
        QCOMPARE(log.at(log.indexOf(mailLines.last()) + 1), u"Finished migrating users "_s + Time);
    }

    // A profile whose bearer the Directory does not know fails alone.
    void aProfileWithAnUnknownBearer()
    {
        RunChoices choices;
        choices.profiles = {u"Field engineers SMS"_s, u"Pager gateway"_s, u"Prepaid USSD"_s};
        QVERIFY(run(choices).endsWith(profileLine(2, 3)));
        QCOMPARE(describe(engine->cProfileResults).size(), 3);
        QStringList statuses;
        for (int position = 1; position <= 3; ++position) {
            const CollectionPtr record = engine->cProfileResults->collection(position);
            statuses << record->collection(u"Profile"_s)->item(u"ProfileName"_s).toString() + u'=' +
                            record->item(u"Status"_s).toString();
        }
        QCOMPARE(statuses, QStringList({u"Field engineers SMS=true"_s, u"Pager gateway=false"_s,
                                        u"Prepaid USSD=true"_s}));
        QCOMPARE(directory(u"SELECT Name FROM fwtDeviceProfile ORDER BY ProfileID"_s),
                 QStringList({u"Field engineers SMS"_s, u"Prepaid USSD"_s}));
    }

    // Another program locks the Directory after the second user: the remaining users
    // fail with the database's message and nothing of them is written; the report
    // still comes.
    void aDirectoryLockedMidRun()
    {
        EngineSettings::giEmbeddedBusyTimeout = 100;
        RunChoices choices;
        choices.users = {1, 5, 10, 13, 16, 19};
        choices.newPasswords = false;
        RunState::Fill(*demo, choices);
        auto lock = std::make_unique<DatabaseLock>();
        bool locked = false;
        progress->onEvents = [&] {
            if (!locked && progress->calls.contains(u"value 2"_s)) {
                locked = lock->take(QDir(demo->folder).filePath(u"Directory.sqlite"_s));
            }
        };
        const QString report = runFilled();
        if (!locked) {
            QSKIP("no program to hold the lock (python3) was found");
        }
        const QString failed = u"    %1\r\n\r\n        Warning(s):\r\n        Error:\r\n\r\n"
                               "        Failed to create account for user.\r\n\r\n\r\n"_s;
        QCOMPARE(report, u"\r\nStatus, migrated users:\r\n\r\n"
                         "2 of 6 user(s) successfully migrated\r\n\r\n"
                         "4 of 6 user(s) not migrated due to error\r\n\r\n"_s +
                             failed.arg(u"Elisabeth Taylor"_s) + failed.arg(u"Richard Nguyen"_s) +
                             failed.arg(u"Jessica Lopez"_s) + failed.arg(u"Charles Allen"_s) +
                             profileLine(0, 0));
        const QString directoryFile = QDir(demo->folder).filePath(u"Directory.sqlite"_s);
        for (const int id : {10, 13, 16, 19}) {
            const QString line =
                u"AddUserToDirectory Failed Va User ID: %1 Error Number: 5 Error Description: "
                "The database %2 is in use by another program, which keeps it locked; waited "
                "0.1 seconds for it. Try again when that program has finished (database is "
                "locked)"_s.arg(id)
                    .arg(directoryFile);
            QVERIFY2(fixture->newLogEntries().contains(line), qPrintable(line));
        }
        progress->onEvents = {};
        lock.reset();
        // The two users before the lock are whole; of the others nothing is there.
        QCOMPARE(directory(u"SELECT LoginID FROM fwtUser WHERE UserID > 10 ORDER BY UserID"_s),
                 QStringList({u"jsmith"_s, u"rlewis"_s}));
        QCOMPARE(directory(u"SELECT OwnerUserID, COUNT(*) FROM fwtService WHERE OwnerUserID > 10 "
                           "GROUP BY OwnerUserID"_s),
                 QStringList({u"11/10"_s, u"12/10"_s}));
        QCOMPARE(directory(u"SELECT COUNT(*) FROM fwtServiceSetting WHERE ServiceID NOT IN "
                           "(SELECT ServiceID FROM fwtService)"_s),
                 QStringList({u"0"_s}));
    }

    // A user stopped before anything is written is reported as such, not as a failed
    // delete: an action code the run does not know, or a replacement (action 2) whose
    // password or time zone cannot be converted. The log says why; the Directory user
    // that was to be replaced is still there.
    void nothingWrittenIsReportedAsSuch_data()
    {
        QTest::addColumn<int>("user");
        QTest::addColumn<int>("action");
        QTest::addColumn<QString>("sourceChange");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QString>("logLine");
        const QString nothingDeleted =
            u"Failed to prepare user for reinsertion, nothing was deleted."_s;
        QTest::newRow("unknown action")
            << 1 << 9 << QString() << u"Unknown action for user, nothing was written."_s
            << u"Action Failed Va User ID: 1 Error Number: 5 Error Description: The action code "
               "9 is not one of 0, 1, 2 and 6; nothing was written for this user"_s;
        QTest::newRow("replacement, password not character codes")
            << 22 << 2 << u"UPDATE VA_User SET Password = ',115,ecret,' WHERE UserID = 22"_s
            << nothingDeleted
            << u"CharCodesToText Failed Va User ID: 22 Error Number: 13 Error Description: "_s;
        QTest::newRow("replacement, time zone not a number")
            << 22 << 2
            << u"UPDATE VA_UserSetting SET SettingValue = 'Europe' WHERE UserID = 22 AND "
               "SettingID = (SELECT SettingID FROM VA_Setting WHERE SettingName = "
               "'TimezoneIndex')"_s
            << nothingDeleted << u"ConvertTimezoneID Failed Va User ID: 22 Error Number: "_s;
    }

    void nothingWrittenIsReportedAsSuch()
    {
        QFETCH(int, user);
        QFETCH(int, action);
        QFETCH(QString, sourceChange);
        QFETCH(QString, error);
        QFETCH(QString, logLine);
        if (!sourceChange.isEmpty()) {
            DbConnection(demo->sourceConnectionString).execute(sourceChange);
        }
        RunChoices choices;
        choices.users = {user};
        choices.actions = {{user, action}};
        choices.newPasswords = false;
        const QStringList before = directory(u"SELECT UserID, LoginID FROM fwtUser"_s);
        const QString report = run(choices);
        QVERIFY2(report.contains(u"\r\n        Error:\r\n\r\n        "_s + error + u"\r\n"_s),
                 qPrintable(report));
        QCOMPARE(directory(u"SELECT UserID, LoginID FROM fwtUser"_s), before);
        const QStringList log = fixture->newLogEntries();
        QVERIFY2(std::any_of(log.begin(), log.end(),
                             [&](const QString& line) { return line.startsWith(logLine); }),
                 qPrintable(log.join(u'\n')));
        QCOMPARE(engine->cMailQueue->count(), 0);
    }

    // When the log cannot be written, a failed user is told in a message box instead.
    void aFailureThatCannotBeLogged()
    {
        RunChoices choices;
        choices.users = {999};
        RunState::Fill(*demo, choices);
        GlobalVariables::gsLogFileName.clear();
        runFilled();
        QCOMPARE(fixture->prompter().asked.size(), 1);
        const ScriptedPrompter::Asked& asked = fixture->prompter().asked.first();
        QCOMPARE(asked.text, u"An error occured when GetUserInformation was called. User ID=999 "
                             "Error Number: 5 Error Description: There is no user with the ID "
                             "999 in the 3.1x database This message box is shown since the "
                             "error could not be logged."_s);
        QCOMPARE(asked.title, u"Error"_s);
        QCOMPARE(asked.icon, Prompter::Icon::Critical);
        QCOMPARE(asked.buttons, Prompter::Buttons::Ok);
    }

    // Every user and profile of the demo, with the store its users need: the Directory
    // holds exactly the users, services, stores and profiles expected, and the
    // report's counts add up to the users chosen.
    void theWholeDemo_data() { Engines::rows(); }
    void theWholeDemo()
    {
        QFETCH(QString, engine);
        // The demo's source and Directory on the engine; the demo installation lends
        // its configuration and pickup folder.
        const DemoData::DemoContent content = DemoData::Generate(DemoData::DefaultUserCount);
        const TestDatabase source(engine, u"Varnel"_s);
        const TestDatabase target(engine, u"Directory"_s);
        VarnelBuilder::WriteTo(source.connectionString(), content.source);
        DirectoryBuilder::Build(target.connectionString(), content.directory);
        DemoInstallation installation = *demo;
        installation.sourceConnectionString = source.connectionString();
        installation.directoryConnectionString = target.connectionString();
        mDirectory = target.connectionString();
        StatusHolder::SetVarnelDatabase(u"server"_s, u"Varnel"_s, 1,
                                        StatusHolder::SqlServerAuthentication, u"sa"_s, QString(),
                                        true, source.connectionString());
        StatusHolder::SetZephrinDatabase(u"server"_s, u"Directory"_s, 0,
                                         StatusHolder::SqlServerAuthentication, u"sa"_s, QString(),
                                         true, target.connectionString());

        RunChoices choices;
        choices.users = RunState::AllUsers(installation);
        choices.addStores = true;
        choices.e2kServers = {u"EXCH55"_s};
        choices.profiles = RunState::AllProfiles(installation);
        RunState::Fill(installation, choices);
        const QString report = runFilled();

        QVERIFY(report.contains(u"\r\n37 of 50 user(s) successfully migrated\r\n"_s));
        QVERIFY(report.contains(u"\r\n9 of 50 user(s) migrated with warning(s)\r\n"_s));
        QVERIFY(report.contains(u"\r\n4 of 50 user(s) not migrated due to error\r\n"_s));
        QVERIFY(report.endsWith(profileLine(5, 6)));
        QCOMPARE(this->engine->cUserResults->count(), 50);
        QCOMPARE(QDir(demo->mailFolder).entryList({u"*.eml"_s}).size(), 46);

        QCOMPARE(directory(u"SELECT StoreID, Name FROM fwtStore ORDER BY StoreID"_s),
                 QStringList({u"1/MAIL01"_s, u"2/EXCH55"_s}));
        QCOMPARE(directory(u"SELECT COUNT(*) FROM fwtUser WHERE LoginID IN ('sthompson', "
                           "'dbaker', 'pmoore') OR FirstName = 'Sandra'"_s),
                 QStringList({u"0"_s}));
        int migrated = 0;
        for (int position = 1; position <= this->engine->cUserResults->count(); ++position) {
            const CollectionPtr user = this->engine->cUserResults->collection(position);
            if (!user->item(u"Status"_s).toBool()) {
                continue;
            }
            ++migrated;
            const QString login =
                user->value(u"LoginIDChanged"_s, user->item(u"LoginID"_s)).toString();
            const auto rows = DbConnection(mDirectory)
                                  .select(u"SELECT UserID, FirstName, Password, DefaultServiceID "
                                          "FROM fwtUser WHERE LoginID = ?"_s,
                                          {login});
            QCOMPARE(rows.size(), 1);
            QCOMPARE(rows.first().value(1).toString(), user->item(u"Firstname"_s).toString());
            QVERIFY(ReferencePasswordEncoder::VerifyPassword(
                user->item(u"PasswordClear"_s).toString(), rows.first().value(2).toString()));
            const int id = rows.first().value(0).toInt();
            const QString store =
                user->item(u"Exchange Server"_s).toString() == "EXCH55"_L1 ? u"2"_s : u"1"_s;
            QCOMPARE(directory(u"SELECT StoreID, COUNT(*) FROM fwtService WHERE OwnerUserID = %1 "
                               "GROUP BY StoreID"_s.arg(id)),
                     QStringList({store + u"/10"_s}));
            const bool browse =
                user->item(u"deaultstartpoint"_s).toString().toLower() == "browsefolder"_L1;
            QCOMPARE(!rows.first().value(3).isNull(), browse);
        }
        QCOMPARE(migrated, 46);
        // The user without a name is migrated as "Unnamed".
        QCOMPARE(directory(u"SELECT FirstName, LastName FROM fwtUser WHERE LoginID = "
                           "'frontdesk'"_s),
                 QStringList({u"Unnamed/"_s}));
        QCOMPARE(directory(u"SELECT COUNT(*) FROM fwtUser"_s), QStringList({u"56"_s}));
        QCOMPARE(directory(u"SELECT COUNT(*) FROM fwtService"_s), QStringList({u"560"_s}));
        QCOMPARE(directory(u"SELECT Name FROM fwtDeviceProfile ORDER BY ProfileID"_s).size(), 5);
    }

private:
    QString run(const RunChoices& choices)
    {
        RunState::Fill(*demo, choices);
        return runFilled();
    }
    QString runFilled()
    {
        fixture->markLog();
        engine = std::make_unique<MigrationEngine>(*progress);
        engine->Load();
        RunState::Run(*engine);
        return engine->gsReport;
    }

    QString password(int id) const
    {
        return engine->cUserResults->collection(QString::number(id))
            ->value(u"PasswordClear"_s)
            .toString();
    }

    QStringList directory(const QString& sql) const
    {
        return describe(DbConnection(mDirectory).select(sql));
    }

    // The Directory refuses a change: a trigger in its database.
    void refuse(const QString& trigger) const
    {
        DbConnection(mDirectory)
            .execute(u"CREATE TRIGGER refusal"_s + QString::number(++mTriggers) + u' ' + trigger);
    }

    // The demo's mail goes to the SMTP server on the given loopback port.
    void useSmtp(int port)
    {
        QFile file(demo->configurationPath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QString text = QString::fromUtf8(file.readAll());
        file.close();
        text.replace(u"transport=pickup"_s,
                     u"transport=smtp\nsmtphost=127.0.0.1\nsmtpport=%1"_s.arg(port));
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(text.toUtf8());
    }

    std::unique_ptr<PageFixture> fixture;
    const DemoInstallation* demo = nullptr;
    std::unique_ptr<RecordingProgress> progress;
    std::unique_ptr<MigrationEngine> engine;
    mutable int mTriggers = 0;
    // The Directory the run writes to.
    QString mDirectory;
};

QTEST_MAIN(EngineRunTest)
#include "tst_engine_run.moc"

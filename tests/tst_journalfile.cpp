// The journal of a run in this process: what it holds after a run, that it puts the
// pages' state back as they left it, that it and the recovery file of a replacement
// are their owner's only, that a user is not deleted without its copy, and that users
// written but not mailed are counted, logged and mailed by the resume.

#include "db/DbConnection.h"
#include "directory/ComponentFactory.h"
#include "engine/JournalInput.h"
#include "engine/MigrationEngine.h"
#include "engine/RunJournal.h"
#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"
#include "frame/StatusHolder.h"
#include "frame/StopRequest.h"
#include "pages/Finish.h"
#include "pages/PageNames.h"
#include "pages/ResumeRun.h"
#include "reference/TargetComponentFactory.h"
#include "support/Describe.h"
#include "support/PageFixture.h"
#include "support/PlainRights.h"
#include "support/RunState.h"
#include "unattended/OutcomeWatch.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QPushButton>
#include <QStandardPaths>
#include <QTest>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr QFile::Permissions OwnerOnly =
    QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;

QString runOnce(MigrationEngine& engine)
{
    engine.Load();
    RunState::Run(engine);
    return engine.gsReport;
}

} // namespace

class TestJournalFile : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        fixture = std::make_unique<PageFixture>();
        demo = &fixture->useDemo();
    }
    void cleanup()
    {
        fixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    // After a whole run: one file, its owner's only, marked finished, a row per user
    // with its outcome and e-mail, and the input that puts the pages' state back.
    void aFinishedRun()
    {
        RunChoices choices;
        choices.users = {1, 2, 11, 22, 28};
        choices.actions = {{2, 0}, {11, 1}, {22, 2}};
        choices.profiles = {u"Sales WAP dial-in"_s};
        RunState::Fill(*demo, choices);
        const QByteArray before = JournalInput::Capture();

        RecordingProgress progress;
        MigrationEngine engine(progress);
        runOnce(engine);
        const QString path = fixture->folder() + u"/MigrationLog20031204153012-Journal.sqlite"_s;
        QCOMPARE(engine.journalPath(), path);
        QCOMPARE(QFile::permissions(path), OwnerOnly);
        QVERIFY(!QFile::exists(path + u"-wal"_s));

        const auto journal = RunJournal::Open(path);
        QCOMPARE(journal->state(), u"finished"_s);
        QCOMPARE(journal->value(u"log"_s),
                 fixture->folder() + u"/MigrationLog20031204153012.log"_s);
        QStringList users;
        for (int position = 1; position <= 5; ++position) {
            const RunJournal::User user = journal->users().value(position);
            users << u"%1 %2 %3 %4 %5 %6"_s.arg(user.vaUserID)
                         .arg(user.action)
                         .arg(user.code)
                         .arg(user.status || user.queued)
                         .arg(user.newPassword.size())
                         .arg(user.email);
        }
        // User 28 is graded unusable (code 5): planned with a password, never written.
        QCOMPARE(users, QStringList({u"1 0 0 1 6 sent"_s, u"2 0 0 1 6 sent"_s, u"11 1 1 1 6 sent"_s,
                                     u"22 2 2 1 6 sent"_s, u"28 0 5 0 6 "_s}));
        QCOMPARE(journal->profiles().value(1).status, true);

        StatusHolder::Reset();
        JournalInput::Restore(journal->value(u"input"_s).toUtf8());
        QCOMPARE(JournalInput::Capture(), before);
    }

    // A journal whose run is going is its process's alone: another cannot resume it.
    void aJournalInUse()
    {
        const QString path = fixture->folder() + u"/MigrationLog-Journal.sqlite"_s;
        const auto running = RunJournal::Create(path);
        running->setValue(u"format"_s, u"1"_s);
        running->setState(u"running"_s);
        try {
            RunJournal::Open(path);
            QFAIL("a journal in use was opened");
        } catch (const MigrationError& error) {
            QCOMPARE(error.description(), u"The run journal "_s + path +
                                              u" is in use: its migration is still running"_s);
        }
        QVERIFY(ResumeRun::FindUnfinished().isEmpty());
    }

    // A replacement whose copy cannot be written beside the log nor in the per-user
    // folder does not delete the Directory user; a copy that is written is its
    // owner's only.
    void theRecoveryFileComesFirst_data()
    {
        QTest::addColumn<bool>("writable");
        QTest::newRow("the log's folder writable") << true;
        QTest::newRow("no folder writable") << false;
    }
    void theRecoveryFileComesFirst()
    {
        QFETCH(bool, writable);
        RunChoices choices;
        choices.users = {22};
        choices.actions = {{22, 2}};
        choices.newPasswords = false;
        RunState::Fill(*demo, choices);
        const QString fallback = CommonFunctions::FallbackLogFolder();
        RecordingProgress progress;
        MigrationEngine engine(progress);
        MigrationEngine::journalEnabled = false;
        {
            PlainRights plain;
            if (!writable) {
                if (!plain.isActive()) {
                    MigrationEngine::journalEnabled = true;
                    QSKIP(qPrintable(plain.skipReason()));
                }
                // The log goes on in its file, which exists and stays writable; the
                // per-user folder is a file where the folder should be.
                CommonFunctions::WriteLog(u"Test: the folders are made read-only"_s);
                QDir(fallback).removeRecursively();
                QFile blocker(fallback);
                QVERIFY(blocker.open(QIODevice::WriteOnly));
                blocker.close();
                QFile::setPermissions(fixture->folder(), QFile::ReadOwner | QFile::ExeOwner);
            }
            runOnce(engine);
            QFile::setPermissions(fixture->folder(),
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            if (!writable) {
                QFile::remove(fallback);
            }
        }
        MigrationEngine::journalEnabled = true;
        const QString recovery =
            fixture->folder() + u"/MigrationLog20031204153012-DeletedUsers.txt"_s;
        QCOMPARE(QFile::exists(recovery), writable);
        if (writable) {
            QCOMPARE(QFile::permissions(recovery), OwnerOnly);
        } else {
            QVERIFY2(fixture->logEntries().contains(
                         u"DeleteUser Failed Va User ID: 22 Error Number: 75 Error Description: "
                         "The Directory user 6 was not deleted: its copy could not be kept: "_s +
                         recovery + u" cannot be made: the folder "_s + fixture->folder() +
                         u" may not be written to; "_s + fallback +
                         u"/MigrationLog20031204153012-DeletedUsers.txt cannot be made: "_s +
                         fallback + u" is not a folder"_s),
                     qPrintable(fixture->logEntries().join(u'\n')));
        }
        DbConnection directory(demo->directoryConnectionString);
        QCOMPARE(describe(directory.select(u"SELECT COUNT(*) FROM fwtUser WHERE UserID = 6"_s)),
                 QStringList({writable ? u"0"_s : u"1"_s}));
    }

    // The mail server cannot be reached: the users are in the Directory without their
    // e-mail; the summary and the log say how many and how the resume sends them, and
    // the resume (with the mail server back) sends them and touches nothing else.
    void writtenButNotMailed()
    {
        const QString ini = fixture->folder() + u"/unreachable.ini"_s;
        QFile file(ini);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(u"[directory]\nconnectionstring=\"%1\"\npassworditerations=1000\n[mail]\n"
                   "transport=smtp\nsmtphost=127.0.0.1\nsmtpport=%2\ntimeout=2\n"_s
                       .arg(demo->directoryConnectionString)
                       .arg(1)
                       .toUtf8());
        file.close();
        RunChoices choices;
        choices.users = {1, 3, 5};
        RunState::Fill(*demo, choices);
        // The service account passed its test on the pages; the server goes away after.
        Components::setFactory(std::make_shared<TargetComponentFactory>(ini));
        QString journal;
        {
            OutcomeWatch watch;
            RecordingProgress progress;
            MigrationEngine engine(progress);
            runOnce(engine);
            journal = engine.journalPath();
            QCOMPARE(watch.summary().section(u'\n', 0, 0),
                     u"Users: 0 migrated, 0 with warnings, 3 failed (3 of them written to the "
                     "Directory but not mailed: varnel-migrate --resume "_s +
                         journal + u" sends them)"_s);
            QVERIFY(fixture->logEntries().contains(
                u"3 users were written to the Directory but not sent their introduction "
                "e-mail; the resume of the run sends them: varnel-migrate --resume "_s +
                journal));
        }
        const QStringList users = describe(DbConnection(demo->directoryConnectionString)
                                               .select(u"SELECT UserID, Password FROM fwtUser"_s));

        Components::setFactory(std::make_shared<TargetComponentFactory>(demo->configurationPath));
        OutcomeWatch watch;
        RecordingProgress progress;
        MigrationEngine engine(progress);
        engine.resumeFrom(RunJournal::Open(journal));
        runOnce(engine);
        QVERIFY2(watch.summary().startsWith(u"Users: 3 migrated, 0 with warnings, 0 failed\n"_s),
                 qPrintable(fixture->logEntries().join(u'\n').right(3000)));
        QCOMPARE(QDir(demo->mailFolder).entryList({u"*.eml"_s}).size(), 3);
        QCOMPARE(describe(DbConnection(demo->directoryConnectionString)
                              .select(u"SELECT UserID, Password FROM fwtUser"_s)),
                 users);
    }

    // A run stopped after two users: the wizard offers its resume at the start (No
    // leaves the journal, Yes finishes the run on the finish page), and the summary
    // page's Next with the same choices says that the Directory holds users of that
    // run and offers its resume instead of writing them again.
    void theWizardOffersTheResume_data()
    {
        QTest::addColumn<QString>("where");
        QTest::addColumn<bool>("yes");
        QTest::newRow("at the start, declined") << u"start"_s << false;
        QTest::newRow("at the start, resumed") << u"start"_s << true;
        QTest::newRow("before a duplicate run, declined") << u"summary"_s << false;
        QTest::newRow("before a duplicate run, resumed") << u"summary"_s << true;
    }
    void theWizardOffersTheResume()
    {
        QFETCH(QString, where);
        QFETCH(bool, yes);
        RunChoices choices;
        choices.users = {1, 3, 5, 7};
        RunState::Fill(*demo, choices);
        QString journal;
        {
            RecordingProgress progress;
            progress.onEvents = [&progress] {
                if (progress.calls.contains(u"value 2"_s)) {
                    StopRequest::request(u"the test"_s);
                }
            };
            MigrationEngine engine(progress);
            runOnce(engine);
            journal = engine.journalPath();
            QVERIFY(engine.wasStopped());
        }
        StopRequest::reset();
        QCOMPARE(RunJournal::Open(journal)->state(), u"stopped"_s);
        fixture->prompter().answers << (yes ? Prompter::Answer::Yes : Prompter::Answer::No);

        if (where == u"start"_s) {
            QCOMPARE(ResumeRun::OfferAtStart(), yes);
            QVERIFY2(fixture->prompter().messages().value(0).startsWith(
                         u"A migration that was started at 2003-12-04 15:30:12 from "_s),
                     qPrintable(fixture->prompter().messages().value(0)));
            QVERIFY(fixture->prompter().messages().value(0).contains(u"(2 of 4 users done)"_s));
        } else {
            RunState::Fill(*demo, choices);
            auto* summary = fixture->open<WizardPage>(PageNames::UserInputFinished);
            QVERIFY(summary != nullptr);
            PageFixture::click(summary->NextBtn);
            QVERIFY2(fixture->prompter().messages().value(0).startsWith(
                         u"The Directory already holds 2 users that the migration started at "
                         "2003-12-04 15:30:12 from the same database wrote"_s),
                     qPrintable(fixture->prompter().messages().join(u'\n')));
            QCOMPARE(summary->isVisible(), !yes);
        }
        auto* finish = PageFixture::visible<Finish>();
        QCOMPARE(finish != nullptr, yes);
        QCOMPARE(RunJournal::Open(journal)->state(), yes ? u"finished"_s : u"stopped"_s);
        if (yes) {
            // User 7 is migrated with a repaired graphics setting.
            QVERIFY2(finish->gsReport.startsWith(u"\r\nStatus, migrated users:\r\n\r\n3 of 4 "
                                                 "user(s) successfully migrated\r\n\r\n1 of 4 "
                                                 "user(s) migrated with warning(s)\r\n"_s),
                     qPrintable(finish->gsReport));
            QCOMPARE(QDir(demo->mailFolder).entryList({u"*.eml"_s}).size(), 4);
        }
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (auto* page = qobject_cast<WizardPage*>(window)) {
                page->unload();
            }
        }
        PageFixture::processDeletions();
    }

private:
    std::unique_ptr<PageFixture> fixture;
    const DemoInstallation* demo = nullptr;
};

QTEST_MAIN(TestJournalFile)
#include "tst_journalfile.moc"

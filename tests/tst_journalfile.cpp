// The journal of a run in this process, the recovery file of a replacement, and the
// resume of a run that was stopped or could not mail its users.

#include "db/DbConnection.h"
#include "directory/ComponentFactory.h"
#include "engine/JournalInput.h"
#include "engine/MigrationEngine.h"
#include "engine/RunJournal.h"
#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"
#include "frame/StatusHolder.h"
#include "pages/Finish.h"
#include "pages/PageNames.h"
#include "pages/ResumeRun.h"
#include "reference/TargetComponentFactory.h"
#include "support/Describe.h"
#include "support/Golden.h"
#include "support/PageFixture.h"
#include "support/PlainRights.h"
#include "support/ProgramRun.h"
#include "support/RunState.h"
#include "unattended/OutcomeWatch.h"

#include <QDir>
#include <QPushButton>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
// RunChoices named by its members; the rest keep their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

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
        RunState::Fill(*demo, {.users = {1, 2, 11, 22, 28},
                               .actions = {{2, 0}, {11, 1}, {22, 2}},
                               .profiles = {u"Sales WAP dial-in"_s}});
        const QByteArray before = JournalInput::Capture();
        const QString path = runEngine();
        QCOMPARE(path, fixture->folder() + u"/MigrationLog20031204153012-Journal.sqlite"_s);
        QVERIFY(!QFile::exists(path + u"-wal"_s));

        // Its state, log, users (user 28, graded unusable, was planned with a password and
        // never written) and profile.
        const auto journal = RunJournal::Open(path);
        QStringList held{u"permissions %1"_s.arg(QFile::permissions(path), 0, 16), journal->state(),
                         journal->value(u"log"_s)};
        for (int position = 1; position <= 5; ++position) {
            const RunJournal::User user = journal->users().value(position);
            held << u"%1 %2 %3 %4 %5 %6"_s.arg(user.vaUserID)
                        .arg(user.action)
                        .arg(user.code)
                        .arg(user.status || user.queued)
                        .arg(user.newPassword.size())
                        .arg(user.email);
        }
        held << u"profile %1"_s.arg(journal->profiles().value(1).status);
        QCOMPARE_GOLDEN(masked(fixture->folder(), held), u"journalfile/finished.txt"_s);

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

    // A replacement's copy of the Directory user is its owner's only; without a folder
    // for it the user is not deleted (the log says why).
    void theRecoveryFileComesFirst_data()
    {
        QTest::addColumn<bool>("writable");
        QTest::newRow("the log's folder writable") << true;
        QTest::newRow("no folder writable") << false;
    }
    void theRecoveryFileComesFirst()
    {
        QFETCH(bool, writable);
        RunState::Fill(*demo, {.users = {22}, .actions = {{22, 2}}, .newPasswords = false});
        const QString fallback = CommonFunctions::FallbackLogFolder();
        PlainRights plain;
        if (!writable) {
            if (!plain.isActive()) {
                QSKIP(qPrintable(plain.skipReason()));
            }
            // The log stays writable; the per-user folder is a file.
            QDir(fallback).removeRecursively();
            QFile blocker(fallback);
            QVERIFY(blocker.open(QIODevice::WriteOnly));
            QFile::setPermissions(fixture->folder(), QFile::ReadOwner | QFile::ExeOwner);
        }
        MigrationEngine::journalEnabled = false;
        runEngine();
        MigrationEngine::journalEnabled = true;
        QFile::setPermissions(fixture->folder(),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QFile::remove(fallback);
        const QFileInfo recovery(fixture->folder() +
                                 u"/MigrationLog20031204153012-DeletedUsers.txt"_s);
        QCOMPARE_GOLDEN(
            masked(fixture->folder(),
                   QStringList{
                       u"copy %1"_s.arg(recovery.exists() ? recovery.permissions() : 0, 0, 16)} +
                       fixture->logEntries() +
                       describe(DbConnection(demo->directoryConnectionString)
                                    .select(u"SELECT UserID FROM fwtUser WHERE UserID = 6"_s)),
                   fallback),
            Golden::rowFile(u"journalfile/recovery-"_s));
    }

    // The mail server cannot be reached: the users are in the Directory without their
    // e-mail; the summary and the log say how many and how the resume sends them, and
    // the resume (with the mail server back) sends them and touches nothing else.
    void writtenButNotMailed()
    {
        const QString ini = fixture->folder() + u"/unreachable.ini"_s;
        writeFile(ini, u"[directory]\nconnectionstring=\"%1\"\npassworditerations=1000\n[mail]\n"
                       "transport=smtp\nsmtphost=127.0.0.1\nsmtpport=1\ntimeout=2\n"_s
                           .arg(demo->directoryConnectionString)
                           .toUtf8());
        RunState::Fill(*demo, {.users = {1, 3, 5}});
        // The service account passed its test on the pages; the server goes away after.
        Components::setFactory(std::make_shared<TargetComponentFactory>(ini));
        auto watch = std::make_unique<OutcomeWatch>();
        const QString journal = runEngine();
        const QString users = u"SELECT UserID, Password FROM fwtUser"_s;
        const QStringList written =
            describe(DbConnection(demo->directoryConnectionString).select(users));
        QStringList seen = watch->summary().split(u'\n');

        Components::setFactory(std::make_shared<TargetComponentFactory>(demo->configurationPath));
        watch = std::make_unique<OutcomeWatch>();
        runEngine(RunJournal::Open(journal));
        seen << u"== resumed"_s << watch->summary().split(u'\n') << u"== log"_s
             << fixture->logEntries();
        QCOMPARE_GOLDEN(masked(fixture->folder(), seen),
                        u"journalfile/written-but-not-mailed.txt"_s);
        QCOMPARE(QDir(demo->mailFolder).entryList({u"*.eml"_s}).size(), 3);
        QCOMPARE(describe(DbConnection(demo->directoryConnectionString).select(users)), written);
    }

    // A run stopped after two users: the wizard offers its resume at the start (No
    // leaves the journal, Yes finishes the run on the finish page), and the summary
    // page's Next with the same choices says that the Directory holds users of that
    // run and offers its resume instead of writing them again.
    void theWizardOffersTheResume_data()
    {
        QTest::addColumn<bool>("atStart");
        QTest::addColumn<bool>("yes");
        for (const bool atStart : {true, false}) {
            for (const bool yes : {false, true}) {
                QTest::addRow("%s, %s", atStart ? "at the start" : "before a duplicate run",
                              yes ? "resumed" : "declined")
                    << atStart << yes;
            }
        }
    }
    void theWizardOffersTheResume()
    {
        QFETCH(bool, atStart);
        QFETCH(bool, yes);
        const RunChoices choices{.users = {1, 3, 5, 7}};
        RunState::Fill(*demo, choices);
        const QString journal = runEngine({}, 2);
        QCOMPARE(RunJournal::Open(journal)->state(), u"stopped"_s);
        fixture->prompter().answers << (yes ? Prompter::Answer::Yes : Prompter::Answer::No);
        if (atStart) {
            QCOMPARE(ResumeRun::OfferAtStart(), yes);
        } else {
            RunState::Fill(*demo, choices);
            auto* summary = fixture->open<WizardPage>(PageNames::UserInputFinished);
            PageFixture::click(summary->NextBtn);
            QCOMPARE(summary->isVisible(), !yes);
        }
        auto* finish = PageFixture::visible<Finish>();
        QCOMPARE(finish != nullptr, yes);
        QCOMPARE(RunJournal::Open(journal)->state(), yes ? u"finished"_s : u"stopped"_s);
        // Resumed, user 7 is migrated with a repaired graphics setting.
        QCOMPARE_GOLDEN(
            masked(fixture->folder(),
                   fixture->prompter().messages() +
                       QStringList{finish ? withoutPasswords(finish->gsReport) : QString()}),
            Golden::rowFile(u"journalfile/resume-"_s));
        QVERIFY(!yes || QDir(demo->mailFolder).entryList({u"*.eml"_s}).size() == 4);
    }

private:
    std::unique_ptr<PageFixture> fixture;
    const DemoInstallation* demo = nullptr;
};

QTEST_MAIN(TestJournalFile)
#include "tst_journalfile.moc"

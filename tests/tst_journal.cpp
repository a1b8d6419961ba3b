// The program killed (or sent SIGTERM) at known points of an unattended run, then
// resumed with --resume, leaves what the same run leaves uninterrupted.

#include "db/DbConnection.h"
#include "reference/ReferencePasswordEncoder.h"
#include "support/Golden.h"
#include "support/ProgramRun.h"
#include "support/TestServerControl.h"

#include <QDir>
#include <QHash>
#include <QProcess>
#include <QRegularExpression>
#include <QSqlRecord>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

// Enough for two batches of the journal, few enough that the suite stays quick.
constexpr int Users = 90;

const QStringList AnswersArguments = {u"--answers"_s, u"answers.ini"_s, u"--outcome"_s,
                                      u"outcome.csv"_s};

QString journalOf(const Installation& run)
{
    const QStringList found =
        QDir(run.folder()).entryList({u"MigrationLog*-Journal.sqlite"_s}, QDir::Files);
    return found.isEmpty() ? QString() : run.path(found.first());
}

ProgramOutput resume(Installation& run)
{
    return run.run({u"--resume"_s, journalOf(run), u"--outcome"_s, u"outcome.csv"_s});
}

// The last report saved (a stopped run saves the report so far first).
QString reportOf(const Installation& run)
{
    const QString all = QString::fromLatin1(readAll(run.path(u"report.txt"_s)));
    return all.mid(qMax<qsizetype>(0, all.lastIndexOf(u"Status, migrated stores: "_s)));
}

// Every login's last e-mail: the password it tells.
QHash<QString, QString> mailedPasswords(const Installation& run)
{
    static const QRegularExpression line(u"login ID (\\S+) is now: (\\S+)"_s);
    const QDir mail(run.mailFolder());
    QHash<QString, QString> passwords;
    for (const QString& file : mail.entryList({u"*.eml"_s}, QDir::Files, QDir::Name)) {
        const QRegularExpressionMatch match =
            line.match(QString::fromUtf8(readAll(mail.filePath(file))));
        if (match.hasMatch()) {
            passwords.insert(match.captured(1), match.captured(2));
        }
    }
    return passwords;
}

void writeAnswers(const Installation& run)
{
    writeFile(run.path(u"answers.ini"_s),
              (run.sections() +
               u"[stores]\nexchange55=EXCH55\ncould-not-add-store=continue\n[users]\n"
               "migrate=all\n[conflicts]\ndefault=replace\n2=new-login\n11=update\n"
               "[email]\ntemplate=New password\n[profiles]\nmigrate=all\n"
               "[report]\nsave=report.txt\n"_s)
                  .toUtf8());
}

// What the run left: Directory, report, outcome, logins mailed, and each password
// mailed or in the report that the Directory does not verify.
QString traceOf(const Installation& run)
{
    QHash<QString, QString> stored;
    for (const QSqlRecord& row : DbConnection(run.target.connectionString())
                                     .select(u"SELECT LoginID, Password FROM fwtUser"_s)) {
        stored.insert(row.value(0).toString(), row.value(1).toString());
    }
    QStringList wrong;
    const QHash<QString, QString> mailed = mailedPasswords(run);
    for (auto it = mailed.cbegin(); it != mailed.cend(); ++it) {
        if (!ReferencePasswordEncoder::VerifyPassword(it.value(), stored.value(it.key()))) {
            wrong << u"mail "_s + it.key();
        }
    }
    const QString report = reportOf(run);
    for (const auto& [login, password] : changedPasswords(report)) {
        if (login != u"Not Changed"_s &&
            !ReferencePasswordEncoder::VerifyPassword(password, stored.value(login))) {
            wrong << u"report "_s + login;
        }
    }
    QStringList logins = mailed.keys();
    logins.sort();
    wrong.sort();
    return (QStringList{u"== Directory"_s} + run.directory() + QStringList{u"== report"_s} +
            withoutPasswords(report).split(u"\r\n"_s) + QStringList{u"== outcome"_s} +
            QString::fromUtf8(readAll(run.path(u"outcome.csv"_s))).split(u"\r\n"_s) +
            QStringList{u"== mailed"_s} + logins + QStringList{u"== wrong passwords"_s} + wrong)
               .join(u'\n') +
           u'\n';
}

} // namespace

class TestJournal : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { mContent = DemoData::Generate(Users); }

    void stopAndResume_data()
    {
        Engines::addColumn();
        QTest::addColumn<QString>("stopAt");
        QTest::addColumn<int>("status");
        // On SQL Server only the points where the Directory must be asked what landed,
        // and the clean stop: each run there costs seconds of the server's logins.
        const auto row = [](const char* name, const QString& stopAt, int status, bool server) {
            for (const QString& engine : Engines::available()) {
                if (engine == Engines::Embedded || server) {
                    QTest::addRow("%s: %s", qPrintable(engine), name) << engine << stopAt << status;
                }
            }
        };
        row("uninterrupted", QString(), 1, true);
        row("killed before the first user", u"users-planned:1"_s, -1, false);
        row("killed with a batch planned, none written", u"users-planned:2"_s, -1, true);
        row("killed after a write, before its record", u"user-written:70"_s, -1, true);
        row("killed between users", u"user-done:75"_s, -1, false);
        row("killed in the e-mail pass", u"mail-sent:40"_s, -1, false);
        row("killed after the store", u"store-done:1"_s, -1, false);
        row("killed before a profile's write", u"profile-planned:3"_s, -1, true);
        row("killed after a profile", u"profile-done:2"_s, -1, false);
        row("killed while the report is written", u"report:1"_s, -1, false);
        // Stopped cleanly: status 3, then resumed.
        row("SIGTERM between users", u"user-done:60:TERM"_s, 3, true);
        row("SIGTERM in the e-mail pass", u"mail-sent:20:TERM"_s, 3, false);
    }

    void stopAndResume()
    {
        QFETCH(QString, engine);
        QFETCH(QString, stopAt);
        QFETCH(int, status);
        Installation run(engine, mContent);
        writeAnswers(run);
        const ProgramOutput stopped =
            run.run(AnswersArguments, {u"VARNEL_TEST_JOURNAL_STOP="_s + stopAt});
        QCOMPARE(stopped.status, status);
        const QString journal = journalOf(run);
        QVERIFY(!journal.isEmpty());
        QCOMPARE(QFile::permissions(journal),
                 QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);
        if (status == 3) {
            QVERIFY2(stopped.out.contains(u"Users: "_s), qPrintable(stopped.out));
            const QString log = QString::fromLatin1(
                readAll(QString(journal).replace(u"-Journal.sqlite"_s, u".log"_s)));
            QVERIFY2(log.contains(u"The run was stopped by SIGTERM; the report covers what was "
                                  "done so far. To finish it: varnel-migrate --resume "_s +
                                  journal),
                     qPrintable(log.right(2000)));
        }
        if (!stopAt.isEmpty()) {
            const ProgramOutput resumed = resume(run);
            QVERIFY2(resumed.status == 1, qPrintable(resumed.err));
        }
        QCOMPARE_GOLDEN(traceOf(run), u"journal/uninterrupted.txt"_s);
    }

    // The Directory's server goes away mid-run (as in a crash) and comes back before
    // the resume: what failed meanwhile is tried again. Needs a T-SQL test server of
    // the tester's own, named by its state folder in VARNEL_TEST_TSQL_STATE.
    void serverGoneMidRun()
    {
        const QString state = qEnvironmentVariable("VARNEL_TEST_TSQL_STATE");
        if (state.isEmpty() || !Engines::available().contains(Engines::SqlServer)) {
            QSKIP("VARNEL_TEST_TSQL_STATE names no T-SQL test server of this test's own");
        }
        Installation run(Engines::SqlServer, mContent);
        writeAnswers(run);
        QProcess program;
        program.setWorkingDirectory(run.folder());
        program.start(run.program(), QStringList{u"--config"_s, run.ini()} + AnswersArguments);
        // How many users the program has written, from its log (the journal is its
        // alone while it runs).
        QTRY_VERIFY_WITH_TIMEOUT(readAll(journalOf(run).replace(u"-Journal.sqlite"_s, u".log"_s))
                                         .count("AddUserToDirectory succeeded") >= 60,
                                 120000);
        QVERIFY(TestServerControl::Stop(state));
        QVERIFY(program.waitForFinished(300000));
        QCOMPARE(program.exitCode(), 1);
        QVERIFY(TestServerControl::Start(state));
        // The connections this process kept in the driver manager's pool died with the
        // server: each failed use takes one away.
        bool back = false;
        for (int attempt = 0; attempt < 50 && !back; ++attempt) {
            try {
                DbConnection(run.target.connectionString()).select(u"SELECT 1"_s);
                back = true;
            } catch (const std::exception&) {
                QTest::qWait(100);
            }
        }
        QVERIFY(back);
        QCOMPARE(resume(run).status, 1);
        QCOMPARE_GOLDEN(traceOf(run), u"journal/uninterrupted.txt"_s);
    }

private:
    DemoData::DemoContent mContent;
};

QTEST_MAIN(TestJournal)
#include "tst_journal.moc"

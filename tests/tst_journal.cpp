// An interrupted run finished from its journal: the program killed (or sent SIGTERM) at
// known points of an unattended run, then resumed with --resume, must leave what the
// same run leaves uninterrupted: the same Directory, the same report (its new
// passwords aside) and outcome file, and every changed user's last e-mail carrying the
// password the Directory holds. The journal and the recovery file are their owner's
// only; users written but not mailed are named and mailed by the resume.

#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/VarnelBuilder.h"
#include "demo/DemoData.h"
#include "reference/DirectoryBuilder.h"
#include "reference/ReferencePasswordEncoder.h"
#include "support/Describe.h"
#include "support/Engines.h"
#include "support/TestServerControl.h"
#include "unattended/AnswersFile.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QRegularExpression>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QTest>
#include <memory>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// Few enough that the suite stays quick, enough for several batches of the journal.
constexpr int Users = 150;

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
}

QString databaseSection(const QString& section, const TestDatabase& database)
{
    const ConnectionParts parts = ParseConnectionString(database.connectionString());
    QString text = u"[%1]\nserver=%2\n"_s.arg(section, parts.dataSource);
    if (!database.isEmbedded()) {
        text += u"authentication=sql\nlogin=%1\npassword=%2\n"_s.arg(
            parts.userID, AnswersFile::Quoted(parts.password));
    }
    return text + u"database=%1\n\n"_s.arg(database.name());
}

// The report with the passwords of its change table blanked (new on every run).
QString withoutPasswords(const QString& report)
{
    QStringList lines = report.split(u"\r\n"_s);
    const qsizetype head = lines.indexOf(u"Users with changed Login ID and/or password:"_s);
    for (qsizetype i = head + 4; head >= 0 && i < lines.size(); ++i) {
        if (lines.at(i).startsWith(u"---"_s)) {
            break;
        }
        lines[i] = lines.at(i).left(62);
    }
    return lines.join(u"\r\n"_s);
}

// One migration: its own source and Directory on the engine, a program folder (the
// program is linked into it, so its log and journal go there) and a mail folder.
class Installation
{
public:
    Installation(const QString& engine, const DemoData::DemoContent& content)
        : source(engine, u"Varnel"_s), target(engine, u"Directory"_s)
    {
        VarnelBuilder::WriteTo(source.connectionString(), content.source);
        DirectoryBuilder::Build(target.connectionString(), content.directory);
        QDir().mkpath(mailFolder());
        program = folder.filePath(u"varnel-migrate"_s);
        if (::link(VARNEL_MIGRATE_BINARY, QFile::encodeName(program).constData()) != 0) {
            QFile::copy(QStringLiteral(VARNEL_MIGRATE_BINARY), program);
        }
        writeFile(folder.filePath(u"zephrin.ini"_s),
                  u"[global]\nproductname=Zephrin 4.5\n[directory]\nconnectionstring=\"%1\"\n"
                  "passworditerations=1000\n[mail]\ntransport=pickup\npickupfolder=%2\n"_s
                      .arg(target.connectionString(), mailFolder())
                      .toUtf8());
        writeFile(folder.filePath(u"answers.ini"_s),
                  (databaseSection(u"source"_s, source) + databaseSection(u"target"_s, target) +
                   u"[stores]\nexchange55=EXCH55\ncould-not-add-store=continue\n[users]\n"
                   "migrate=all\n[conflicts]\ndefault=replace\n2=new-login\n11=update\n"
                   "[email]\ntemplate=New password\n[profiles]\nmigrate=all\n"
                   "[report]\nsave=report.txt\n"_s)
                      .toUtf8());
    }

    QString mailFolder() const { return folder.filePath(u"mail"_s); }
    QString journal() const
    {
        const QStringList found =
            QDir(folder.path()).entryList({u"MigrationLog*-Journal.sqlite"_s}, QDir::Files);
        return found.isEmpty() ? QString() : folder.filePath(found.first());
    }

    // Runs the program with the arguments; the environment may name a stop point.
    QProcess* run(const QStringList& arguments, const QString& stopAt = QString())
    {
        auto* process = new QProcess;
        processes.emplace_back(process);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (!stopAt.isEmpty()) {
            environment.insert(u"VARNEL_TEST_JOURNAL_STOP"_s, stopAt);
        }
        process->setProcessEnvironment(environment);
        process->setWorkingDirectory(folder.path());
        process->start(program,
                       QStringList{u"--config"_s, folder.filePath(u"zephrin.ini"_s)} + arguments);
        process->waitForFinished(180000);
        return process;
    }
    QProcess* runAnswers(const QString& stopAt = QString())
    {
        return run({u"--answers"_s, u"answers.ini"_s, u"--outcome"_s, u"outcome.csv"_s}, stopAt);
    }
    QProcess* resume() { return run({u"--resume"_s, journal(), u"--outcome"_s, u"outcome.csv"_s}); }

    // What the run left: Directory rows (no encoded password), the report without its
    // passwords, the outcome file, and the logins mailed.
    QStringList directory() const
    {
        DbConnection connection(target.connectionString());
        QStringList rows;
        for (const QString& sql :
             {u"SELECT UserID, FirstName, LastName, LoginID, Enabled, LanguageID, TimeZoneID, "
              "MobileNumber, GraphicsOn, LogonFailureCount, DefaultServiceID FROM fwtUser "
              "ORDER BY UserID"_s,
              u"SELECT ServiceID, OwnerUserID, ApplicationID, StoreID FROM fwtService ORDER BY "
              "ServiceID"_s,
              u"SELECT Name FROM fwtDeviceProfile ORDER BY ProfileID"_s}) {
            rows << describe(connection.select(sql));
        }
        return rows;
    }
    // The last report saved (a stopped run saves the report so far first).
    QString report() const
    {
        const QString all = QString::fromLatin1(readAll(folder.filePath(u"report.txt"_s)));
        return all.mid(qMax<qsizetype>(0, all.lastIndexOf(u"Status, migrated stores: "_s)));
    }

    // Every login's last e-mail: the password it tells.
    QHash<QString, QString> mailedPasswords() const
    {
        static const QRegularExpression line(u"login ID (\\S+) is now: (\\S+)"_s);
        QStringList files = QDir(mailFolder()).entryList({u"*.eml"_s}, QDir::Files, QDir::Name);
        QHash<QString, QString> passwords;
        for (const QString& file : files) {
            const QRegularExpressionMatch match =
                line.match(QString::fromUtf8(readAll(QDir(mailFolder()).filePath(file))));
            if (match.hasMatch()) {
                passwords.insert(match.captured(1), match.captured(2));
            }
        }
        return passwords;
    }

    // The logins whose mailed password, and whose password in the report's change
    // table, do not verify against the Directory.
    QStringList wrongPasswords() const
    {
        QHash<QString, QString> stored;
        for (const QSqlRecord& row : DbConnection(target.connectionString())
                                         .select(u"SELECT LoginID, Password FROM fwtUser"_s)) {
            stored.insert(row.value(0).toString(), row.value(1).toString());
        }
        QStringList wrong;
        const QHash<QString, QString> mailed = mailedPasswords();
        for (auto it = mailed.cbegin(); it != mailed.cend(); ++it) {
            if (!ReferencePasswordEncoder::VerifyPassword(it.value(), stored.value(it.key()))) {
                wrong << u"mail "_s + it.key();
            }
        }
        const QStringList lines = report().split(u"\r\n"_s);
        const qsizetype head = lines.indexOf(u"Users with changed Login ID and/or password:"_s);
        for (qsizetype i = head + 4; head >= 0 && i < lines.size(); ++i) {
            if (lines.at(i).startsWith(u"---"_s) || lines.at(i).size() < 62) {
                break;
            }
            const QString login = lines.at(i).mid(31, 30).trimmed();
            const QString password = lines.at(i).mid(62).trimmed();
            if (login != u"Not Changed"_s &&
                !ReferencePasswordEncoder::VerifyPassword(password, stored.value(login))) {
                wrong << u"report "_s + login;
            }
        }
        return wrong;
    }

    TestDatabase source;
    TestDatabase target;
    QTemporaryDir folder;
    QString program;
    std::vector<std::unique_ptr<QProcess>> processes;
};

struct Reference
{
    QStringList directory;
    QString report;
    QByteArray outcome;
    QStringList mailed;
};

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
        // Every point on the embedded engine. On SQL Server only the points where the
        // Directory must be asked what landed, and the clean stop: each run there costs
        // about twenty seconds of the test server's logins.
        const auto row = [](const char* name, const QString& stopAt, int status, bool server) {
            for (const QString& engine : Engines::available()) {
                if (engine == Engines::Embedded || server) {
                    QTest::addRow("%s: %s", qPrintable(engine), name) << engine << stopAt << status;
                }
            }
        };
        // Killed: before the first user, inside a user's Directory write (planned and
        // not begun; landed and not recorded), between users, in the e-mail pass, in
        // the store and profile phases, while the report is written.
        row("killed before the first user", u"users-planned:1"_s, -9, false);
        row("killed with a batch planned, none written", u"users-planned:2"_s, -9, true);
        row("killed after a write, before its record", u"user-written:70"_s, -9, true);
        row("killed between users", u"user-done:101"_s, -9, false);
        row("killed in the e-mail pass", u"mail-sent:40"_s, -9, false);
        row("killed after the store", u"store-done:1"_s, -9, false);
        row("killed before a profile's write", u"profile-planned:3"_s, -9, true);
        row("killed after a profile", u"profile-done:2"_s, -9, false);
        row("killed while the report is written", u"report:1"_s, -9, false);
        // Stopped cleanly: status 3, then resumed.
        row("SIGTERM between users", u"user-done:60:TERM"_s, 3, true);
        row("SIGTERM in the e-mail pass", u"mail-sent:20:TERM"_s, 3, false);
    }

    void stopAndResume()
    {
        QFETCH(QString, engine);
        QFETCH(QString, stopAt);
        QFETCH(int, status);
        const Reference& expected = reference(engine);

        Installation installation(engine, mContent);
        QProcess* stopped = installation.runAnswers(stopAt);
        if (status < 0) {
            QCOMPARE(stopped->exitStatus(), QProcess::CrashExit);
        } else {
            QCOMPARE(stopped->exitCode(), status);
            const QString out = QString::fromLocal8Bit(stopped->readAllStandardOutput());
            QVERIFY2(out.contains(u"Users: "_s), qPrintable(out));
            const QString log = QString::fromLatin1(
                readAll(QString(installation.journal()).replace(u"-Journal.sqlite"_s, u".log"_s)));
            QVERIFY2(log.contains(u"The run was stopped by SIGTERM; the report covers what was "
                                  "done so far. To finish it: varnel-migrate --resume "_s +
                                  installation.journal()),
                     qPrintable(log.right(2000)));
        }
        QVERIFY(!installation.journal().isEmpty());
        QCOMPARE(QFile::permissions(installation.journal()),
                 QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);

        QProcess* resumed = installation.resume();
        QVERIFY2(resumed->exitStatus() == QProcess::NormalExit && resumed->exitCode() == 1,
                 qPrintable(resumed->readAllStandardError()));
        QCOMPARE(installation.directory(), expected.directory);
        QCOMPARE(withoutPasswords(installation.report()), withoutPasswords(expected.report));
        QCOMPARE(readAll(installation.folder.filePath(u"outcome.csv"_s)), expected.outcome);
        QStringList mailed = installation.mailedPasswords().keys();
        mailed.sort();
        QCOMPARE(mailed, expected.mailed);
        QCOMPARE(installation.wrongPasswords(), QStringList());
    }

    // The Directory's server goes away in the middle of the run (stopped as a crash
    // would stop it) and comes back before the resume: the users, e-mails and profiles
    // that failed meanwhile are tried again, and the run ends as if nothing had
    // happened. Needs a T-SQL test server of the tester's own, named by its state
    // folder in VARNEL_TEST_TSQL_STATE (stopping it would fail every other test that
    // uses a shared one).
    void serverGoneMidRun()
    {
        const QString state = qEnvironmentVariable("VARNEL_TEST_TSQL_STATE");
        if (state.isEmpty() || !Engines::available().contains(Engines::SqlServer)) {
            QSKIP("VARNEL_TEST_TSQL_STATE names no T-SQL test server of this test's own");
        }
        const Reference& expected = reference(Engines::SqlServer);
        Installation installation(Engines::SqlServer, mContent);
        QProcess run;
        run.setWorkingDirectory(installation.folder.path());
        run.start(installation.program,
                  {u"--config"_s, installation.folder.filePath(u"zephrin.ini"_s), u"--answers"_s,
                   u"answers.ini"_s, u"--outcome"_s, u"outcome.csv"_s});
        QTRY_VERIFY_WITH_TIMEOUT(usersDone(installation.folder.path()) >= 60, 120000);
        QVERIFY(TestServerControl::Stop(state));
        QVERIFY(run.waitForFinished(300000));
        QCOMPARE(run.exitCode(), 1);
        QVERIFY(TestServerControl::Start(state));
        // The connections this process kept in the driver manager's pool died with the
        // server: each failed use takes one away.
        bool back = false;
        for (int attempt = 0; attempt < 50 && !back; ++attempt) {
            try {
                DbConnection(installation.target.connectionString()).select(u"SELECT 1"_s);
                back = true;
            } catch (const std::exception&) {
                QTest::qWait(100);
            }
        }
        QVERIFY(back);

        QProcess* resumed = installation.resume();
        QCOMPARE(resumed->exitCode(), 1);
        QCOMPARE(installation.directory(), expected.directory);
        QCOMPARE(withoutPasswords(installation.report()), withoutPasswords(expected.report));
        QCOMPARE(readAll(installation.folder.filePath(u"outcome.csv"_s)), expected.outcome);
        QCOMPARE(installation.wrongPasswords(), QStringList());
    }

    void cleanupTestCase() { mReferences.clear(); }

private:
    // How many users the running program has written, from its log (the journal is
    // its alone while it runs).
    static int usersDone(const QString& folder)
    {
        const QStringList logs = QDir(folder).entryList({u"MigrationLog*.log"_s}, QDir::Files);
        return logs.isEmpty() ? 0
                              : int(readAll(QDir(folder).filePath(logs.first()))
                                        .count("AddUserToDirectory succeeded"));
    }

    // The same run uninterrupted on each engine, once.
    const Reference& reference(const QString& engine)
    {
        if (!mReferences.contains(engine)) {
            Installation installation(engine, mContent);
            QProcess* run = installation.runAnswers();
            Reference made;
            if (run->exitCode() == 1) {
                made.directory = installation.directory();
                made.report = installation.report();
                made.outcome = readAll(installation.folder.filePath(u"outcome.csv"_s));
                made.mailed = installation.mailedPasswords().keys();
                made.mailed.sort();
            }
            mReferences.insert(engine, made);
        }
        return mReferences[engine];
    }

    DemoData::DemoContent mContent;
    QHash<QString, Reference> mReferences;
};

QTEST_MAIN(TestJournal)
#include "tst_journal.moc"

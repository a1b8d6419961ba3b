// The wizard walked from an answers file, without a person, in this process and as
// the program; the example of docs/answers-file.md run as it stands.

#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/VarnelBuilder.h"
#include "demo/DemoInstallation.h"
#include "directory/ComponentFactory.h"
#include "pages/ConflictDecision.h"
#include "pages/Finish.h"
#include "pages/PageNames.h"
#include "reference/TargetComponentFactory.h"
#include "support/DemoWalk.h"
#include "support/Describe.h"
#include "support/Golden.h"
#include "support/PageFixture.h"
#include "support/ProgramRun.h"
#include "unattended/AnswersFile.h"
#include "unattended/AnswersRecorder.h"
#include "unattended/OutcomeWatch.h"

#include <QDir>
#include <QPushButton>
#include <QRegularExpression>
#include <QSqlRecord>
#include <QTest>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString Stopped = u"Answers file: the wizard stopped: "_s;

// The example's answers on a demo in another folder.
QString exampleFor(const QString& demoFolder)
{
    return docsExample(u"ini"_s).replace(u"server=sqlite:varnel-demo"_s,
                                         u"server=sqlite:"_s + demoFolder);
}

// The 1-based number of the first line that begins with start.
int lineOf(const QString& text, const QString& start)
{
    return int(text.left(text.indexOf(u'\n' + start) + 1).count(u'\n')) + 1;
}

// The cases of a file under tests/data/unattended: "== <name>", its lines, "=> <message>".
QList<std::pair<QStringList, QString>> casesOf(const QString& name)
{
    QList<std::pair<QStringList, QString>> cases;
    const QString path = QStringLiteral(TESTS_SOURCE_DIR "/data/unattended/") + name;
    for (const QString& block : QString::fromUtf8(readAll(path)).split(u"\n== "_s).mid(1)) {
        cases.append({block.section(u"\n=> "_s, 0, 0).split(u'\n'),
                      block.section(u"\n=> "_s, 1).section(u'\n', 0, 0)});
    }
    return cases;
}

// Counts the conflict dialogs shown.
struct DialogCount : QObject
{
    int shown = 0;
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        shown += event->type() == QEvent::Show && qobject_cast<ConflictDecision*>(watched);
        return false;
    }
};

} // namespace

class TestUnattended : public QObject
{
    Q_OBJECT
private slots:
    // The demo is made once; every run starts from a copy at the same place. The same
    // choices are clicked through the pages once, recording the answers.
    void initTestCase()
    {
        mDirectory = DemoInstallation::Create(mDemoFolder).directoryConnectionString;
        QVERIFY(copyFolder(mDemoFolder, mPristine));
        QVERIFY(!docsExample(u"ini"_s).isEmpty() && !docsExample(u"sh"_s).isEmpty());

        PageFixture fixture;
        useConfiguration(mDemoFolder + u"/zephrin.ini"_s);
        auto recorder = std::make_shared<AnswersRecorder>(
            std::shared_ptr<Prompter>(&fixture.prompter(), [](Prompter*) {}));
        AppPrompter::setPrompter(recorder);
        OutcomeWatch watch(mWork.filePath(u"clicked.csv"_s));
        DemoWalk walk(fixture, mDemoFolder);
        walk.start();
        QVERIFY2(walk.walkTo(PageNames::UserInputFinished), qPrintable(walk.currentName()));
        PageFixture::click(walk.current()->NextBtn);
        auto* finish = PageFixture::visible<Finish>();
        QVERIFY(finish != nullptr);
        fixture.prompter().fileNames << mWork.filePath(u"clicked-report.txt"_s);
        PageFixture::click(finish->WriteToFileBtn);
        PageFixture::click(finish->CancelBtn);
        QVERIFY(PageFixture::visibleWindows<QWidget>().isEmpty());
        QCOMPARE(watch.exitStatus(), 1);
        mClickedLog = withoutTimes(fixture.logEntries());
        mClickedDirectory = directoryRows();
        mClickedReport = readAll(mWork.filePath(u"clicked-report.txt"_s));
        mClickedCsv = readAll(mWork.filePath(u"clicked.csv"_s));
        QVERIFY(!mClickedReport.isEmpty());
        recorder->write(mWork.filePath(u"written.ini"_s));
    }

    void cleanup() { QCOMPARE(PageFixture::openConnections(), QStringList()); }

    void answersRunGivesTheClickedRun_data()
    {
        QTest::addColumn<bool>("written");
        QTest::newRow("the example of docs/answers-file.md") << false;
        QTest::newRow("the answers --write-answers wrote of the clicked run") << true;
    }

    // The demo from an answers file gives what the same choices clicked through the
    // pages gave: the whole log (time stamps aside), every row of the Directory (the
    // encoded passwords aside), the report saved (with other new passwords) and the
    // outcome file. The answers written from the clicked run replay it as they stand.
    void answersRunGivesTheClickedRun()
    {
        QFETCH(bool, written);
        PageFixture fixture;
        QVERIFY(resetDemo());
        writeFile(mWork.filePath(u"clicked-report.txt"_s), mClickedReport);
        QFile::remove(mWork.filePath(u"demo-report.txt"_s));
        const QString text = written ? QString::fromUtf8(readAll(mWork.filePath(u"written.ini"_s)))
                                     : exampleFor(mDemoFolder);
        const AnswersRun run = runAnswers(mWork.path(), text);
        QCOMPARE(run.stopReason, QString());
        QCOMPARE(run.status, 1);
        QCOMPARE(run.notes,
                 QStringList({u"Could not Add Store: Failed to add EXCH55 as a store for 3.1x, "
                              "some of the users might not migrate successfully. You can add "
                              "the store manually and then run the migration tool again. Do you "
                              "want to continue with the migration process? Answered continue "
                              "(%1, line %2)"_s.arg(mWork.filePath(u"answers.ini"_s))
                                  .arg(lineOf(text, u"could-not-add-store="_s))}));
        QCOMPARE(withoutTimes(fixture.logEntries()), mClickedLog);
        QCOMPARE(directoryRows(), mClickedDirectory);
        QCOMPARE(run.csv, mClickedCsv);
        QByteArray saved =
            readAll(mWork.filePath(written ? u"clicked-report.txt"_s : u"demo-report.txt"_s));
        // Written answers append to the file the clicked run saved to, after its report.
        QVERIFY(!written || saved.startsWith(mClickedReport));
        saved = saved.mid(written ? mClickedReport.size() : 0);
        QCOMPARE(withoutPasswords(QString::fromLatin1(saved)),
                 withoutPasswords(QString::fromLatin1(mClickedReport)));
        QVERIFY(saved != mClickedReport);
    }

    // What --write-answers wrote of the clicked run, readable by its owner only.
    void writtenAnswers()
    {
        const QString path = mWork.filePath(u"written.ini"_s);
        QCOMPARE(QFileInfo(path).permissions() &
                     (QFile::ReadGroup | QFile::ReadOther | QFile::WriteGroup | QFile::WriteOther),
                 QFile::Permissions());
        QCOMPARE_GOLDEN(QString::fromUtf8(readAll(path))
                            .replace(mDemoFolder, u"DEMO"_s)
                            .replace(mWork.path(), u"WORK"_s),
                        u"unattended/written-answers.ini"_s);
    }

    // The example changed as each case of stops.txt says.
    void stopsBeforeTheDirectoryChanges_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("message");
        for (const auto& [lines, message] : casesOf(u"stops.txt"_s)) {
            QString text = exampleFor(mDemoFolder);
            QString line;
            for (QString change : lines.mid(1)) {
                change.replace(u"\\n"_s, u"\n"_s).replace(u"DEMO"_s, mDemoFolder);
                if (change.startsWith(u"line "_s)) {
                    line = change.mid(5);
                } else if (const qsizetype arrow = change.indexOf(u" ->"_s); arrow > 0) {
                    QVERIFY2(text.contains(change.left(arrow)), qPrintable(change));
                    text.replace(change.left(arrow), change.mid(arrow + 3).trimmed());
                }
            }
            QTest::newRow(qPrintable(lines.first()))
                << text
                << QString(message)
                       .replace(u"FILE"_s, mWork.filePath(u"answers.ini"_s))
                       .replace(u"LINE"_s, u"line %1"_s.arg(lineOf(text, line)))
                       .replace(u"DEMO"_s, mDemoFolder);
        }
    }

    // Whatever is missing or names nothing stops the walk before the summary page's
    // Next: exit status 2, the Directory's file byte for byte as it was, and the reason
    // both told and written as the log's last entry. (The file's bytes are the
    // embedded engine's; theDemoOnEitherEngine stops on SQL Server too.)
    void stopsBeforeTheDirectoryChanges()
    {
        QFETCH(QString, message);
        PageFixture fixture;
        QVERIFY(resetDemo());
        const QStringList before = directoryFileHashes(mDemoFolder);
        QFETCH(QString, text);
        const AnswersRun run = runAnswers(mWork.path(), text);
        QCOMPARE(run.stopReason, message);
        QCOMPARE(run.status, 2);
        QCOMPARE(run.csv, QByteArray());
        QVERIFY(PageFixture::visibleWindows<QWidget>().isEmpty());
        QCOMPARE(directoryFileHashes(mDemoFolder), before);
        QVERIFY(fixture.log().endsWith((Stopped + message + u"\r\n\r\n"_s).toLatin1()));
    }

    // The cases of conflicts.txt: the [conflicts] answers; the dialogs shown and the
    // code of each conflicting user in the outcome ("-" when the user stayed behind).
    void oneAnswerForTheRemainingConflicts_data()
    {
        QTest::addColumn<QString>("conflicts");
        QTest::addColumn<QString>("outcome");
        for (const auto& [lines, outcome] : casesOf(u"conflicts.txt"_s)) {
            QTest::newRow(qPrintable(lines.first())) << lines.mid(1).join(u'\n') + u'\n' << outcome;
        }
    }

    // During "Migrate All" the conflict dialog's "Apply this choice to all remaining
    // conflicting users" is ticked when the file decides every remaining conflicting
    // user alike, so one dialog answers them; the decisions are the file's either way.
    void oneAnswerForTheRemainingConflicts()
    {
        QFETCH(QString, conflicts);
        PageFixture fixture;
        QVERIFY(resetDemo());
        QString text = exampleFor(mDemoFolder);
        const qsizetype from = text.indexOf(u"[conflicts]\n"_s) + 12;
        text.replace(from, text.indexOf(u"\n\n"_s, from) + 1 - from, conflicts);
        DialogCount count;
        qApp->installEventFilter(&count);
        const AnswersRun run = runAnswers(mWork.path(), text);
        qApp->removeEventFilter(&count);
        QCOMPARE(run.stopReason, QString());
        const QStringList lines = QString::fromUtf8(run.csv).split(u"\r\n"_s);
        QStringList codes{u"%1 dialogs:"_s.arg(count.shown)};
        for (const char* id : {"2", "11", "22", "33", "44"}) {
            const QStringList line = lines.filter(QRegularExpression(u"^user,%1,"_s.arg(id)));
            codes << (line.isEmpty() ? u"-"_s : line.first().section(u',', 4, 4));
        }
        QTEST(codes.join(u' '), "outcome");
    }

    // A file that cannot be answered from is refused as it is read, naming the line and
    // what is wrong with it: the cases of malformed.txt.
    void malformedFiles_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("message");
        for (const auto& [lines, message] : casesOf(u"malformed.txt"_s)) {
            QTest::newRow(qPrintable(lines.first())) << lines.mid(1).join(u'\n') + u'\n' << message;
        }
    }
    void malformedFiles()
    {
        QFETCH(QString, text);
        QString refused;
        try {
            AnswersFile::Parse(u"answers.ini"_s, text.toUtf8());
        } catch (const AnswersError& error) {
            refused = error.message();
        }
        QTEST(refused, "message");
    }

    void valuesReadBack_data()
    {
        QTest::addColumn<QString>("value");
        for (const QString& value :
             {u"plain"_s, u" blanks at both ends "_s, u"a ;comment-like"_s, u"pwd;x"_s,
              u"say \"hi\""_s, u"\"quoted\""_s, u"a, b"_s, u"Zoë ÅÄÖ"_s, u"none"_s}) {
            QTest::newRow(qPrintable(value)) << value;
        }
    }

    // What --write-answers writes is read back as it was: a single value, a list item
    // and a template title, whatever blanks, quotes, commas and ';' they hold.
    void valuesReadBack()
    {
        QFETCH(QString, value);
        const QString text =
            u"[source]\nserver=x\nauthentication=sql\nlogin=%1 ; a comment\npassword=%1\n"
            "database=d\n[users]\nlogins=first, %2, last\n[email]\ntemplate=%3\n"
            "[profiles]\nnames=%2\n"_s.arg(
                AnswersFile::Quoted(value), AnswersFile::QuotedItem(value),
                value == "none"_L1 ? u"\"none\""_s : AnswersFile::Quoted(value));
        const AnswersFile answers = AnswersFile::Parse(u"answers.ini"_s, text.toUtf8());
        QCOMPARE(answers.source.login.value, value);
        QCOMPARE(answers.source.passwordValue, value);
        QCOMPARE(answers.userLogins, QStringList({u"first"_s, value, u"last"_s}));
        QCOMPARE(answers.emailTemplate.value, value);
        QVERIFY(!answers.sendNoEmail);
        QCOMPARE(answers.profileNames, QStringList{value});
    }

    void theDemoOnEitherEngine_data()
    {
        Engines::addColumn();
        QTest::addColumn<bool>("decided");
        Engines::newRows("every conflict decided", true);
        Engines::newRows("a conflict undecided", false);
    }

    // The example's choices on a demo whose source and Directory are on the engine,
    // both named on their pages: the same outcome on either engine; or, with one
    // decision left out, a stop that leaves the Directory's rows as they were.
    void theDemoOnEitherEngine()
    {
        QFETCH(QString, engine);
        QFETCH(bool, decided);
        PageFixture fixture;
        const Installation installation(engine, DemoData::Generate(), fixture.folder());
        useConfiguration(installation.ini());
        QString text = exampleFor(u"unused"_s);
        text.replace(text.left(text.indexOf(u"[stores]"_s)), installation.sections())
            .replace(u"save=demo-report.txt"_s, u"save=report.txt"_s)
            .replace(u"33=new-login"_s, decided ? u"33=new-login"_s : u"; 33 left out"_s);
        const QStringList before = installation.directory();
        const AnswersRun run = runAnswers(fixture.folder(), text);
        QCOMPARE(run.status, decided ? 1 : 2);
        if (!decided) {
            QVERIFY2(run.stopReason.contains(
                         u": the source user 33 \"Andrew Torres\" (login ID atorres) conflicts "_s),
                     qPrintable(run.stopReason));
            QCOMPARE(installation.directory(), before);
            return;
        }
        QCOMPARE(run.stopReason, QString());
        QCOMPARE_GOLDEN(Golden::fromCrlf(QString::fromUtf8(run.csv)),
                        u"unattended/either-engine-outcome.csv"_s);
        QCOMPARE(describe(DbConnection(installation.target.connectionString())
                              .select(u"SELECT Name FROM fwtDeviceProfile ORDER BY ProfileID"_s)),
                 QStringList({u"Company GPRS"_s, u"Sales WAP dial-in"_s}));
    }

    void unopenedDirectoryStops_data() { Engines::rows(); }

    // A Directory that zephrin.ini names but that cannot be opened (SQL Server refuses
    // the password, 18456 on the test server too; on the embedded engine, which has no
    // logins, the database is not there) stops the walk with the target page's message
    // and what the database said, which the log has after the check's answer.
    void unopenedDirectoryStops()
    {
        QFETCH(QString, engine);
        PageFixture fixture;
        const TestDatabase source(engine, u"Varnel"_s);
        VarnelBuilder::WriteTo(source.connectionString(), DemoData::Generate(12).source);
        const bool sqlServer = engine == Engines::SqlServer;
        const ConnectionParts parts = ParseConnectionString(source.connectionString());
        // The form the wizard reads from zephrin.ini: "Data source=" and "Initial
        // Catalog=", each value ended by ";".
        const QString ini = QDir(fixture.folder()).filePath(u"zephrin.ini"_s);
        writeFile(ini, zephrinIni(u"Provider=SQLOLEDB.1;Data source=%1;Initial Catalog=%2;uid=%3;"
                                  "pwd=not the password"_s.arg(
                                      parts.dataSource, sqlServer ? u"master"_s : u"Missing"_s,
                                      parts.userID),
                                  fixture.folder()));
        useConfiguration(ini);
        QString text = exampleFor(u"unused"_s);
        text.replace(text.left(text.indexOf(u"[stores]"_s)), databaseSection(u"source"_s, source));
        const AnswersRun run = runAnswers(fixture.folder(), text);
        QCOMPARE(run.status, 2);
        // The source page's handler goes on to the target page before the walk stops.
        QCOMPARE_GOLDEN(
            (QStringList{run.stopReason, u"== log"_s} +
             fixture.logEntries().filter(QRegularExpression(u"^(Verifier|Answers)"_s)))
                    .join(u'\n')
                    .replace(QRegularExpression(QDir::tempPath() + u"/[^\\s]*"_s), u"<folder>"_s) +
                u'\n',
            u"unattended/unopened-directory-"_s + engine + u".txt"_s);
    }

    void outcomeCsvRoundTrip_data() { Engines::rows(); }

    // Names with quotes, commas and line breaks come back from the outcome file field
    // for field when another CSV reader reads it; no new password is in it.
    void outcomeCsvRoundTrip()
    {
        QFETCH(QString, engine);
        PageFixture fixture;
        DemoData::DemoContent content = DemoData::Generate();
        content.source.users[0].givenName = u"Ann"_s;
        content.source.users[0].familyName = u"Smith, Jr."_s;
        content.source.users[2].givenName = u"Line\r\nBreak"_s;
        content.source.users[4].givenName = u"Rob \"Bobby\""_s;
        content.source.users[4].familyName = u"O'Brien \"\","_s;
        content.source.users[4].loginID = u"rob,\"lewis\""_s;
        const Installation installation(engine, content, fixture.folder());
        useConfiguration(installation.ini());
        const AnswersRun run = runAnswers(
            fixture.folder(),
            installation.sections() +
                u"[stores]\nexchange2000=EXCH55\ncould-not-add-store=stop\n[users]\nids=5, 1, "
                "3\n[email]\ntemplate=New password\n[profiles]\nmigrate=all\n"
                "[report]\nsave=report.txt\n"_s);
        QCOMPARE(run.stopReason, QString());
        QCOMPARE_GOLDEN(pythonCsv(installation.path(u"outcome.csv"_s)),
                        u"unattended/odd-names-outcome.txt"_s);
        // Every line ends in CR LF, also the last; the line break inside a name stays.
        QVERIFY(run.csv.endsWith("\r\n"));
        QVERIFY(run.csv.contains("\"Line\r\nBreak Anderson\""));
        // The new passwords end the lines of the report's change table.
        const QStringList table = QString::fromLatin1(readAll(installation.path(u"report.txt"_s)))
                                      .split(u"\r\n"_s)
                                      .filter(u" Not Changed "_s);
        QCOMPARE(table.size(), 3);
        for (const QString& line : table) {
            const QString password = line.split(u' ', Qt::SkipEmptyParts).last();
            QVERIFY2(password.size() >= 6 && !run.csv.contains(password.toUtf8()),
                     qPrintable(password));
        }
    }

    void programExitStatus_data()
    {
        QTest::addColumn<QString>("answers");
        for (const auto& [lines, message] : casesOf(u"program.txt"_s)) {
            QTest::newRow(qPrintable(lines.first())) << lines.mid(1).join(u'\n') + u'\n';
        }
    }

    // The program's own exit status and summary (or why it did not start), on a fresh
    // demo each time (the program linked into the folder, so its log goes there).
    void programExitStatus()
    {
        QFETCH(QString, answers);
        QTemporaryDir folder;
        const QString demo = folder.filePath(u"demo"_s);
        QVERIFY(copyFolder(mPristine, demo));
        const QString config = demo + u"/zephrin.ini"_s;
        writeFile(config, QString::fromUtf8(readAll(config)).replace(mDemoFolder, demo).toUtf8());
        const QString file = folder.filePath(u"answers.ini"_s);
        writeFile(file, answers.replace(u"DEMO"_s, demo).toUtf8());
        const ProgramOutput run =
            runProgram(linkedProgram(folder.path()), {u"--config"_s, config, u"--answers"_s, file},
                       folder.path());
        const QStringList out = run.out.split(u'\n');
        QCOMPARE_GOLDEN(u"exit %1\n"_s.arg(run.status) +
                            (run.status == 2 ? QString(run.err).replace(file, u"ANSWERS"_s)
                                             : out.mid(out.size() - 4).join(u'\n')),
                        Golden::rowFile(u"unattended/program-"_s));
    }

    // docs/answers-file.md's example, run as it stands: the two commands of its shell
    // block in a folder that holds its answers file, with the program on the PATH.
    void docsExampleRunsAsWritten()
    {
        QTemporaryDir folder;
        writeFile(folder.filePath(u"demo-answers.ini"_s), docsExample(u"ini"_s).toUtf8());
        const QString bin = folder.filePath(u"bin"_s);
        QVERIFY(QDir().mkpath(bin) && !linkedProgram(bin).isEmpty());
        const ProgramOutput shell =
            runProgram(u"bash"_s, {u"-c"_s, docsExample(u"sh"_s)}, folder.path(),
                       {u"PATH="_s + bin + u':' + qEnvironmentVariable("PATH"), u"DISPLAY"_s,
                        u"QT_QPA_PLATFORM"_s});
        QCOMPARE(shell.status, 1);
        QVERIFY2(shell.out.endsWith(u"Report appended to: "_s +
                                    folder.filePath(u"demo-report.txt"_s) +
                                    u"\nOutcome: demo-outcome.csv\nUsers: 37 migrated, 9 with "
                                    "warnings, 4 failed\nStores: 0 migrated, 0 with warnings, 1 "
                                    "failed\nProfiles: 2 migrated, 0 with warnings, 0 failed\n"_s),
                 qPrintable(shell.out + shell.err));
        QVERIFY2(shell.err.startsWith(u"Could not Add Store: Failed to add EXCH55 "_s),
                 qPrintable(shell.err));
        QCOMPARE(readAll(folder.filePath(u"demo-outcome.csv"_s)), mClickedCsv);
        QCOMPARE(
            withoutPasswords(QString::fromLatin1(readAll(folder.filePath(u"demo-report.txt"_s)))),
            withoutPasswords(QString::fromLatin1(mClickedReport)));
        QCOMPARE(QDir(folder.filePath(u"varnel-demo/mail"_s)).entryList({u"*.eml"_s}).size(), 46);
    }

private:
    bool resetDemo()
    {
        useConfiguration(mDemoFolder + u"/zephrin.ini"_s);
        return QDir(mDemoFolder).removeRecursively() && copyFolder(mPristine, mDemoFolder);
    }
    static void useConfiguration(const QString& ini)
    {
        Components::setFactory(std::make_shared<TargetComponentFactory>(ini));
    }
    // Every row of the demo Directory's tables, the encoded passwords (their salts
    // differ from run to run) taken out first.
    QStringList directoryRows() const
    {
        DbConnection directory(mDirectory);
        directory.execute(u"UPDATE fwtUser SET Password = ''"_s);
        QStringList rows;
        for (const QSqlRecord& table : directory.select(
                 u"SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name"_s)) {
            rows << describe(directory.select(u"SELECT * FROM "_s + table.value(0).toString()));
        }
        return rows;
    }

    QTemporaryDir mWork;
    const QString mDemoFolder = mWork.filePath(u"demo"_s);
    const QString mPristine = mWork.filePath(u"pristine"_s);
    QString mDirectory;
    QStringList mClickedLog;
    QStringList mClickedDirectory;
    QByteArray mClickedReport;
    QByteArray mClickedCsv;
};

QTEST_MAIN(TestUnattended)
#include "tst_unattended.moc"

// The wizard walked from an answers file, without a person: the same log, Directory,
// report and outcome as the same choices clicked through the pages; a stop, with the
// Directory as it was, for every answer that is missing, wrong or names nothing; the
// answers file read as written; the outcome file read back by another CSV reader; and
// the program itself run on the example of docs/answers-file.md.

#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/VarnelBuilder.h"
#include "demo/DemoData.h"
#include "demo/DemoInstallation.h"
#include "directory/ComponentFactory.h"
#include "frame/StatusHolder.h"
#include "pages/ConflictDecision.h"
#include "pages/Finish.h"
#include "pages/PageNames.h"
#include "reference/DirectoryBuilder.h"
#include "reference/TargetComponentFactory.h"
#include "support/DemoWalk.h"
#include "support/Describe.h"
#include "support/Engines.h"
#include "support/PageFixture.h"
#include "unattended/AnswersFile.h"
#include "unattended/AnswersRecorder.h"
#include "unattended/OutcomeWatch.h"
#include "unattended/UnattendedRun.h"

#include <QApplication>
#include <QDir>
#include <QDirIterator>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QSqlField>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <memory>

using namespace Qt::Literals::StringLiterals;

using Replacements = QList<QPair<QString, QString>>;
Q_DECLARE_METATYPE(Replacements)

namespace {

const QString Stopped = u"Answers file: the wizard stopped: "_s;

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        QTest::qFail(qPrintable(u"cannot write "_s + path), __FILE__, __LINE__);
    }
}

bool copyFolder(const QString& from, const QString& to)
{
    if (!QDir().mkpath(to)) {
        return false;
    }
    const QDir source(from);
    for (const QFileInfo& entry :
         source.entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString target = QDir(to).filePath(entry.fileName());
        if (entry.isDir() ? !copyFolder(entry.filePath(), target)
                          : !QFile::copy(entry.filePath(), target)) {
            return false;
        }
    }
    return true;
}

// A code block of docs/answers-file.md's complete example: "ini" or "sh".
QString docsExample(const QString& language)
{
    const QString text = QString::fromUtf8(readAll(TESTS_SOURCE_DIR "/../docs/answers-file.md"));
    const qsizetype section = text.indexOf(u"## A complete example"_s);
    const QString opening = u"```"_s + language + u'\n';
    const qsizetype start = text.indexOf(opening, section);
    const qsizetype end = text.indexOf(u"\n```"_s, start + opening.size());
    if (section < 0 || start < 0 || end < 0) {
        return QString();
    }
    return text.mid(start + opening.size(), end - start - opening.size() + 1);
}

// The example's answers on a demo in another folder.
QString exampleFor(const QString& demoFolder)
{
    QString text = docsExample(u"ini"_s);
    text.replace(u"server=sqlite:varnel-demo"_s, u"server=sqlite:"_s + demoFolder);
    return text;
}

// The 1-based number of the first line that begins with start.
int lineOf(const QString& text, const QString& start)
{
    const QStringList lines = text.split(u'\n');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (lines.at(i).startsWith(start)) {
            return static_cast<int>(i + 1);
        }
    }
    return 0;
}

// Log entries with their time stamps taken out.
QStringList withoutTimes(const QStringList& entries)
{
    static const QRegularExpression time(u"\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d|"
                                         "\\d\\d-\\d\\d-\\d{4} \\d\\d:\\d\\d:\\d\\d"_s);
    QStringList stripped;
    for (const QString& entry : entries) {
        stripped << QString(entry).replace(time, u"<time>"_s);
    }
    return stripped;
}

// The report with the new passwords of its change table blanked: they are made anew
// on every run.
QString withoutPasswords(const QString& report)
{
    QStringList lines = report.split(u"\r\n"_s);
    const qsizetype head = lines.indexOf(u"Users with changed Login ID and/or password:"_s);
    for (qsizetype i = head + 4; head >= 0 && i < lines.size(); ++i) {
        if (lines.at(i).startsWith(u"---"_s)) {
            break;
        }
        lines[i] = lines.at(i).left(62) + u"<password>"_s;
    }
    return lines.join(u"\r\n"_s);
}

// The passwords of the report's change table.
QStringList passwordsOf(const QString& report)
{
    QStringList passwords;
    const QStringList lines = report.split(u"\r\n"_s);
    const qsizetype head = lines.indexOf(u"Users with changed Login ID and/or password:"_s);
    for (qsizetype i = head + 4; head >= 0 && i < lines.size(); ++i) {
        if (lines.at(i).startsWith(u"---"_s)) {
            break;
        }
        // A name with a line break of its own takes two lines, the first without one.
        if (!lines.at(i).mid(62).trimmed().isEmpty()) {
            passwords << lines.at(i).mid(62).trimmed();
        }
    }
    return passwords;
}

// Every row of the Directory's tables but the encoded passwords, whose salts differ
// from run to run.
QStringList directoryRows(const QString& connection)
{
    QStringList rows;
    DbConnection directory(connection);
    for (const QSqlRecord& table :
         directory.select(u"SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name"_s)) {
        const QString name = table.value(0).toString();
        for (const QSqlRecord& row : directory.select(u"SELECT * FROM "_s + name)) {
            QStringList values;
            for (int i = 0; i < row.count(); ++i) {
                if (row.fieldName(i).compare(u"Password"_s, Qt::CaseInsensitive) != 0) {
                    values << row.value(i).toString();
                }
            }
            rows << name + u": "_s + values.join(u'|');
        }
    }
    return rows;
}

// The Directory's users, stores, services and profiles, as either engine gives them.
QStringList directorySummary(const QString& connection)
{
    DbConnection directory(connection);
    QStringList summary;
    for (const QString& sql :
         {u"SELECT UserID, FirstName, LastName, LoginID FROM fwtUser ORDER BY UserID"_s,
          u"SELECT StoreID, Name, ExchangeVersion FROM fwtStore ORDER BY StoreID"_s,
          u"SELECT COUNT(*) FROM fwtService"_s,
          u"SELECT Name FROM fwtDeviceProfile ORDER BY ProfileID"_s}) {
        summary << describe(directory.select(sql));
    }
    return summary;
}

// The rows of a CSV file as Python's csv module reads them: a reader written apart
// from the wizard's writer.
QList<QStringList> pythonCsv(const QString& path)
{
    QProcess python;
    python.start(u"python3"_s, {u"-c"_s,
                                u"import csv, json, sys\n"
                                "with open(sys.argv[1], newline='', encoding='utf-8') as f:\n"
                                "    print(json.dumps(list(csv.reader(f, strict=True))))\n"_s,
                                path});
    python.waitForFinished(30000);
    QList<QStringList> rows;
    for (const QJsonValue& row : QJsonDocument::fromJson(python.readAllStandardOutput()).array()) {
        rows << row.toVariant().toStringList();
    }
    return rows;
}

// What became of one unattended run in this process.
struct Run
{
    int status = -1;
    QString stopReason;
    QStringList notes;
    QByteArray csv;
};

// Runs the wizard from the answers in <folder>/answers.ini as the program does, with
// the outcome in <folder>/outcome.csv.
Run runAnswers(const QString& folder, const QString& text)
{
    const QString path = QDir(folder).filePath(u"answers.ini"_s);
    writeFile(path, text.toUtf8());
    Run result;
    AnswersFile answers;
    try {
        answers = AnswersFile::Read(path);
    } catch (const AnswersError& error) {
        result.status = 2;
        result.stopReason = error.message();
        return result;
    }
    const QString csv = QDir(folder).filePath(u"outcome.csv"_s);
    QFile::remove(csv);
    OutcomeWatch watch(csv);
    UnattendedRun run(answers, watch);
    run.prepare();
    run.start();
    if (!run.isDone()) {
        QEventLoop loop;
        QObject::connect(&run, &UnattendedRun::finished, &loop, &QEventLoop::quit);
        QTimer::singleShot(120000, &loop, &QEventLoop::quit);
        loop.exec();
    }
    PageFixture::processDeletions();
    result.status = run.isDone() ? run.exitStatus() : -1;
    result.stopReason = run.stopReason();
    result.notes = run.notes();
    result.csv = readAll(csv);
    return result;
}

// A zephrin.ini for a Directory on a test engine, with e-mails to a pickup folder.
QByteArray configuration(const QString& directory, const QString& pickupFolder)
{
    return u"[global]\nproductname=Zephrin 4.5\n[directory]\nconnectionstring=\"%1\"\n"
           "passworditerations=1000\n[mail]\ntransport=pickup\npickupfolder=%2\n"_s
               .arg(directory, pickupFolder)
               .toUtf8();
}

// A [source] or [target] section naming a test database as its page would.
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

// Counts the conflict dialogs shown.
class DialogCount : public QObject
{
public:
    int shown = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show && qobject_cast<ConflictDecision*>(watched) != nullptr) {
            ++shown;
        }
        return false;
    }
};

// What a run leaves to compare.
struct Traces
{
    QStringList log;
    QStringList directory;
    QByteArray report;
    QByteArray csv;
};

} // namespace

class TestUnattended : public QObject
{
    Q_OBJECT
private slots:
    // The demo is made once and kept as it was made; every run starts from a copy at
    // the same place, so its paths in the log and in written answers stay the same.
    // The same choices are clicked through the pages once, recording the answers.
    void initTestCase()
    {
        QVERIFY(mWork.isValid());
        mProgramFolderFiles = programFolderFiles();
        mDemoFolder = mWork.filePath(u"demo"_s);
        mPristine = mWork.filePath(u"pristine"_s);
        const DemoInstallation demo = DemoInstallation::Create(mDemoFolder);
        mDirectory = demo.directoryConnectionString;
        QVERIFY(copyFolder(mDemoFolder, mPristine));
        QVERIFY(!docsExample(u"ini"_s).isEmpty());
        QVERIFY(!docsExample(u"sh"_s).isEmpty());

        PageFixture fixture;
        useDemoFolder();
        auto recorder = std::make_shared<AnswersRecorder>(
            std::shared_ptr<Prompter>(&fixture.prompter(), [](Prompter*) {}));
        AppPrompter::setPrompter(recorder);
        const QString csv = mWork.filePath(u"clicked.csv"_s);
        OutcomeWatch watch(csv);

        DemoWalk walk(fixture, mDemoFolder);
        walk.start();
        QVERIFY2(walk.walkTo(PageNames::UserInputFinished), qPrintable(walk.currentName()));
        PageFixture::click(walk.current()->NextBtn);
        auto* finish = PageFixture::visible<Finish>();
        QVERIFY(finish != nullptr);
        mClickedReportPath = mWork.filePath(u"clicked-report.txt"_s);
        fixture.prompter().fileNames << mClickedReportPath;
        PageFixture::click(finish->WriteToFileBtn);
        PageFixture::click(finish->CancelBtn);
        QVERIFY(PageFixture::visibleWindows<QWidget>().isEmpty());
        QCOMPARE(watch.exitStatus(), 1);

        mClicked.log = withoutTimes(fixture.logEntries());
        mClicked.directory = directoryRows(mDirectory);
        mClicked.report = readAll(mClickedReportPath);
        mClicked.csv = readAll(csv);
        QVERIFY(!mClicked.report.isEmpty());
        mWrittenAnswers = mWork.filePath(u"written.ini"_s);
        recorder->write(mWrittenAnswers);
    }

    void cleanup() { QCOMPARE(PageFixture::openConnections(), QStringList()); }

    // The program's runs leave nothing in the folder of the build.
    void cleanupTestCase() { QCOMPARE(programFolderFiles(), mProgramFolderFiles); }

    void answersRunGivesTheClickedRun_data()
    {
        QTest::addColumn<bool>("written");
        QTest::newRow("the example of docs/answers-file.md") << false;
        QTest::newRow("the answers --write-answers wrote of the clicked run") << true;
    }

    // The demo from an answers file gives what the same choices clicked through the
    // pages gave: the whole log (time stamps aside), every row of the Directory (the
    // encoded passwords aside), the report saved (its new passwords aside) and the
    // outcome file. The answers written from the clicked run replay it as they stand.
    void answersRunGivesTheClickedRun()
    {
        QFETCH(bool, written);
        QVERIFY(resetDemo());
        writeFile(mClickedReportPath, mClicked.report);
        const QString report = written ? mClickedReportPath : mWork.filePath(u"demo-report.txt"_s);
        QFile::remove(mWork.filePath(u"demo-report.txt"_s));

        PageFixture fixture;
        useDemoFolder();
        const QString text =
            written ? QString::fromUtf8(readAll(mWrittenAnswers)) : exampleFor(mDemoFolder);
        const Run run = runAnswers(mWork.path(), text);
        QCOMPARE(run.stopReason, QString());
        QCOMPARE(run.status, 1);
        QCOMPARE(run.notes,
                 QStringList({u"Could not Add Store: Failed to add EXCH55 as a store for 3.1x, "
                              "some of the users might not migrate successfully. You can add "
                              "the store manually and then run the migration tool again. Do you "
                              "want to continue with the migration process? Answered continue "
                              "(%1, line %2)"_s.arg(mWork.filePath(u"answers.ini"_s))
                                  .arg(lineOf(text, u"could-not-add-store="_s))}));

        QCOMPARE(withoutTimes(fixture.logEntries()), mClicked.log);
        QCOMPARE(directoryRows(mDirectory), mClicked.directory);
        QCOMPARE(run.csv, mClicked.csv);
        QByteArray saved = readAll(report);
        if (written) {
            // Appended to the file the clicked run saved to, after its report.
            QVERIFY(saved.startsWith(mClicked.report));
            saved = saved.mid(mClicked.report.size());
        }
        QCOMPARE(withoutPasswords(QString::fromLatin1(saved)),
                 withoutPasswords(QString::fromLatin1(mClicked.report)));
        QVERIFY(passwordsOf(QString::fromLatin1(saved)) !=
                passwordsOf(QString::fromLatin1(mClicked.report)));
    }

    // What --write-answers wrote of the clicked run, line by line: what a reviewer
    // reads before the file is run.
    void writtenAnswers()
    {
        // Readable by its owner only, like the log.
        QCOMPARE(QFileInfo(mWrittenAnswers).permissions() &
                     (QFile::ReadGroup | QFile::ReadOther | QFile::WriteGroup | QFile::WriteOther),
                 QFile::Permissions());
        QString text = QString::fromUtf8(readAll(mWrittenAnswers));
        text.replace(mDemoFolder, u"DEMO"_s).replace(mWork.path(), u"WORK"_s);
        QStringList lines = text.split(u'\n');
        QVERIFY(lines.first().startsWith(u"; The answers given on the wizard's pages, "_s));
        QCOMPARE(lines.mid(1),
                 QStringList({u";   varnel-migrate --answers FILE"_s,
                              u"; (docs/answers-file.md says what each answer means)."_s,
                              u""_s,
                              u"[source]"_s,
                              u"server=sqlite:DEMO"_s,
                              u"authentication=windows"_s,
                              u"database=Varnel"_s,
                              u""_s,
                              u"; [target]: zephrin.ini names the Directory database."_s,
                              u""_s,
                              u"[stores]"_s,
                              u"exchange2000="_s,
                              u"exchange55=EXCH55"_s,
                              u"could-not-add-store=continue"_s,
                              u""_s,
                              u"[users]"_s,
                              u"migrate=all"_s,
                              u""_s,
                              u"[conflicts]"_s,
                              u"2=new-login ; Mary Davis (login ID mdavis)"_s,
                              u"11=update ; David White (login ID dwhite)"_s,
                              u"22=replace ; Nancy Miller (login ID nmiller)"_s,
                              u"33=new-login ; Andrew Torres (login ID atorres)"_s,
                              u"44=update ; Patricia Dubois (login ID pdubois)"_s,
                              u""_s,
                              u"[email]"_s,
                              u"template=New password"_s,
                              u""_s,
                              u"; [service-account]: the mail logon page was not used."_s,
                              u""_s,
                              u"[profiles]"_s,
                              u"; in the order they were moved to \"Profiles to Migrate:\""_s,
                              u"names=Company GPRS, Sales WAP dial-in"_s,
                              u""_s,
                              u"[report]"_s,
                              u"save=WORK/clicked-report.txt"_s,
                              u""_s}));
    }

    void stopsBeforeTheDirectoryChanges_data()
    {
        // The example's lines replaced; the line the message names (by its start, empty
        // for none); the message, with FILE for the answers file and LINE for that line.
        QTest::addColumn<Replacements>("replacements");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("message");
        QTest::newRow("a conflicting user without a decision")
            << Replacements{{u"22=replace"_s, u"; 22 left out"_s}} << QString()
            << u"FILE: the source user 22 \"Nancy Miller\" (login ID nmiller) conflicts with the "
               "Directory user 6 \"Miller Nancy\", and [conflicts] does not decide it: add "
               "22=new-login, update, replace or skip, or a default="_s;
        QTest::newRow("a user ID no user has")
            << Replacements{{u"migrate=all"_s, u"ids=1, 99, 3"_s}} << u"ids="_s
            << u"FILE, LINE: [users] ids: there is no source user 99"_s;
        QTest::newRow("a login ID no user has")
            << Replacements{{u"migrate=all"_s, u"logins=jsmith, nobody"_s}} << u"logins="_s
            << u"FILE, LINE: [users] logins: no source user has the login ID \"nobody\""_s;
        QTest::newRow("a decision for a user that is not there")
            << Replacements{{u"44=update"_s, u"44=update\n4711=replace"_s}} << u"4711="_s
            << u"FILE, LINE: [conflicts] 4711: there is no source user 4711"_s;
        QTest::newRow("a template the Directory does not have")
            << Replacements{{u"template=New password"_s, u"template=Welcome"_s}} << u"template="_s
            << u"FILE, LINE: [email] template: the Directory has no e-mail template "
               "\"Welcome\"; it has: Welcome to your mobile mailbox, New password"_s;
        QTest::newRow("no answer for the template page")
            << Replacements{{u"[email]"_s, u""_s}, {u"template=New password"_s, u""_s}} << QString()
            << u"FILE: the e-mail template page asks which template tells the migrated users "
               "their new login ID or password, and there is no [email] template= (a title, or "
               "none)"_s;
        QTest::newRow("a profile the source does not have")
            << Replacements{{u"names=Company GPRS, Sales WAP dial-in"_s,
                             u"names=Company GPRS, Sales"_s}}
            << u"names="_s
            << u"FILE, LINE: [profiles] names: the source has no readable profile \"Sales\"; it "
               "has: Sales WAP dial-in, Field engineers SMS, Prepaid USSD, US office TDMA, Pager "
               "gateway, Company GPRS"_s;
        QTest::newRow("a detected server left untyped")
            << Replacements{{u"exchange55=EXCH55"_s, u""_s}} << QString()
            << u"FILE: the Exchange server type page asks what kind of server EXCH55 is, and "
               "[stores] names it neither in exchange2000= nor in exchange55="_s;
        QTest::newRow("a server no user lives on")
            << Replacements{{u"exchange55=EXCH55"_s, u"exchange55=EXCH55, EXCH56"_s}}
            << u"exchange55="_s
            << u"FILE, LINE: [stores] exchange55: no source user lives on a mail server "
               "\"EXCH56\"; their servers are: EXCH55, MAIL01"_s;
        QTest::newRow("a database the server does not have")
            << Replacements{{u"database=Varnel"_s, u"database=Varnell"_s}} << u"database="_s
            << u"FILE, LINE: [source] database: the server sqlite:DEMO has no database "
               "\"Varnell\"; it has: Directory, Varnel"_s;
        QTest::newRow("a Directory chosen as the source")
            << Replacements{{u"database=Varnel"_s, u"database=Directory"_s}} << QString()
            << u"The wizard says \"The database you selected as a an 3.1x database was either "
               "corrupt or not an 3.1x database. Please select another database.\" (Incorrect "
               "database selection)"_s;
        QTest::newRow("a target other than the configured Directory")
            << Replacements{{u"; [target] is left out"_s,
                             u"[target]\nserver=SQLITE:DEMO\ndatabase=Other\n; [target]"_s}}
            << u"server=SQLITE:"_s
            << u"FILE, LINE: [target] names the database Other on SQLITE:DEMO, but the wizard "
               "migrates into Directory on sqlite:DEMO, which zephrin.ini names"_s;
    }

    // Whatever is missing or names nothing stops the walk before the summary page's
    // Next: exit status 2, the Directory's file byte for byte as it was, and the reason
    // both told and written as the log's last entry. (The file's bytes are the
    // embedded engine's; theDemoOnEitherEngine stops on SQL Server too.)
    void stopsBeforeTheDirectoryChanges()
    {
        QFETCH(Replacements, replacements);
        QFETCH(QString, line);
        QFETCH(QString, message);
        QVERIFY(resetDemo());
        const QStringList before = directoryFileHashes(mDemoFolder);
        QString text = exampleFor(mDemoFolder);
        for (const auto& [from, to] : replacements) {
            QVERIFY2(text.contains(from), qPrintable(from));
            text.replace(from, QString(to).replace(u"DEMO"_s, mDemoFolder));
        }
        const QString file = mWork.filePath(u"answers.ini"_s);
        message.replace(u"FILE"_s, file)
            .replace(u"LINE"_s, u"line %1"_s.arg(lineOf(text, line)))
            .replace(u"DEMO"_s, mDemoFolder);

        PageFixture fixture;
        useDemoFolder();
        const Run run = runAnswers(mWork.path(), text);
        QCOMPARE(run.stopReason, message);
        QCOMPARE(run.status, 2);
        QCOMPARE(run.csv, QByteArray());
        QVERIFY(PageFixture::visibleWindows<QWidget>().isEmpty());
        QCOMPARE(directoryFileHashes(mDemoFolder), before);
        QVERIFY(fixture.log().endsWith((Stopped + message + u"\r\n\r\n"_s).toLatin1()));
    }

    void oneAnswerForTheRemainingConflicts_data()
    {
        // The [conflicts] answers; the dialogs shown; the code of each conflicting user
        // in the outcome ("-" when the user stayed behind).
        QTest::addColumn<QString>("conflicts");
        QTest::addColumn<int>("dialogs");
        QTest::addColumn<QStringList>("codes");
        QTest::newRow("every one decided apart")
            << u"2=new-login\n11=update\n22=replace\n33=new-login\n44=update\n"_s << 5
            << QStringList({u"6"_s, u"1"_s, u"2"_s, u"6"_s, u"1"_s});
        QTest::newRow("the rest alike after the first")
            << u"default=replace\n2=update\n"_s << 2
            << QStringList({u"1"_s, u"2"_s, u"2"_s, u"2"_s, u"2"_s});
        QTest::newRow("the rest skipped after the first")
            << u"default=skip\n2=update\n"_s << 2
            << QStringList({u"1"_s, u"-"_s, u"-"_s, u"-"_s, u"-"_s});
        QTest::newRow("all alike") << u"default=new-login\n"_s << 1
                                   << QStringList({u"6"_s, u"6"_s, u"6"_s, u"6"_s, u"6"_s});
        QTest::newRow("alike but the last")
            << u"default=update\n44=skip\n"_s << 5
            << QStringList({u"1"_s, u"1"_s, u"1"_s, u"1"_s, u"-"_s});
    }

    // During "Migrate All" the conflict dialog's "Apply this choice to all remaining
    // conflicting users" is ticked when the file decides every remaining conflicting
    // user alike, so one dialog answers them; the decisions are the file's either way.
    void oneAnswerForTheRemainingConflicts()
    {
        QFETCH(QString, conflicts);
        QFETCH(int, dialogs);
        QFETCH(QStringList, codes);
        QVERIFY(resetDemo());
        QString text = exampleFor(mDemoFolder);
        const qsizetype from = text.indexOf(u"[conflicts]\n"_s) + 12;
        text.replace(from, text.indexOf(u"\n\n"_s, from) + 1 - from, conflicts);

        PageFixture fixture;
        useDemoFolder();
        DialogCount count;
        qApp->installEventFilter(&count);
        const Run run = runAnswers(mWork.path(), text);
        qApp->removeEventFilter(&count);
        QCOMPARE(run.stopReason, QString());
        QCOMPARE(count.shown, dialogs);
        const QStringList lines = QString::fromUtf8(run.csv).split(u"\r\n"_s);
        QStringList found;
        for (const QString& id : {u"2"_s, u"11"_s, u"22"_s, u"33"_s, u"44"_s}) {
            const QStringList line = lines.filter(QRegularExpression(u"^user,"_s + id + u","_s));
            found << (line.isEmpty() ? u"-"_s : line.first().section(u',', 4, 4));
        }
        QCOMPARE(found, codes);
    }

    void malformedFiles_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("message");
        const QString source = u"[source]\nserver=sqlite:x\ndatabase=Varnel\n"_s;
        const QString rest = u"[users]\nmigrate=all\n[profiles]\nmigrate=none\n"_s;
        const auto row = [&](const char* name, const QString& text, const QString& message) {
            QTest::newRow(name) << text << message;
        };
        row("a line that is no answer", source + u"migrate all users\n"_s + rest,
            u"answers.ini, line 4: this line is neither a [section], a name=value answer nor "
            "a comment: \"migrate all users\""_s);
        row("a section that does not exist", source + u"[sauce]\n"_s + rest,
            u"answers.ini, line 4: there is no section [sauce]; the sections are [source], "
            "[target], [stores], [users], [conflicts], [email], [service-account], [profiles] "
            "and [report]"_s);
        row("a section name with control characters", source + u"[sa\x1b[2Juce\x01]\n"_s + rest,
            u"answers.ini, line 4: there is no section [sa?[2Juce?]; the sections are [source], "
            "[target], [stores], [users], [conflicts], [email], [service-account], [profiles] "
            "and [report]"_s);
        row("a login named twice in another letter case",
            source + u"[users]\nlogins=jdoe, MSMITH, JDoe\n"_s,
            u"answers.ini, line 5: [users] logins names JDoe twice"_s);
        row("an answer the section does not take", source + u"[users]\neveryone=yes\n"_s,
            u"answers.ini, line 5: [users] has no answer \"everyone\"; it takes migrate, ids, "
            "logins"_s);
        row("an answer given twice", source + u"database=Other\n"_s + rest,
            u"answers.ini, line 4: [source] database is answered twice, on line 3 and here"_s);
        row("an answer before any section", u"server=x\n"_s + source + rest,
            u"answers.ini, line 1: the answer \"server=x\" stands before any [section]"_s);
        row("no source", rest,
            u"answers.ini: there is no [source] section: the source database page needs "
            "server= and database="_s);
        row("no database", u"[source]\nserver=x\n"_s + rest,
            u"answers.ini: [source] needs database="_s);
        row("an authentication that does not exist", source + u"authentication=kerberos\n"_s + rest,
            u"answers.ini, line 4: [source] authentication is windows or sql, not "
            "\"kerberos\""_s);
        row("a password with Windows authentication", source + u"password=secret\n"_s + rest,
            u"answers.ini, line 4: [source] takes a login and a password only with "
            "authentication=sql"_s);
        row("SQL Server authentication without a password",
            source + u"authentication=sql\nlogin=sa\n"_s + rest,
            u"answers.ini: [source] needs either password= or password-env= with "
            "authentication=sql"_s);
        row("a password variable that is not set",
            source + u"authentication=sql\nlogin=sa\npassword-env=VARNEL_TEST_NOT_SET\n"_s + rest,
            u"answers.ini, line 6: [source] password-env: the environment variable "
            "\"VARNEL_TEST_NOT_SET\" is not set"_s);
        row("two ways to choose users", source + u"[users]\nmigrate=all\nids=1\n"_s,
            u"answers.ini, line 6: [users] needs exactly one of migrate=all, migrate=none, ids= "
            "and logins="_s);
        row("no users", source + u"[profiles]\nmigrate=all\n"_s,
            u"answers.ini: [users] needs exactly one of migrate=all, migrate=none, ids= and "
            "logins="_s);
        row("a user ID that is no number", source + u"[users]\nids=1, x12\n"_s,
            u"answers.ini, line 5: [users] ids: \"x12\" is not a source user ID"_s);
        row("an empty item", source + u"[users]\nids=1,,2\n"_s,
            u"answers.ini, line 5: [users] ids has an empty item; separate the items with one "
            "comma each"_s);
        row("a quote that is not closed", source + rest + u"[stores]\nexchange55=\"EXCH55\n"_s,
            u"answers.ini, line 9: [stores] exchange55 has a double quote that is not closed"_s);
        row("a decision that does not exist", source + rest + u"[conflicts]\n17=maybe\n"_s,
            u"answers.ini, line 9: [conflicts] 17: the decision is new-login, update, replace "
            "or skip, not \"maybe\""_s);
        row("a conflict named neither by ID nor by login",
            source + rest + u"[conflicts]\njdoe=skip\n"_s,
            u"answers.ini, line 9: [conflicts] takes default=, <source user ID>= and "
            "login:<login ID>=, not \"jdoe\""_s);
        row("stores typed without the answer to a failed store",
            source + rest + u"[stores]\nexchange55=EXCH55\n"_s,
            u"answers.ini: [stores] types servers as stores but does not answer \"Could not "
            "Add Store\": add could-not-add-store=continue or could-not-add-store=stop"_s);
        row("a server of both kinds",
            source + rest +
                u"[stores]\nexchange2000=MAIL02\nexchange55=mail02\ncould-not-add-store=stop\n"_s,
            u"answers.ini, line 10: [stores] names mail02 as an Exchange 2000/2003 server (line "
            "9) and as an Exchange 5.5 server"_s);
        row("no profiles", source + u"[users]\nmigrate=none\n"_s,
            u"answers.ini: [profiles] needs exactly one of migrate=all, migrate=none and "
            "names="_s);
        row("an incomplete service account",
            source + rest + u"[service-account]\nserver=MAIL01\n"_s,
            u"answers.ini: [service-account] needs alias="_s);
        row("a report in a folder that does not exist",
            source + rest + u"[report]\nsave=/nonexistent-folder/report.txt\n"_s,
            u"answers.ini, line 9: [report] save: the folder /nonexistent-folder does not "
            "exist"_s);
    }

    // A file that cannot be answered from is refused as it is read, naming the line and
    // what is wrong with it.
    void malformedFiles()
    {
        QFETCH(QString, text);
        QFETCH(QString, message);
        QString refused;
        try {
            AnswersFile::Parse(u"answers.ini"_s, text.toUtf8());
        } catch (const AnswersError& error) {
            refused = error.message();
        }
        QCOMPARE(refused, message);
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
        const DemoData::DemoContent content = DemoData::Generate(DemoData::DefaultUserCount);
        const TestDatabase source(engine, u"Varnel"_s);
        const TestDatabase target(engine, u"Directory"_s);
        VarnelBuilder::WriteTo(source.connectionString(), content.source);
        DirectoryBuilder::Build(target.connectionString(), content.directory);
        const QString mail = QDir(fixture.folder()).filePath(u"mail"_s);
        QVERIFY(QDir().mkpath(mail));
        const QString ini = QDir(fixture.folder()).filePath(u"zephrin.ini"_s);
        writeFile(ini, configuration(target.connectionString(), mail));
        Components::setFactory(std::make_shared<TargetComponentFactory>(ini));

        QString text = exampleFor(u"unused"_s);
        text.replace(text.left(text.indexOf(u"[stores]"_s)),
                     databaseSection(u"source"_s, source) + databaseSection(u"target"_s, target));
        text.replace(u"save=demo-report.txt"_s, u"save=report.txt"_s);
        if (!decided) {
            text.replace(u"33=new-login"_s, u"; 33 left out"_s);
        }
        const QStringList before = directorySummary(target.connectionString());
        const Run run = runAnswers(fixture.folder(), text);
        if (!decided) {
            QCOMPARE(run.status, 2);
            QVERIFY2(run.stopReason.contains(
                         u": the source user 33 \"Andrew Torres\" (login ID atorres) conflicts "_s),
                     qPrintable(run.stopReason));
            QCOMPARE(directorySummary(target.connectionString()), before);
            return;
        }
        QCOMPARE(run.stopReason, QString());
        QCOMPARE(run.status, 1);
        const QStringList lines = QString::fromUtf8(run.csv).split(u"\r\n"_s);
        QCOMPARE(lines.size(), 1 + 50 + 1 + 2 + 1);
        for (const QString& expected :
             {u"user,2,Mary Davis,success,6,Created as a new user under a new login ID,mdavis,"
              "MaDa1,yes,sent,"_s,
              u"user,11,David White,success,1,Updated the Directory user with the same login "
              "ID,dwhite,dwhite,yes,sent,"_s,
              u"user,22,Nancy Miller,success,2,Replaced the Directory user with the same login "
              "ID,nmiller,nmiller,yes,sent,"_s,
              u"user,28,Sandra Johnson,error,5,User information was corrupt (See Warnings for "
              "details),,,no,not sent,PROBLEM: Login ID missing; ACTION: User not migrated"_s,
              u"store,,EXCH55,error,5,Exchange 5.5 store could not be added (the log says "
              "why),,,,,"_s}) {
            QVERIFY2(lines.contains(expected),
                     qPrintable(expected + u"\n\n"_s + QString::fromUtf8(run.csv)));
        }
        QCOMPARE(lines.filter(u",success,"_s).size(), 37 + 2);
        QCOMPARE(lines.filter(u",warning,"_s).size(), 9);
        QCOMPARE(lines.filter(u",error,"_s).size(), 4 + 1);
        QCOMPARE(describe(DbConnection(target.connectionString())
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
        const DemoData::DemoContent content = DemoData::Generate(12);
        const TestDatabase source(engine, u"Varnel"_s);
        VarnelBuilder::WriteTo(source.connectionString(), content.source);
        const bool sqlServer = engine == Engines::SqlServer;
        const ConnectionParts parts = ParseConnectionString(source.connectionString());
        // The form the wizard reads from zephrin.ini: "Data source=" and "Initial
        // Catalog=", each value ended by ";".
        const QString directory =
            u"Provider=SQLOLEDB.1;Data source=%1;Initial Catalog=%2;uid=%3;pwd=%4"_s.arg(
                parts.dataSource, sqlServer ? u"master"_s : u"Missing"_s, parts.userID,
                u"not the password"_s);
        const QString mail = QDir(fixture.folder()).filePath(u"mail"_s);
        QVERIFY(QDir().mkpath(mail));
        const QString ini = QDir(fixture.folder()).filePath(u"zephrin.ini"_s);
        writeFile(ini, configuration(directory, mail));
        Components::setFactory(std::make_shared<TargetComponentFactory>(ini));

        QString text = exampleFor(u"unused"_s);
        text.replace(text.left(text.indexOf(u"[stores]"_s)), databaseSection(u"source"_s, source));
        const Run run = runAnswers(fixture.folder(), text);

        QCOMPARE(run.status, 2);
        const QString told =
            u"The wizard says \"The database you selected as a an Zephrin 4.5 directory database "
            "was either corrupt or not an Zephrin 4.5 Directory database. Please select another "
            "database.\" (Incorrect database selection): "_s;
        const QString why = sqlServer ? u"Error 18456: "_s
                                      : u"Error -2147467259: Cannot open database \"Missing\": "
                                        "no such database in "_s;
        QVERIFY2(run.stopReason.startsWith(told + why), qPrintable(run.stopReason));
        const QString failure = run.stopReason.mid(told.size());
        const QStringList log = fixture.logEntries();
        QVERIFY2(log.contains(u"Verifier: AdministrativeDBCon.CheckImportDatabase False"_s),
                 qPrintable(log.join(u'\n')));
        QVERIFY2(log.contains(u"Verifier: AdministrativeDBCon.CheckImportDatabase could not open "
                              "the database: "_s +
                              failure),
                 qPrintable(log.join(u'\n')));
        // The source page's handler goes on to the target page before the walk stops.
        QVERIFY(log.contains(Stopped + run.stopReason));
    }

    void outcomeCsvRoundTrip_data() { Engines::rows(); }

    // Names with quotes, commas and line breaks come back from the outcome file field
    // for field when another CSV reader reads it; no new password is in it.
    void outcomeCsvRoundTrip()
    {
        QFETCH(QString, engine);
        PageFixture fixture;
        DemoData::DemoContent content = DemoData::Generate(DemoData::DefaultUserCount);
        const QString odd1 = u"Ann \"Annie\""_s;
        const QString odd2 = u"Smith, Jr."_s;
        const QString odd3 = u"Line\r\nBreak"_s;
        const QString odd4 = u"O'Brien \"\","_s;
        content.source.users[0].givenName = odd1;
        content.source.users[0].familyName = odd2;
        content.source.users[2].givenName = odd3;
        content.source.users[4].familyName = odd4;
        content.source.users[4].loginID = u"rob,\"lewis\""_s;
        const TestDatabase source(engine, u"Varnel"_s);
        const TestDatabase target(engine, u"Directory"_s);
        VarnelBuilder::WriteTo(source.connectionString(), content.source);
        DirectoryBuilder::Build(target.connectionString(), content.directory);
        const QString mail = QDir(fixture.folder()).filePath(u"mail"_s);
        QVERIFY(QDir().mkpath(mail));
        const QString ini = QDir(fixture.folder()).filePath(u"zephrin.ini"_s);
        writeFile(ini, configuration(target.connectionString(), mail));
        Components::setFactory(std::make_shared<TargetComponentFactory>(ini));

        const QString text =
            databaseSection(u"source"_s, source) + databaseSection(u"target"_s, target) +
            u"[stores]\nexchange2000=EXCH55\ncould-not-add-store=stop\n[users]\nids=5, 1, "
            u"3\n[email]\ntemplate=New password\n[profiles]\nmigrate=all\n"
            "[report]\nsave=report.txt\n"_s;
        const Run run = runAnswers(fixture.folder(), text);
        QCOMPARE(run.stopReason, QString());
        const QString csv = QDir(fixture.folder()).filePath(u"outcome.csv"_s);
        const QList<QStringList> rows = pythonCsv(csv);
        QVERIFY2(rows.size() == 1 + 3 + 1 + 6, qPrintable(QString::fromUtf8(run.csv)));
        QCOMPARE(rows.at(0), QStringList({u"kind"_s, u"id"_s, u"name"_s, u"class"_s, u"code"_s,
                                          u"text"_s, u"login before"_s, u"login after"_s,
                                          u"new password"_s, u"e-mail"_s, u"warnings"_s}));
        const auto user = [&rows](int row) { return rows.at(row).mid(0, 3) << rows.at(row).at(6); };
        QCOMPARE(user(1),
                 QStringList({u"user"_s, u"5"_s, u"Robert "_s + odd4, u"rob,\"lewis\""_s}));
        QCOMPARE(user(2), QStringList({u"user"_s, u"1"_s, odd1 + u' ' + odd2, u"jsmith"_s}));
        QCOMPARE(user(3), QStringList({u"user"_s, u"3"_s, odd3 + u" Anderson"_s, u"janderson"_s}));
        for (int row = 1; row <= 3; ++row) {
            QCOMPARE(rows.at(row).at(8), u"yes"_s);
        }
        // Every line ends in CR LF, also the last; the line break inside a name stays.
        QVERIFY(run.csv.endsWith("\r\n"));
        QVERIFY(run.csv.contains("\"Line\r\nBreak Anderson\""));
        // The new passwords end the lines of the report's change table, whose login
        // column says "Not Changed" for these users.
        const QStringList table =
            QString::fromLatin1(readAll(QDir(fixture.folder()).filePath(u"report.txt"_s)))
                .split(u"\r\n"_s)
                .filter(u" Not Changed "_s);
        QCOMPARE(table.size(), 3);
        for (const QString& line : table) {
            const QString password = line.split(u' ', Qt::SkipEmptyParts).last();
            QVERIFY(password.size() >= 6);
            QVERIFY2(!run.csv.contains(password.toUtf8()), qPrintable(password));
        }
    }

    void programExitStatus_data()
    {
        QTest::addColumn<QString>("answers");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("output");
        QTest::newRow("everything migrated")
            << u"[source]\nserver=sqlite:DEMO\ndatabase=Varnel\n[stores]\nexchange2000=EXCH55\n"
               "could-not-add-store=stop\n[users]\nids=1, 2\n[conflicts]\ndefault=update\n"
               "[email]\ntemplate=none\n[profiles]\nnames=Company GPRS\n"_s
            << 0
            << u"Users: 2 migrated, 0 with warnings, 0 failed\nStores: 1 migrated, 0 with "
               "warnings, 0 failed\nProfiles: 1 migrated, 0 with warnings, 0 failed\n"_s;
        QTest::newRow("a store that stops the run")
            << u"[source]\nserver=sqlite:DEMO\ndatabase=Varnel\n[stores]\nexchange55=EXCH55\n"
               "could-not-add-store=stop\n[users]\nids=1\n[email]\ntemplate=none\n"
               "[profiles]\nmigrate=none\n"_s
            << 1
            << u"Users: 0 migrated, 0 with warnings, 1 failed\nStores: 0 migrated, 0 with "
               "warnings, 1 failed\nProfiles: 0 migrated, 0 with warnings, 0 failed\n"_s;
        QTest::newRow("a malformed file") << u"[source]\nserver\n"_s << 2
                                          << u"ANSWERS, line 2: this line is neither a "
                                             "[section], a name=value answer nor a comment: "
                                             "\"server\"\n"_s;
    }

    // The program's own exit status and what it prints, on a fresh demo each time.
    void programExitStatus()
    {
        QFETCH(QString, answers);
        QFETCH(int, status);
        QFETCH(QString, output);
        QTemporaryDir folder;
        const QString demo = folder.filePath(u"demo"_s);
        QVERIFY(copyFolder(mPristine, demo));
        const QString config = demo + u"/zephrin.ini"_s;
        writeFile(config, QString::fromUtf8(readAll(mPristine + u"/zephrin.ini"_s))
                              .replace(mDemoFolder, demo)
                              .toUtf8());
        const QString file = folder.filePath(u"answers.ini"_s);
        writeFile(file, QString(answers).replace(u"DEMO"_s, demo).toUtf8());
        QProcess program;
        program.setWorkingDirectory(folder.path());
        program.start(QStringLiteral(VARNEL_MIGRATE_BINARY),
                      {u"--config"_s, config, u"--answers"_s, file});
        QVERIFY(program.waitForFinished(120000));
        const QString out = QString::fromLocal8Bit(program.readAllStandardOutput());
        const QString err = QString::fromLocal8Bit(program.readAllStandardError());
        QCOMPARE(program.exitCode(), status);
        removeLogNamedIn(out);
        if (status == 2) {
            QCOMPARE(err, QString(output).replace(u"ANSWERS"_s, file));
        } else {
            QVERIFY2(out.endsWith(output), qPrintable(out + err));
        }
    }

    // docs/answers-file.md's example, run as it stands: the two commands of its shell
    // block in a folder that holds its answers file, with the program on the PATH.
    void docsExampleRunsAsWritten()
    {
        QTemporaryDir folder;
        writeFile(folder.filePath(u"demo-answers.ini"_s), docsExample(u"ini"_s).toUtf8());
        QProcess shell;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"PATH"_s,
                           QFileInfo(QStringLiteral(VARNEL_MIGRATE_BINARY)).absolutePath() + u':' +
                               environment.value(u"PATH"_s));
        environment.remove(u"DISPLAY"_s);
        environment.remove(u"QT_QPA_PLATFORM"_s);
        shell.setProcessEnvironment(environment);
        shell.setWorkingDirectory(folder.path());
        shell.start(u"bash"_s, {u"-c"_s, docsExample(u"sh"_s)});
        QVERIFY(shell.waitForFinished(180000));
        const QString out = QString::fromLocal8Bit(shell.readAllStandardOutput());
        const QString err = QString::fromLocal8Bit(shell.readAllStandardError());
        removeLogNamedIn(out);
        QCOMPARE(shell.exitCode(), 1);
        QVERIFY2(out.endsWith(u"Report appended to: "_s + folder.filePath(u"demo-report.txt"_s) +
                              u"\nOutcome: demo-outcome.csv\nUsers: 37 migrated, 9 with "
                              "warnings, 4 failed\nStores: 0 migrated, 0 with warnings, 1 "
                              "failed\nProfiles: 2 migrated, 0 with warnings, 0 failed\n"_s),
                 qPrintable(out + err));
        QVERIFY2(err.startsWith(u"Could not Add Store: Failed to add EXCH55 "_s), qPrintable(err));
        QCOMPARE(readAll(folder.filePath(u"demo-outcome.csv"_s)), mClicked.csv);
        QCOMPARE(
            withoutPasswords(QString::fromLatin1(readAll(folder.filePath(u"demo-report.txt"_s)))),
            withoutPasswords(QString::fromLatin1(mClicked.report)));
        QCOMPARE(QDir(folder.filePath(u"varnel-demo/mail"_s)).entryList({u"*.eml"_s}).size(), 46);
    }

private:
    bool resetDemo()
    {
        return QDir(mDemoFolder).removeRecursively() && copyFolder(mPristine, mDemoFolder);
    }
    void useDemoFolder() const
    {
        Components::setFactory(
            std::make_shared<TargetComponentFactory>(mDemoFolder + u"/zephrin.ini"_s));
    }
    // The program writes its log beside itself, and the files named after the log
    // (MigrationLog<time>-DeletedUsers.txt of a replacement); the test takes them away
    // again.
    static void removeLogNamedIn(const QString& output)
    {
        const QRegularExpressionMatch log =
            QRegularExpression(u"^Log: (.*)$"_s, QRegularExpression::MultilineOption).match(output);
        if (!log.hasMatch()) {
            return;
        }
        const QFileInfo file(log.captured(1));
        const QDir folder = file.absoluteDir();
        for (const QString& name :
             folder.entryList({file.completeBaseName() + u"*"_s}, QDir::Files)) {
            QFile::remove(folder.filePath(name));
        }
    }
    // The files the program may leave beside itself.
    static QStringList programFolderFiles()
    {
        return QDir(QFileInfo(QStringLiteral(VARNEL_MIGRATE_BINARY)).absolutePath())
            .entryList({u"MigrationLog*"_s, u"*.csv"_s, u"*.txt"_s}, QDir::Files, QDir::Name);
    }

    QTemporaryDir mWork;
    QString mDemoFolder;
    QString mPristine;
    QString mDirectory;
    QString mClickedReportPath;
    QString mWrittenAnswers;
    QStringList mProgramFolderFiles;
    Traces mClicked;
};

QTEST_MAIN(TestUnattended)
#include "tst_unattended.moc"

#include "support/ProgramRun.h"

#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/VarnelBuilder.h"
#include "engine/MigrationEngine.h"
#include "engine/RunJournal.h"
#include "frame/StopRequest.h"
#include "reference/DirectoryBuilder.h"
#include "support/Describe.h"
#include "support/Golden.h"
#include "support/PageFixture.h"
#include "support/RunState.h"
#include "unattended/AnswersFile.h"
#include "unattended/OutcomeWatch.h"
#include "unattended/UnattendedRun.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        QTest::qFail(qPrintable(QStringLiteral("cannot write ") + path), __FILE__, __LINE__);
    }
}

bool copyFolder(const QString& from, const QString& to)
{
    return QProcess::execute(QStringLiteral("cp"), {QStringLiteral("-R"), from, to}) == 0;
}

QStringList withoutTimes(const QStringList& entries)
{
    static const QRegularExpression time(
        QStringLiteral("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d|"
                       "\\d\\d-\\d\\d-\\d{4} \\d\\d:\\d\\d:\\d\\d"));
    QStringList stripped;
    for (const QString& entry : entries) {
        stripped << QString(entry).replace(time, QStringLiteral("<time>"));
    }
    return stripped;
}

namespace {

// The lines of the report's change table, passed to a function that may change them.
template <typename Visit> QStringList changeTable(const QString& report, Visit visit)
{
    QStringList lines = report.split(QStringLiteral("\r\n"));
    const qsizetype head =
        lines.indexOf(QStringLiteral("Users with changed Login ID and/or password:"));
    for (qsizetype i = head + 4; head >= 0 && i < lines.size(); ++i) {
        if (lines.at(i).startsWith(QStringLiteral("---"))) {
            break;
        }
        // A name with a line break of its own takes two lines, the first without one.
        if (!lines.at(i).mid(62).trimmed().isEmpty()) {
            visit(lines[i]);
        }
    }
    return lines;
}

} // namespace

QList<QPair<QString, QString>> changedPasswords(const QString& report)
{
    QList<QPair<QString, QString>> pairs;
    changeTable(report, [&pairs](QString& line) {
        pairs.append({line.mid(31, 30).trimmed(), line.mid(62).trimmed()});
    });
    return pairs;
}

QString withoutPasswords(const QString& report)
{
    return changeTable(report,
                       [](QString& line) { line = line.left(62) + QStringLiteral("<password>"); })
        .join(QStringLiteral("\r\n"));
}

QByteArray zephrinIni(const QString& directory, const QString& pickupFolder)
{
    return QStringLiteral(
               "[global]\nproductname=Zephrin 4.5\n[directory]\nconnectionstring=\"%1\"\n"
               "passworditerations=1000\n[mail]\ntransport=pickup\npickupfolder=%2\n")
        .arg(directory, pickupFolder)
        .toUtf8();
}

QString databaseSection(const QString& section, const TestDatabase& database)
{
    const ConnectionParts parts = ParseConnectionString(database.connectionString());
    QString text = QStringLiteral("[%1]\nserver=%2\n").arg(section, parts.dataSource);
    if (!database.isEmbedded()) {
        text += QStringLiteral("authentication=sql\nlogin=%1\npassword=%2\n")
                    .arg(parts.userID, AnswersFile::Quoted(parts.password));
    }
    return text + QStringLiteral("database=%1\n\n").arg(database.name());
}

ProgramOutput runProgram(const QString& program, const QStringList& arguments,
                         const QString& folder, const QStringList& environment)
{
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    for (const QString& setting : environment) {
        if (setting.contains(u'=')) {
            variables.insert(setting.section(u'=', 0, 0), setting.section(u'=', 1));
        } else {
            variables.remove(setting);
        }
    }
    QProcess process;
    process.setProcessEnvironment(variables);
    process.setWorkingDirectory(folder);
    process.start(program, arguments);
    ProgramOutput output;
    if (process.waitForFinished(300000) && process.exitStatus() == QProcess::NormalExit) {
        output.status = process.exitCode();
    }
    output.out = QString::fromLocal8Bit(process.readAllStandardOutput());
    output.err = QString::fromLocal8Bit(process.readAllStandardError());
    return output;
}

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

QString pythonCsv(const QString& path)
{
    const ProgramOutput python =
        runProgram(u"python3"_s,
                   {u"-c"_s,
                    u"import csv, json, sys\n"
                    "with open(sys.argv[1], newline='', encoding='utf-8') as f:\n"
                    "    for row in csv.reader(f, strict=True): print(json.dumps(row))\n"_s,
                    path},
                   QDir::tempPath());
    return python.out;
}

AnswersRun runAnswers(const QString& folder, const QString& text)
{
    const QString path = QDir(folder).filePath(u"answers.ini"_s);
    writeFile(path, text.toUtf8());
    AnswersFile answers;
    try {
        answers = AnswersFile::Read(path);
    } catch (const AnswersError& error) {
        return {2, error.message(), {}, {}};
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
    return {run.isDone() ? run.exitStatus() : -1, run.stopReason(), run.notes(), readAll(csv)};
}

QString runEngine(std::unique_ptr<RunJournal> resumed, int stopAfter)
{
    RecordingProgress progress;
    progress.onEvents = [&progress, stopAfter] {
        if (stopAfter > 0 && progress.calls.contains(u"value %1"_s.arg(stopAfter))) {
            StopRequest::request(u"the test"_s);
        }
    };
    MigrationEngine engine(progress);
    if (resumed) {
        engine.resumeFrom(std::move(resumed));
    }
    engine.Load();
    RunState::Run(engine);
    StopRequest::reset();
    return engine.journalPath();
}

QString masked(const QString& folder, const QStringList& texts, const QString& fallback)
{
    static const QRegularExpression why(u"(MailUser failed .* Error Description: ).*"_s);
    QStringList lines;
    for (const QString& text : texts) {
        lines << Golden::fromCrlf(text);
    }
    return lines.join(u'\n')
               .replace(folder, u"<folder>"_s)
               .replace(fallback, u"<fallback>"_s)
               .replace(why, u"\\1<why>"_s) +
           u'\n';
}

Installation::Installation(const QString& engine, const DemoData::DemoContent& content,
                           const QString& folder)
    : source(engine, QStringLiteral("Varnel")), target(engine, QStringLiteral("Directory")),
      mFolder(folder)
{
    if (mFolder.isEmpty()) {
        mOwnFolder = std::make_unique<QTemporaryDir>();
        mFolder = mOwnFolder->path();
    }
    VarnelBuilder::WriteTo(source.connectionString(), content.source);
    DirectoryBuilder::Build(target.connectionString(), content.directory);
    QDir().mkpath(mailFolder());
    writeFile(ini(), zephrinIni(target.connectionString(), mailFolder()));
}

Installation::~Installation() = default;

QString Installation::sections() const
{
    return databaseSection(QStringLiteral("source"), source) +
           databaseSection(QStringLiteral("target"), target);
}

QStringList Installation::directory() const
{
    DbConnection connection(target.connectionString());
    QStringList rows;
    for (const char* sql :
         {"SELECT UserID, FirstName, LastName, LoginID, Enabled, LanguageID, TimeZoneID, "
          "MobileNumber, GraphicsOn, LogonFailureCount, DefaultServiceID FROM fwtUser "
          "ORDER BY UserID",
          "SELECT StoreID, Name, ExchangeVersion FROM fwtStore ORDER BY StoreID",
          "SELECT ServiceID, OwnerUserID, ApplicationID, StoreID FROM fwtService ORDER BY "
          "ServiceID",
          "SELECT Name FROM fwtDeviceProfile ORDER BY ProfileID"}) {
        rows << describe(connection.select(QString::fromLatin1(sql)));
    }
    return rows;
}

QString linkedProgram(const QString& folder)
{
    const QString linked = folder + QStringLiteral("/varnel-migrate");
    if (!QFile::exists(linked) &&
        ::link(VARNEL_MIGRATE_BINARY, QFile::encodeName(linked).constData()) != 0) {
        QFile::copy(QStringLiteral(VARNEL_MIGRATE_BINARY), linked);
    }
    return linked;
}

ProgramOutput Installation::run(const QStringList& arguments, const QStringList& environment)
{
    return runProgram(program(), QStringList{QStringLiteral("--config"), ini()} + arguments,
                      mFolder, environment);
}

// Times a whole migration run: a demo installation of N users (NTLOGON, so every user
// gets a new password and an introduction e-mail into the demo's pickup folder), its
// wizard state filled as the pages leave it, and the run's public procedures
// SetServers, MigrateUsers, MigrateDPProfiles and GenerateReport, each log entry
// written as the run defines it.
//
//   bench_migration [--iterations I] [--one-core] [N ...]   embedded engine (10000)
//   bench_migration [--iterations I] --sqlserver N          source and Directory on the
//                                                           SQL Server the tests name
//
// --iterations sets the password encoder's cost (the demo's 10,000 unless given;
// 600000 is a real installation's). --one-core keeps the encoder from preparing
// ahead: every password is encoded on the interface thread when its user needs it.
// Prints the run, the encoder's processor time over every thread, the cores it used,
// and against the ideal (encoding time / cores + the run without the encoder, a
// second run at the cost of one iteration) the ratio; the floor (the same Directory
// rows in one transaction); the longest gap between two passes of event processing;
// and on SQL Server the round trips (requests sent) per user.
#include "migration/Floors.h"
#include "migration/TdsCounter.h"
#include "migration/Timing.h"

#include "db/ConnectionString.h"
#include "db/VarnelBuilder.h"
#include "demo/DemoData.h"
#include "demo/DemoInstallation.h"
#include "directory/ComponentFactory.h"
#include "engine/MigrationEngine.h"
#include "engine/RunProgress.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/RecordKeys.h"
#include "frame/StatusHolder.h"
#include "reference/DirectoryBuilder.h"
#include "support/Engines.h"
#include "support/RunState.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <cstdio>
#include <optional>

namespace {

struct Options
{
    int iterations = DemoInstallation::PasswordIterations;
    bool oneCore = false;
    int sqlServerUsers = 0;
    QList<int> counts;
};

// The window's progress as the run shows it: every pass of events goes through the
// program's clock, as the migration window's does.
class ClockProgress : public RunProgress
{
public:
    explicit ClockProgress(GapClock& clock) : mClock(clock) {}
    void setDescription(const QString& text) override { mClock.description = text; }
    void setMinimum(int) override {}
    void setMaximum(int) override {}
    void setValue(int) override {}
    void repaint() override {}
    void processEvents() override { AppClock::processEvents(); }

private:
    GapClock& mClock;
};

void setIterations(const QString& configurationPath, int iterations)
{
    QFile file(configurationPath);
    file.open(QIODevice::ReadOnly);
    QString text = QString::fromUtf8(file.readAll());
    file.close();
    text.replace(QStringLiteral("passworditerations=%1").arg(DemoInstallation::PasswordIterations),
                 QStringLiteral("passworditerations=%1").arg(iterations));
    file.open(QIODevice::WriteOnly | QIODevice::Truncate);
    file.write(text.toUtf8());
}

// The state as the pages leave it, for the installation's databases.
void fillState(const QString& programFolder, const DemoInstallation& demo)
{
    StatusHolder::Reset();
    GlobalVariables::Reset();
    GlobalVariables::gsProgramFolder = programFolder;
    GlobalVariables::gsImportApp = QStringLiteral("Zephrin 4.5");
    GlobalVariables::gsExportApp = QStringLiteral("3.1x");
    GlobalVariables::gsLogFileName =
        QStringLiteral("MigrationLog") +
        QDateTime::currentDateTime().toString(CommonFunctions::LogFileTimeFormat) +
        QStringLiteral(".log");
    StatusHolder::SetVarnelDatabase(QStringLiteral("server"), QStringLiteral("Varnel"), 1,
                                    StatusHolder::SqlServerAuthentication, QString(), QString(),
                                    true, demo.sourceConnectionString);
    StatusHolder::SetZephrinDatabase(QStringLiteral("server"), QStringLiteral("Directory"), 0,
                                     StatusHolder::SqlServerAuthentication, QString(), QString(),
                                     true, demo.directoryConnectionString);
    RunChoices choices;
    choices.users = RunState::AllUsers(demo);
    choices.profiles = RunState::AllProfiles(demo);
    RunState::Fill(demo, choices);
}

struct RunFigures
{
    long long total = 0;
    long long users = 0;
    long long profiles = 0;
    long long report = 0;
    double cpu = 0;
    int migrated = 0;
    int records = 0;
    long long phasesGap = 0;
    QString phasesGapWhere;
    long long reportGap = 0;
    int passes = 0;
};

// The run's four procedures on the state filled; between the users and the profiles
// afterUsers is called (the SQL Server count is taken there).
RunFigures runMigration(const std::function<void()>& afterUsers = {})
{
    auto clock = std::make_shared<GapClock>();
    AppClock::setClock(clock);
    ClockProgress progress(*clock);
    MigrationEngine engine(progress);
    engine.Load();
    engine.SetServers(Collection::create(), Collection::create());

    RunFigures figures;
    QElapsedTimer timer;
    timer.start();
    const long long cpuStart = threadCpuNanoseconds();
    clock->start();
    engine.MigrateUsers();
    figures.users = timer.elapsed();
    if (afterUsers) {
        afterUsers();
    }
    engine.MigrateDPProfiles();
    figures.profiles = timer.elapsed() - figures.users;
    clock->note();
    figures.phasesGap = clock->longestGap;
    figures.phasesGapWhere = clock->longestGapWhere;
    clock->longestGap = 0;
    engine.GenerateReport();
    clock->note();
    figures.total = timer.elapsed();
    figures.report = figures.total - figures.users - figures.profiles;
    figures.cpu = double(threadCpuNanoseconds() - cpuStart) / 1e6;
    figures.reportGap = clock->longestGap;
    figures.passes = clock->passes;
    figures.records = engine.cUserResults->count();
    for (int i = 1; i <= engine.cUserResults->count(); ++i) {
        if (engine.cUserResults->collection(i)->value(RecordKeys::Status).toBool()) {
            ++figures.migrated;
        }
    }
    AppClock::setClock(nullptr);
    return figures;
}

// The same run at the cost of one iteration: the run without the encoder.
long long runWithoutEncoder(int count)
{
    QTemporaryDir dir;
    const DemoInstallation demo =
        DemoInstallation::Create(dir.filePath(QStringLiteral("demo")), count);
    setIterations(demo.configurationPath, 1);
    Components::setFactory(std::make_shared<TimingFactory>(demo.configurationPath, true));
    fillState(dir.path(), demo);
    const RunFigures figures = runMigration();
    Components::setFactory(nullptr);
    return figures.total;
}

void printRun(int count, const RunFigures& run, TimingFactory& factory, const Options& options)
{
    const double encoderCpu = double(factory.encoder.cpuNanoseconds) / 1e6;
    std::printf("  run                %8lld ms   (users and e-mails %lld ms, profiles %lld ms, "
                "report %lld ms); %d migrated, %d outcome records\n",
                run.total, run.users, run.profiles, run.report, run.migrated, run.records);
    std::printf("  processor time     %8.0f ms   (of the interface thread)\n", run.cpu);
    std::printf("  password encoder   %8.0f ms   processor time over every thread (%lld "
                "encodings at %d iterations, %.1f ms each)\n",
                encoderCpu, factory.encoder.encodings.load(), options.iterations,
                factory.encoder.encodings > 0 ? encoderCpu / double(factory.encoder.encodings)
                                              : 0.0);
    const int cores = qMax(1, QThread::idealThreadCount());
    std::printf("  cores used         %8d      of %d (%s)\n", factory.encoder.threadsUsed(), cores,
                options.oneCore ? "encoded on the interface thread, one after the other"
                                : "encoded ahead of the user loop");
    std::printf("  mail component     %8.0f ms   (%.0f ms processor)\n",
                double(factory.mailNanoseconds) / 1e6, double(factory.mailCpuNanoseconds) / 1e6);
    const long long without = runWithoutEncoder(count);
    const double ideal = encoderCpu / cores + double(without);
    std::printf("  run without it     %8lld ms   %8.0f users/s (the same run at 1 iteration)\n",
                without, without > 0 ? count * 1000.0 / double(without) : 0.0);
    std::printf("  ideal              %8.0f ms   (encoder %.0f ms / %d cores + run without it); "
                "the run is %.2f times the ideal; one core: %.0f ms\n",
                ideal, encoderCpu, cores, ideal > 0 ? double(run.total) / ideal : 0.0,
                encoderCpu + double(without));
    std::printf("  longest gap between two event passes %.1f ms in the phases (%s; %d passes), "
                "%.1f ms in the report\n",
                double(run.phasesGap) / 1e6, qPrintable(run.phasesGapWhere), run.passes,
                double(run.reportGap) / 1e6);
}

void measureEmbedded(int count, const Options& options)
{
    QTemporaryDir dir;
    QElapsedTimer timer;
    timer.start();
    const DemoInstallation demo =
        DemoInstallation::Create(dir.filePath(QStringLiteral("demo")), count);
    const long long build = timer.elapsed();
    setIterations(demo.configurationPath, options.iterations);
    const QString directoryFile = QDir(demo.folder).filePath(DemoInstallation::DirectoryFileName());
    const QString beforeFile = dir.filePath(QStringLiteral("DirectoryBefore.sqlite"));
    QFile::copy(directoryFile, beforeFile);

    auto factory = std::make_shared<TimingFactory>(demo.configurationPath, !options.oneCore);
    Components::setFactory(factory);
    fillState(dir.path(), demo);
    const long memoryBefore = peakKilobytes();
    const RunFigures run = runMigration();
    const long memoryAfter = peakKilobytes();
    Components::setFactory(nullptr);

    std::printf("%d users, embedded engine (demo written in %lld ms)\n", count, build);
    long long floorRows = 0;
    const long long floor = embeddedFloor(beforeFile, directoryFile, floorRows);
    printRun(count, run, *factory, options);
    std::printf("  floor              %8lld ms   (%lld Directory rows by plain inserts in one "
                "transaction)\n",
                floor, floorRows);
    std::printf("  peak memory %ld MB (before the run %ld MB)\n", memoryAfter / 1024,
                memoryBefore / 1024);
    std::fflush(stdout);
}

// The server's address as host and port.
std::pair<QString, int> serverAddress()
{
    const QString address = Engines::sqlServerAddress();
    const qsizetype comma = address.indexOf(u',');
    return {address.left(comma).trimmed(), comma < 0 ? 1433 : address.mid(comma + 1).toInt()};
}

void printCounts(const char* what, const TdsCounter::Counts& counts, int users)
{
    std::printf("  %s %8.1f round trips per user (%lld requests: %lld batches, %lld procedure "
                "calls, %lld transaction requests, %lld logins, %lld other; %lld connections "
                "to the server)\n",
                what, double(counts.requests()) / users, counts.requests(), counts.batches,
                counts.procedureCalls, counts.transactions, counts.logins, counts.other,
                counts.connections);
}

TdsCounter::Counts minus(const TdsCounter::Counts& a, const TdsCounter::Counts& b)
{
    TdsCounter::Counts d;
    d.connections = a.connections - b.connections;
    d.logins = a.logins - b.logins;
    d.batches = a.batches - b.batches;
    d.procedureCalls = a.procedureCalls - b.procedureCalls;
    d.transactions = a.transactions - b.transactions;
    d.other = a.other - b.other;
    return d;
}

void measureSqlServer(int count, const Options& options)
{
    if (!Engines::sqlServerNamed()) {
        std::fprintf(stderr, "--sqlserver: name the server in VARNEL_TEST_SQLSERVER (host,port), "
                             "and its login in VARNEL_TEST_SQLSERVER_LOGIN and _PASSWORD\n");
        return;
    }
    const auto [host, port] = serverAddress();
    TdsCounter counter(host, port);
    if (!counter.listening()) {
        std::fprintf(stderr, "--sqlserver: no loopback port for counting the requests\n");
        return;
    }
    QTemporaryDir dir;
    QElapsedTimer timer;
    timer.start();
    // The demo installation lends its configuration and pickup folder; the source and
    // the Directory are written on the server, the floor's Directory beside them.
    DemoInstallation demo = DemoInstallation::Create(dir.filePath(QStringLiteral("demo")), 1);
    setIterations(demo.configurationPath, options.iterations);
    const DemoData::DemoContent content = DemoData::Generate(count);
    const TestDatabase source(Engines::SqlServer, QStringLiteral("benchvarnel"));
    const TestDatabase target(Engines::SqlServer, QStringLiteral("benchdirectory"));
    const TestDatabase floorTarget(Engines::SqlServer, QStringLiteral("benchfloor"));
    VarnelBuilder::WriteTo(source.connectionString(), content.source);
    DirectoryBuilder::Build(target.connectionString(), content.directory);
    DirectoryBuilder::Build(floorTarget.connectionString(), content.directory);
    const int firstNewUserID =
        target.scalar(QStringLiteral("SELECT MAX(UserID) FROM fwtUser")).toInt() + 1;
    const long long build = timer.elapsed();

    // The run reaches the server through the counting relay.
    const QString relayed = QStringLiteral("127.0.0.1,%1").arg(counter.port());
    demo.sourceConnectionString = BuildSqlConnectionString(
        relayed, source.name(), Engines::sqlServerLogin(), Engines::sqlServerPassword());
    demo.directoryConnectionString = BuildSqlConnectionString(
        relayed, target.name(), Engines::sqlServerLogin(), Engines::sqlServerPassword());
    auto factory = std::make_shared<TimingFactory>(demo.configurationPath, !options.oneCore);
    Components::setFactory(factory);
    fillState(dir.path(), demo);

    const TdsCounter::Counts before = counter.counts();
    TdsCounter::Counts afterUsers;
    const RunFigures run = runMigration([&] { afterUsers = counter.counts(); });
    const TdsCounter::Counts after = counter.counts();
    Components::setFactory(nullptr);

    long long floorRows = 0;
    const long long floor = sqlServerFloor(
        target.connectionString(), floorTarget.connectionString(), firstNewUserID, floorRows);
    std::printf("%d users, source and Directory on the SQL Server %s (written in %lld ms), "
                "%d password iterations\n",
                count, qPrintable(Engines::sqlServerAddress()), build, options.iterations);
    std::printf("  run                %8lld ms   (users and e-mails %lld ms, profiles %lld ms, "
                "report %lld ms); %d migrated, %d outcome records\n",
                run.total, run.users, run.profiles, run.report, run.migrated, run.records);
    std::printf("  users per second   %8.1f      (users and e-mails; %.0f ms processor time of "
                "the interface thread in the whole run)\n",
                run.users > 0 ? count * 1000.0 / double(run.users) : 0.0, run.cpu);
    printCounts("users and e-mails", minus(afterUsers, before), count);
    printCounts("whole run        ", minus(after, before), count);
    std::printf("  floor              %8lld ms   (%lld Directory rows of the new users, inserted "
                "in one transaction on one connection); the users' phase is %.1f times it\n",
                floor, floorRows, floor > 0 ? double(run.users) / double(floor) : 0.0);
    std::printf("  longest gap between two event passes %.1f ms in the phases (%s), %.1f ms in "
                "the report\n",
                double(run.phasesGap) / 1e6, qPrintable(run.phasesGapWhere),
                double(run.reportGap) / 1e6);
    std::fflush(stdout);
}

Options parse(const QStringList& arguments)
{
    Options options;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString argument = arguments.at(i);
        if (argument == QLatin1String("--iterations") && i + 1 < arguments.size()) {
            options.iterations = qMax(1, arguments.at(++i).toInt());
        } else if (argument == QLatin1String("--one-core")) {
            options.oneCore = true;
        } else if (argument == QLatin1String("--sqlserver") && i + 1 < arguments.size()) {
            options.sqlServerUsers = arguments.at(++i).toInt();
        } else if (argument.toInt() > 0) {
            options.counts << argument.toInt();
        }
    }
    if (options.counts.isEmpty() && options.sqlServerUsers <= 0) {
        options.counts = {10000};
    }
    return options;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const Options options = parse(app.arguments());
    if (options.sqlServerUsers > 0) {
        measureSqlServer(options.sqlServerUsers, options);
    }
    for (const int count : options.counts) {
        measureEmbedded(count, options);
    }
    return 0;
}

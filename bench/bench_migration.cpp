// Times a whole migration run on the embedded engine: a demo installation of N users
// (NTLOGON, so every user gets a new password and an introduction e-mail into the
// demo's pickup folder), its wizard state filled as the pages leave it, and the
// run's public procedures SetServers, MigrateUsers, MigrateDPProfiles and
// GenerateReport, each log entry written as the run defines it.
//
// Prints users per second without the time spent inside the target's password
// encoder (measured and printed on its own), the floor (the same Directory rows
// written by plain prepared inserts in one transaction) and the ratio, the longest
// gap between two passes of event processing, and the peak memory.
//
// Usage: bench_migration [--no-journal] [users ...], default 10000; --no-journal runs
// without the run journal, to measure what it costs.
#include "demo/DemoInstallation.h"
#include "directory/ComponentFactory.h"
#include "directory/TargetComponents.h"
#include "engine/MigrationEngine.h"
#include "engine/RunProgress.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "reference/TargetComponentFactory.h"
#include "support/RunState.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>

#include <cstdio>
#include <ctime>
#include <sys/resource.h>

namespace {

// Processor time of this thread so far, in nanoseconds: what the run itself costs,
// whatever else the machine is doing.
qint64 cpuNanoseconds()
{
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return qint64(now.tv_sec) * 1000000000 + now.tv_nsec;
}

// The password encoder of the reference installation, with a stopwatch around it.
class TimedEncoder : public PasswordEncoderComponent
{
public:
    TimedEncoder(std::unique_ptr<PasswordEncoderComponent> inner, qint64& nanoseconds,
                 qint64& cpuNanoseconds)
        : mInner(std::move(inner)), mNanoseconds(nanoseconds), mCpuNanoseconds(cpuNanoseconds)
    {
    }
    QString EncodePassword(const QString& clearPassword) override
    {
        QElapsedTimer timer;
        timer.start();
        const qint64 cpu = cpuNanoseconds();
        QString encoded = mInner->EncodePassword(clearPassword);
        mNanoseconds += timer.nsecsElapsed();
        mCpuNanoseconds += cpuNanoseconds() - cpu;
        return encoded;
    }

private:
    std::unique_ptr<PasswordEncoderComponent> mInner;
    qint64& mNanoseconds;
    qint64& mCpuNanoseconds;
};

// The mail component of the reference installation, with a stopwatch around sending.
class TimedMail : public MailComponent
{
public:
    TimedMail(std::unique_ptr<MailComponent> inner, qint64& nanoseconds, qint64& cpuNanoseconds)
        : mInner(std::move(inner)), mNanoseconds(nanoseconds), mCpuNanoseconds(cpuNanoseconds)
    {
    }
    void SendMail(const QString& recipients, const QString& subject, const QString& body,
                  const QString& account, const QVariant& logonHandle) override
    {
        QElapsedTimer timer;
        timer.start();
        const qint64 cpu = cpuNanoseconds();
        mInner->SendMail(recipients, subject, body, account, logonHandle);
        mNanoseconds += timer.nsecsElapsed();
        mCpuNanoseconds += cpuNanoseconds() - cpu;
    }
    QString GetStoredAccount(const QString& c) override { return mInner->GetStoredAccount(c); }
    QString GetAccountName(const QString& c) override { return mInner->GetAccountName(c); }
    QString GetAccountForName(const QString& n) override { return mInner->GetAccountForName(n); }
    QString GetAccountForServer(const QString& n, const QString& s) override
    {
        return mInner->GetAccountForServer(n, s);
    }
    void TestLogon(const QString& account, bool& passed, QVariant& handle) override
    {
        mInner->TestLogon(account, passed, handle);
    }

private:
    std::unique_ptr<MailComponent> mInner;
    qint64& mNanoseconds;
    qint64& mCpuNanoseconds;
};

class TimingFactory : public TargetComponentFactory
{
public:
    explicit TimingFactory(const QString& configurationPath)
        : TargetComponentFactory(configurationPath)
    {
    }
    std::unique_ptr<PasswordEncoderComponent> CreatePasswordEncoder() override
    {
        return std::make_unique<TimedEncoder>(TargetComponentFactory::CreatePasswordEncoder(),
                                              encoderNanoseconds, encoderCpuNanoseconds);
    }
    std::unique_ptr<MailComponent> CreateMail() override
    {
        return std::make_unique<TimedMail>(TargetComponentFactory::CreateMail(), mailNanoseconds,
                                           mailCpuNanoseconds);
    }
    qint64 encoderNanoseconds = 0;
    qint64 encoderCpuNanoseconds = 0;
    qint64 mailNanoseconds = 0;
    qint64 mailCpuNanoseconds = 0;
};

// Keeps the run's events flowing as the window would, and notes the longest time
// between two passes.
class GapProgress : public RunProgress
{
public:
    void setDescription(const QString& text) override { mDescription = text; }
    void setMinimum(int) override {}
    void setMaximum(int) override {}
    void setValue(int) override {}
    void repaint() override {}
    void processEvents() override
    {
        note();
        QCoreApplication::processEvents();
        ++passes;
    }
    void start() { mTimer.start(); }
    void note()
    {
        const qint64 gap = mTimer.nsecsElapsed();
        if (gap > longestGap) {
            longestGap = gap;
            longestGapWhere =
                QStringLiteral("before pass %1, \"%2\"").arg(passes + 1).arg(mDescription);
        }
        mTimer.restart();
    }

    qint64 longestGap = 0;
    QString longestGapWhere;
    int passes = 0;

private:
    QElapsedTimer mTimer;
    QString mDescription;
};

long peakKilobytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:")) {
            return line.mid(6).trimmed().split(' ').value(0).toLong();
        }
    }
    return 0;
}

QSqlDatabase openPlain(const QString& file, const QString& name)
{
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
    db.setDatabaseName(file);
    db.open();
    return db;
}

// The floor: every row that the run added to the Directory, written into a copy of
// the Directory as it was before the run, through one prepared insert per table in
// one transaction. Returns the time in milliseconds; rows gets the number of rows.
qint64 floorInserts(const QString& before, const QString& after, qint64& rows)
{
    qint64 elapsed = 0;
    rows = 0;
    {
        QSqlDatabase source = openPlain(after, QStringLiteral("floor-after"));
        QSqlDatabase target = openPlain(before, QStringLiteral("floor-before"));
        QSqlQuery tables(source);
        tables.exec(QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'table' "
                                   "AND name LIKE 'fwt%' ORDER BY rowid"));
        QList<QPair<QString, QList<QSqlRecord>>> added;
        while (tables.next()) {
            const QString table = tables.value(0).toString();
            QSqlQuery count(target);
            count.exec(QStringLiteral("SELECT COUNT(*) FROM ") + table);
            count.next();
            const qint64 existing = count.value(0).toLongLong();
            QSqlQuery read(source);
            read.setForwardOnly(true);
            read.exec(QStringLiteral("SELECT * FROM ") + table +
                      QStringLiteral(" ORDER BY rowid LIMIT -1 OFFSET ") +
                      QString::number(existing));
            QList<QSqlRecord> newRows;
            while (read.next()) {
                newRows << read.record();
            }
            if (!newRows.isEmpty()) {
                added.append({table, newRows});
            }
        }

        QElapsedTimer timer;
        timer.start();
        target.transaction();
        for (const auto& [table, tableRows] : added) {
            const QSqlRecord& shape = tableRows.first();
            QStringList marks;
            for (int i = 0; i < shape.count(); ++i) {
                marks << QStringLiteral("?");
            }
            QSqlQuery insert(target);
            insert.prepare(QStringLiteral("INSERT INTO ") + table + QStringLiteral(" VALUES (") +
                           marks.join(QLatin1Char(',')) + QLatin1Char(')'));
            for (const QSqlRecord& row : tableRows) {
                for (int i = 0; i < row.count(); ++i) {
                    insert.bindValue(i, row.value(i));
                }
                insert.exec();
                ++rows;
            }
        }
        target.commit();
        elapsed = timer.elapsed();
        source.close();
        target.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("floor-after"));
    QSqlDatabase::removeDatabase(QStringLiteral("floor-before"));
    return elapsed;
}

int mailFiles(const QString& folder)
{
    return static_cast<int>(QDir(folder).entryList({QStringLiteral("*.eml")}, QDir::Files).size());
}

void measure(int count)
{
    QTemporaryDir dir;
    QElapsedTimer timer;
    timer.start();
    const DemoInstallation demo =
        DemoInstallation::Create(dir.filePath(QStringLiteral("demo")), count);
    const qint64 build = timer.elapsed();

    const QString directoryFile = QDir(demo.folder).filePath(DemoInstallation::DirectoryFileName());
    const QString beforeFile = dir.filePath(QStringLiteral("DirectoryBefore.sqlite"));
    QFile::copy(directoryFile, beforeFile);

    StatusHolder::Reset();
    GlobalVariables::Reset();
    GlobalVariables::gsProgramFolder = dir.path();
    GlobalVariables::gsImportApp = QStringLiteral("Zephrin 4.5");
    GlobalVariables::gsExportApp = QStringLiteral("3.1x");
    GlobalVariables::gsLogFileName =
        QStringLiteral("MigrationLog") +
        QDateTime::currentDateTime().toString(CommonFunctions::LogFileTimeFormat) +
        QStringLiteral(".log");
    auto factory = std::make_shared<TimingFactory>(demo.configurationPath);
    Components::setFactory(factory);
    const QString server = QStringLiteral("sqlite:") + demo.folder;
    StatusHolder::SetVarnelDatabase(server, QStringLiteral("Varnel"), 1,
                                    StatusHolder::WindowsNtAuthentication, QString(), QString(),
                                    true, demo.sourceConnectionString);
    StatusHolder::SetZephrinDatabase(server, QStringLiteral("Directory"), 0,
                                     StatusHolder::WindowsNtAuthentication, QString(), QString(),
                                     true, demo.directoryConnectionString);
    RunChoices choices;
    choices.users = RunState::AllUsers(demo);
    choices.profiles = RunState::AllProfiles(demo);
    RunState::Fill(demo, choices);
    const long memoryBefore = peakKilobytes();

    GapProgress progress;
    MigrationEngine engine(progress);
    engine.Load();
    engine.SetServers(Collection::create(), Collection::create());

    timer.restart();
    const qint64 cpuStart = cpuNanoseconds();
    progress.start();
    engine.MigrateUsers();
    const qint64 users = timer.elapsed();
    engine.MigrateDPProfiles();
    const qint64 profiles = timer.elapsed() - users;
    progress.note();
    const qint64 phasesGap = progress.longestGap;
    const QString phasesGapWhere = progress.longestGapWhere;
    progress.longestGap = 0;
    engine.GenerateReport();
    progress.note();
    const qint64 total = timer.elapsed();
    const qint64 report = total - users - profiles;
    const double cpu = double(cpuNanoseconds() - cpuStart) / 1e6;
    const long memoryAfter = peakKilobytes();

    const double encoder = double(factory->encoderNanoseconds) / 1e6;
    const double withoutEncoder = double(total) - encoder;
    qint64 floorRows = 0;
    const qint64 floor = floorInserts(beforeFile, directoryFile, floorRows);

    int migrated = 0;
    for (int i = 1; i <= engine.cUserResults->count(); ++i) {
        if (engine.cUserResults->collection(i)->value(RecordKeys::Status).toBool()) {
            ++migrated;
        }
    }
    std::printf("%d users (demo written in %lld ms): %d migrated, %d outcome records, %d "
                "e-mails in the pickup folder; run journal %s\n",
                count, build, migrated, engine.cUserResults->count(), mailFiles(demo.mailFolder),
                MigrationEngine::journalEnabled ? "kept" : "off");
    std::printf("  run                %8lld ms   (users and e-mails %lld ms, profiles %lld ms, "
                "report %lld ms)\n",
                total, users, profiles, report);
    std::printf("  processor time     %8.0f ms   (of this thread; the rest is waiting for the "
                "disk or for the processor)\n",
                cpu);
    std::printf("  password encoder   %8.0f ms   (the target's, configured; %.0f ms processor)\n",
                encoder, double(factory->encoderCpuNanoseconds) / 1e6);
    std::printf("  mail component     %8.0f ms   (sending into the pickup folder; %.0f ms "
                "processor)\n",
                double(factory->mailNanoseconds) / 1e6, double(factory->mailCpuNanoseconds) / 1e6);
    std::printf("  run without it     %8.0f ms   %8.0f users/s\n", withoutEncoder,
                withoutEncoder > 0 ? count * 1000.0 / withoutEncoder : 0.0);
    std::printf("  floor              %8lld ms   (%lld Directory rows by plain inserts in one "
                "transaction)   ratio %.1f\n",
                floor, floorRows, floor > 0 ? withoutEncoder / double(floor) : 0.0);
    std::printf("  longest gap between two event passes %.1f ms in the phases (%s; %d passes), "
                "%.1f ms in the report\n",
                double(phasesGap) / 1e6, qPrintable(phasesGapWhere), progress.passes,
                double(progress.longestGap) / 1e6);
    std::printf("  peak memory %ld MB (before the run %ld MB)\n", memoryAfter / 1024,
                memoryBefore / 1024);
    std::fflush(stdout);
    Components::setFactory(nullptr);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QList<int> counts;
    for (int i = 1; i < argc; ++i) {
        if (QByteArray(argv[i]) == "--no-journal") {
            MigrationEngine::journalEnabled = false;
        }
        const int count = QString::fromLocal8Bit(argv[i]).toInt();
        if (count > 0) {
            counts.append(count);
        }
    }
    if (counts.isEmpty()) {
        counts = {10000};
    }
    for (const int count : counts) {
        measure(count);
    }
    return 0;
}

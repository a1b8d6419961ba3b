// What an interruption costs: a whole run of a demo of N users (NTLOGON, so every user
// gets a new password and an introduction e-mail), then the same demo stopped when
// half the users are written (a stop request, as SIGTERM makes it) and resumed from
// its journal, each timed. The resume reads the first half again from the source
// without writing it, writes the second half and sends every e-mail.
//
// Usage: bench_journal [users], default 10000.
#include "demo/DemoInstallation.h"
#include "directory/ComponentFactory.h"
#include "engine/MigrationEngine.h"
#include "engine/RunProgress.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/StatusHolder.h"
#include "frame/StopRequest.h"
#include "reference/TargetComponentFactory.h"
#include "support/RunState.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstdio>

namespace {

// Asks for a stop once the bar passes the given user.
class StoppingProgress : public RunProgress
{
public:
    void setDescription(const QString& text) override { mUsers = text.contains("Users"); }
    void setMinimum(int) override {}
    void setMaximum(int) override {}
    void setValue(int value) override
    {
        if (mUsers && stopAt > 0 && value >= stopAt) {
            StopRequest::request(QStringLiteral("the benchmark"));
        }
    }
    void repaint() override {}
    void processEvents() override { QCoreApplication::processEvents(); }
    int stopAt = 0;

private:
    bool mUsers = false;
};

// A fresh demo with its wizard state filled as the pages leave it.
DemoInstallation prepare(const QString& folder, int count)
{
    const DemoInstallation demo = DemoInstallation::Create(folder, count);
    StatusHolder::Reset();
    GlobalVariables::Reset();
    GlobalVariables::gsProgramFolder = QFileInfo(folder).absolutePath();
    GlobalVariables::gsImportApp = QStringLiteral("Zephrin 4.5");
    GlobalVariables::gsExportApp = QStringLiteral("3.1x");
    GlobalVariables::gsLogFileName =
        QStringLiteral("MigrationLog") + QFileInfo(folder).fileName() +
        QDateTime::currentDateTime().toString(CommonFunctions::LogFileTimeFormat) +
        QStringLiteral(".log");
    Components::setFactory(std::make_shared<TargetComponentFactory>(demo.configurationPath));
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
    return demo;
}

// Runs the procedures on an engine; returns the milliseconds.
qint64 run(MigrationEngine& engine)
{
    QElapsedTimer timer;
    timer.start();
    engine.Load();
    engine.SetServers(Collection::create(), Collection::create());
    engine.MigrateUsers();
    engine.MigrateDPProfiles();
    engine.GenerateReport();
    return timer.elapsed();
}

void measure(int count)
{
    QTemporaryDir dir;
    prepare(dir.filePath(QStringLiteral("whole")), count);
    StoppingProgress wholeProgress;
    MigrationEngine whole(wholeProgress);
    const qint64 wholeRun = run(whole);

    prepare(dir.filePath(QStringLiteral("half")), count);
    StoppingProgress halfProgress;
    halfProgress.stopAt = count / 2;
    qint64 firstHalf = 0;
    QString journal;
    {
        MigrationEngine stopped(halfProgress);
        firstHalf = run(stopped);
        journal = stopped.journalPath();
    }
    StopRequest::reset();
    StoppingProgress resumeProgress;
    MigrationEngine resumed(resumeProgress);
    resumed.resumeFrom(RunJournal::Open(journal));
    const qint64 resumeRun = run(resumed);
    int migrated = 0;
    for (int i = 1; i <= resumed.cUserResults->count(); ++i) {
        migrated += resumed.cUserResults->collection(i)->value(QStringLiteral("Status")).toBool();
    }
    std::printf("%d users: the whole run %lld ms; stopped at half %lld ms, its resume %lld ms "
                "(%.0f %% of the whole run; %d users migrated in the end, journal %lld KB)\n",
                count, wholeRun, firstHalf, resumeRun, 100.0 * double(resumeRun) / double(wholeRun),
                migrated, QFileInfo(journal).size() / 1024);
    std::fflush(stdout);
    Components::setFactory(nullptr);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 10000;
    measure(count > 0 ? count : 10000);
    return 0;
}

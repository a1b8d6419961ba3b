// Times the unattended mode against the run it starts: for N users, two demo
// installations alike; on one the run's procedures are called directly on a wizard
// state filled as the pages leave it (every user, the conflicts updated, EXCH55 as an
// Exchange 2000/2003 store, the second template, every profile); on the other the
// wizard walks its pages from an answers file with the same choices, offscreen.
//
// Prints, per count, the direct run, the unattended run split into the walk up to the
// summary page's Next and the run after it, the walk's time per user, and the
// overhead of the unattended run over the direct one.
//
// Usage: bench_unattended [users ...], default 5000.
#include "demo/DemoData.h"
#include "demo/DemoInstallation.h"
#include "directory/ComponentFactory.h"
#include "engine/MigrationEngine.h"
#include "frame/GlobalVariables.h"
#include "frame/StatusHolder.h"
#include "pages/Pages.h"
#include "pages/SelectDPProfiles.h"
#include "pages/SelectUsers.h"
#include "reference/TargetComponentFactory.h"
#include "support/RunState.h"
#include "unattended/AnswersFile.h"
#include "unattended/OutcomeWatch.h"
#include "unattended/UnattendedRun.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QTemporaryDir>

#include <cstdio>

namespace {

const QString Answers = QStringLiteral("[source]\nserver=sqlite:%1\ndatabase=Varnel\n"
                                       "[stores]\nexchange2000=EXCH55\n"
                                       "could-not-add-store=continue\n"
                                       "[users]\nmigrate=all\n[conflicts]\ndefault=update\n"
                                       "[email]\ntemplate=New password\n"
                                       "[profiles]\nmigrate=all\n");

// The state as the program starts, the log in folder.
void startFresh(const QString& folder, const DemoInstallation& demo)
{
    StatusHolder::Reset();
    GlobalVariables::Reset();
    SelectUsers::savedBackToVarnel = false;
    SelectUsers::emailTemplateEntered = false;
    SelectDPProfiles::savedBackTo = SelectDPProfiles::BackToUsers;
    GlobalVariables::gsProgramFolder = folder;
    GlobalVariables::gsImportApp = QStringLiteral("Zephrin 4.5");
    GlobalVariables::gsExportApp = QStringLiteral("3.1x");
    Components::setFactory(std::make_shared<TargetComponentFactory>(demo.configurationPath));
}

double direct(const QString& folder, int users)
{
    const DemoInstallation demo = DemoInstallation::Create(folder + QStringLiteral("/demo"), users);
    startFresh(folder, demo);
    GlobalVariables::gsLogFileName = QStringLiteral("MigrationLog-direct.log");
    const QString server = QStringLiteral("sqlite:") + demo.folder;
    StatusHolder::SetVarnelDatabase(server, QStringLiteral("Varnel"), 1, 0, QString(), QString(),
                                    true, demo.sourceConnectionString);
    StatusHolder::SetZephrinDatabase(server, QStringLiteral("Directory"), 0, 0, QString(),
                                     QString(), true, demo.directoryConnectionString);
    QElapsedTimer timer;
    timer.start();
    RunChoices choices;
    choices.users = RunState::AllUsers(demo);
    for (const DemoData::PlantedConflict& conflict : DemoData::Generate(users).conflicts) {
        choices.actions.insert(conflict.vaUserID, 1);
    }
    choices.addStores = true;
    choices.e2kServers = {QStringLiteral("EXCH55")};
    choices.templateID = 2;
    choices.profiles = RunState::AllProfiles(demo);
    RunState::Fill(demo, choices);
    RecordingProgress progress;
    MigrationEngine engine(progress);
    engine.Load();
    RunState::Run(engine);
    return timer.elapsed() / 1000.0;
}

// The outcome watch, with the moment the run began.
class TimedWatch : public OutcomeWatch
{
public:
    explicit TimedWatch(const QElapsedTimer& timer) : mTimer(timer) {}
    void runStarted(const MigrationEngine& run) override
    {
        walked = mTimer.elapsed() / 1000.0;
        OutcomeWatch::runStarted(run);
    }
    double walked = 0;

private:
    const QElapsedTimer& mTimer;
};

struct Unattended
{
    double walk = 0;
    double total = 0;
    int status = -1;
};

Unattended unattended(const QString& folder, int users)
{
    const DemoInstallation demo = DemoInstallation::Create(folder + QStringLiteral("/demo"), users);
    startFresh(folder, demo);
    const QString path = folder + QStringLiteral("/answers.ini");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(Answers.arg(demo.folder).toUtf8()) < 0) {
        return {};
    }
    file.close();
    QElapsedTimer timer;
    timer.start();
    TimedWatch watch(timer);
    UnattendedRun run(AnswersFile::Read(path), watch);
    run.prepare();
    run.start();
    if (!run.isDone()) {
        QEventLoop loop;
        QObject::connect(&run, &UnattendedRun::finished, &loop, &QEventLoop::quit);
        loop.exec();
    }
    Unattended result;
    result.total = timer.elapsed() / 1000.0;
    result.walk = watch.walked;
    result.status = run.exitStatus();
    if (!run.stopReason().isEmpty()) {
        std::fprintf(stderr, "stopped: %s\n", qPrintable(run.stopReason()));
    }
    return result;
}

} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    Pages::registerAllPages();
    QList<int> counts;
    for (int i = 1; i < argc; ++i) {
        counts << QString::fromLocal8Bit(argv[i]).toInt();
    }
    if (counts.isEmpty()) {
        counts << 5000;
    }
    std::printf("%8s %10s %10s %10s %10s %12s %10s %7s\n", "users", "direct s", "walk s", "run s",
                "total s", "walk ms/user", "overhead", "status");
    for (const int users : counts) {
        QTemporaryDir one;
        QTemporaryDir two;
        const double directRun = direct(one.path(), users);
        const Unattended walked = unattended(two.path(), users);
        std::printf("%8d %10.2f %10.2f %10.2f %10.2f %12.3f %9.1f%% %7d\n", users, directRun,
                    walked.walk, walked.total - walked.walk, walked.total,
                    walked.walk * 1000.0 / users, (walked.total / directRun - 1.0) * 100.0,
                    walked.status);
        std::fflush(stdout);
    }
    return 0;
}

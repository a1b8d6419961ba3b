// Times the user selection page on a demo installation with many users, with real
// widgets on the offscreen platform: loading the page (with the verification's
// conflict result handed over, and with the page's own check), "Migrate All" with every
// conflict decided at once, "Migrate None", one user moved from the end of the list and
// back, and Next. For each it prints the longest time the window went without handling
// its events. Next to them the floor: reading the source users alone, and showing as
// many lines in a plain list view.
// Usage: bench_selectusers [users], default 50000.
#include "db/UserConflicts.h"
#include "db/VarnelDBCon.h"
#include "demo/DemoInstallation.h"
#include "directory/ComponentFactory.h"
#include "directory/ZephrinFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/Prompter.h"
#include "frame/RecordKeys.h"
#include "frame/StatusHolder.h"
#include "pages/ConflictDecision.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectUsers.h"
#include "reference/TargetComponentFactory.h"

#include <QApplication>
#include <QCheckBox>
#include <QElapsedTimer>
#include <QListView>
#include <QPushButton>
#include <QRadioButton>
#include <QStringListModel>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <ctime>
#include <functional>

namespace {

// Answers OK to any message and counts them; the page shows none when all goes well.
class CountingPrompter : public Prompter
{
public:
    int messages = 0;
    Answer message(const QString& text, const QString&, Icon, Buttons, QWidget*) override
    {
        ++messages;
        std::printf("  message: %s\n", qPrintable(text));
        return Answer::Ok;
    }
    QString saveFileName(const QString&, const QString&, const QString&, QWidget*) override
    {
        return QString();
    }
};

// The pages after the user selection page.
class NextPage : public WizardPage
{
public:
    explicit NextPage(const QString& name) : WizardPage(name, name) {}
};

// Fires every millisecond while events are handled and keeps the longest time
// between two firings: how long the window could not answer.
class Heartbeat
{
public:
    Heartbeat()
    {
        QObject::connect(&mTimer, &QTimer::timeout,
                         [this] { mLongest = std::max(mLongest, mSince.restart()); });
        mTimer.start(1);
    }
    void reset()
    {
        QCoreApplication::processEvents();
        mLongest = 0;
        mSince.restart();
    }
    qint64 longest()
    {
        mLongest = std::max(mLongest, mSince.elapsed());
        return mLongest;
    }

private:
    QTimer mTimer;
    QElapsedTimer mSince;
    qint64 mLongest = 0;
};

struct Figure
{
    qint64 milliseconds = 0;
    qint64 cpuMilliseconds = 0;
    qint64 longestGap = 0;
};

// The processor time of this thread: what the work cost, however busy the machine.
qint64 threadCpuMilliseconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return qint64(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

Figure measure(Heartbeat& heartbeat, const std::function<void()>& work)
{
    heartbeat.reset();
    QElapsedTimer timer;
    timer.start();
    const qint64 cpu = threadCpuMilliseconds();
    work();
    // Until the window has painted the result.
    QCoreApplication::processEvents();
    return {timer.elapsed(), threadCpuMilliseconds() - cpu, heartbeat.longest()};
}

void print(const char* what, const Figure& figure)
{
    std::printf("  %-44s %6lld ms (cpu %6lld ms)   longest gap between event passes %5lld ms\n",
                what, figure.milliseconds, figure.cpuMilliseconds, figure.longestGap);
    std::fflush(stdout);
}

// Answers the first conflict dialog: option 1 (update), applied to every remaining
// conflicting user.
void answerFirstDialogForAll()
{
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [poll] {
        auto* dialog = qobject_cast<ConflictDecision*>(QApplication::activeModalWidget());
        if (dialog == nullptr || !dialog->isVisible()) {
            return;
        }
        dialog->ConflictDesicionRbn[ConflictDecision::UpdateExistingUser]->click();
        dialog->ApplyToAllCbx->setChecked(true);
        dialog->OKBtn->click();
        poll->deleteLater();
    });
    poll->start(0);
}

SelectUsers* openPage(const CollectionPtr& handedOver)
{
    auto* page = qobject_cast<SelectUsers*>(Pages::create(PageNames::SelectUsers));
    if (handedOver) {
        page->setConflictResult(handedOver);
    }
    page->LoadStateNext();
    page->show();
    return page;
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    const int count = argc > 1 ? std::max(1, QString::fromLocal8Bit(argv[1]).toInt()) : 50000;

    QTemporaryDir folder;
    QElapsedTimer timer;
    timer.start();
    const DemoInstallation demo =
        DemoInstallation::Create(folder.filePath(QStringLiteral("demo")), count);
    std::printf("%d source users, %d conflicting, %d Directory users (demo written in %lld ms)\n",
                demo.userCount, demo.conflictCount, demo.directoryUserCount, timer.elapsed());

    GlobalVariables::gsProgramFolder = folder.path();
    GlobalVariables::gsLogFileName = QStringLiteral("MigrationLog20031204153012.log");
    GlobalVariables::gsImportApp = QStringLiteral("Zephrin 4.5");
    GlobalVariables::gsExportApp = QStringLiteral("3.1x");
    auto prompter = std::make_shared<CountingPrompter>();
    AppPrompter::setPrompter(prompter);
    Components::setFactory(std::make_shared<TargetComponentFactory>(demo.configurationPath));
    const QString server = QStringLiteral("sqlite:") + demo.folder;
    StatusHolder::SetVarnelDatabase(server, QStringLiteral("Varnel"), 1, 0, QString(), QString(),
                                    true, demo.sourceConnectionString);
    StatusHolder::SetZephrinDatabase(server, QStringLiteral("Directory"), 0, 0, QString(),
                                     QString(), true, demo.directoryConnectionString);
    // The demo's source uses Windows NT logon, so the verification asks for new
    // passwords: every user moved needs an introduction e-mail.
    GlobalVariables::gbNewPasswords = true;
    Pages::registerAllPages();
    for (const QLatin1String name : {PageNames::SelectEmailTemplate, PageNames::SelectDPProfiles}) {
        Pages::registerPage(name, [name] { return new NextPage(name); });
    }
    Heartbeat heartbeat;

    // The floor.
    print("reading the source users alone",
          measure(heartbeat, [&] { VarnelDBCon::GetAllUsers(demo.sourceConnectionString); }));
    {
        QStringList texts;
        for (int i = 1; i <= count; ++i) {
            texts << QStringLiteral("Firstname Lastname (%1)").arg(i);
        }
        QStringListModel model;
        QListView view;
        view.setUniformItemSizes(true);
        view.setModel(&model);
        view.show();
        print("showing as many lines in a plain list view",
              measure(heartbeat, [&] { model.setStringList(texts); }));
    }

    CollectionPtr conflicts;
    print("conflict check (done by the verification)", measure(heartbeat, [&] {
              conflicts = AdministrativeDBCon::CheckForUserConflicts(
                  demo.sourceConnectionString,
                  ZephrinFunctions::GetDirectoryUsers(demo.directoryConnectionString));
          }));

    SelectUsers* own = nullptr;
    print("load, with its own conflict check", measure(heartbeat, [&] { own = openPage({}); }));
    delete own;

    SelectUsers* page = nullptr;
    print("load, conflict result handed over",
          measure(heartbeat, [&] { page = openPage(conflicts); }));
    const int listed = page->OldUsersLbx->model()->rowCount();

    answerFirstDialogForAll();
    print("Migrate All, first decision for all",
          measure(heartbeat, [&] { page->MigrateAll->click(); }));
    const int decided = page->cConflictDecisions->count();
    const int mailed = page->cNeedEmail->count();
    const int moved = page->Migrate->model()->rowCount();

    // The first line: its removal shifts every list and every key index once.
    const auto selectFirst = [](QListView* list) {
        list->setCurrentIndex(list->model()->index(0, 0));
    };
    print("one user back and in again (first line)", measure(heartbeat, [&] {
              selectFirst(page->Migrate);
              page->MigrateToOldBtn->click();
              selectFirst(page->OldUsersLbx);
              page->OldToMigrateBtn->click();
          }));

    print("Migrate None", measure(heartbeat, [&] { page->MigrateNone->click(); }));
    const int back = page->OldUsersLbx->model()->rowCount();

    answerFirstDialogForAll();
    page->MigrateAll->click();
    print("Next (migration list, log, saving)",
          measure(heartbeat, [&] { page->NextBtn->click(); }));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

    std::printf("  listed %d, moved %d with %d decisions and %d e-mails, back %d, messages %d\n",
                listed, moved, decided, mailed, back, prompter->messages);
    const bool ok = listed == demo.userCount && moved == demo.userCount &&
                    decided == demo.conflictCount && mailed == demo.userCount &&
                    back == demo.userCount && prompter->messages == 0;
    if (!ok) {
        std::printf("  UNEXPECTED RESULT\n");
    }
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        delete widget;
    }
    AppPrompter::setPrompter(nullptr);
    Components::setFactory(nullptr);
    return ok ? 0 : 1;
}

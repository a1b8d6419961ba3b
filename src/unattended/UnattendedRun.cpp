#include "unattended/UnattendedRun.h"

#include "db/VarnelDBCon.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/AddStores.h"
#include "pages/ConflictDecision.h"
#include "pages/EnterConnectData.h"
#include "pages/Finish.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectDPProfiles.h"
#include "pages/SelectDatabase.h"
#include "pages/SelectEmailTemplate.h"
#include "pages/SelectUsers.h"
#include "unattended/OutcomeWatch.h"
#include "unattended/UnattendedWalk.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFocusEvent>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <algorithm>
using namespace UnattendedWalk;

namespace {

// How long a window that is busy with its own work waits before it is answered.
constexpr int BusyRetry = 20;
// How often the walk is checked for standing still.
constexpr int WatchdogInterval = 2000;

} // namespace

UnattendedRun::UnattendedRun(AnswersFile answers, OutcomeWatch& watch, QObject* parent)
    : QObject(parent), mAnswers(std::move(answers)), mWatch(watch)
{
    mWatchdog.setInterval(WatchdogInterval);
    connect(&mWatchdog, &QTimer::timeout, this, &UnattendedRun::checkProgress);
}

UnattendedRun::~UnattendedRun()
{
    if (qApp != nullptr) {
        qApp->removeEventFilter(this);
    }
}

void UnattendedRun::start()
{
    if (mStopped) {
        closeAll();
        return;
    }
    WizardPage* introduction = Pages::create(PageNames::Introduction);
    if (introduction == nullptr) {
        stop(QStringLiteral("The introduction page could not be opened"));
        closeAll();
        return;
    }
    introduction->show();
    mWatchdog.start();
}

void UnattendedRun::checkProgress()
{
    if (mDone) {
        mWatchdog.stop();
        return;
    }
    QList<QObject*> shown;
    QStringList titles;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        const auto* page = qobject_cast<WizardPage*>(window);
        if (!window->isVisible() ||
            (page == nullptr && qobject_cast<ConflictDecision*>(window) == nullptr)) {
            continue;
        }
        if (page != nullptr && page->isWorking()) {
            mIdleWindows.clear();
            return;
        }
        shown << window;
        titles << window->windowTitle();
    }
    std::sort(shown.begin(), shown.end());
    if (shown != mIdleWindows) {
        mIdleWindows = shown;
        return;
    }
    stop(QStringLiteral("The wizard stands still at \"%1\"")
             .arg(titles.join(QStringLiteral("\", \""))));
}

int UnattendedRun::exitStatus() const
{
    if (mStopped && !mWatch.started()) {
        return 2;
    }
    const int status = mWatch.exitStatus();
    return (mStopped || mReportFailed) ? std::max(status, 1) : status;
}

bool UnattendedRun::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Show && watched->isWidgetType()) {
        auto* window = static_cast<QWidget*>(watched);
        if (window->isWindow() && (qobject_cast<WizardPage*>(window) != nullptr ||
                                   qobject_cast<ConflictDecision*>(window) != nullptr)) {
            // Acted on once the window is on screen and the handler that showed it has
            // returned, as a person would, and after what the window itself tells once
            // it is shown (a page that could not read its lists says so then).
            const QPointer<QWidget> shown(window);
            QTimer::singleShot(0, this, [this, shown] {
                QTimer::singleShot(0, this, [this, shown] {
                    if (shown) {
                        act(shown);
                    }
                });
            });
        }
    }
    return QObject::eventFilter(watched, event);
}

void UnattendedRun::act(QWidget* window)
{
    if (mDone) {
        return;
    }
    if (mStopped) {
        closeAll();
        return;
    }
    if (!window->isVisible()) {
        return;
    }
    auto* page = qobject_cast<WizardPage*>(window);
    if (page != nullptr && page->isWorking()) {
        const QPointer<QWidget> busy(window);
        QTimer::singleShot(BusyRetry, this, [this, busy] {
            if (busy) {
                act(busy);
            }
        });
        return;
    }
    const QString name = window->objectName();
    // These two are driven by the page that shows them.
    if (name == PageNames::Verifier || name == PageNames::MigrateUsers) {
        return;
    }
    if (mAnswered.contains(window)) {
        stop(QStringLiteral("The page \"%1\" came back instead of going on")
                 .arg(window->windowTitle()));
        return;
    }
    mAnswered.insert(window);
    connect(window, &QObject::destroyed, this, [this](QObject* gone) { mAnswered.remove(gone); });
    if (auto* dialog = qobject_cast<ConflictDecision*>(window)) {
        answerConflict(dialog);
    } else if (page != nullptr) {
        answerPage(page);
    }
}

void UnattendedRun::answerPage(WizardPage* page)
{
    const QString name = page->objectName();
    if (name == PageNames::Introduction) {
        next(page);
    } else if (name == PageNames::SelectVarnel) {
        answerDatabase(qobject_cast<SelectDatabase*>(page), mAnswers.source,
                       QStringLiteral("[source]"));
    } else if (name == PageNames::SelectZephrin) {
        if (!mAnswers.target.given) {
            stop(mAnswers.where(0) +
                 QStringLiteral(": the target database page asks for the Directory database "
                                "(zephrin.ini names none the wizard can use), and there is no "
                                "[target] section"));
            return;
        }
        answerDatabase(qobject_cast<SelectDatabase*>(page), mAnswers.target,
                       QStringLiteral("[target]"));
    } else if (name == PageNames::AddStores) {
        answerStores(page);
    } else if (name == PageNames::SelectUsers) {
        answerUsers(page);
    } else if (name == PageNames::SelectEmailTemplate) {
        answerTemplate(page);
    } else if (name == PageNames::EnterConnectData) {
        answerServiceAccount(page);
    } else if (name == PageNames::SelectDPProfiles) {
        answerProfiles(page);
    } else if (name == PageNames::UserInputFinished) {
        answerSummary(page);
    } else if (name == PageNames::Finish) {
        answerFinish(page);
    } else {
        stop(QStringLiteral("The page \"%1\" is not one the answers file can answer")
                 .arg(page->windowTitle()));
    }
}

bool UnattendedRun::next(WizardPage* page)
{
    const QPointer<WizardPage> guard(page);
    const QString title = page->windowTitle();
    if (!page->NextBtn->isEnabled()) {
        stop(QStringLiteral("The page \"%1\" does not let the wizard go on (Next is not enabled)")
                 .arg(title));
        return false;
    }
    page->NextBtn->click();
    if (mStopped) {
        return false;
    }
    if (guard && guard->isVisible()) {
        stop(QStringLiteral("The page \"%1\" stayed after Next").arg(title));
        return false;
    }
    return true;
}

void UnattendedRun::stop(const QString& reason)
{
    if (mStopped || mDone) {
        return;
    }
    mStopped = true;
    mStopReason = reason;
    if (!GlobalVariables::gsLogFileName.isEmpty()) {
        CommonFunctions::WriteLog(QStringLiteral("Answers file: the wizard stopped: ") + reason);
    }
    // The handler that is running finishes first; then every window goes.
    QTimer::singleShot(0, this, &UnattendedRun::closeAll);
}

void UnattendedRun::closeAll()
{
    if (mDone) {
        return;
    }
    bool left = false;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (auto* dialog = qobject_cast<ConflictDecision*>(window);
            dialog != nullptr && dialog->isVisible()) {
            dialog->reject();
            left = true;
        } else if (auto* page = qobject_cast<WizardPage*>(window);
                   page != nullptr && page->isVisible()) {
            // A page whose work is running is closed when the work is done.
            if (!page->isWorking()) {
                page->unload();
            }
            left = left || page->isVisible();
        }
    }
    if (left) {
        // A window that is working refuses to close until its work is done.
        QTimer::singleShot(BusyRetry, this, &UnattendedRun::closeAll);
        return;
    }
    finish();
}

void UnattendedRun::finish()
{
    if (mDone) {
        return;
    }
    mDone = true;
    mWatchdog.stop();
    qApp->removeEventFilter(this);
    emit finished(exitStatus());
}

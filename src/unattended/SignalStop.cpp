#include "unattended/SignalStop.h"

#include "frame/StopRequest.h"
#include "pages/WizardPage.h"

#include <QApplication>

namespace {
// How often the request is looked at: a signal handler may do next to nothing itself.
constexpr int CheckInterval = 100;
} // namespace

SignalStop::SignalStop(std::function<bool()> mayEnd, QObject* parent)
    : QObject(parent), mMayEnd(std::move(mayEnd))
{
    StopRequest::InstallSignalHandlers();
    mTimer.setInterval(CheckInterval);
    connect(&mTimer, &QTimer::timeout, this, &SignalStop::check);
    mTimer.start();
}

void SignalStop::check()
{
    if (!StopRequest::requested() || StopRequest::runActive() || (mMayEnd && !mMayEnd())) {
        return;
    }
    mTimer.stop();
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (auto* page = qobject_cast<WizardPage*>(window); page != nullptr && !page->isWorking()) {
            page->unload();
        } else if (window->isVisible()) {
            window->close();
        }
    }
    QCoreApplication::exit(StopRequest::ExitStatus);
}

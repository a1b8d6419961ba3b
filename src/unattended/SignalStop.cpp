#include "unattended/SignalStop.h"

#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/StopRequest.h"
#include "pages/WizardPage.h"

#include <QApplication>
#include <cstdio>

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
    const QString text = QStringLiteral("The program was stopped by %1 before a migration ran; "
                                        "nothing was written to the Directory")
                             .arg(StopRequest::reason());
    if (!StopRequest::everActive()) {
        if (!GlobalVariables::gsLogFileName.isEmpty()) {
            CommonFunctions::WriteLog(text);
        }
        std::fprintf(stderr, "%s\n", qPrintable(text));
    }
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (auto* page = qobject_cast<WizardPage*>(window); page != nullptr && !page->isWorking()) {
            page->unload();
        } else if (window->isVisible()) {
            window->close();
        }
    }
    QCoreApplication::exit(StopRequest::ExitStatus);
}

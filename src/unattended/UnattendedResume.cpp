#include "pages/ResumeRun.h"
#include "unattended/UnattendedRun.h"

#include <QTimer>

void UnattendedRun::startResume(const QString& journalPath)
{
    // No page comes before the run: every message is one of the run's.
    mPhase = Phase::Run;
    mWatchdog.start();
    QTimer::singleShot(0, this, [this, journalPath] {
        const QString error = ResumeRun::Resume(journalPath);
        if (!error.isEmpty()) {
            stop(error);
        }
    });
}

#include "frame/Clock.h"

#include <QThread>

void SystemClock::pause(int milliseconds)
{
    QThread::msleep(static_cast<unsigned long>(milliseconds > 0 ? milliseconds : 0));
}

void ManualClock::pause(int milliseconds)
{
    mPaused += milliseconds;
    mNow = mNow.addMSecs(milliseconds);
}

namespace {
std::shared_ptr<Clock>& current()
{
    static std::shared_ptr<Clock> clock = std::make_shared<SystemClock>();
    return clock;
}
} // namespace

Clock& AppClock::clock()
{
    return *current();
}

void AppClock::setClock(std::shared_ptr<Clock> clock)
{
    current() = clock ? std::move(clock) : std::make_shared<SystemClock>();
}

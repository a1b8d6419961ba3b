#include "frame/Clock.h"

#include "frame/CommonFunctions.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

void SystemClock::pause(int milliseconds)
{
    if (QCoreApplication::instance() == nullptr) {
        return;
    }
    QEventLoop loop;
    QTimer::singleShot(milliseconds > 0 ? milliseconds : 0, &loop, &QEventLoop::quit);
    loop.exec();
}

void SystemClock::processEvents()
{
    if (QCoreApplication::instance() != nullptr) {
        QCoreApplication::processEvents();
    }
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

QString AppClock::logTime()
{
    return clock().now().toString(CommonFunctions::LogTimeFormat);
}

void AppClock::processEvents()
{
    clock().processEvents();
}

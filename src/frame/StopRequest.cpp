#include "frame/StopRequest.h"

#include <atomic>
#include <csignal>
#include <unistd.h>

namespace {

// Only these are touched inside the handler: a lock-free atomic and _exit are safe
// there.
std::atomic<int> signalSeen{0};
std::atomic<int> signalCount{0};
std::atomic<bool> active{false};
std::atomic<bool> wasActive{false};
QString& requestText()
{
    static QString text;
    return text;
}

void onSignal(int number)
{
    if (signalCount.fetch_add(1) >= 1) {
        // The second signal: the administrator means it. What the journal holds is
        // on disk already.
        _exit(StopRequest::ExitStatus);
    }
    signalSeen.store(number);
}

} // namespace

void StopRequest::InstallSignalHandlers()
{
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    // A read or write in progress goes on rather than failing with EINTR.
    action.sa_flags = SA_RESTART;
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        sigaction(number, &action, nullptr);
    }
}

bool StopRequest::requested()
{
    return signalSeen.load() != 0 || !requestText().isEmpty();
}

QString StopRequest::reason()
{
    switch (signalSeen.load()) {
    case SIGTERM:
        return QStringLiteral("SIGTERM");
    case SIGINT:
        return QStringLiteral("SIGINT");
    case SIGHUP:
        return QStringLiteral("SIGHUP");
    default:
        return requestText();
    }
}

void StopRequest::request(const QString& why)
{
    requestText() = why.isEmpty() ? QStringLiteral("a stop request") : why;
    signalCount.fetch_add(1);
}

void StopRequest::reset()
{
    requestText().clear();
    signalSeen.store(0);
    signalCount.store(0);
}

void StopRequest::setRunActive(bool value)
{
    active.store(value);
    if (value) {
        wasActive.store(true);
    }
}

bool StopRequest::everActive()
{
    return wasActive.load();
}

bool StopRequest::runActive()
{
    return active.load();
}

#pragma once

#include <QDateTime>
#include <memory>

// The wizard's source of the current time, of pauses and of the pass of pending-event
// processing that keeps a window alive while its work runs on the interface thread.
// The program uses the system clock; tests install one whose time they set and whose
// pauses and passes return at once.
class Clock
{
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
    // Waits the given time while the interface goes on: windows repaint and timers
    // fire during the wait.
    virtual void pause(int milliseconds) = 0;
    // One pass of the interface's pending events, such as repaints and clicks.
    virtual void processEvents() = 0;
};

class SystemClock : public Clock
{
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
    void pause(int milliseconds) override;
    void processEvents() override;
};

namespace AppClock {
Clock& clock();
// Installs another clock; a null pointer puts the system clock back.
void setClock(std::shared_ptr<Clock> clock);
// The current time in the form every log entry uses, "yyyy-MM-dd hh:mm:ss".
QString logTime();
// One pass of pending-event processing through the installed clock.
void processEvents();
} // namespace AppClock

#pragma once

#include <QDateTime>
#include <memory>

// The wizard's source of the current time and of pauses. The program uses the
// system clock; tests install one whose time they set and whose pauses return at once.
class Clock
{
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
    virtual void pause(int milliseconds) = 0;
};

class SystemClock : public Clock
{
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
    void pause(int milliseconds) override;
};

// A clock that stands still until it is set or advanced; a pause advances it.
class ManualClock : public Clock
{
public:
    explicit ManualClock(const QDateTime& start) : mNow(start) {}
    QDateTime now() const override { return mNow; }
    void pause(int milliseconds) override;
    void set(const QDateTime& now) { mNow = now; }
    void advanceSeconds(int seconds) { mNow = mNow.addSecs(seconds); }
    int pausedMilliseconds() const { return mPaused; }

private:
    QDateTime mNow;
    int mPaused = 0;
};

namespace AppClock {
Clock& clock();
// Installs another clock; a null pointer puts the system clock back.
void setClock(std::shared_ptr<Clock> clock);
} // namespace AppClock

#pragma once

#include "frame/Clock.h"

#include <QList>
#include <functional>

// A clock that stands still until it is set or advanced. A pause advances it and
// returns at once; a pass of event processing is counted. Both run onEvents, so a
// test can act (click, close a window) in the middle of a page's work.
class ManualClock : public Clock
{
public:
    explicit ManualClock(const QDateTime& start) : mNow(start) {}
    QDateTime now() const override { return mNow; }
    void pause(int milliseconds) override;
    void processEvents() override;

    void set(const QDateTime& now) { mNow = now; }
    void advanceSeconds(int seconds) { mNow = mNow.addSecs(seconds); }

    // The pauses asked for, in order.
    QList<int> pauses() const { return mPauses; }
    int pausedMilliseconds() const;
    int eventPasses() const { return mEventPasses; }

    std::function<void()> onEvents;

private:
    QDateTime mNow;
    QList<int> mPauses;
    int mEventPasses = 0;
};

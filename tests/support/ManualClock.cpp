#include "ManualClock.h"

#include <numeric>

void ManualClock::pause(int milliseconds)
{
    mPauses << milliseconds;
    mNow = mNow.addMSecs(milliseconds);
    if (onEvents) {
        onEvents();
    }
}

void ManualClock::processEvents()
{
    ++mEventPasses;
    if (onEvents) {
        onEvents();
    }
}

int ManualClock::pausedMilliseconds() const
{
    return std::accumulate(mPauses.cbegin(), mPauses.cend(), 0);
}

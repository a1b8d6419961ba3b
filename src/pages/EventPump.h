#pragma once

#include "frame/Clock.h"

#include <QElapsedTimer>

// Lets the interface handle its pending events every so often during a long loop on
// the interface thread, so the window repaints and answers while the loop runs. Cheap
// enough to call once per item.
class EventPump
{
public:
    explicit EventPump(int intervalMilliseconds = 40) : mInterval(intervalMilliseconds)
    {
        mSinceLastPass.start();
    }

    void tick()
    {
        if (mSinceLastPass.elapsed() >= mInterval) {
            AppClock::processEvents();
            mSinceLastPass.restart();
        }
    }

private:
    qint64 mInterval;
    QElapsedTimer mSinceLastPass;
};

#pragma once

#include <QObject>
#include <QTimer>
#include <functional>

// Ends the program when SIGTERM, SIGINT or SIGHUP arrives while no run is going: every
// window is closed and the event loop ends with exit status 3. During a run the run
// itself stops between two users (StopRequest), writes its report and leaves the
// finish page to its caller.
class SignalStop : public QObject
{
    Q_OBJECT
public:
    // mayEnd tells whether the program may end now (the unattended mode lets its finish
    // page save the report first); null for always.
    explicit SignalStop(std::function<bool()> mayEnd = {}, QObject* parent = nullptr);

private:
    void check();

    std::function<bool()> mMayEnd;
    QTimer mTimer;
};

#pragma once

#include <QString>

// While it lives, the test process is held to the file modes as any user is: root
// gives up its right to write read-only files and folders (its effective
// capabilities to override them), so that tests of read-only files mean something
// in CI, which runs as root. The rights come back when it is destroyed.
class PlainRights
{
public:
    PlainRights();
    ~PlainRights();
    PlainRights(const PlainRights&) = delete;
    PlainRights& operator=(const PlainRights&) = delete;

    bool isActive() const { return mActive; }
    QString skipReason() const { return mSkipReason; }

private:
    bool mActive = false;
    bool mDropped = false;
    QString mSkipReason;
};

#include "directory/NewPasswords.h"

#include "directory/ComponentFactory.h"
#include "directory/TargetComponents.h"
#include "directory/ZephrinFunctions.h"
#include "frame/Clock.h"

#include <QThread>

namespace {

// How long a wait for an encoding goes before the interface gets a pass of its events.
constexpr int EventInterval = 20;

} // namespace

NewPasswords::NewPasswords(int window)
    : mWindow(window > 0 ? window : 4 * qMax(1, QThread::idealThreadCount()))
{
    try {
        mPrepared = Components::factory().CreatePasswordEncoder()->PreparePasswords();
    } catch (const std::exception&) {
        // The encoder cannot be had now: every password is made when it is taken, and
        // that call meets the failure for its own user.
        mPrepared.reset();
    }
}

NewPasswords::~NewPasswords() = default;

void NewPasswords::prepare(int comingUsers)
{
    if (!mPrepared) {
        return;
    }
    const size_t wanted = static_cast<size_t>(qBound(0, comingUsers, mWindow));
    QStringList batch;
    while (mAhead.size() < wanted) {
        mAhead.push_back(ZephrinFunctions::GeneratePassword(6));
        batch << mAhead.back();
    }
    if (!batch.isEmpty()) {
        mPrepared->Prepare(batch);
    }
}

void NewPasswords::take(QString& clearPassword, QString& encodedPassword)
{
    if (!mPrepared || mAhead.empty()) {
        ZephrinFunctions::CreateNewPassword(clearPassword, encodedPassword);
        return;
    }
    const QString clear = mAhead.front();
    mAhead.pop_front();
    while (!mPrepared->Wait(clear, EventInterval)) {
        AppClock::processEvents();
    }
    encodedPassword = mPrepared->Take(clear);
    clearPassword = clear;
}

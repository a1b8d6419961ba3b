#pragma once

#include "directory/TargetComponents.h"
#include "frame/Clock.h"
#include "reference/TargetComponentFactory.h"

#include <QElapsedTimer>
#include <QSet>
#include <QString>

#include <atomic>
#include <mutex>

// Processor time of the calling thread so far, in nanoseconds.
long long threadCpuNanoseconds();
// The largest resident size the process had, in kilobytes.
long peakKilobytes();

// Time inside the target's password encoder, added up over every thread that encoded.
struct EncoderTimes
{
    std::atomic<long long> nanoseconds{0};
    std::atomic<long long> cpuNanoseconds{0};
    std::atomic<long long> encodings{0};
    std::mutex mutex;
    QSet<quint64> threads;
    int threadsUsed();
};

// The reference installation's components, with stopwatches around the password
// encoder (on whichever thread encodes) and around sending mail. With prepareAhead
// false the encoder offers no preparation: every password is encoded on the
// interface thread when the loop needs it, one after the other.
class TimingFactory : public TargetComponentFactory
{
public:
    TimingFactory(const QString& configurationPath, bool prepareAhead);
    std::unique_ptr<PasswordEncoderComponent> CreatePasswordEncoder() override;
    std::unique_ptr<MailComponent> CreateMail() override;

    EncoderTimes encoder;
    long long mailNanoseconds = 0;
    long long mailCpuNanoseconds = 0;
    int poolThreads = 0;

private:
    bool mPrepareAhead;
};

// The system clock, noting the longest time between two passes of event processing:
// the window's passes after every item and those while the run waits for an encoding.
class GapClock : public SystemClock
{
public:
    void processEvents() override;
    void start();
    // Notes the time since the last pass as a gap.
    void note();

    long long longestGap = 0;
    int passes = 0;
    QString description;
    QString longestGapWhere;

private:
    QElapsedTimer mTimer;
};

#include "Timing.h"

#include "reference/PooledPasswordEncoding.h"

#include <QFile>

#include <ctime>
#include <pthread.h>

long long threadCpuNanoseconds()
{
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<long long>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

long peakKilobytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:")) {
            return line.mid(6).trimmed().split(' ').value(0).toLong();
        }
    }
    return 0;
}

int EncoderTimes::threadsUsed()
{
    const std::lock_guard lock(mutex);
    return static_cast<int>(threads.size());
}

namespace {

QString timedEncoding(PasswordEncoderComponent& inner, EncoderTimes& times, const QString& clear)
{
    QElapsedTimer timer;
    timer.start();
    const long long cpu = threadCpuNanoseconds();
    QString encoded = inner.EncodePassword(clear);
    times.nanoseconds += timer.nsecsElapsed();
    times.cpuNanoseconds += threadCpuNanoseconds() - cpu;
    ++times.encodings;
    {
        const std::lock_guard lock(times.mutex);
        times.threads.insert(static_cast<quint64>(pthread_self()));
    }
    return encoded;
}

class TimedEncoder : public PasswordEncoderComponent
{
public:
    TimedEncoder(std::unique_ptr<PasswordEncoderComponent> inner, EncoderTimes& times,
                 bool prepareAhead, int& poolThreads)
        : mInner(std::move(inner)), mTimes(times), mPrepareAhead(prepareAhead),
          mPoolThreads(poolThreads)
    {
    }
    QString EncodePassword(const QString& clear) override
    {
        return timedEncoding(*mInner, mTimes, clear);
    }
    // The reference encoder's own pool, encoding through the stopwatch.
    std::shared_ptr<PreparedPasswords> PreparePasswords() override
    {
        if (!mPrepareAhead) {
            return nullptr;
        }
        std::shared_ptr<PasswordEncoderComponent> inner = std::move(mInner);
        EncoderTimes& times = mTimes;
        auto pool = std::make_shared<PooledPasswordEncoding>(
            [inner, &times](const QString& clear) { return timedEncoding(*inner, times, clear); });
        mPoolThreads = pool->threadCount();
        return pool;
    }

private:
    std::unique_ptr<PasswordEncoderComponent> mInner;
    EncoderTimes& mTimes;
    bool mPrepareAhead;
    int& mPoolThreads;
};

class TimedMail : public MailComponent
{
public:
    TimedMail(std::unique_ptr<MailComponent> inner, long long& nanoseconds,
              long long& cpuNanoseconds)
        : mInner(std::move(inner)), mNanoseconds(nanoseconds), mCpuNanoseconds(cpuNanoseconds)
    {
    }
    void SendMail(const QString& recipients, const QString& subject, const QString& body,
                  const QString& account, const QVariant& logonHandle) override
    {
        QElapsedTimer timer;
        timer.start();
        const long long cpu = threadCpuNanoseconds();
        mInner->SendMail(recipients, subject, body, account, logonHandle);
        mNanoseconds += timer.nsecsElapsed();
        mCpuNanoseconds += threadCpuNanoseconds() - cpu;
    }
    QString GetStoredAccount(const QString& c) override { return mInner->GetStoredAccount(c); }
    QString GetAccountName(const QString& c) override { return mInner->GetAccountName(c); }
    QString GetAccountForName(const QString& n) override { return mInner->GetAccountForName(n); }
    QString GetAccountForServer(const QString& n, const QString& s) override
    {
        return mInner->GetAccountForServer(n, s);
    }
    void TestLogon(const QString& account, bool& passed, QVariant& handle) override
    {
        mInner->TestLogon(account, passed, handle);
    }

private:
    std::unique_ptr<MailComponent> mInner;
    long long& mNanoseconds;
    long long& mCpuNanoseconds;
};

} // namespace

TimingFactory::TimingFactory(const QString& configurationPath, bool prepareAhead)
    : TargetComponentFactory(configurationPath), mPrepareAhead(prepareAhead)
{
}

std::unique_ptr<PasswordEncoderComponent> TimingFactory::CreatePasswordEncoder()
{
    return std::make_unique<TimedEncoder>(TargetComponentFactory::CreatePasswordEncoder(), encoder,
                                          mPrepareAhead, poolThreads);
}

std::unique_ptr<MailComponent> TimingFactory::CreateMail()
{
    return std::make_unique<TimedMail>(TargetComponentFactory::CreateMail(), mailNanoseconds,
                                       mailCpuNanoseconds);
}

void GapClock::processEvents()
{
    note();
    SystemClock::processEvents();
    ++passes;
}

void GapClock::start()
{
    mTimer.start();
}

void GapClock::note()
{
    const long long gap = mTimer.nsecsElapsed();
    if (gap > longestGap) {
        longestGap = gap;
        longestGapWhere = QStringLiteral("before pass %1, \"%2\"").arg(passes + 1).arg(description);
    }
    mTimer.restart();
}

#include "reference/PooledPasswordEncoding.h"

#include "frame/MigrationError.h"

#include <QThread>

#include <chrono>

PooledPasswordEncoding::PooledPasswordEncoding(Encode encode, int threads)
    : mEncode(std::move(encode))
{
    const int count = threads > 0 ? threads : qMax(1, QThread::idealThreadCount());
    mThreads.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        mThreads.emplace_back([this] { work(); });
    }
}

PooledPasswordEncoding::~PooledPasswordEncoding()
{
    {
        const std::lock_guard lock(mMutex);
        mStopping = true;
        mWaiting.clear();
    }
    mWorkArrived.notify_all();
    for (std::thread& thread : mThreads) {
        thread.join();
    }
}

void PooledPasswordEncoding::Prepare(const QStringList& clearPasswords)
{
    {
        const std::lock_guard lock(mMutex);
        for (const QString& clear : clearPasswords) {
            auto job = std::make_shared<Job>();
            job->clear = clear;
            mWaiting.push_back(job);
            mJobs[clear].append(job);
        }
    }
    mWorkArrived.notify_all();
}

void PooledPasswordEncoding::work()
{
    for (;;) {
        JobPtr job;
        {
            std::unique_lock lock(mMutex);
            mWorkArrived.wait(lock, [this] { return mStopping || !mWaiting.empty(); });
            if (mStopping) {
                return;
            }
            job = mWaiting.front();
            mWaiting.pop_front();
        }
        QString encoded;
        std::exception_ptr failure;
        try {
            encoded = mEncode(job->clear);
        } catch (...) {
            failure = std::current_exception();
        }
        {
            const std::lock_guard lock(mMutex);
            job->encoded = encoded;
            job->failure = failure;
            job->done = true;
        }
        mJobDone.notify_all();
    }
}

PooledPasswordEncoding::JobPtr PooledPasswordEncoding::find(const QString& clearPassword) const
{
    const auto found = mJobs.constFind(clearPassword);
    return found == mJobs.constEnd() || found->isEmpty() ? JobPtr() : found->first();
}

bool PooledPasswordEncoding::Wait(const QString& clearPassword, int milliseconds)
{
    std::unique_lock lock(mMutex);
    const JobPtr job = find(clearPassword);
    if (!job) {
        return true; // nothing to wait for: Take says why
    }
    return mJobDone.wait_for(lock, std::chrono::milliseconds(qMax(0, milliseconds)),
                             [&] { return job->done; });
}

QString PooledPasswordEncoding::Take(const QString& clearPassword)
{
    std::unique_lock lock(mMutex);
    const JobPtr job = find(clearPassword);
    if (!job) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("The password was not prepared for encoding"),
                             QStringLiteral("PasswordEncoder"));
    }
    mJobDone.wait(lock, [&] { return job->done; });
    QList<JobPtr>& same = mJobs[clearPassword];
    same.removeFirst();
    if (same.isEmpty()) {
        mJobs.remove(clearPassword);
    }
    if (job->failure) {
        std::rethrow_exception(job->failure);
    }
    return job->encoded;
}

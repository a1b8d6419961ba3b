#pragma once

#include "directory/TargetComponents.h"

#include <QHash>
#include <QList>
#include <QString>

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

// The reference encoder's encodings made ahead: a fixed set of threads of its own,
// one per processor core by default, takes the prepared passwords in the order they
// were handed in. The threads start with the object and are joined when it goes;
// encodings not begun by then are dropped, so releasing it waits at most for the
// encodings under way (one per thread).
class PooledPasswordEncoding : public PreparedPasswords
{
public:
    using Encode = std::function<QString(const QString& clearPassword)>;

    // threads 0: one per processor core.
    explicit PooledPasswordEncoding(Encode encode, int threads = 0);
    ~PooledPasswordEncoding() override;
    PooledPasswordEncoding(const PooledPasswordEncoding&) = delete;
    PooledPasswordEncoding& operator=(const PooledPasswordEncoding&) = delete;

    void Prepare(const QStringList& clearPasswords) override;
    bool Wait(const QString& clearPassword, int milliseconds) override;
    QString Take(const QString& clearPassword) override;

    int threadCount() const { return static_cast<int>(mThreads.size()); }

private:
    struct Job
    {
        QString clear;
        QString encoded;
        std::exception_ptr failure;
        bool done = false;
    };
    using JobPtr = std::shared_ptr<Job>;

    void work();
    // The oldest prepared job for the clear text; null when there is none.
    JobPtr find(const QString& clearPassword) const;

    Encode mEncode;
    mutable std::mutex mMutex;
    std::condition_variable mWorkArrived;
    std::condition_variable mJobDone;
    std::deque<JobPtr> mWaiting;
    // Every prepared job not taken yet, by its clear text (the same text may come twice).
    QHash<QString, QList<JobPtr>> mJobs;
    bool mStopping = false;
    std::vector<std::thread> mThreads;
};

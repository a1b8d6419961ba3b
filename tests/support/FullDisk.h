#pragma once

#include <QString>
#include <QTemporaryDir>

// A tiny file system of its own (a size-limited tmpfs) for tests of what happens
// when the disk is full. Mounting needs root (CI runs as root); where it cannot be
// mounted, isMounted() is false and skipReason() says why, for QSKIP. Unmounted
// and removed by the destructor, whatever the test did.
class FullDisk
{
public:
    explicit FullDisk(qint64 sizeBytes = 256 * 1024);
    ~FullDisk();
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

    bool isMounted() const { return mMounted; }
    QString skipReason() const { return mSkipReason; }
    QString path() const { return mFolder.path(); }
    QString filePath(const QString& name) const { return mFolder.filePath(name); }

    // Fills the file system with a file of its own until at most `bytes` (rounded up
    // to whole pages) are free; false when that did not work.
    bool leaveFree(qint64 bytes);

private:
    QTemporaryDir mFolder;
    bool mMounted = false;
    QString mSkipReason;
};

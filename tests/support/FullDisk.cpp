#include "support/FullDisk.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {
constexpr qint64 Page = 4096;
const char* const FillerName = "filler.bin";
} // namespace

FullDisk::FullDisk(qint64 sizeBytes)
{
    if (!mFolder.isValid()) {
        mSkipReason =
            QStringLiteral("no temporary folder for the small disk: ") + mFolder.errorString();
        return;
    }
    if (::geteuid() != 0) {
        mSkipReason = QStringLiteral("a full disk needs a size-limited tmpfs, and only root may "
                                     "mount one (CI runs as root)");
        return;
    }
    const QByteArray options = "size=" + QByteArray::number(sizeBytes) + ",mode=0755";
    if (::mount("tmpfs", QFile::encodeName(mFolder.path()).constData(), "tmpfs",
                MS_NOSUID | MS_NODEV, options.constData()) != 0) {
        mSkipReason = QStringLiteral("a size-limited tmpfs could not be mounted at %1: %2")
                          .arg(mFolder.path(), QString::fromLocal8Bit(std::strerror(errno)));
        return;
    }
    mMounted = true;
}

FullDisk::~FullDisk()
{
    if (mMounted) {
        // Detached, so that a file a failed test left open cannot keep it mounted.
        ::umount2(QFile::encodeName(mFolder.path()).constData(), MNT_DETACH);
    }
}

bool FullDisk::leaveFree(qint64 bytes)
{
    if (!mMounted) {
        return false;
    }
    QFile filler(mFolder.filePath(QString::fromLatin1(FillerName)));
    if (!filler.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)) {
        return false;
    }
    const QByteArray page(Page, '\0');
    while (filler.write(page) == Page) {
    }
    const qint64 keep = (bytes + Page - 1) / Page * Page;
    const qint64 size = filler.size() / Page * Page;
    filler.resize(qMax<qint64>(size - keep, 0));
    filler.close();
    struct statvfs info = {};
    return ::statvfs(QFile::encodeName(mFolder.path()).constData(), &info) == 0 &&
           qint64(info.f_bavail) * qint64(info.f_frsize) <= keep;
}

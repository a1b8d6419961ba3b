#include "frame/FileWriting.h"

#include "frame/MigrationError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>

#include <cerrno>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {

constexpr QFileDevice::Permissions OwnerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

// 0 when the path may be written by this process as it runs now (its effective
// user and rights), else the system's reason; on platforms without such a check
// the file information decides.
int writeAccess(const QString& path)
{
#ifdef Q_OS_UNIX
    const QByteArray native = QFile::encodeName(path);
    return ::faccessat(AT_FDCWD, native.constData(), W_OK, AT_EACCESS) == 0 ? 0 : errno;
#else
    return QFileInfo(path).isWritable() ? 0 : EACCES;
#endif
}

QString folderOf(const QString& path)
{
    return QFileInfo(path).absolutePath();
}

[[noreturn]] void cannotOpen(const QString& path, const QFile& file, const QString& source)
{
    QString why = FileWriting::WhyNotWritable(path);
    if (why.isEmpty()) {
        why = QStringLiteral("cannot be opened for writing: %1").arg(file.errorString());
    }
    throw MigrationError(ErrorNumber::PathFileAccess, path + QLatin1Char(' ') + why, source);
}

// A write that failed or was cut short: a full disk is said as such, whatever the
// system reported for the part that did not fit.
[[noreturn]] void cannotWrite(const QString& path, const QFile& file, qint64 written, qint64 wanted,
                              const QString& source, const QString& systemReason = QString())
{
    const qint64 missing = wanted - qMax<qint64>(written, 0);
    const QStorageInfo storage(folderOf(path));
    const bool full = file.error() == QFileDevice::ResourceError ||
                      (storage.isValid() && storage.bytesAvailable() < missing);
    if (full) {
        throw MigrationError(ErrorNumber::DiskFull,
                             QStringLiteral("%1 could not be written: the disk that holds it is "
                                            "full (%2 of %3 bytes did not fit)")
                                 .arg(path)
                                 .arg(missing)
                                 .arg(wanted),
                             source);
    }
    QString reason = systemReason;
    if (reason.isEmpty()) {
        reason = file.error() == QFileDevice::NoError ? QStringLiteral("write cut short")
                                                      : file.errorString();
    }
    throw MigrationError(ErrorNumber::PathFileAccess,
                         QStringLiteral("%1 could not be written: %2 (%3 of %4 bytes written)")
                             .arg(path, reason)
                             .arg(qMax<qint64>(written, 0))
                             .arg(wanted),
                         source);
}

// Writes the bytes and forces them to disk; false when either fails, with the
// system's reason for a failed sync in syncFailure.
bool writeSynced(QFile& file, const QByteArray& bytes, qint64& written, QString& syncFailure)
{
    written = file.write(bytes);
    bool complete = written == bytes.size();
#ifdef Q_OS_UNIX
    // A file system may take the data and fail only when it is put on disk.
    if (complete && ::fsync(file.handle()) != 0) {
        complete = false;
        syncFailure = qt_error_string(errno);
    }
#endif
    return complete;
}

} // namespace

QString FileWriting::WhyNotWritable(const QString& path, bool folderToo)
{
    const QFileInfo file(path);
    const QString folder = folderOf(path);
    const QFileInfo folderInfo(folder);
    if (!folderInfo.exists()) {
        return QStringLiteral("cannot be made: the folder %1 does not exist").arg(folder);
    }
    if (!folderInfo.isDir()) {
        return QStringLiteral("cannot be made: %1 is not a folder").arg(folder);
    }
    if (file.isDir()) {
        return QStringLiteral("is a folder, not a file");
    }
    const int folderAccess = writeAccess(folder);
#ifdef Q_OS_UNIX
    if (folderAccess == EROFS) {
        return QStringLiteral("is on a file system that is mounted read-only");
    }
#endif
    if (file.exists()) {
        if (writeAccess(path) != 0) {
            return QStringLiteral("is read-only");
        }
        if (folderToo && folderAccess != 0) {
            return QStringLiteral("cannot be changed: the folder %1 that holds it may not be "
                                  "written to")
                .arg(folder);
        }
        return QString();
    }
    if (folderAccess != 0) {
        return QStringLiteral("cannot be made: the folder %1 may not be written to").arg(folder);
    }
    return QString();
}

void FileWriting::AppendWhole(const QString& path, const QByteArray& bytes, const QString& source)
{
    QFile file(path);
    // Unbuffered: the entry goes to the system in one write, not in pieces.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered, OwnerOnly)) {
        cannotOpen(path, file, source);
    }
    const qint64 before = file.size();
    const qint64 written = file.write(bytes);
    if (written != bytes.size()) {
        // Take back the part that went in, so that no entry is left cut in half.
        if (file.size() != before) {
            file.resize(before);
        }
        file.close();
        cannotWrite(path, file, written, bytes.size(), source);
    }
    file.close();
    if (file.error() != QFileDevice::NoError) {
        cannotWrite(path, file, bytes.size(), bytes.size(), source);
    }
}

void FileWriting::AppendDurable(const QString& path, const QByteArray& bytes, const QString& source)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered, OwnerOnly)) {
        cannotOpen(path, file, source);
    }
    file.setPermissions(OwnerOnly);
    const qint64 before = file.size();
    qint64 written = 0;
    QString syncFailure;
    const bool complete = writeSynced(file, bytes, written, syncFailure);
    if (!complete) {
        if (file.size() != before) {
            file.resize(before);
        }
        file.close();
        cannotWrite(path, file, written, bytes.size(), source, syncFailure);
    }
    file.close();
    if (file.error() != QFileDevice::NoError) {
        cannotWrite(path, file, bytes.size(), bytes.size(), source);
    }
}

void FileWriting::WriteNew(const QString& path, const QByteArray& bytes, const QString& source)
{
    const QString partial = path + QStringLiteral(".part");
    QFile file(partial);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered, OwnerOnly)) {
        cannotOpen(path, file, source);
    }
    qint64 written = 0;
    QString syncFailure;
    bool complete = writeSynced(file, bytes, written, syncFailure);
    file.close();
    complete = complete && file.error() == QFileDevice::NoError;
    if (!complete) {
        QFile::remove(partial);
        cannotWrite(path, file, written, bytes.size(), source, syncFailure);
    }
    QFile finished(partial);
    if (!finished.rename(path)) {
        const QString reason = finished.errorString();
        QFile::remove(partial);
        throw MigrationError(ErrorNumber::PathFileAccess,
                             QStringLiteral("%1 could not be given its name: %2").arg(path, reason),
                             source);
    }
}

bool FileWriting::MakePrivateFolder(const QString& path)
{
    if (!QDir().mkpath(path)) {
        return false;
    }
    QFile::setPermissions(path, OwnerOnly | QFileDevice::ExeOwner);
    return true;
}

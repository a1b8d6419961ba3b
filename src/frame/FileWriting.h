#pragma once

#include <QByteArray>
#include <QString>

// Writing the wizard's own files (the log, saved reports, mail for the pickup
// folder) so that a full disk or a missing right is never taken for success. Files
// made here are readable and writable by their owner only: the log holds
// connection strings with passwords, a mail holds a new password.
namespace FileWriting {

// Appends the bytes to the file, making it when it is missing, in one write: they
// are on disk whole or not at all (a write cut short is taken back). Raises
// PathFileAccess when the file cannot be opened, DiskFull or PathFileAccess when
// the bytes could not all be written; the description names the file and why.
void AppendWhole(const QString& path, const QByteArray& bytes, const QString& source);

// As AppendWhole, and the file is on disk (synced) when it returns: for a copy that
// must outlive what it copies. A file that exists is made its owner's only as well.
void AppendDurable(const QString& path, const QByteArray& bytes, const QString& source);

// Writes a new file that appears under its name only once it is complete (it is
// written under a temporary name beside it, then renamed). Raises as AppendWhole;
// nothing is left behind on failure.
void WriteNew(const QString& path, const QByteArray& bytes, const QString& source);

// Makes the folder when it is missing and leaves it open to its owner only.
// False when it could not be made.
bool MakePrivateFolder(const QString& path);

// Why the file cannot be written, as a clause that follows its name ("is read-only",
// "cannot be made: the folder /x may not be written to", ...); empty when nothing
// stands in the way that can be told. With folderToo, a folder that may not be
// written to counts even when the file exists (a program that keeps a journal or
// a temporary file beside it needs both).
QString WhyNotWritable(const QString& path, bool folderToo = false);

} // namespace FileWriting

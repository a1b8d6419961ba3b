#pragma once

#include <QProcess>
#include <QString>

// Another program that holds the write lock of an embedded database file: a Python
// process (the interpreter comes with the mail tests' server) that opens the file
// with its own SQLite and begins an IMMEDIATE transaction. It keeps the lock for
// holdMilliseconds after taking it and then commits, or until it is destroyed
// when holdMilliseconds is negative.
class LockHolder
{
public:
    LockHolder(const QString& databaseFile, int holdMilliseconds);
    ~LockHolder();
    LockHolder(const LockHolder&) = delete;
    LockHolder& operator=(const LockHolder&) = delete;

    // True once the lock is taken; errorString() says why not.
    bool isHolding() const { return mHolding; }
    QString errorString() const { return mError; }
    // Waits until the holder has let the lock go; false when it did not in time.
    bool waitReleased(int milliseconds);

private:
    bool waitFor(const QByteArray& word, int milliseconds);

    QProcess mProcess;
    bool mHolding = false;
    QString mError;
};

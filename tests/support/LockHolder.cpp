#include "support/LockHolder.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

const char* const Script = R"(import sqlite3, sys, time
connection = sqlite3.connect(sys.argv[1], isolation_level=None, timeout=10)
connection.execute("BEGIN IMMEDIATE")
print("locked", flush=True)
hold = float(sys.argv[2])
if hold >= 0:
    time.sleep(hold)
    connection.execute("COMMIT")
    print("released", flush=True)
sys.stdin.read()
)";

QString python()
{
    if (QFileInfo(QStringLiteral("/usr/bin/python3")).isExecutable()) {
        return QStringLiteral("/usr/bin/python3");
    }
    return QStandardPaths::findExecutable(QStringLiteral("python3"));
}

} // namespace

LockHolder::LockHolder(const QString& databaseFile, int holdMilliseconds)
{
    const QString interpreter = python();
    if (interpreter.isEmpty()) {
        mError = QStringLiteral("no python3 to hold the lock");
        return;
    }
    mProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    mProcess.start(interpreter,
                   {QStringLiteral("-c"), QString::fromLatin1(Script), databaseFile,
                    QString::number(holdMilliseconds < 0 ? -1.0 : holdMilliseconds / 1000.0)});
    mHolding = waitFor("locked", 10000);
    if (!mHolding) {
        mError = QStringLiteral("the lock holder did not take the lock: ") + mProcess.errorString();
    }
}

LockHolder::~LockHolder()
{
    if (mProcess.state() != QProcess::NotRunning) {
        mProcess.closeWriteChannel();
        if (!mProcess.waitForFinished(2000)) {
            mProcess.kill();
            mProcess.waitForFinished(2000);
        }
    }
}

bool LockHolder::waitReleased(int milliseconds)
{
    return waitFor("released", milliseconds);
}

bool LockHolder::waitFor(const QByteArray& word, int milliseconds)
{
    const QDeadlineTimer deadline(milliseconds);
    for (;;) {
        while (mProcess.canReadLine()) {
            if (mProcess.readLine().trimmed() == word) {
                return true;
            }
        }
        if (deadline.hasExpired() || mProcess.state() == QProcess::NotRunning) {
            return false;
        }
        mProcess.waitForReadyRead(static_cast<int>(qMax<qint64>(deadline.remainingTime(), 1)));
    }
}

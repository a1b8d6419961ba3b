#include "SmtpServer.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

namespace {

constexpr int StartTimeoutMs = 20000;
constexpr int MessageTimeoutMs = 5000;

QStringList toStrings(const QJsonArray& array)
{
    QStringList list;
    for (const auto& value : array) {
        list.append(value.toString());
    }
    return list;
}

} // namespace

// The interpreter that has aiosmtpd: SMTP_SINK_PYTHON when set, else the system's
// python3 (a python3 earlier on the PATH may not see Debian's packages).
QString SmtpServer::findPython(QString& why)
{
    QStringList candidates;
    const QString configured = qEnvironmentVariable("SMTP_SINK_PYTHON");
    if (!configured.isEmpty()) {
        candidates.append(configured);
    }
    candidates << QStringLiteral("/usr/bin/python3") << QStringLiteral("python3");
    for (const QString& candidate : candidates) {
        QProcess probe;
        probe.start(candidate, {QStringLiteral("-c"), QStringLiteral("import aiosmtpd")});
        if (probe.waitForFinished(15000) && probe.exitStatus() == QProcess::NormalExit &&
            probe.exitCode() == 0) {
            return candidate;
        }
    }
    why = QStringLiteral("No python3 with the aiosmtpd module was found (tried %1). The mail "
                         "tests need Debian's python3-aiosmtpd: run scripts/install-deps.")
              .arg(candidates.join(QStringLiteral(", ")));
    return QString();
}

SmtpServer::SmtpServer()
{
    if (!mFolder.isValid()) {
        mError = QStringLiteral("No temporary folder for the received messages");
        return;
    }
    const QString python = findPython(mError);
    if (python.isEmpty()) {
        return;
    }
    const QString script = QStringLiteral(TESTS_SOURCE_DIR "/support/smtp_sink.py");
    mProcess.setProcessChannelMode(QProcess::SeparateChannels);
    mProcess.start(python, {QStringLiteral("-B"), script, mFolder.path()});
    if (!mProcess.waitForStarted(StartTimeoutMs)) {
        mError = QStringLiteral("The SMTP server did not start: %1").arg(mProcess.errorString());
        return;
    }
    // The script prints "PORT n" once the server accepts connections.
    QDeadlineTimer deadline(StartTimeoutMs);
    while (!deadline.hasExpired()) {
        while (mProcess.canReadLine()) {
            const QByteArray line = mProcess.readLine().trimmed();
            if (line.startsWith("PORT ")) {
                mPort = line.mid(5).toInt();
                return;
            }
        }
        if (mProcess.state() == QProcess::NotRunning) {
            break;
        }
        mProcess.waitForReadyRead(static_cast<int>(qMax<qint64>(deadline.remainingTime(), 1)));
    }
    mError = QStringLiteral("The SMTP server did not come up: %1")
                 .arg(QString::fromUtf8(mProcess.readAllStandardError()));
}

SmtpServer::~SmtpServer()
{
    if (mProcess.state() == QProcess::NotRunning) {
        return;
    }
    mProcess.closeWriteChannel();
    if (!mProcess.waitForFinished(5000)) {
        mProcess.kill();
        mProcess.waitForFinished(2000);
    }
}

QList<SmtpServer::Message> SmtpServer::messages(int expected) const
{
    const QDir folder(mFolder.path());
    const QStringList filter{QStringLiteral("*.json")};
    QDeadlineTimer deadline(MessageTimeoutMs);
    while (folder.entryList(filter, QDir::Files).size() < expected && !deadline.hasExpired()) {
        QThread::msleep(20);
    }
    QList<Message> received;
    for (const QString& name : folder.entryList(filter, QDir::Files, QDir::Name)) {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::ReadOnly)) {
            continue;
        }
        const QJsonObject object = QJsonDocument::fromJson(file.readAll()).object();
        Message message;
        message.mailFrom = object.value(QStringLiteral("mail_from")).toString();
        message.rcptTos = toStrings(object.value(QStringLiteral("rcpt_tos")).toArray());
        message.subject = object.value(QStringLiteral("subject")).toString();
        message.body = object.value(QStringLiteral("body")).toString();
        message.defects = toStrings(object.value(QStringLiteral("defects")).toArray());
        message.data = object.value(QStringLiteral("data")).toString();
        const QJsonObject headers = object.value(QStringLiteral("headers")).toObject();
        for (auto it = headers.begin(); it != headers.end(); ++it) {
            message.headers.insert(it.key(), it.value().toString());
        }
        received.append(message);
    }
    return received;
}

void SmtpServer::clear()
{
    QDir folder(mFolder.path());
    for (const QString& name : folder.entryList({QStringLiteral("*.json")}, QDir::Files)) {
        folder.remove(name);
    }
}

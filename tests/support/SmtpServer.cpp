#include "SmtpServer.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int StartTimeoutMs = 20000;

QStringList toStrings(const QJsonValue& array)
{
    QStringList list;
    for (const auto& value : array.toArray()) {
        list.append(value.toString());
    }
    return list;
}

} // namespace

SmtpServer::SmtpServer(Silence silence)
{
    if (!mFolder.isValid()) {
        mError = u"No temporary folder for the received messages"_s;
        return;
    }
    QStringList arguments = {u"-B"_s, QStringLiteral(TESTS_SOURCE_DIR "/support/smtp_sink.py"),
                             mFolder.path()};
    const char* silences[] = {nullptr, "greeting", "data", "quit"};
    if (silence != Silence::None) {
        arguments << QString::fromLatin1(silences[int(silence)]);
    }
    // The system's python3 sees Debian's python3-aiosmtpd; SMTP_SINK_PYTHON names another.
    mProcess.start(qEnvironmentVariable("SMTP_SINK_PYTHON", u"/usr/bin/python3"_s), arguments);
    // The script prints "PORT n" once the server accepts connections.
    QDeadlineTimer deadline(StartTimeoutMs);
    while (mProcess.waitForReadyRead(int(qMax<qint64>(deadline.remainingTime(), 1))) ||
           (mProcess.state() != QProcess::NotRunning && !deadline.hasExpired())) {
        while (mProcess.canReadLine()) {
            const QByteArray line = mProcess.readLine().trimmed();
            if (line.startsWith("PORT ")) {
                mPort = line.mid(5).toInt();
                return;
            }
        }
    }
    mError = u"The SMTP server did not come up (the mail tests need Debian's python3-aiosmtpd: "
             "run scripts/install-deps): %1 %2"_s.arg(
                 mProcess.errorString(), QString::fromUtf8(mProcess.readAllStandardError()));
}

SmtpServer::~SmtpServer()
{
    if (mProcess.state() != QProcess::NotRunning) {
        mProcess.closeWriteChannel();
        if (!mProcess.waitForFinished(5000)) {
            mProcess.kill();
            mProcess.waitForFinished(2000);
        }
    }
}

QList<SmtpServer::Message> SmtpServer::messages(int expected) const
{
    const QDir folder(mFolder.path(), u"*.json"_s, QDir::Name, QDir::Files);
    QDeadlineTimer deadline(5000);
    while (folder.entryList().size() < expected && !deadline.hasExpired()) {
        QThread::msleep(20);
    }
    QList<Message> received;
    for (const QString& name : folder.entryList()) {
        QFile file(folder.filePath(name));
        if (file.open(QIODevice::ReadOnly)) {
            const QJsonObject object = QJsonDocument::fromJson(file.readAll()).object();
            received.append({object[u"mail_from"].toString(), toStrings(object[u"rcpt_tos"]),
                             object[u"subject"].toString(), object[u"body"].toString(),
                             toStrings(object[u"defects"]), object[u"data"].toString()});
        }
    }
    return received;
}

void SmtpServer::clear()
{
    QDir folder(mFolder.path(), u"*.json"_s, QDir::Name, QDir::Files);
    for (const QString& name : folder.entryList()) {
        folder.remove(name);
    }
}

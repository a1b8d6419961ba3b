#pragma once

#include <QList>
#include <QMap>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A real SMTP server on loopback for the mail tests: aiosmtpd (Debian's
// python3-aiosmtpd) running tests/support/smtp_sink.py, which writes every message
// it receives into a folder. Started by the constructor, stopped by the destructor.
// When it cannot start, isRunning() is false and errorString() says why.
class SmtpServer
{
public:
    struct Message
    {
        QString mailFrom;
        QStringList rcptTos;
        QString subject; // decoded as a mail reader shows it
        QString body;    // the plain-text body, decoded
        QMap<QString, QString> headers;
        QStringList defects; // what the mail parser found wrong with the message
        QString data;        // the message as it arrived
    };

    SmtpServer();
    ~SmtpServer();
    SmtpServer(const SmtpServer&) = delete;
    SmtpServer& operator=(const SmtpServer&) = delete;

    bool isRunning() const { return mPort != 0; }
    QString errorString() const { return mError; }
    QString host() const { return QStringLiteral("127.0.0.1"); }
    int port() const { return mPort; }

    // The messages received so far, in the order of arrival; waits up to a few
    // seconds for at least `expected` of them.
    QList<Message> messages(int expected = 0) const;
    // Forgets the messages received so far.
    void clear();

private:
    static QString findPython(QString& why);

    QTemporaryDir mFolder;
    QProcess mProcess;
    int mPort = 0;
    QString mError;
};

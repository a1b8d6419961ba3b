#pragma once

#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A real SMTP server on loopback for the mail tests: tests/support/smtp_sink.py on
// aiosmtpd (Debian's python3-aiosmtpd), which writes every message it receives into a
// folder. Given a silence, it stops answering at that point and keeps the line open,
// so that the mail component must give up on its own time-out. Started by the
// constructor, stopped by the destructor; when it cannot start, isRunning() is false
// and errorString() says why.
class SmtpServer
{
public:
    enum class Silence
    {
        None,
        Greeting,  // accepts the connection and never greets
        EndOfData, // takes the whole message and never confirms it
        Quit       // confirms the message and never answers the QUIT
    };
    struct Message
    {
        QString mailFrom;
        QStringList rcptTos;
        QString subject;     // decoded as a mail reader shows it
        QString body;        // the plain-text body, decoded
        QStringList defects; // what the mail parser found wrong with the message
        QString data;        // the message as it arrived
    };

    explicit SmtpServer(Silence silence = Silence::None);
    ~SmtpServer();
    SmtpServer(const SmtpServer&) = delete;
    SmtpServer& operator=(const SmtpServer&) = delete;

    bool isRunning() const { return mPort != 0; }
    QString errorString() const { return mError; }
    QString host() const { return QStringLiteral("127.0.0.1"); }
    int port() const { return mPort; }

    // The messages taken whole so far, in the order of arrival; waits up to a few
    // seconds for at least `expected` of them.
    QList<Message> messages(int expected = 0) const;
    // Forgets the messages received so far.
    void clear();

private:
    QTemporaryDir mFolder;
    QProcess mProcess;
    int mPort = 0;
    QString mError;
};

#pragma once

#include "reference/MailMessage.h"

#include <QByteArray>
#include <QList>
#include <QString>

// The reference mail component's talk with an SMTP server: the logon test's look for
// the server's greeting, and the sending of one composed message. Every wait (the
// connection, each reply of the server, the message going out, the QUIT) is bounded
// by the one time-out given in seconds.
namespace SmtpTransport {

// The server at host:port greets a new connection ("220 ..." after any "220-" lines)
// within the time-out; it is then sent QUIT. False for an empty host or port 0.
bool greets(const QString& host, int port, int timeoutSeconds);

// Sends the message from the address to the recipients through the server at url
// ("smtp://host:port"). Throws MigrationError with the mail client's code, what it
// and the server said and the time-out when the server stopped answering; source
// names the caller in it.
void send(const QString& url, const QString& from, const QList<MailMessage::Recipient>& recipients,
          const QByteArray& message, int timeoutSeconds, const QString& source);

} // namespace SmtpTransport

#include "reference/SmtpTransport.h"

#include "frame/MigrationError.h"

#include <QDeadlineTimer>
#include <QTcpSocket>

#include <cstring>
#include <curl/curl.h>
#include <mutex>

#ifdef Q_OS_UNIX
#include <sys/socket.h>
#endif

namespace {

struct Upload
{
    QByteArray data;
    qsizetype offset = 0;
};

size_t readUpload(char* buffer, size_t size, size_t count, void* user)
{
    auto* upload = static_cast<Upload*>(user);
    const qsizetype room = static_cast<qsizetype>(size * count);
    const qsizetype left = upload->data.size() - upload->offset;
    const qsizetype length = qMin(room, left);
    if (length > 0) {
        memcpy(buffer, upload->data.constData() + upload->offset, static_cast<size_t>(length));
        upload->offset += length;
    }
    return static_cast<size_t>(length);
}

// Releases the curl handle and the recipient list however the send ends.
struct CurlSession
{
    CURL* handle = nullptr;
    curl_slist* recipients = nullptr;
    ~CurlSession()
    {
        curl_slist_free_all(recipients);
        if (handle) {
            curl_easy_cleanup(handle);
        }
    }
};

void initialiseCurl()
{
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// One reply line of the server, trimmed; empty when none came before the deadline.
QByteArray readLine(QTcpSocket& socket, const QDeadlineTimer& deadline)
{
    while (!socket.canReadLine()) {
        if (deadline.hasExpired() ||
            !socket.waitForReadyRead(static_cast<int>(deadline.remainingTime()))) {
            return QByteArray();
        }
    }
    return socket.readLine().trimmed();
}

// After a send that failed, the session is given up without a QUIT: a server that
// stopped answering would otherwise hold the run for one more time-out.
void dropConnection(CURL* curl)
{
#ifdef Q_OS_UNIX
    curl_socket_t socket = CURL_SOCKET_BAD;
    if (curl_easy_getinfo(curl, CURLINFO_ACTIVESOCKET, &socket) == CURLE_OK &&
        socket != CURL_SOCKET_BAD) {
        ::shutdown(socket, SHUT_RDWR);
    }
#else
    Q_UNUSED(curl);
#endif
}

} // namespace

bool SmtpTransport::greets(const QString& host, int port, int timeoutSeconds)
{
    if (host.isEmpty() || port == 0) {
        return false;
    }
    const int timeout = timeoutSeconds * 1000;
    QTcpSocket socket;
    socket.connectToHost(host, static_cast<quint16>(port));
    if (!socket.waitForConnected(timeout)) {
        socket.abort();
        return false;
    }
    // The greeting is "220 text", possibly after continuation lines "220-text".
    QDeadlineTimer deadline(timeout);
    bool greeted = false;
    while (!greeted) {
        const QByteArray line = readLine(socket, deadline);
        if (!line.startsWith("220")) {
            socket.abort();
            return false;
        }
        greeted = line.size() == 3 || line.at(3) != '-';
    }
    // A server that takes the QUIT without a word does not hold the test up longer
    // than the time-out either.
    socket.write("QUIT\r\n");
    QDeadlineTimer quitDeadline(timeout);
    readLine(socket, quitDeadline);
    socket.abort();
    return true;
}

void SmtpTransport::send(const QString& url, const QString& from,
                         const QList<MailMessage::Recipient>& recipients, const QByteArray& message,
                         int timeoutSeconds, const QString& source)
{
    initialiseCurl();
    CurlSession session;
    session.handle = curl_easy_init();
    if (!session.handle) {
        throw MigrationError(CURLE_FAILED_INIT, QStringLiteral("The mail client did not start"),
                             source);
    }
    for (const auto& recipient : recipients) {
        const QByteArray rcpt = '<' + recipient.address.toUtf8() + '>';
        curl_slist* longer = curl_slist_append(session.recipients, rcpt.constData());
        if (!longer) {
            throw MigrationError(CURLE_OUT_OF_MEMORY, QStringLiteral("Out of memory"), source);
        }
        session.recipients = longer;
    }

    const QByteArray urlText = url.toUtf8();
    const QByteArray fromText = '<' + from.toUtf8() + '>';
    Upload upload{message, 0};
    char errorBuffer[CURL_ERROR_SIZE] = {};

    CURL* curl = session.handle;
    curl_easy_setopt(curl, CURLOPT_URL, urlText.constData());
    curl_easy_setopt(curl, CURLOPT_MAIL_FROM, fromText.constData());
    curl_easy_setopt(curl, CURLOPT_MAIL_RCPT, session.recipients);
    curl_easy_setopt(curl, CURLOPT_READFUNCTION, readUpload);
    curl_easy_setopt(curl, CURLOPT_READDATA, &upload);
    curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(message.size()));
    // Every wait is bounded by the one time-out: the connection, each reply of the
    // server (the QUIT at the end too), and the message going out.
    const long timeout = timeoutSeconds;
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, timeout);
    curl_easy_setopt(curl, CURLOPT_SERVER_RESPONSE_TIMEOUT, timeout);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, timeout);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errorBuffer);

    const CURLcode result = curl_easy_perform(curl);
    if (result != CURLE_OK) {
        dropConnection(curl);
        long response = 0;
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &response);
        QString description = QStringLiteral("Sending mail through %1 failed: %2")
                                  .arg(url, QString::fromUtf8(curl_easy_strerror(result)));
        if (errorBuffer[0] != '\0') {
            description += QStringLiteral(" (%1)").arg(QString::fromUtf8(errorBuffer).trimmed());
        }
        if (response != 0) {
            description += QStringLiteral(", the server answered %1").arg(response);
        }
        if (result == CURLE_OPERATION_TIMEDOUT) {
            description +=
                QStringLiteral("; the server did not answer within %1 seconds").arg(timeoutSeconds);
        }
        throw MigrationError(static_cast<long>(result), description, source);
    }
}

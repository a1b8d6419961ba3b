#include "reference/ReferenceMail.h"

#include "db/DbConnection.h"
#include "directory/DefaultServices.h"
#include "frame/Clock.h"
#include "frame/FileWriting.h"
#include "frame/MigrationError.h"
#include "reference/IniConfiguration.h"
#include "reference/MailMessage.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlRecord>
#include <QTcpSocket>
#include <QTemporaryFile>
#include <QUuid>

#include <curl/curl.h>
#include <mutex>

#ifdef Q_OS_UNIX
#include <sys/socket.h>
#endif

namespace {

const QString Source = QStringLiteral("ReferenceMail");

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

QString localPart(const QString& address)
{
    return address.left(address.indexOf(QLatin1Char('@')));
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

ReferenceMail::ReferenceMail(const QString& configurationPath)
{
    IniConfiguration configuration(configurationPath);
    mConfigurationFolder = QFileInfo(configurationPath).absolutePath();

    mTransportName = configuration.GetSetting(QStringLiteral("mail:transport")).trimmed();
    const QString transport = mTransportName.toLower();
    if (transport.isEmpty() || transport == QLatin1String("smtp")) {
        mTransport = Transport::Smtp;
    } else if (transport == QLatin1String("pickup")) {
        mTransport = Transport::Pickup;
    } else {
        mTransport = Transport::Unknown;
    }

    mSmtpHost = configuration.GetSetting(QStringLiteral("mail:smtphost")).trimmed();
    const QString port = configuration.GetSetting(QStringLiteral("mail:smtpport")).trimmed();
    if (!port.isEmpty()) {
        bool ok = false;
        mSmtpPort = port.toInt(&ok);
        if (!ok || mSmtpPort < 1 || mSmtpPort > 65535) {
            mSmtpPort = 0;
        }
    }
    mPickupFolder = configuration.GetSetting(QStringLiteral("mail:pickupfolder")).trimmed();

    const QString timeout = configuration.GetSetting(QStringLiteral("mail:timeout")).trimmed();
    if (!timeout.isEmpty()) {
        bool ok = false;
        mTimeoutSeconds = timeout.toInt(&ok);
        if (!ok || mTimeoutSeconds < 1 || mTimeoutSeconds > MaxTimeoutSeconds) {
            throw MigrationError(ErrorNumber::InvalidProcedureCall,
                                 QStringLiteral("The mail time-out \"%1\" set in %2 ([mail] "
                                                "timeout) is not a number of seconds from 1 to %3")
                                     .arg(timeout, configurationPath)
                                     .arg(MaxTimeoutSeconds),
                                 Source);
        }
    }
}

// --- accounts ------------------------------------------------------------------------

ReferenceMail::Account ReferenceMail::parseAccount(const QString& account)
{
    const QStringList parts = account.split(QLatin1Char(';'));
    Account parsed;
    parsed.server = parts.value(0).trimmed();
    parsed.alias = parts.value(1).trimmed();
    parsed.address = parts.value(2).trimmed();
    return parsed;
}

QString ReferenceMail::Endpoint::url() const
{
    const QString shownHost =
        host.contains(QLatin1Char(':')) ? QLatin1Char('[') + host + QLatin1Char(']') : host;
    return QStringLiteral("smtp://%1:%2").arg(shownHost).arg(port);
}

ReferenceMail::Endpoint ReferenceMail::endpointOf(const Account& account) const
{
    Endpoint endpoint;
    endpoint.host = account.server;
    endpoint.port = mSmtpPort;
    QString portText;
    if (endpoint.host.startsWith(QLatin1Char('['))) {
        const int close = endpoint.host.indexOf(QLatin1Char(']'));
        if (close > 0) {
            if (endpoint.host.mid(close + 1).startsWith(QLatin1Char(':'))) {
                portText = endpoint.host.mid(close + 2);
            }
            endpoint.host = endpoint.host.mid(1, close - 1);
        }
    } else if (endpoint.host.count(QLatin1Char(':')) == 1) {
        const int colon = endpoint.host.indexOf(QLatin1Char(':'));
        portText = endpoint.host.mid(colon + 1);
        endpoint.host = endpoint.host.left(colon);
    }
    if (!portText.isEmpty()) {
        bool ok = false;
        const int port = portText.toInt(&ok);
        endpoint.port = ok && port >= 1 && port <= 65535 ? port : 0;
    }
    return endpoint;
}

QString ReferenceMail::readSystemSetting(const QString& connectionString, const QString& name) const
{
    DbConnection connection(connectionString);
    const auto rows =
        connection.select(QStringLiteral("SELECT Value FROM fwtSystemSetting "
                                         "WHERE LOWER(Category) = ? AND LOWER(Name) = ?"),
                          {QStringLiteral("mail"), name});
    return rows.isEmpty() ? QString() : rows.first().value(0).toString();
}

QString ReferenceMail::GetStoredAccount(const QString& connectionString)
{
    return readSystemSetting(connectionString, QStringLiteral("serviceaccount"));
}

QString ReferenceMail::GetAccountName(const QString& connectionString)
{
    return readSystemSetting(connectionString, QStringLiteral("serviceaccountname"));
}

QString ReferenceMail::GetAccountForName(const QString& name)
{
    const QString address = name.trimmed();
    if (!MailMessage::IsAddress(address)) {
        return QString();
    }
    // A pickup folder needs no server, so any name stands for the local one.
    QString host = mSmtpHost;
    if (host.isEmpty() && mTransport == Transport::Pickup) {
        host = QStringLiteral("localhost");
    }
    if (host.isEmpty()) {
        return QString();
    }
    return DefaultServices::MailConnection(host, localPart(address), address);
}

QString ReferenceMail::GetAccountForServer(const QString& name, const QString& server)
{
    const QString address = name.trimmed();
    const QString host = server.trimmed();
    if (!MailMessage::IsAddress(address) || host.isEmpty()) {
        return QString();
    }
    return DefaultServices::MailConnection(host, localPart(address), address);
}

// --- logon test ----------------------------------------------------------------------

void ReferenceMail::TestLogon(const QString& account, bool& passed, QVariant& logonHandle)
{
    passed = false;
    logonHandle = QVariant();
    const Account parsed = parseAccount(account);
    if (parsed.server.isEmpty() || parsed.alias.isEmpty() ||
        !MailMessage::IsAddress(parsed.address)) {
        return;
    }
    switch (mTransport) {
    case Transport::Smtp: {
        const Endpoint endpoint = endpointOf(parsed);
        if (greets(endpoint)) {
            passed = true;
            logonHandle = endpoint.url();
        }
        break;
    }
    case Transport::Pickup:
        if (pickupWritable()) {
            passed = true;
            logonHandle = QStringLiteral("pickup:") + pickupFolder();
        }
        break;
    case Transport::Unknown:
        break;
    }
}

bool ReferenceMail::greets(const Endpoint& endpoint) const
{
    if (endpoint.host.isEmpty() || endpoint.port == 0) {
        return false;
    }
    const int timeout = mTimeoutSeconds * 1000;
    QTcpSocket socket;
    socket.connectToHost(endpoint.host, static_cast<quint16>(endpoint.port));
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

QString ReferenceMail::pickupFolder() const
{
    if (mPickupFolder.isEmpty()) {
        return QString();
    }
    return QDir::cleanPath(QDir(mConfigurationFolder).absoluteFilePath(mPickupFolder));
}

bool ReferenceMail::pickupWritable() const
{
    const QString folder = pickupFolder();
    if (folder.isEmpty() || !QFileInfo(folder).isDir()) {
        return false;
    }
    QTemporaryFile probe(QDir(folder).filePath(QStringLiteral("logon-test-XXXXXX.tmp")));
    return probe.open();
}

// --- sending -------------------------------------------------------------------------

void ReferenceMail::raiseUnknownTransport(const QString& source) const
{
    throw MigrationError(ErrorNumber::InvalidProcedureCall,
                         QStringLiteral("The mail transport \"%1\" set in the configuration is "
                                        "not known; use smtp or pickup")
                             .arg(mTransportName),
                         source);
}

void ReferenceMail::SendMail(const QString& recipients, const QString& subject, const QString& body,
                             const QString& account, const QVariant& logonHandle)
{
    Q_UNUSED(logonHandle);
    const QString source = Source + QStringLiteral(".SendMail");
    if (mTransport == Transport::Unknown) {
        raiseUnknownTransport(source);
    }
    const Account parsed = parseAccount(account);
    if (!MailMessage::IsAddress(parsed.address)) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("The service account \"%1\" has no e-mail address "
                                            "to send from")
                                 .arg(MailMessage::Shown(account)),
                             source);
    }
    const auto parsedRecipients = MailMessage::ParseRecipients(recipients);
    const QByteArray message = MailMessage::Compose(parsed.address, parsedRecipients, subject, body,
                                                    AppClock::clock().now());
    if (mTransport == Transport::Pickup) {
        writePickup(message);
    } else {
        sendSmtp(parsed, parsedRecipients, message);
    }
}

void ReferenceMail::sendSmtp(const Account& account,
                             const QList<MailMessage::Recipient>& recipients,
                             const QByteArray& message)
{
    const QString source = Source + QStringLiteral(".SendMail");
    const Endpoint endpoint = endpointOf(account);
    if (endpoint.host.isEmpty() || endpoint.port == 0) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("The service account \"%1\" names no SMTP server "
                                            "and port to send through")
                                 .arg(account.server),
                             source);
    }

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

    const QByteArray url = endpoint.url().toUtf8();
    const QByteArray from = '<' + account.address.toUtf8() + '>';
    Upload upload{message, 0};
    char errorBuffer[CURL_ERROR_SIZE] = {};

    CURL* curl = session.handle;
    curl_easy_setopt(curl, CURLOPT_URL, url.constData());
    curl_easy_setopt(curl, CURLOPT_MAIL_FROM, from.constData());
    curl_easy_setopt(curl, CURLOPT_MAIL_RCPT, session.recipients);
    curl_easy_setopt(curl, CURLOPT_READFUNCTION, readUpload);
    curl_easy_setopt(curl, CURLOPT_READDATA, &upload);
    curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(message.size()));
    // Every wait is bounded by the one time-out: the connection, each reply of the
    // server (the QUIT at the end too), and the message going out.
    const long timeout = mTimeoutSeconds;
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
        QString description =
            QStringLiteral("Sending mail through %1 failed: %2")
                .arg(endpoint.url(), QString::fromUtf8(curl_easy_strerror(result)));
        if (errorBuffer[0] != '\0') {
            description += QStringLiteral(" (%1)").arg(QString::fromUtf8(errorBuffer).trimmed());
        }
        if (response != 0) {
            description += QStringLiteral(", the server answered %1").arg(response);
        }
        if (result == CURLE_OPERATION_TIMEDOUT) {
            description += QStringLiteral("; the server did not answer within %1 seconds")
                               .arg(mTimeoutSeconds);
        }
        throw MigrationError(static_cast<long>(result), description, source);
    }
}

void ReferenceMail::writePickup(const QByteArray& message)
{
    const QString source = Source + QStringLiteral(".SendMail");
    const QString folder = pickupFolder();
    if (folder.isEmpty()) {
        throw MigrationError(ErrorNumber::PathFileAccess,
                             QStringLiteral("No mail pickup folder is set in the configuration "
                                            "(mail:pickupfolder)"),
                             source);
    }
    if (!QFileInfo(folder).isDir()) {
        throw MigrationError(ErrorNumber::PathFileAccess,
                             QStringLiteral("The mail pickup folder %1 does not exist").arg(folder),
                             source);
    }
    // The message appears under its .eml name only once it is complete, so that a
    // service watching the folder never picks up half a message; it holds a new
    // password, so only its owner may read it.
    const QString name =
        QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMddhhmmsszzz")) +
        QLatin1Char('-') + QUuid::createUuid().toString(QUuid::Id128) + QStringLiteral(".eml");
    FileWriting::WriteNew(QDir(folder).filePath(name), message, source);
}

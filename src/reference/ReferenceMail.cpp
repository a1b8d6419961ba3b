#include "reference/ReferenceMail.h"

#include "db/DbConnection.h"
#include "directory/DefaultServices.h"
#include "frame/Clock.h"
#include "frame/FileWriting.h"
#include "frame/MigrationError.h"
#include "reference/IniConfiguration.h"
#include "reference/MailMessage.h"
#include "reference/SmtpTransport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlRecord>
#include <QTemporaryFile>
#include <QUuid>

namespace {

const QString Source = QStringLiteral("ReferenceMail");

QString localPart(const QString& address)
{
    return address.left(address.indexOf(QLatin1Char('@')));
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
        if (SmtpTransport::greets(endpoint.host, endpoint.port, mTimeoutSeconds)) {
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

    SmtpTransport::send(endpoint.url(), account.address, recipients, message, mTimeoutSeconds,
                        source);
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

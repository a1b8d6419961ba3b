#pragma once

#include "directory/TargetComponents.h"
#include "reference/MailMessage.h"

#include <QString>

// The mail component of the reference installation. Its settings come from
// zephrin.ini:
//
//   [mail]  transport     smtp (the default) or pickup
//           smtphost      the SMTP server that accounts found by name are sent through
//           smtpport      25 unless set
//           pickupfolder  receives one .eml file per message; a relative path is
//                         taken from the folder of zephrin.ini
//           timeout       seconds that any one wait on the SMTP server may last: the
//                         connection, each reply, the QUIT (30 unless set)
//
// An account is server + ";" + alias + ";" + address. Over SMTP the server part is
// the host the mail goes to ("host:port" overrides the port), and the address is
// the sender. The service account is kept in the Directory's system settings
// (fwtSystemSetting, category "mail": "serviceaccount" and "serviceaccountname").
class ReferenceMail : public MailComponent
{
public:
    // Throws 429 when the configuration file cannot be found.
    explicit ReferenceMail(const QString& configurationPath);

    void SendMail(const QString& recipients, const QString& subject, const QString& body,
                  const QString& account, const QVariant& logonHandle) override;
    QString GetStoredAccount(const QString& connectionString) override;
    QString GetAccountName(const QString& connectionString) override;
    QString GetAccountForName(const QString& name) override;
    QString GetAccountForServer(const QString& name, const QString& server) override;
    // SMTP: the server answers with its greeting; pickup: a file can be made in the
    // folder. The account needs all three parts and a proper address. The handle
    // names the session: "smtp://host:port" or "pickup:" + folder.
    void TestLogon(const QString& account, bool& passed, QVariant& logonHandle) override;

    static constexpr int DefaultTimeoutSeconds = 30;
    static constexpr int MaxTimeoutSeconds = 3600;

private:
    enum class Transport
    {
        Smtp,
        Pickup,
        Unknown
    };

    struct Account
    {
        QString server;
        QString alias;
        QString address;
    };
    struct Endpoint
    {
        QString host;
        int port = 0;
        QString url() const;
    };

    static Account parseAccount(const QString& account);
    Endpoint endpointOf(const Account& account) const;
    QString pickupFolder() const;
    [[noreturn]] void raiseUnknownTransport(const QString& source) const;
    QString readSystemSetting(const QString& connectionString, const QString& name) const;

    void sendSmtp(const Account& account, const QList<MailMessage::Recipient>& recipients,
                  const QByteArray& message);
    void writePickup(const QByteArray& message);
    bool pickupWritable() const;

    QString mConfigurationFolder;
    Transport mTransport = Transport::Smtp;
    QString mTransportName;
    QString mSmtpHost;
    int mSmtpPort = 25;
    QString mPickupFolder;
    int mTimeoutSeconds = DefaultTimeoutSeconds;
};

#include "directory/ComponentFactory.h"
#include "directory/DefaultServices.h"
#include "directory/DirectoryErrors.h"
#include "directory/TargetComponents.h"
#include "directory/ZephrinFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"

#include <QRandomGenerator>

#include <cmath>

namespace {

// The mail logon test of one candidate account; a failed test is no error.
bool passesLogon(MailComponent& mail, const QString& account)
{
    bool passed = false;
    QVariant handle;
    mail.TestLogon(account, passed, handle);
    if (passed) {
        GlobalVariables::gsServiceAccount = account;
        GlobalVariables::gvLogonHandle = handle;
    }
    return passed;
}

} // namespace

// The characters are drawn from the system's cryptographic random source rather
// than a generator seeded from the clock: whoever knew roughly when the run took
// place could otherwise work out every new password.
QString ZephrinFunctions::GeneratePassword(int length)
{
    QRandomGenerator& random = *QRandomGenerator::system();
    QString password;
    password.reserve(qMax(length, 0));
    for (int i = 0; i < length; ++i) {
        int code = 0;
        do {
            const double r = random.generateDouble();
            code = static_cast<int>(std::floor(r * 75 + 48));
        } while ((code >= 58 && code <= 64) || (code >= 91 && code <= 96));
        password.append(QChar(code));
    }
    return password;
}

void ZephrinFunctions::CreateNewPassword(QString& clearPassword, QString& encodedPassword)
{
    const QString clear = GeneratePassword(6);
    const auto encoder = Components::factory().CreatePasswordEncoder();
    encodedPassword = encoder->EncodePassword(clear);
    clearPassword = clear;
}

bool ZephrinFunctions::FindServiceAccount(const QString& directoryConnectionString,
                                          const CollectionPtr& exchangeServers)
{
    try {
        const auto mail = Components::factory().CreateMail();

        const QString stored = mail->GetStoredAccount(directoryConnectionString);
        if (!stored.isEmpty() && passesLogon(*mail, stored)) {
            return true;
        }

        const QString name = mail->GetAccountName(directoryConnectionString);
        const QString forName = mail->GetAccountForName(name);
        if (!forName.isEmpty() && passesLogon(*mail, forName)) {
            return true;
        }

        if (exchangeServers) {
            for (int i = 1; i <= exchangeServers->count(); ++i) {
                const QString server = exchangeServers->item(i).toString();
                const QString forServer = mail->GetAccountForServer(name, server);
                if (!forServer.isEmpty() && passesLogon(*mail, forServer)) {
                    return true;
                }
            }
        }
        return false;
    } catch (const std::exception&) {
        return false;
    }
}

void ZephrinFunctions::SetServiceAccount(const QString& alias, const QString& email,
                                         const QString& serverName)
{
    GlobalVariables::gsServiceAccount = DefaultServices::MailConnection(serverName, alias, email);
}

bool ZephrinFunctions::TestServiceAccount()
{
    try {
        const auto mail = Components::factory().CreateMail();
        bool passed = false;
        QVariant handle;
        mail->TestLogon(GlobalVariables::gsServiceAccount, passed, handle);
        if (passed) {
            GlobalVariables::gvLogonHandle = handle;
        }
        return passed;
    } catch (const std::exception&) {
        return false;
    }
}

bool ZephrinFunctions::MailUser(const CollectionPtr& userRecord, const CollectionPtr& templateText,
                                const QString& linkBase, long& errorNumber,
                                QString& errorDescription)
{
    try {
        if (!userRecord || !templateText) {
            throw MigrationError(ErrorNumber::InvalidProcedureCall,
                                 QStringLiteral("Invalid procedure call or argument"),
                                 QStringLiteral("ZephrinFunctions.MailUser"));
        }
        QString body = templateText->item(QStringLiteral("Body")).toString();
        const QString login = userRecord->contains(QStringLiteral("LoginIDChanged"))
                                  ? userRecord->item(QStringLiteral("LoginIDChanged")).toString()
                                  : userRecord->item(QStringLiteral("LoginID")).toString();
        const QString password =
            userRecord->value(QStringLiteral("PasswordClear"), QString()).toString();
        const QString first = userRecord->item(QStringLiteral("Firstname")).toString();
        const QString last = userRecord->item(QStringLiteral("Lastname")).toString();
        const QString address = userRecord->item(QStringLiteral("Email")).toString();
        const QString subject = templateText->item(QStringLiteral("Subject")).toString();
        // The sender is the service account; the template's own sender stays unused.
        const QString unusedFrom = templateText->item(QStringLiteral("From")).toString();
        Q_UNUSED(unusedFrom);

        body.replace(QStringLiteral("<LoginID>"), login, Qt::CaseSensitive);
        body.replace(QStringLiteral("<Password>"), password, Qt::CaseSensitive);
        body.replace(QStringLiteral("<FirstName>"), first, Qt::CaseSensitive);
        body.replace(QStringLiteral("<LastName>"), last, Qt::CaseSensitive);
        body.replace(QStringLiteral("<WizardURL>"),
                     linkBase + userRecord->item(QStringLiteral("LanguageID")).toString(),
                     Qt::CaseSensitive);

        const QString recipients = address + QStringLiteral("|#|0");
        const auto mail = Components::factory().CreateMail();
        mail->SendMail(recipients, subject, body, GlobalVariables::gsServiceAccount,
                       GlobalVariables::gvLogonHandle);
        return true;
    } catch (const std::exception& failure) {
        DirectoryErrors::HandBack(failure, errorNumber, errorDescription);
        return false;
    }
}

bool ZephrinFunctions::IsMailTransportFailure(long errorNumber)
{
    // The mail transport's own numbers: the host could not be resolved (6), the
    // connection was refused (7), the server did not answer in time (28).
    return errorNumber == 6 || errorNumber == 7 || errorNumber == 28;
}

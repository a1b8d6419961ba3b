#include "directory/ZephrinFunctions.h"
#include "engine/MigrationEngine.h"
#include "engine/RunProgress.h"
#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"

#include <QDir>

using CommonFunctions::WriteLog;
using namespace RecordKeys;

namespace {

// After this many queued users in a row whose e-mail failed in the same way at the
// mail transport, the rest are not tried: each would wait for the same time-out.
constexpr int TransportFailuresBeforeGivingUp = 3;

struct MailFailure
{
    long number = 0;
    QString description;
};

} // namespace

void MigrationEngine::SendIntroductionMails()
{
    const int count = cMailQueue->count();
    const bool send = StatusHolder::GetEmailChoice()->value(StateKeys::Send).toBool();
    if (mStopped && send) {
        // Stopped: the users written so far wait for the resume to mail them.
        for (int position = 1; position <= count; ++position) {
            const CollectionPtr record = cMailQueue->collection(position);
            record->add(false, Status);
            AddUserResult(record, record->value(VaUserID).toInt());
        }
        logNotMailed(count);
        return;
    }
    if (count < 1 || !send) {
        // Users are counted as migrated without an e-mail.
        for (int position = 1; position <= count; ++position) {
            const CollectionPtr record = cMailQueue->collection(position);
            record->add(true, Status);
            AddUserResult(record, record->value(VaUserID).toInt());
        }
        return;
    }

    const QString ze = directoryConnectionString();
    CollectionPtr templateText;
    QString linkBase;
    // A failure that every remaining user meets without a try of its own: the e-mail
    // material that could not be read, or a mail transport that failed repeatedly.
    bool givenUp = false;
    MailFailure common;
    try {
        templateText = ZephrinFunctions::GetTemplateText(ze);
        linkBase = ZephrinFunctions::GetWizardLinkBase(ze);
    } catch (const std::exception& error) {
        givenUp = true;
        const auto* known = dynamic_cast<const MigrationError*>(&error);
        common = known ? MailFailure{known->number(), known->description()}
                       : MailFailure{ErrorNumber::InvalidProcedureCall,
                                     QString::fromLocal8Bit(error.what())};
    }

    long lastTransportFailure = 0;
    int transportFailuresInARow = 0;
    int notMailed = 0;
    for (int position = 1; position <= count; ++position) {
        const CollectionPtr record = cMailQueue->collection(position);
        const int id = record->value(VaUserID).toInt();
        if (mStopped) {
            record->add(false, Status);
            AddUserResult(record, id);
            ++notMailed;
            continue;
        }
        bool sentBefore = false;
        if (mailedBefore(position, sentBefore)) {
            record->add(true, Status);
            WriteLog(QStringLiteral("Mail sent to ") + QString::number(id) + QLatin1Char(' ') +
                     record->value(Firstname).toString() + QLatin1Char(' ') +
                     record->value(Lastname).toString() +
                     QStringLiteral(" before the interruption (the journal says so)"));
            AddUserResult(record, id);
            continue;
        }
        MailFailure failure;
        bool sent = false;
        if (givenUp) {
            failure = common;
        } else {
            sent = ZephrinFunctions::MailUser(record, templateText, linkBase, failure.number,
                                              failure.description);
        }
        if (!givenUp) {
            journalMail(position, sent);
        }
        if (sent) {
            record->add(true, Status);
            WriteLog(QStringLiteral("Mail sent to ") + QString::number(id) + QLatin1Char(' ') +
                     record->value(Firstname).toString() + QLatin1Char(' ') +
                     record->value(Lastname).toString());
        } else {
            record->add(false, Status);
            ++notMailed;
            WriteLog(QStringLiteral("ZephrinFunctions.MailUser failed ") +
                     QStringLiteral(" Va User ID: ") + QString::number(id) +
                     QStringLiteral(" Error Number: ") + QString::number(failure.number) +
                     QStringLiteral(" Error Description: ") + failure.description);
        }
        AddUserResult(record, id);

        if (!givenUp) {
            if (!sent && ZephrinFunctions::IsMailTransportFailure(failure.number)) {
                transportFailuresInARow =
                    failure.number == lastTransportFailure ? transportFailuresInARow + 1 : 1;
                lastTransportFailure = failure.number;
            } else {
                transportFailuresInARow = 0;
                lastTransportFailure = 0;
            }
            if (transportFailuresInARow >= TransportFailuresBeforeGivingUp && position < count) {
                givenUp = true;
                common = failure;
                WriteLog(QStringLiteral("The mail transport failed for %1 users in a row; the "
                                        "remaining %2 users are not sent an e-mail")
                             .arg(transportFailuresInARow)
                             .arg(count - position));
            }
        }
        mProgress.processEvents();
        stopNow();
    }
    logNotMailed(notMailed);
}

// Users in the Directory without their e-mail are not lost: the log says how many,
// and how the resume mails them.
void MigrationEngine::logNotMailed(int count)
{
    if (count < 1) {
        return;
    }
    QString text = QStringLiteral("%1 users were written to the Directory but not sent their "
                                  "introduction e-mail")
                       .arg(count);
    if (!msJournalPath.isEmpty()) {
        text += QStringLiteral("; the resume of the run sends them: varnel-migrate --resume ") +
                QDir::toNativeSeparators(msJournalPath);
    }
    WriteLog(text);
}

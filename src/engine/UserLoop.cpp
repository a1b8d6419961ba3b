#include "directory/NewPasswords.h"
#include "directory/ZephrinFunctions.h"
#include "engine/MigrationEngine.h"
#include "engine/OutcomeCodes.h"
#include "engine/RunProgress.h"
#include "engine/UserRecord.h"
#include "engine/UserValidation.h"
#include "frame/Clock.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"

#include <QScopeGuard>

using CommonFunctions::WriteLog;
using namespace RecordKeys;
using namespace UserRecord;

void MigrationEngine::MigrateUserList()
{
    WriteLog(QStringLiteral("Migrating Users ") + AppClock::logTime());
    describe(QStringLiteral("Migrating Users, please wait."));

    const CollectionPtr migrationList =
        StatusHolder::GetUserLists()->collection(StateKeys::MigrationList);
    const CollectionPtr vaUserIDs =
        migrationList ? toCollection(migrationList->value(StateKeys::VaUserIDs)) : CollectionPtr();
    const CollectionPtr actions =
        migrationList ? toCollection(migrationList->value(StateKeys::Actions)) : CollectionPtr();
    const CollectionPtr zeUserIDs =
        migrationList ? toCollection(migrationList->value(StateKeys::ZeUserIDs)) : CollectionPtr();

    const int count = vaUserIDs ? vaUserIDs->count() : 0;
    WriteLog(QStringLiteral("Number of users to migrate: ") + QString::number(count));
    startPhase(count, 1);

    try {
        cLanguageIDs = ZephrinFunctions::GetDirectoryIDList(directoryConnectionString());
    } catch (const std::exception& error) {
        // Without the list every language counts as unknown and is set to english;
        // the users' own writes then tell whether the Directory can be reached.
        const Failure failure = failureOf(error);
        cLanguageIDs = Collection::create();
        WriteLog(QStringLiteral("The Directory's languages could not be read: Error Number: ") +
                 QString::number(failure.number) + QStringLiteral(" Error Description: ") +
                 failure.description);
    }
    cMailQueue = Collection::create();

    // New passwords are made and encoded a window ahead of the loop, on every core;
    // the encodings not taken are dropped, and their threads end, with the loop.
    if (GlobalVariables::gbNewPasswords && count > 0) {
        mNewPasswords = std::make_shared<NewPasswords>();
    }
    const auto releasePasswords = qScopeGuard([this] { mNewPasswords.reset(); });
    for (int position = 1; position <= count; ++position) {
        if (mNewPasswords) {
            mNewPasswords->prepare(count - position + 1);
        }
        const int id = vaUserIDs->item(position).toInt();
        try {
            migrateUser(position, id, actions, zeUserIDs);
        } catch (const std::exception& error) {
            settleUnfinishedUser(id, error);
        }
        finishItem(position);
    }
    mNewPasswords.reset();

    SendIntroductionMails();
    WriteLog(QStringLiteral("Finished migrating users ") + AppClock::logTime());
}

// A failure that nothing in the user's own steps caught still leaves the user with
// exactly one outcome record.
void MigrationEngine::settleUnfinishedUser(int vaUserID, const std::exception& error)
{
    const QString key = QString::number(vaUserID);
    const Failure failure = failureOf(error);
    const bool queued = mQueuedUsers.contains(vaUserID);
    if (!cUserResults->contains(key) && !queued) {
        CollectionPtr record;
        if (cUserWarnings->contains(key)) {
            record = mCurrentRecord;
        }
        RecordUserOutcome(vaUserID, OutcomeCode::NoText, false, record);
    }
    LogUserError(key, QString::number(failure.number), failure.description,
                 QStringLiteral("Migrating user Failed"),
                 QStringLiteral("An error occured when the user was migrated."));
}

void MigrationEngine::migrateUser(int position, int id, const CollectionPtr& actions,
                                  const CollectionPtr& zeUserIDs)
{
    mCurrentRecord.reset();
    const QString key = QString::number(id);
    WriteLog(QStringLiteral("Migrating user, lLoopvar=") + QString::number(position));
    WriteLog(QStringLiteral("VaUserID=") + key);
    // The user selection page gives every user an action; one without is created.
    const int action =
        actions ? actions->value(key, ActionCode::Create).toInt() : ActionCode::Create;
    WriteLog(QStringLiteral("Action=") + QString::number(action));

    if (cUserResults->contains(key) || cUserWarnings->contains(key) || mQueuedUsers.contains(id)) {
        WriteLog(QStringLiteral("VaUserID=") + key +
                 QStringLiteral(" is on the migration list twice; it was migrated once"));
        return;
    }

    WriteLog(QStringLiteral("Calling GetUserInformation"));
    CollectionPtr record;
    Failure readFailure;
    try {
        record = UserValidation::GetUserInformation(id, sVaConnectionString);
    } catch (const std::exception& error) {
        readFailure = failureOf(error);
        if (readFailure.number == 0) {
            readFailure.number = ErrorNumber::InvalidProcedureCall;
        }
    }
    if (record && text(record, Firstname).isEmpty() && text(record, Lastname).isEmpty()) {
        put(record, Firstname, QStringLiteral("Unnamed"));
    }
    if (readFailure.number != 0) {
        RecordUserOutcome(id, OutcomeCode::ReadFailed, false, nullptr);
        LogUserError(key, QString::number(readFailure.number), readFailure.description,
                     QStringLiteral("GetUserInformation Failed"),
                     QStringLiteral("An error occured when GetUserInformation was called."));
        return;
    }
    mCurrentRecord = record;

    const CollectionPtr grades =
        UserValidation::ValidateUser(record, GlobalVariables::gbNewPasswords, cLanguageIDs);
    const int total = grades->item(Total).toInt();
    if (total == Grade::Invalid || total == Grade::Missing) {
        WriteLog(QStringLiteral("Trying to fix user with UserID=") + key);
        UserValidation::RepairUser(record, grades);
    } else if (total == Grade::Unusable) {
        RecordUserOutcome(id, OutcomeCode::Corrupt, false, record);
    }
    cUserWarnings->add(toVariant(grades), key);
    WriteLog(QStringLiteral("GetUserInformation succeeded"));
    if (total == Grade::Unusable) {
        return;
    }

    if (!writeUser(id, action, record, zeUserIDs)) {
        return;
    }
    if (action == ActionCode::CreateAndMail || GlobalVariables::gbNewPasswords) {
        put(record, VaUserID, id);
        put(record, Action, QVariant::fromValue<qint16>(OutcomeCode::MailFailed));
        cMailQueue->add(toVariant(record));
        mQueuedUsers.insert(id);
    } else {
        RecordUserOutcome(id, action, true, record);
    }
}

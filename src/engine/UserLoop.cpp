#include "directory/NewPasswords.h"
#include "directory/ZephrinFunctions.h"
#include "engine/MigrationEngine.h"
#include "engine/OutcomeCodes.h"
#include "engine/RunProgress.h"
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

#include <cmath>

using CommonFunctions::WriteLog;
using namespace RecordKeys;

namespace {

const QString Source = QStringLiteral("VarnelMigrationTool.MigrateUsers");

QString text(const CollectionPtr& record, const QString& key)
{
    return record ? record->value(key).toString() : QString();
}

// Sets a member, taking out an earlier value under the same key first.
void put(const CollectionPtr& record, const QString& key, const QVariant& value)
{
    if (record->contains(key)) {
        record->remove(key);
    }
    record->add(value, key);
}

// "TRUE" in any letter case, or a flag that the repair put in.
bool flag(const QVariant& value)
{
    if (value.typeId() == QMetaType::Bool) {
        return value.toBool();
    }
    return value.toString().trimmed().toUpper() == QLatin1String("TRUE");
}

// A whole number written as text; a text that is no number raises.
int wholeNumber(const QVariant& value, const QString& what)
{
    if (value.typeId() == QMetaType::Int) {
        return value.toInt();
    }
    const QString written = value.toString().trimmed();
    bool ok = false;
    const int whole = written.toInt(&ok);
    if (ok) {
        return whole;
    }
    const double number = written.toDouble(&ok);
    if (ok && std::isfinite(number) && std::fabs(number) < 2147483647.0) {
        return static_cast<int>(std::lround(number));
    }
    throw MigrationError(
        ErrorNumber::TypeMismatch,
        QStringLiteral("Type mismatch: the %1 \"%2\" is not a number").arg(what, written), Source);
}

// The logon failure counter is not graded: an absent or unreadable one counts as 0.
int failureCounter(const CollectionPtr& record)
{
    bool ok = false;
    const int counter = text(record, UserLogonFailureCounter).trimmed().toInt(&ok);
    return ok ? counter : 0;
}

struct Failure
{
    long number = 0;
    QString description;
};

Failure failureOf(const std::exception& error)
{
    if (const auto* known = dynamic_cast<const MigrationError*>(&error)) {
        return {known->number(), known->description()};
    }
    return {ErrorNumber::InvalidProcedureCall, QString::fromLocal8Bit(error.what())};
}

// The user's fields as the target operations take them.
struct UserFields
{
    QString firstName;
    QString lastName;
    QString exchangeServer;
    QString alias;
    QString email;
    QString languageID;
    QString mobileTelephoneNumber;
    QString graphicsSetting;
    bool enabled = false;
    int userLogonFailureCounter = 0;
};

UserFields fieldsOf(const CollectionPtr& record)
{
    UserFields fields;
    fields.firstName = text(record, Firstname);
    fields.lastName = text(record, Lastname);
    fields.exchangeServer = text(record, ExchangeServer);
    fields.alias = text(record, Alias);
    fields.email = text(record, Email);
    fields.languageID = text(record, LanguageID);
    fields.mobileTelephoneNumber = text(record, MobileTelephoneNumber);
    fields.graphicsSetting = text(record, GraphicsSetting);
    fields.enabled = flag(record->value(Enabled));
    fields.userLogonFailureCounter = failureCounter(record);
    return fields;
}

bool addUser(const UserFields& f, int timezoneID, QString& loginID, int& newUserID,
             const QString& password, const QString& connectionString, Failure& failure)
{
    return ZephrinFunctions::AddUserToDirectory(
        f.firstName, f.lastName, f.exchangeServer, f.alias, f.email, f.languageID, timezoneID,
        loginID, newUserID, password, f.mobileTelephoneNumber, f.graphicsSetting, f.enabled,
        f.userLogonFailureCounter, connectionString, failure.number, failure.description);
}

} // namespace

void MigrationEngine::RecordUserOutcome(int vaUserID, int code, bool status, CollectionPtr record)
{
    if (!record) {
        record = Collection::create();
    }
    put(record, VaUserID, vaUserID);
    put(record, Action, code);
    put(record, Status, status);
    cUserResults->add(toVariant(record), QString::number(vaUserID));
}

void MigrationEngine::AddUserResult(const CollectionPtr& record, int vaUserID)
{
    cUserResults->add(toVariant(record), QString::number(vaUserID));
}

void MigrationEngine::LogUserError(const QString& userID, const QString& errorNumber,
                                   const QString& errorDescription, const QString& shortText,
                                   const QString& longText)
{
    const bool logged = WriteLog(shortText + QStringLiteral(" Va User ID: ") + userID +
                                 QStringLiteral(" Error Number: ") + errorNumber +
                                 QStringLiteral(" Error Description: ") + errorDescription);
    if (!logged) {
        AppPrompter::prompter().message(
            longText + QStringLiteral(" User ID=") + userID + QStringLiteral(" Error Number: ") +
                errorNumber + QStringLiteral(" Error Description: ") + errorDescription +
                QStringLiteral(" This message box is shown since the error could not be logged."),
            QStringLiteral("Error"), Prompter::Icon::Critical, Prompter::Buttons::Ok,
            mProgress.questionParent());
    }
}

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

// Converts the password and the time zone and carries out the action in the
// Directory. True when the user is written; otherwise its failed outcome is recorded
// and logged.
bool MigrationEngine::writeUser(int id, int action, const CollectionPtr& record,
                                const CollectionPtr& zeUserIDs)
{
    const QString key = QString::number(id);
    const QString ze = directoryConnectionString();
    const auto fail = [&](int code, const Failure& failure, const QString& procedure) {
        RecordUserOutcome(id, code, false, record);
        LogUserError(key, QString::number(failure.number), failure.description,
                     procedure + QStringLiteral(" Failed"),
                     QStringLiteral("An error occured when ") + procedure +
                         QStringLiteral(" was called."));
    };

    // A conversion that fails stops the user before anything is written; it is
    // recorded as a failure of the action it was meant for.
    int conversionFailure = OutcomeCode::NoText;
    if (action == ActionCode::Create || action == ActionCode::CreateAndMail) {
        conversionFailure = OutcomeCode::CreateFailed;
    } else if (action == ActionCode::Update) {
        conversionFailure = OutcomeCode::UpdateFailed;
    } else if (action == ActionCode::DeleteAndReinsert) {
        conversionFailure = OutcomeCode::DeleteFailed;
    }
    QString password;
    int timezoneID = 0;
    QString step = QStringLiteral("CreateNewPassword");
    try {
        WriteLog(QStringLiteral("Converting password"));
        if (GlobalVariables::gbNewPasswords) {
            QString clear;
            if (mNewPasswords) {
                mNewPasswords->take(clear, password);
            } else {
                ZephrinFunctions::CreateNewPassword(clear, password);
            }
            put(record, PasswordClear, clear);
        } else {
            step = QStringLiteral("CharCodesToText");
            password = CommonFunctions::CharCodesToText(text(record, Password));
        }
        WriteLog(QStringLiteral("Converting timezone"));
        step = QStringLiteral("ConvertTimezoneID");
        timezoneID = ZephrinFunctions::ConvertTimezoneID(
            wholeNumber(record->value(TimezoneID), QStringLiteral("time zone")));
    } catch (const std::exception& error) {
        fail(conversionFailure, failureOf(error), step);
        return false;
    }

    const UserFields fields = fieldsOf(record);
    int targetID = 0;
    bool written = false;
    Failure failure;
    QString zeText;
    const bool needsTarget =
        action == ActionCode::Update || action == ActionCode::DeleteAndReinsert;
    if (needsTarget) {
        if (!zeUserIDs || !zeUserIDs->contains(key)) {
            const Failure missing{ErrorNumber::InvalidProcedureCall,
                                  QStringLiteral("The migration list names no Directory user "
                                                 "for this user")};
            fail(action == ActionCode::Update ? OutcomeCode::UpdateFailed
                                              : OutcomeCode::DeleteFailed,
                 missing,
                 action == ActionCode::Update ? QStringLiteral("UpdateUser")
                                              : QStringLiteral("DeleteUser"));
            return false;
        }
        zeText = zeUserIDs->item(key).toString();
        targetID = zeUserIDs->item(key).toInt();
    }

    switch (action) {
    case ActionCode::Create:
    case ActionCode::CreateAndMail: {
        QString login = text(record, LoginID);
        int newUserID = 0;
        WriteLog(QStringLiteral("Calling AddUserToDirectory"));
        written = addUser(fields, timezoneID, login, newUserID, password, ze, failure);
        if (written) {
            targetID = newUserID;
            if (login != text(record, LoginID)) {
                put(record, LoginIDChanged, login);
            }
            WriteLog(QStringLiteral("AddUserToDirectory succeeded"));
        } else {
            fail(OutcomeCode::CreateFailed, failure, QStringLiteral("AddUserToDirectory"));
        }
        break;
    }
    case ActionCode::Update: {
        WriteLog(QStringLiteral("Ze User ID: ") + zeText);
        WriteLog(QStringLiteral("Calling UpdateUser"));
        QString login = text(record, LoginID);
        written = ZephrinFunctions::UpdateUser(
            targetID, fields.firstName, fields.lastName, fields.exchangeServer, fields.alias,
            fields.email, fields.languageID, timezoneID, login, password,
            fields.mobileTelephoneNumber, fields.graphicsSetting, fields.enabled,
            fields.userLogonFailureCounter, ze, failure.number, failure.description);
        if (written) {
            WriteLog(QStringLiteral("UpdateUser succeeded"));
        } else {
            fail(OutcomeCode::UpdateFailed, failure, QStringLiteral("UpdateUser"));
        }
        break;
    }
    case ActionCode::DeleteAndReinsert: {
        // What the Directory holds about the user is kept in a recovery file before
        // it goes, so a failed re-insertion loses nothing that cannot be put back.
        WriteLog(QStringLiteral("Ze User ID: ") + zeText);
        WriteLog(QStringLiteral("Calling DeleteUser"));
        QString notKept;
        const bool kept = keepDeletedUser(targetID, id, notKept);
        if (!ZephrinFunctions::DeleteUser(targetID, ze, failure.number, failure.description)) {
            fail(OutcomeCode::DeleteFailed, failure, QStringLiteral("DeleteUser"));
            WriteLog(QStringLiteral("Insertion of user aborted since delete failed."));
            break;
        }
        WriteLog(QStringLiteral("DeleteUser succeeded"));
        WriteLog(QStringLiteral("Calling addUserToDirectory"));
        QString login = text(record, LoginID);
        int newUserID = 0;
        written = addUser(fields, timezoneID, login, newUserID, password, ze, failure);
        if (written) {
            WriteLog(QStringLiteral("AddUserToDirectory succeeded"));
        } else {
            fail(OutcomeCode::ReinsertFailed, failure, QStringLiteral("AddUserToDirectory"));
            WriteLog(kept
                         ? QStringLiteral("The deleted Directory user ") + zeText +
                               QStringLiteral(" is kept in ") + msRecoveryFile +
                               QStringLiteral(" to be put back by hand")
                         : QStringLiteral("The deleted Directory user ") + zeText +
                               QStringLiteral(" could not be kept in a recovery file: ") + notKept);
        }
        break;
    }
    default: {
        // Nothing is written for an action the run does not know.
        const Failure unknown{ErrorNumber::InvalidProcedureCall,
                              QStringLiteral("The action code %1 is not one of 0, 1, 2 and 6; "
                                             "nothing was written for this user")
                                  .arg(action)};
        fail(OutcomeCode::NoText, unknown, QStringLiteral("Action"));
        return false;
    }
    }

    // The mail service becomes the default service of a user who started in the
    // browse folder, whatever became of the action.
    if (text(record, DefaultStartPoint).toLower() == QLatin1String("browsefolder") &&
        targetID > 0) {
        try {
            ZephrinFunctions::SetDefaultService(ze, targetID);
        } catch (const std::exception& error) {
            const Failure serviceFailure = failureOf(error);
            LogUserError(key, QString::number(serviceFailure.number), serviceFailure.description,
                         QStringLiteral("SetDefaultService Failed"),
                         QStringLiteral("An error occured when SetDefaultService was called."));
        }
    }
    return written;
}

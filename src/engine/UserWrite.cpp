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

using CommonFunctions::WriteLog;
using namespace RecordKeys;
using namespace UserRecord;

namespace {

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
    // recorded as a failure of the action it was meant for, except that a replacement
    // says nothing was deleted, and an action the run does not know says so.
    int conversionFailure = OutcomeCode::UnknownAction;
    if (action == ActionCode::Create || action == ActionCode::CreateAndMail) {
        conversionFailure = OutcomeCode::CreateFailed;
    } else if (action == ActionCode::Update) {
        conversionFailure = OutcomeCode::UpdateFailed;
    } else if (action == ActionCode::DeleteAndReinsert) {
        conversionFailure = OutcomeCode::NothingDeleted;
    }
    QString password;
    int timezoneID = 0;
    QString step = QStringLiteral("CreateNewPassword");
    try {
        WriteLog(QStringLiteral("Converting password"));
        if (GlobalVariables::gbNewPasswords) {
            QString clear;
            plannedPassword(clear, password);
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
                                              : OutcomeCode::NothingDeleted,
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
        written = (inFlight() && landedUser(record, newUserID, login)) ||
                  addUser(fields, timezoneID, login, newUserID, password, ze, failure);
        mTargetID = newUserID;
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
        mTargetID = targetID;
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
        const bool deletedBefore = inFlight() && !stillInDirectory(targetID);
        QString notKept;
        const bool kept = !deletedBefore && keepDeletedUser(targetID, id, notKept);
        if (!kept && !deletedBefore && !notKept.isEmpty()) {
            // The user is not deleted without its copy on disk.
            const Failure refused{ErrorNumber::PathFileAccess,
                                  QStringLiteral("The Directory user %1 was not deleted: its "
                                                 "copy could not be kept: %2")
                                      .arg(zeText, notKept)};
            fail(OutcomeCode::DeleteFailed, refused, QStringLiteral("DeleteUser"));
            WriteLog(QStringLiteral("Insertion of user aborted since delete failed."));
            break;
        }
        if (!deletedBefore &&
            !ZephrinFunctions::DeleteUser(targetID, ze, failure.number, failure.description)) {
            fail(OutcomeCode::DeleteFailed, failure, QStringLiteral("DeleteUser"));
            WriteLog(QStringLiteral("Insertion of user aborted since delete failed."));
            break;
        }
        WriteLog(QStringLiteral("DeleteUser succeeded"));
        WriteLog(QStringLiteral("Calling addUserToDirectory"));
        QString login = text(record, LoginID);
        int newUserID = 0;
        written = (deletedBefore && landedUser(record, newUserID, login)) ||
                  addUser(fields, timezoneID, login, newUserID, password, ze, failure);
        mTargetID = newUserID;
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
        fail(OutcomeCode::UnknownAction, unknown, QStringLiteral("Action"));
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

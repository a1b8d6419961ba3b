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

// The outcome records of the users and the log line of a failed step.

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

#include "directory/ZephrinFunctions.h"
#include "engine/MigrationEngine.h"
#include "engine/OutcomeCodes.h"
#include "engine/UserValidation.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/RecordKeys.h"

#include <QRegularExpression>

using CommonFunctions::WriteLog;
using namespace RecordKeys;

namespace {

void put(const CollectionPtr& record, const QString& key, const QVariant& value)
{
    if (record->contains(key)) {
        record->remove(key);
    }
    record->add(value, key);
}

QSet<int> idsOf(const QString& list)
{
    QSet<int> ids;
    for (const QString& id : list.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        ids.insert(id.toInt());
    }
    return ids;
}

} // namespace

// The source user read, graded and repaired again, as the interrupted run did; null
// when it cannot be read now.
CollectionPtr MigrationEngine::readAgain(int id, CollectionPtr& grades)
{
    CollectionPtr record;
    try {
        record = UserValidation::GetUserInformation(id, sVaConnectionString);
    } catch (const std::exception&) {
        return CollectionPtr();
    }
    if (record->value(Firstname).toString().isEmpty() &&
        record->value(Lastname).toString().isEmpty()) {
        put(record, Firstname, QStringLiteral("Unnamed"));
    }
    grades = UserValidation::ValidateUser(record, GlobalVariables::gbNewPasswords, cLanguageIDs);
    const int total = grades->item(Total).toInt();
    if (total == Grade::Invalid || total == Grade::Missing) {
        UserValidation::RepairUser(record, grades);
    }
    return record;
}

// A user whose outcome the journal holds is not written again: its record is read
// from the source again and given what the journal kept (the new password, the login
// ID the Directory gave), and it takes its place in the outcome lists or the e-mail
// queue as it did in the interrupted run.
bool MigrationEngine::replayUser(int position, int id)
{
    if (!mResumed || !mJournal || !mJournal->users().contains(position)) {
        return false;
    }
    const RunJournal::User entry = mJournal->users().value(position);
    if (!entry.hasOutcome || mInFlight.contains(position)) {
        return false;
    }
    const QString key = QString::number(id);
    // A Directory that lost what it had committed (restored from a backup, or a server
    // that did not keep its last writes) gets the user again, with the same password.
    if ((entry.status || entry.queued) && entry.zeUserID > 0) {
        if (!mDirectoryIDs) {
            try {
                const CollectionPtr users =
                    ZephrinFunctions::GetDirectoryUsers(directoryConnectionString());
                mDirectoryIDs.emplace();
                for (const QVariant& user : users->collection(IDs)->values()) {
                    mDirectoryIDs->insert(user.toInt());
                }
            } catch (const std::exception&) {
                // Not known now: the journal's word stands.
            }
        }
        if (mDirectoryIDs && !mDirectoryIDs->contains(entry.zeUserID)) {
            WriteLog(QStringLiteral("VaUserID=") + key +
                     QStringLiteral(" was written before the interruption, but the Directory "
                                    "no longer holds its user %1; it is written again")
                         .arg(entry.zeUserID));
            mInFlight.insert(position);
            return false;
        }
    }
    WriteLog(QStringLiteral("VaUserID=") + key +
             QStringLiteral(" was migrated before the interruption (the journal says so); it "
                            "is not written again"));
    const int keep = mPosition;
    mPosition = 0;
    if (entry.code == OutcomeCode::ReadFailed && !entry.status && !entry.queued) {
        RecordUserOutcome(id, entry.code, false, nullptr);
        mPosition = keep;
        return true;
    }
    CollectionPtr grades;
    const CollectionPtr record = readAgain(id, grades);
    if (!record) {
        RecordUserOutcome(id, entry.code, entry.status, nullptr);
        mPosition = keep;
        return true;
    }
    if (GlobalVariables::gbNewPasswords && !entry.newPassword.isEmpty() &&
        entry.code != OutcomeCode::Corrupt) {
        put(record, PasswordClear, entry.newPassword);
    }
    if (!entry.loginChanged.isEmpty()) {
        put(record, LoginIDChanged, entry.loginChanged);
    }
    if (entry.code == OutcomeCode::Corrupt && !entry.status) {
        RecordUserOutcome(id, entry.code, false, record);
    }
    cUserWarnings->add(toVariant(grades), key);
    if (entry.queued) {
        put(record, VaUserID, id);
        put(record, Action, QVariant::fromValue<qint16>(OutcomeCode::MailFailed));
        cMailQueue->add(toVariant(record));
        mQueuedUsers.insert(id);
        mQueuePositions << position;
    } else if (entry.code != OutcomeCode::Corrupt || entry.status) {
        RecordUserOutcome(id, entry.code, entry.status, record);
    }
    mPosition = keep;
    return true;
}

bool MigrationEngine::inFlight() const
{
    return mInFlight.contains(mPosition);
}

bool MigrationEngine::stillInDirectory(int zeUserID)
{
    return !ZephrinFunctions::GetDirectoryUser(zeUserID, directoryConnectionString()).isEmpty();
}

// The Directory user that an interrupted AddUserToDirectory made for this record, if
// it landed: one that was not there when the run began, that no recorded outcome
// claims, with the record's names and its login ID or one the Directory derives from
// the names (first two letters of each and a number). The log says when one is found.
bool MigrationEngine::landedUser(const CollectionPtr& record, int& targetID, QString& login)
{
    if (!mNewDirectoryUsers) {
        mNewDirectoryUsers = Collection::create();
        const QString start = mJournal->value(QStringLiteral("directory users at start"));
        if (start == QLatin1String("unknown")) {
            return false;
        }
        const QSet<int> before = idsOf(start);
        QSet<int> claimed;
        for (const RunJournal::User& user : mJournal->users()) {
            if (user.hasOutcome && (user.status || user.queued) && user.zeUserID > 0) {
                claimed.insert(user.zeUserID);
            }
        }
        const CollectionPtr users =
            ZephrinFunctions::GetDirectoryUsers(directoryConnectionString());
        const CollectionPtr ids = users->collection(IDs);
        for (int i = 1; i <= ids->count(); ++i) {
            const int id = ids->item(i).toInt();
            if (before.contains(id) || claimed.contains(id)) {
                continue;
            }
            const QString key = QString::number(id);
            const CollectionPtr user = Collection::create();
            user->add(id, IDs);
            user->add(users->collection(LoginIDs)->value(key), LoginIDs);
            user->add(users->collection(Names)->value(key), Names);
            mNewDirectoryUsers->add(toVariant(user), key);
        }
    }
    const QString first = record->value(Firstname).toString();
    const QString last = record->value(Lastname).toString();
    const QString sourceLogin = record->value(LoginID).toString();
    const QRegularExpression derived(QStringLiteral("^") +
                                         QRegularExpression::escape(first.left(2) + last.left(2)) +
                                         QStringLiteral("\\d+$"),
                                     QRegularExpression::CaseInsensitiveOption);
    int best = 0;
    for (const QVariant& value : mNewDirectoryUsers->values()) {
        const CollectionPtr user = toCollection(value);
        const QString candidate = user->value(LoginIDs).toString();
        if (user->value(Names).toString() != last + QLatin1Char(' ') + first) {
            continue;
        }
        if (candidate.compare(sourceLogin, Qt::CaseInsensitive) != 0 &&
            !derived.match(candidate).hasMatch()) {
            continue;
        }
        const int id = user->value(IDs).toInt();
        if (best == 0 || id < best) {
            best = id;
            login = candidate;
        }
    }
    if (best == 0) {
        return false;
    }
    mNewDirectoryUsers->remove(QString::number(best));
    targetID = best;
    WriteLog(QStringLiteral("The Directory user %1 was written before the interruption").arg(best));
    return true;
}

#include "directory/ComponentFactory.h"
#include "directory/NewPasswords.h"
#include "directory/TargetComponents.h"
#include "directory/ZephrinFunctions.h"
#include "engine/JournalInput.h"
#include "engine/MigrationEngine.h"
#include "engine/OutcomeCodes.h"
#include "frame/Clock.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "frame/StopRequest.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <csignal>

using CommonFunctions::WriteLog;
using namespace RecordKeys;

namespace JournalKeys {
const QString Format = QStringLiteral("format");
const QString Log = QStringLiteral("log");
const QString Input = QStringLiteral("input");
const QString Started = QStringLiteral("started");
const QString Source = QStringLiteral("source");
const QString Target = QStringLiteral("target");
const QString DirectoryUsers = QStringLiteral("directory users at start");
const QString Interrupted = QStringLiteral("interrupted by a store");
} // namespace JournalKeys

namespace {

QString databaseName(const CollectionPtr& group)
{
    return group->value(StateKeys::DatabaseServer).toString() + QLatin1Char('/') +
           group->value(StateKeys::Database).toString();
}

} // namespace

void MigrationEngine::resumeFrom(std::unique_ptr<RunJournal> journal)
{
    mJournal = std::move(journal);
    mResumed = true;
    msJournalPath = mJournal->path();
    // A user whose write may have landed is looked up in the Directory; so is one whose
    // read or write failed (a server that went away fails every user after it): it is
    // tried again, and fails again only for a reason of its own.
    for (const RunJournal::User& user : mJournal->users()) {
        const bool failedWrite = user.hasOutcome && !user.status && !user.queued &&
                                 user.code >= OutcomeCode::CreateFailed &&
                                 user.code <= OutcomeCode::ReadFailed;
        if (!user.hasOutcome || failedWrite) {
            mInFlight.insert(user.position);
        }
    }
}

// The journal is made before the first step that reaches outside the process: the
// input first, then the Directory's users as they are before the run, so that a user
// the run made can be told from one that was there.
void MigrationEngine::beginJournal()
{
    if (mJournal) {
        WriteLog(QStringLiteral("Resuming the run of the journal ") +
                 QDir::toNativeSeparators(msJournalPath));
        mJournal->setState(QStringLiteral("running"));
        return;
    }
    if (!journalEnabled) {
        return;
    }
    QString logPath = CommonFunctions::LastLogFilePath();
    if (logPath.isEmpty()) {
        logPath =
            CommonFunctions::ProgramFolder() + QLatin1Char('/') + GlobalVariables::gsLogFileName;
    }
    // A second run started in the same second writes into the same log; its journal
    // takes a number.
    QString path = RunJournal::PathForLog(logPath);
    for (int number = 2; QFile::exists(path) && number < 100; ++number) {
        path = RunJournal::PathForLog(logPath);
        path.insert(path.size() - 7, QStringLiteral("-%1").arg(number));
    }
    try {
        mJournal = RunJournal::Create(path);
        mJournal->setValue(JournalKeys::Format, QStringLiteral("1"));
        mJournal->setValue(JournalKeys::Log, logPath);
        mJournal->setValue(JournalKeys::Started, AppClock::logTime());
        mJournal->setValue(JournalKeys::Source, databaseName(StatusHolder::GetVarnelDatabase()));
        mJournal->setValue(JournalKeys::Target, databaseName(StatusHolder::GetZephrinDatabase()));
        mJournal->setValue(JournalKeys::Input, QString::fromUtf8(JournalInput::Capture()));
        for (auto it = journalNotes.cbegin(); it != journalNotes.cend(); ++it) {
            mJournal->setValue(it.key(), it.value());
        }
        QStringList ids;
        try {
            const CollectionPtr users = ZephrinFunctions::GetDirectoryUsers(
                StatusHolder::GetZephrinDatabase()->value(StateKeys::ConnectionString).toString());
            for (const QVariant& id : users->collection(IDs)->values()) {
                ids << id.toString();
            }
        } catch (const std::exception&) {
            // A Directory that cannot be read now fails every user's write as well.
            ids << QStringLiteral("unknown");
        }
        mJournal->setValue(JournalKeys::DirectoryUsers, ids.join(QLatin1Char(',')));
        mJournal->setState(QStringLiteral("running"));
        // Not logged: the log of a run that is not interrupted stays as it was; the
        // journal's name is the log's.
        msJournalPath = path;
    } catch (const MigrationError& error) {
        mJournal.reset();
        QFile::remove(path);
        WriteLog(error.description() +
                 QStringLiteral("; the run goes on without a journal and cannot be resumed if "
                                "it is interrupted"));
    }
    RunJournal::passPoint("run-begun");
}

void MigrationEngine::finishJournal()
{
    if (mStopped) {
        WriteLog(QStringLiteral("The run was stopped by ") + StopRequest::reason() +
                 (msJournalPath.isEmpty()
                      ? QStringLiteral("; it kept no journal and cannot be resumed")
                      : QStringLiteral("; the report covers what was done so far. To finish "
                                       "it: varnel-migrate --resume ") +
                            QDir::toNativeSeparators(msJournalPath)));
    }
    if (!mJournal) {
        return;
    }
    RunJournal::passPoint("report");
    try {
        mJournal->setState(mStopped ? QStringLiteral("stopped") : QStringLiteral("finished"));
    } catch (const MigrationError& error) {
        WriteLog(error.description());
    }
    mJournal.reset();
}

// The next users of the list get their journal rows, with a new password each when
// the run makes new passwords, all on disk in one commit before the first of them is
// written.
void MigrationEngine::planUsersFrom(int position, const CollectionPtr& vaUserIDs,
                                    const CollectionPtr& actions)
{
    if (!mJournal || mJournal->users().contains(position)) {
        return;
    }
    QList<RunJournal::User> plans;
    const int count = vaUserIDs->count();
    for (int p = position; p <= count && plans.size() < RunJournal::Batch; ++p) {
        if (mJournal->users().contains(p)) {
            break;
        }
        RunJournal::User plan;
        plan.position = p;
        plan.vaUserID = vaUserIDs->item(p).toInt();
        const QString key = QString::number(plan.vaUserID);
        plan.action = actions ? actions->value(key, 0).toInt() : 0;
        if (GlobalVariables::gbNewPasswords) {
            // Only the clear text must be on disk first; it is encoded when the user is
            // written, so that the window is not kept waiting for a whole batch.
            plan.newPassword = ZephrinFunctions::GeneratePassword(6);
        }
        plans << plan;
    }
    try {
        mJournal->planUsers(plans);
    } catch (const MigrationError& error) {
        WriteLog(error.description() + QStringLiteral("; the run goes on without a journal"));
        mJournal.reset();
        return;
    }
    RunJournal::passPoint("users-planned");
    // On disk now: they may be encoded ahead, on every core.
    if (mNewPasswords) {
        QStringList clear;
        for (const RunJournal::User& plan : plans) {
            if (!plan.newPassword.isEmpty()) {
                clear << plan.newPassword;
            }
        }
        mNewPasswords->prepare(clear);
    }
}

void MigrationEngine::plannedPassword(QString& clear, QString& encoded)
{
    const bool planned = mJournal && mJournal->users().contains(mPosition) &&
                         !mJournal->users().value(mPosition).newPassword.isEmpty();
    if (!planned) {
        if (mNewPasswords) {
            mNewPasswords->take(clear, encoded);
        } else {
            ZephrinFunctions::CreateNewPassword(clear, encoded);
        }
        return;
    }
    clear = mJournal->users().value(mPosition).newPassword;
    if (!mNewPasswords || !mNewPasswords->takePrepared(clear, encoded)) {
        // Planned by an interrupted process, or no encoder that prepares ahead.
        encoded = Components::factory().CreatePasswordEncoder()->EncodePassword(clear);
    }
}

void MigrationEngine::journalUserOutcome(int vaUserID, int code, bool status,
                                         const CollectionPtr& record, bool queued)
{
    if (!mJournal || mPosition <= 0) {
        return;
    }
    if (status || queued) {
        RunJournal::passPoint("user-written");
    }
    RunJournal::User outcome = mJournal->users().value(mPosition);
    outcome.position = mPosition;
    outcome.vaUserID = vaUserID;
    outcome.code = code;
    outcome.status = status;
    outcome.queued = queued;
    outcome.zeUserID = status || queued ? mTargetID : 0;
    outcome.loginChanged = record && record->contains(LoginIDChanged)
                               ? record->value(LoginIDChanged).toString()
                               : QString();
    try {
        mJournal->recordOutcome(outcome);
    } catch (const MigrationError& error) {
        WriteLog(error.description() + QStringLiteral("; the run goes on without a journal"));
        mJournal.reset();
    }
    RunJournal::passPoint("user-done");
}

bool MigrationEngine::mailedBefore(int queuePosition, bool& sent)
{
    const int position = mQueuePositions.value(queuePosition - 1);
    if (!mJournal || position <= 0) {
        return false;
    }
    const QString email = mJournal->users().value(position).email;
    sent = email == QLatin1String("sent");
    // An e-mail that failed before is tried again.
    return sent;
}

void MigrationEngine::journalMail(int queuePosition, bool sent)
{
    RunJournal::passPoint("mail-sent");
    const int position = mQueuePositions.value(queuePosition - 1);
    if (!mJournal || position <= 0) {
        return;
    }
    try {
        mJournal->recordEmail(position, sent ? QStringLiteral("sent") : QStringLiteral("failed"));
    } catch (const MigrationError& error) {
        WriteLog(error.description() + QStringLiteral("; the run goes on without a journal"));
        mJournal.reset();
    }
}

// Between two items: a stop asked for by a signal ends the phase here.
bool MigrationEngine::stopNow()
{
    if (!mStopped && StopRequest::requested()) {
        mStopped = true;
        if (mJournal) {
            try {
                mJournal->sync();
            } catch (const MigrationError& error) {
                WriteLog(error.description());
            }
        }
    }
    return mStopped;
}

void MigrationEngine::journalStore(int position, const QString& server, int type, bool status)
{
    if (!mJournal) {
        return;
    }
    RunJournal::Item store;
    store.position = position;
    store.name = server;
    store.type = type;
    store.status = status;
    try {
        mJournal->recordStore(store);
    } catch (const MigrationError& error) {
        WriteLog(error.description() + QStringLiteral("; the run goes on without a journal"));
        mJournal.reset();
    }
    RunJournal::passPoint("store-done");
}

void MigrationEngine::journalValue(const QString& key, const QString& value)
{
    if (!mJournal) {
        return;
    }
    try {
        mJournal->setValue(key, value);
        mJournal->sync();
    } catch (const MigrationError& error) {
        WriteLog(error.description() + QStringLiteral("; the run goes on without a journal"));
        mJournal.reset();
    }
}

// A profile the journal has an outcome for is not written again; one whose write an
// interrupted process began counts as written when the Directory holds more profiles
// of its name than before that write.
bool MigrationEngine::profileDoneBefore(int position, const QString& name, bool& status)
{
    if (!mJournal || !mResumed || !mJournal->profiles().contains(position)) {
        return false;
    }
    const RunJournal::Item profile = mJournal->profiles().value(position);
    if (profile.hasOutcome && profile.status) {
        status = true;
        return true;
    }
    try {
        if (ZephrinFunctions::CountDirectoryProfiles(directoryConnectionString(), name) >
            profile.before) {
            status = true;
            journalProfile(position, true);
            return true;
        }
    } catch (const std::exception&) {
        // The write is tried again and tells what is wrong.
    }
    return false;
}

void MigrationEngine::journalProfilePlan(int position, const QString& name)
{
    if (!mJournal) {
        return;
    }
    RunJournal::Item profile;
    profile.position = position;
    profile.name = name;
    try {
        profile.before =
            ZephrinFunctions::CountDirectoryProfiles(directoryConnectionString(), name);
        mJournal->planProfile(profile);
    } catch (const MigrationError& error) {
        WriteLog(error.description() + QStringLiteral("; the run goes on without a journal"));
        mJournal.reset();
    } catch (const std::exception&) {
        // The Directory cannot be read: the profile's own write says so.
    }
    RunJournal::passPoint("profile-planned");
}

void MigrationEngine::journalProfile(int position, bool status)
{
    if (!mJournal) {
        return;
    }
    try {
        mJournal->recordProfile(position, status);
    } catch (const MigrationError& error) {
        WriteLog(error.description() + QStringLiteral("; the run goes on without a journal"));
        mJournal.reset();
    }
    RunJournal::passPoint("profile-done");
}

void RunJournal::passPoint(const char* point)
{
    static const QByteArray stopAt = qgetenv("VARNEL_TEST_JOURNAL_STOP");
    if (stopAt.isEmpty()) {
        return;
    }
    static QHash<QByteArray, int> passed;
    const QList<QByteArray> parts = stopAt.split(':');
    if (parts.size() < 2 || parts.at(0) != point) {
        return;
    }
    if (++passed[parts.at(0)] == parts.at(1).toInt()) {
        if (parts.size() > 2 && parts.at(2) == "TERM") {
            std::raise(SIGTERM);
        } else {
            std::raise(SIGKILL);
        }
    }
}

#pragma once

#include "engine/RunJournal.h"
#include "frame/Collection.h"

#include <QHash>
#include <QSet>
#include <QString>

#include <exception>
#include <memory>
#include <optional>

class RunProgress;
class RunObserver;
class NewPasswords;

// The migration run: stores, users with their introduction e-mails, Device
// Provisioning profiles, and the status report. It owns the run's working lists and
// outcome records from the moment the migration window loads until it is unloaded,
// shows its progress only through RunProgress and asks only through AppPrompter.
//
// The window calls, in this order: Load (when it loads), MigrateUsers,
// MigrateDPProfiles, GenerateReport; the report text is then in gsReport. No phase
// stops on one item: every store, user and profile ends in an outcome record.
class MigrationEngine
{
public:
    explicit MigrationEngine(RunProgress& progress);

    // What loading the window does: the empty outcome lists and, when the route went
    // through the store page, the Exchange server lists of the state store (the same
    // objects, not copies).
    void Load();
    // Replaces the two server lists. Nothing in the wizard calls it.
    void SetServers(const CollectionPtr& e2kServers, const CollectionPtr& e55Servers);

    // The store phase, then the users and their e-mails.
    void MigrateUsers();
    // The profile phase; it runs also after an interrupted store phase.
    void MigrateDPProfiles();
    // Builds the report from the outcome lists into gsReport.
    void GenerateReport();
    QString gsReport;

    // Told when a run begins and when its report is ready; null for none.
    static inline RunObserver* observer = nullptr;

    // --- the outcome records -------------------------------------------------------

    // Adds "VaUserID", "Action" and "Status" to the record (a new one when null) and
    // files it into cUserResults under the decimal source user ID.
    void RecordUserOutcome(int vaUserID, int code, bool status, CollectionPtr record);
    void AddUserResult(const CollectionPtr& record, int vaUserID);
    // The log line of a failed step of one user; when the log cannot be written, a
    // message box tells the same.
    void LogUserError(const QString& userID, const QString& errorNumber,
                      const QString& errorDescription, const QString& shortText,
                      const QString& longText);
    void RecordStoreOutcome(const QString& server, bool status, int type);
    void RecordProfileOutcome(const CollectionPtr& profile, bool status);

    // --- the run's state -------------------------------------------------------------

    CollectionPtr cE2kServers;
    CollectionPtr cE55Servers;
    // One finished user record per source user, keyed by its decimal ID.
    CollectionPtr cUserResults;
    CollectionPtr cStoreResults;
    // Null until the first profile is recorded.
    CollectionPtr cProfileResults;
    CollectionPtr cLanguageIDs;
    // One grade record per user read, keyed by its decimal ID.
    CollectionPtr cUserWarnings;
    // Users waiting for the introduction e-mail, without keys.
    CollectionPtr cMailQueue;
    bool bInterrupted = false;
    QString sVaConnectionString;

    // Where the Directory users deleted by action 2 are kept, to be put back by
    // hand; empty until the first one is written.
    QString recoveryFilePath() const { return msRecoveryFile; }

    // --- the journal, the resume and the stop ------------------------------------------

    // Whether a new run keeps a journal (the benchmark measures a run without one).
    static inline bool journalEnabled = true;
    // Values the program adds to a new journal's "run" table (the unattended mode: where
    // its report is saved).
    static inline QHash<QString, QString> journalNotes;
    // Makes this run the continuation of the journal's: its input must be restored
    // (JournalInput) before Load. What the journal says was done is not done again.
    void resumeFrom(std::unique_ptr<RunJournal> journal);
    // The journal's file; empty when the run keeps none.
    QString journalPath() const { return msJournalPath; }
    // The run was stopped by a signal (StopRequest) and can be resumed.
    bool wasStopped() const { return mStopped; }
    bool isResumed() const { return mResumed; }

private:
    // Run driver and progress.
    void startPhase(int count, int maximumWhenEmpty);
    void finishItem(int position);
    void describe(const QString& text);
    QString directoryConnectionString() const { return msZeConnectionString; }

    // Store phase.
    void MigrateStores();
    bool migrateStoreList(const CollectionPtr& servers, const QString& kindName, int storeKind,
                          int type, const QString& connectionString);

    // User phase.
    void MigrateUserList();
    void migrateUser(int position, int id, const CollectionPtr& actions,
                     const CollectionPtr& zeUserIDs);
    bool writeUser(int id, int action, const CollectionPtr& record, const CollectionPtr& zeUserIDs);
    void settleUnfinishedUser(int vaUserID, const std::exception& error);
    void SendIntroductionMails();

    // Report.
    CollectionPtr sortedMailQueue();

    // Directory user kept before action 2 deletes it; false when it could not be.
    bool keepDeletedUser(int zeUserID, int vaUserID, QString& why);

    // Journal (RunJournaling.cpp).
    void beginJournal();
    void finishJournal();
    void planUsersFrom(int position, const CollectionPtr& vaUserIDs, const CollectionPtr& actions);
    // The new password of the user in hand: the planned one, encoded.
    void plannedPassword(QString& clear, QString& encoded);
    void journalUserOutcome(int vaUserID, int code, bool status, const CollectionPtr& record,
                            bool queued);
    bool stopNow();
    // Resume (UserResume.cpp): a user the journal says is done, and a user whose
    // Directory write may have landed.
    bool replayUser(int position, int id);
    bool inFlight() const;
    bool landedUser(const CollectionPtr& record, int& targetID, QString& login);
    bool stillInDirectory(int zeUserID);
    CollectionPtr readAgain(int id, CollectionPtr& grades);
    // The e-mail pass: whether the journal says this queued user's e-mail went out.
    bool mailedBefore(int queuePosition, bool& sent);
    void journalMail(int queuePosition, bool sent);
    void journalStore(int position, const QString& server, int type, bool status);
    void journalValue(const QString& key, const QString& value);
    void logNotMailed(int count);
    // Profiles: true when the journal says the profile was written before.
    bool profileDoneBefore(int position, const QString& name, bool& status);
    void journalProfilePlan(int position, const QString& name);
    void journalProfile(int position, bool status);

    RunProgress& mProgress;
    QString msZeConnectionString;
    QString msRecoveryFile;
    // Users waiting in cMailQueue, and the record of the user in hand.
    QSet<int> mQueuedUsers;
    CollectionPtr mCurrentRecord;

    std::unique_ptr<RunJournal> mJournal;
    QString msJournalPath;
    bool mResumed = false;
    bool mStopped = false;
    // The position on the migration list of the user in hand (0 outside the loop),
    // and its Directory user.
    int mPosition = 0;
    int mTargetID = 0;
    // Positions whose write an earlier process began without recording its outcome.
    QSet<int> mInFlight;
    // The list positions of the users in cMailQueue, in its order.
    QList<int> mQueuePositions;
    // Directory users made by this run before the interruption and not yet matched
    // to a user of the journal, as GetDirectoryUsers lists them (loaded when needed).
    CollectionPtr mNewDirectoryUsers;
    // The Directory's user IDs when the resume began (read at the first replayed user).
    std::optional<QSet<int>> mDirectoryIDs;
    // The new passwords prepared ahead of the user loop, while it runs.
    std::shared_ptr<NewPasswords> mNewPasswords;
};

#pragma once

#include "frame/Collection.h"

#include <QSet>
#include <QString>

#include <exception>
#include <memory>

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

    RunProgress& mProgress;
    QString msZeConnectionString;
    QString msRecoveryFile;
    // Users waiting in cMailQueue, and the record of the user in hand.
    QSet<int> mQueuedUsers;
    CollectionPtr mCurrentRecord;
    // The new passwords prepared ahead of the user loop, while it runs.
    std::shared_ptr<NewPasswords> mNewPasswords;
};

#pragma once

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <memory>

struct sqlite3;
namespace JournalSql {
class Statement;
}

// The run's journal: an embedded database file beside the log, named after it
// (MigrationLog<time>.log gives MigrationLog<time>-Journal.sqlite), readable by its
// owner only, that records every step of the run that changes something outside the
// process before that step can be lost: the run's whole input, then per user the new
// password before the Directory write that uses it, the outcome after it and the
// e-mail once the transport took it; per store and profile the same. Any SQLite tool
// reads it (tables "run", "users", "stores", "profiles").
//
// What must be on disk before a step goes out is committed with the file synced
// (synchronous=FULL); outcomes and e-mails ride along with the next such commit, at
// the latest after Batch records or a second: a step whose record was lost is found
// out again by the resume (the Directory is asked; an e-mail is sent once more).
class RunJournal
{
public:
    // One user of the migration list as the journal knows it, by its 1-based position.
    struct User
    {
        int position = 0;
        int vaUserID = 0;
        int action = 0;
        // Planned: the new password is on disk; the Directory write may have begun.
        QString newPassword;
        bool hasOutcome = false;
        int code = 0;
        bool status = false;
        // Written and waiting for the introduction e-mail.
        bool queued = false;
        QString loginChanged;
        int zeUserID = 0;
        // "sent", "failed" or empty (not yet).
        QString email;
    };
    struct Item
    {
        int position = 0;
        QString name;
        int type = 0;
        bool planned = false;
        // For a profile: how many Directory profiles had its name before the write.
        int before = 0;
        bool hasOutcome = false;
        bool status = false;
    };

    // How many users are planned in one commit, and how many outcomes or e-mails may
    // wait for one.
    static constexpr int Batch = 64;

    ~RunJournal();
    RunJournal(const RunJournal&) = delete;
    RunJournal& operator=(const RunJournal&) = delete;

    // Where the journal of the run that logs to logPath goes.
    static QString PathForLog(const QString& logPath);
    // A new journal; raises MigrationError naming the file when it cannot be made.
    static std::unique_ptr<RunJournal> Create(const QString& path);
    // An existing journal, read whole; raises when it is missing or is no journal.
    static std::unique_ptr<RunJournal> Open(const QString& path);
    // Closing (the destructor) commits what waits and folds the write-ahead file back
    // into the journal, so one file stays.
    QString path() const { return mPath; }

    // The "run" table: input, the log, the Directory users at the start, the state.
    void setValue(const QString& key, const QString& value);
    QString value(const QString& key) const;
    // "running", "stopped" or "finished", on disk when it returns.
    void setState(const QString& state);
    QString state() const { return value(QStringLiteral("state")); }

    // Users: the plan is on disk when it returns; outcomes and e-mails follow.
    void planUsers(const QList<User>& plans);
    void recordOutcome(const User& outcome);
    void recordEmail(int position, const QString& email);
    // Stores: the outcome (registering a store twice does no harm).
    void recordStore(const Item& store);
    // Profiles: the plan is on disk when it returns, the outcome follows.
    void planProfile(const Item& profile);
    void recordProfile(int position, bool status);
    // Everything recorded so far on disk.
    void sync();

    const QHash<int, User>& users() const { return mUsers; }
    const QHash<int, Item>& stores() const { return mStores; }
    const QHash<int, Item>& profiles() const { return mProfiles; }

    // Test hook: a point of the run passed. The environment variable
    // VARNEL_TEST_JOURNAL_STOP=<point>:<count>[:TERM] makes the count-th passage of the
    // point kill the process (or send it SIGTERM), so a test can interrupt a run at a
    // known place. Without the variable it costs one comparison.
    static void passPoint(const char* point);

private:
    RunJournal(QString path, sqlite3* db);
    // Opens the file for reading and writing; fails naming it when it cannot.
    static std::unique_ptr<RunJournal> openFile(const QString& path);
    void execute(const char* sql);
    void load();
    void begin();
    void commitIfDue();
    [[noreturn]] void fail(const QString& what) const;

    QString mPath;
    sqlite3* mDb = nullptr;
    bool mInTransaction = false;
    int mPending = 0;
    qint64 mPendingSince = 0;
    QHash<QString, QString> mValues;
    QHash<int, User> mUsers;
    QHash<int, Item> mStores;
    QHash<int, Item> mProfiles;
    // The statements run once per user, prepared once.
    std::unique_ptr<JournalSql::Statement> mOutcome;
    std::unique_ptr<JournalSql::Statement> mEmail;
};

#include "engine/RunJournal.h"

#include "engine/JournalStatement.h"
#include "frame/MigrationError.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

using JournalSql::Statement;

namespace {

const QString Source = QStringLiteral("VarnelMigrationTool.RunJournal");
constexpr qint64 MostMillisecondsWaiting = 1000;

const char* const Schema =
    "CREATE TABLE IF NOT EXISTS run (key TEXT PRIMARY KEY, value TEXT);"
    "CREATE TABLE IF NOT EXISTS users (position INTEGER PRIMARY KEY, va_user_id INTEGER,"
    " action INTEGER, new_password TEXT, outcome INTEGER, status INTEGER, queued INTEGER,"
    " login_changed TEXT, ze_user_id INTEGER, email TEXT);"
    "CREATE TABLE IF NOT EXISTS stores (position INTEGER PRIMARY KEY, server TEXT,"
    " type INTEGER, status INTEGER);"
    "CREATE TABLE IF NOT EXISTS profiles (position INTEGER PRIMARY KEY, name TEXT,"
    " before_count INTEGER, status INTEGER);";

QString lastError(sqlite3* db)
{
    return db ? QString::fromUtf8(sqlite3_errmsg(db)) : QStringLiteral("out of memory");
}

// The file made empty and private before the engine opens it, so that no other
// account can read a new password even for a moment; the engine gives its
// write-ahead file the same rights.
bool makePrivateFile(const QString& path, QString& why)
{
    const QByteArray name = QFile::encodeName(path);
    const int fd = ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) {
        why = QString::fromLocal8Bit(std::strerror(errno));
        return false;
    }
    ::fchmod(fd, 0600);
    ::close(fd);
    return true;
}

} // namespace

RunJournal::RunJournal(QString path, sqlite3* db) : mPath(std::move(path)), mDb(db) {}

RunJournal::~RunJournal()
{
    if (mDb == nullptr) {
        return;
    }
    if (mInTransaction) {
        sqlite3_exec(mDb, "COMMIT", nullptr, nullptr, nullptr);
    }
    mOutcome.reset();
    mEmail.reset();
    sqlite3_exec(mDb, "PRAGMA journal_mode=DELETE", nullptr, nullptr, nullptr);
    sqlite3_close(mDb);
}

QString RunJournal::PathForLog(const QString& logPath)
{
    const QFileInfo log(logPath);
    QString name = log.fileName();
    if (name.endsWith(QLatin1String(".log"), Qt::CaseInsensitive)) {
        name.chop(4);
    }
    return QDir(log.absolutePath()).filePath(name + QStringLiteral("-Journal.sqlite"));
}

void RunJournal::fail(const QString& what) const
{
    throw MigrationError(ErrorNumber::PathFileAccess,
                         QStringLiteral("The run journal %1 %2: %3")
                             .arg(QDir::toNativeSeparators(mPath), what, lastError(mDb)),
                         Source);
}

void RunJournal::execute(const char* sql)
{
    if (sqlite3_exec(mDb, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail(QStringLiteral("could not be written"));
    }
}

std::unique_ptr<RunJournal> RunJournal::openFile(const QString& path)
{
    sqlite3* db = nullptr;
    sqlite3_open_v2(QFile::encodeName(path).constData(), &db, SQLITE_OPEN_READWRITE, nullptr);
    std::unique_ptr<RunJournal> journal(new RunJournal(path, db));
    if (db == nullptr || sqlite3_errcode(db) != SQLITE_OK) {
        journal->fail(QStringLiteral("could not be opened"));
    }
    return journal;
}

std::unique_ptr<RunJournal> RunJournal::Create(const QString& path)
{
    QString why;
    if (!makePrivateFile(path, why)) {
        throw MigrationError(ErrorNumber::PathFileAccess,
                             QStringLiteral("The run journal %1 could not be made: %2")
                                 .arg(QDir::toNativeSeparators(path), why),
                             Source);
    }
    std::unique_ptr<RunJournal> journal = openFile(path);
    // Held by this process alone until it closes the journal, so that no second
    // process resumes a run that is still going; write-ahead with every commit synced:
    // one disk wait per commit.
    journal->execute("PRAGMA locking_mode=EXCLUSIVE");
    journal->execute("PRAGMA journal_mode=WAL");
    journal->execute("PRAGMA synchronous=FULL");
    journal->execute(Schema);
    return journal;
}

std::unique_ptr<RunJournal> RunJournal::Open(const QString& path)
{
    if (!QFileInfo(path).isFile()) {
        throw MigrationError(
            ErrorNumber::PathFileAccess,
            QStringLiteral("There is no run journal %1").arg(QDir::toNativeSeparators(path)),
            Source);
    }
    std::unique_ptr<RunJournal> journal = openFile(path);
    sqlite3* db = journal->mDb;
    const int opened = sqlite3_exec(db,
                                    "PRAGMA locking_mode=EXCLUSIVE; PRAGMA journal_mode=WAL; "
                                    "PRAGMA synchronous=FULL",
                                    nullptr, nullptr, nullptr);
    if (opened == SQLITE_BUSY || opened == SQLITE_LOCKED) {
        throw MigrationError(ErrorNumber::PermissionDenied,
                             QStringLiteral("The run journal %1 is in use: its migration is "
                                            "still running")
                                 .arg(QDir::toNativeSeparators(path)),
                             Source);
    }
    if (opened != SQLITE_OK) {
        journal->fail(QStringLiteral("could not be read"));
    }
    journal->load();
    if (journal->value(QStringLiteral("format")).isEmpty()) {
        throw MigrationError(ErrorNumber::InvalidFileFormat,
                             QStringLiteral("%1 is not a run journal of this program")
                                 .arg(QDir::toNativeSeparators(path)),
                             Source);
    }
    return journal;
}

void RunJournal::load()
{
    Statement run(mDb, "SELECT key, value FROM run");
    Statement users(mDb, "SELECT position, va_user_id, action, new_password, outcome, status,"
                         " queued, login_changed, ze_user_id, email FROM users");
    Statement stores(mDb, "SELECT position, server, type, status FROM stores");
    Statement profiles(mDb, "SELECT position, name, before_count, status FROM profiles");
    if (!run.ok() || !users.ok() || !stores.ok() || !profiles.ok()) {
        throw MigrationError(ErrorNumber::InvalidFileFormat,
                             QStringLiteral("%1 is not a run journal of this program: %2")
                                 .arg(QDir::toNativeSeparators(mPath), lastError(mDb)),
                             Source);
    }
    while (run.step() == SQLITE_ROW) {
        mValues.insert(run.text(0), run.text(1));
    }
    while (users.step() == SQLITE_ROW) {
        User user;
        user.position = users.integer(0);
        user.vaUserID = users.integer(1);
        user.action = users.integer(2);
        user.newPassword = users.text(3);
        user.hasOutcome = !users.isNull(4);
        user.code = users.integer(4);
        user.status = users.integer(5) != 0;
        user.queued = users.integer(6) != 0;
        user.loginChanged = users.text(7);
        user.zeUserID = users.integer(8);
        user.email = users.text(9);
        mUsers.insert(user.position, user);
    }
    while (stores.step() == SQLITE_ROW) {
        Item store;
        store.position = stores.integer(0);
        store.name = stores.text(1);
        store.type = stores.integer(2);
        store.hasOutcome = true;
        store.status = stores.integer(3) != 0;
        mStores.insert(store.position, store);
    }
    while (profiles.step() == SQLITE_ROW) {
        Item profile;
        profile.position = profiles.integer(0);
        profile.name = profiles.text(1);
        profile.planned = true;
        profile.before = profiles.integer(2);
        profile.hasOutcome = !profiles.isNull(3);
        profile.status = profiles.integer(3) != 0;
        mProfiles.insert(profile.position, profile);
    }
}

void RunJournal::begin()
{
    if (!mInTransaction) {
        execute("BEGIN");
        mInTransaction = true;
        mPending = 0;
        mPendingSince = QDateTime::currentMSecsSinceEpoch();
    }
}

void RunJournal::sync()
{
    if (mInTransaction) {
        mInTransaction = false;
        execute("COMMIT");
    }
    mPending = 0;
}

void RunJournal::commitIfDue()
{
    ++mPending;
    if (mPending >= Batch ||
        QDateTime::currentMSecsSinceEpoch() - mPendingSince >= MostMillisecondsWaiting) {
        sync();
    }
}

void RunJournal::setValue(const QString& key, const QString& value)
{
    begin();
    Statement statement(mDb, "INSERT OR REPLACE INTO run (key, value) VALUES (?, ?)");
    statement.bind(1, key);
    statement.bind(2, value);
    if (statement.step() != SQLITE_DONE) {
        fail(QStringLiteral("could not be written"));
    }
    mValues.insert(key, value);
}

QString RunJournal::value(const QString& key) const
{
    return mValues.value(key);
}

void RunJournal::setState(const QString& state)
{
    setValue(QStringLiteral("state"), state);
    setValue(QStringLiteral("state changed"), QDateTime::currentDateTime().toString(Qt::ISODate));
    sync();
}

void RunJournal::planUsers(const QList<User>& plans)
{
    begin();
    Statement statement(mDb, "INSERT OR REPLACE INTO users (position, va_user_id, action,"
                             " new_password) VALUES (?, ?, ?, ?)");
    for (const User& plan : plans) {
        statement.bind(1, plan.position);
        statement.bind(2, plan.vaUserID);
        statement.bind(3, plan.action);
        statement.bindText(4, plan.newPassword);
        if (!statement.run()) {
            fail(QStringLiteral("could not be written"));
        }
        mUsers.insert(plan.position, plan);
    }
    sync();
}

void RunJournal::recordOutcome(const User& outcome)
{
    begin();
    if (!mOutcome) {
        mOutcome = std::make_unique<Statement>(
            mDb, "INSERT INTO users (position, va_user_id, action, new_password, outcome, status,"
                 " queued, login_changed, ze_user_id) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"
                 " ON CONFLICT (position) DO UPDATE SET outcome = excluded.outcome,"
                 " status = excluded.status, queued = excluded.queued,"
                 " login_changed = excluded.login_changed, ze_user_id = excluded.ze_user_id");
    }
    Statement& statement = *mOutcome;
    statement.bind(1, outcome.position);
    statement.bind(2, outcome.vaUserID);
    statement.bind(3, outcome.action);
    statement.bindText(4, outcome.newPassword);
    statement.bind(5, outcome.code);
    statement.bind(6, outcome.status ? 1 : 0);
    statement.bind(7, outcome.queued ? 1 : 0);
    statement.bindText(8, outcome.loginChanged);
    statement.bind(9, outcome.zeUserID);
    if (!statement.run()) {
        fail(QStringLiteral("could not be written"));
    }
    User& user = mUsers[outcome.position];
    const QString password = user.newPassword;
    user = outcome;
    if (user.newPassword.isNull()) {
        user.newPassword = password;
    }
    user.hasOutcome = true;
    commitIfDue();
}

void RunJournal::recordEmail(int position, const QString& email)
{
    begin();
    if (!mEmail) {
        mEmail = std::make_unique<Statement>(mDb, "UPDATE users SET email = ? WHERE position = ?");
    }
    Statement& statement = *mEmail;
    statement.bind(1, email);
    statement.bind(2, position);
    if (!statement.run()) {
        fail(QStringLiteral("could not be written"));
    }
    mUsers[position].email = email;
    commitIfDue();
}

void RunJournal::recordStore(const Item& store)
{
    begin();
    Statement statement(
        mDb, "INSERT OR REPLACE INTO stores (position, server, type, status) VALUES (?, ?, ?, ?)");
    statement.bind(1, store.position);
    statement.bind(2, store.name);
    statement.bind(3, store.type);
    statement.bind(4, store.status ? 1 : 0);
    if (!statement.run()) {
        fail(QStringLiteral("could not be written"));
    }
    Item& kept = mStores[store.position];
    kept = store;
    kept.hasOutcome = true;
    commitIfDue();
}

void RunJournal::planProfile(const Item& profile)
{
    begin();
    Statement statement(mDb, "INSERT OR REPLACE INTO profiles (position, name, before_count)"
                             " VALUES (?, ?, ?)");
    statement.bind(1, profile.position);
    statement.bind(2, profile.name);
    statement.bind(3, profile.before);
    if (!statement.run()) {
        fail(QStringLiteral("could not be written"));
    }
    Item& kept = mProfiles[profile.position];
    kept = profile;
    kept.planned = true;
    sync();
}

void RunJournal::recordProfile(int position, bool status)
{
    begin();
    Statement statement(mDb, "UPDATE profiles SET status = ? WHERE position = ?");
    statement.bind(1, status ? 1 : 0);
    statement.bind(2, position);
    if (!statement.run()) {
        fail(QStringLiteral("could not be written"));
    }
    mProfiles[position].hasOutcome = true;
    mProfiles[position].status = status;
    commitIfDue();
}

#include "db/ConnectionReuse.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QHash>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlQuery>
#include <QStringList>
#include <QVariant>

#include <sqlite3.h>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

namespace {

struct Kept
{
    QSqlDatabase database;
    QString name;
    quint64 device = 0;
    quint64 inode = 0;
};

int scopes = 0;

// How long a SQL Server session is kept idle: below the driver manager's pool
// time-out, after which the pool's probe would have checked it.
constexpr int ServerIdleMilliseconds = 30000;

QHash<QString, Kept>& kept()
{
    static QHash<QString, Kept> connections;
    return connections;
}

struct KeptServer
{
    QSqlDatabase database;
    QString name;
    QDeadlineTimer idle;
};

QHash<QString, KeptServer>& keptServers()
{
    static QHash<QString, KeptServer> connections;
    return connections;
}

sqlite3* handleOf(const QSqlDatabase& database)
{
    const QVariant handle = database.driver() ? database.driver()->handle() : QVariant();
    if (!handle.isValid() || qstrcmp(handle.typeName(), "sqlite3*") != 0) {
        return nullptr;
    }
    return *static_cast<sqlite3* const*>(handle.constData());
}

// The file's identity: a file put in the place of the one a kept connection has open
// is another database. The kept connection holds the old file open, so its inode is
// not given to a new file meanwhile.
bool identify(const QString& file, quint64& device, quint64& inode)
{
#ifdef Q_OS_UNIX
    struct stat status = {};
    if (::stat(QFile::encodeName(file).constData(), &status) != 0) {
        return false;
    }
    device = status.st_dev;
    inode = status.st_ino;
    return true;
#else
    // Without a file's identity to go by, no connection is kept.
    Q_UNUSED(file);
    Q_UNUSED(device);
    Q_UNUSED(inode);
    return false;
#endif
}

void close(Kept& connection)
{
    connection.database.close();
    connection.database = QSqlDatabase();
    QSqlDatabase::removeDatabase(connection.name);
}

// Back to the rollback journal, without waiting for another program that has the
// database open (then the file stays in write-ahead mode, which any reader handles).
void restoreJournal(Kept& connection)
{
    sqlite3* handle = handleOf(connection.database);
    if (handle == nullptr) {
        return;
    }
    sqlite3_busy_timeout(handle, 0);
    sqlite3_exec(handle, "PRAGMA journal_mode=DELETE", nullptr, nullptr, nullptr);
}

} // namespace

ConnectionReuse::Scope::Scope()
{
    ++scopes;
}

ConnectionReuse::Scope::~Scope()
{
    if (--scopes > 0) {
        return;
    }
    QHash<QString, Kept> connections;
    connections.swap(kept());
    for (Kept& connection : connections) {
        restoreJournal(connection);
        close(connection);
    }
    QHash<QString, KeptServer> servers;
    servers.swap(keptServers());
    for (KeptServer& connection : servers) {
        connection.database.close();
        connection.database = QSqlDatabase();
        QSqlDatabase::removeDatabase(connection.name);
    }
}

bool ConnectionReuse::Take(const QString& file, QSqlDatabase& database, QString& name)
{
    auto found = kept().find(file);
    if (found == kept().end()) {
        return false;
    }
    Kept connection = found.value();
    kept().erase(found);
    quint64 device = 0;
    quint64 inode = 0;
    if (!identify(file, device, inode) || device != connection.device ||
        inode != connection.inode) {
        close(connection);
        return false;
    }
    database = connection.database;
    name = connection.name;
    return true;
}

void ConnectionReuse::Prepare(QSqlDatabase& database)
{
#ifndef Q_OS_UNIX
    // Write-ahead logging pays only with connections kept between operations.
    Q_UNUSED(database);
    return;
#endif
    if (scopes == 0) {
        return;
    }
    sqlite3* handle = handleOf(database);
    if (handle == nullptr) {
        return;
    }
    // Switching needs the database to itself for a moment; when another program has
    // it locked, the connection goes on in the database's present mode.
    int busyTimeout = 5000; // the driver's own when the connection names none
    sqlite3_busy_timeout(handle, 0);
    sqlite3_exec(handle, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    sqlite3_exec(handle, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
    const QStringList options = database.connectOptions().split(QLatin1Char(';'));
    for (const QString& option : options) {
        const QString trimmed = option.trimmed();
        if (trimmed.startsWith(QLatin1String("QSQLITE_BUSY_TIMEOUT="))) {
            busyTimeout = trimmed.mid(21).toInt();
        }
    }
    sqlite3_busy_timeout(handle, busyTimeout);
}

bool ConnectionReuse::Keep(QSqlDatabase& database, const QString& name)
{
    if (scopes == 0 || !database.isOpen()) {
        return false;
    }
    sqlite3* handle = handleOf(database);
    // A connection in a transaction or with a statement still open holds a lock.
    if (handle == nullptr || sqlite3_get_autocommit(handle) == 0 ||
        sqlite3_next_stmt(handle, nullptr) != nullptr) {
        return false;
    }
    const QString file = database.databaseName();
    if (kept().contains(file)) {
        return false;
    }
    Kept connection;
    if (!identify(file, connection.device, connection.inode)) {
        return false;
    }
    connection.database = database;
    connection.name = name;
    kept().insert(file, connection);
    database = QSqlDatabase();
    return true;
}

bool ConnectionReuse::TakeServer(const QString& odbcText, QSqlDatabase& database, QString& name)
{
    auto found = keptServers().find(odbcText);
    if (found == keptServers().end()) {
        return false;
    }
    KeptServer connection = found.value();
    keptServers().erase(found);
    if (connection.idle.hasExpired() || !connection.database.isOpen()) {
        connection.database.close();
        connection.database = QSqlDatabase();
        QSqlDatabase::removeDatabase(connection.name);
        return false;
    }
    database = connection.database;
    name = connection.name;
    return true;
}

bool ConnectionReuse::KeepServer(QSqlDatabase& database, const QString& name, bool clean)
{
    if (scopes == 0 || !clean || !database.isOpen()) {
        return false;
    }
    const QString text = database.databaseName();
    if (keptServers().contains(text)) {
        return false;
    }
    keptServers().insert(text, {database, name, QDeadlineTimer(ServerIdleMilliseconds)});
    database = QSqlDatabase();
    return true;
}

#include "db/DbConnection.h"

#include "db/ConnectionReuse.h"
#include "db/ConnectionString.h"
#include "db/EmbeddedCollations.h"
#include "db/EngineSettings.h"
#include "db/OdbcDirect.h"
#include "db/OdbcText.h"
#include "frame/FileWriting.h"
#include "frame/MigrationError.h"

#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>

namespace {

constexpr long ProviderFailure = DbConnection::ProviderFailure;

QString nextConnectionName()
{
    static quint64 counter = 0;
    return QStringLiteral("migration-%1").arg(++counter);
}

} // namespace

DbConnection::DbConnection(const QString& connectionString, Mode mode) : mName(nextConnectionName())
{
    const ConnectionParts parts = ParseConnectionString(connectionString);
    mEmbedded = parts.isEmbedded();
    if (mEmbedded) {
        const QString file = parts.embeddedFile();
        mFile = file;
        if (parts.initialCatalog.isEmpty() ||
            (mode == Mode::OpenExisting && !QFileInfo(file).isFile())) {
            throw MigrationError(
                ProviderFailure,
                QStringLiteral("Cannot open database \"%1\": no such database in %2")
                    .arg(parts.initialCatalog, parts.embeddedFolder()),
                QStringLiteral("SQLite"));
        }
        // The engine would take an empty file for a new database without tables.
        if (mode == Mode::OpenExisting && QFileInfo(file).size() == 0) {
            throw MigrationError(
                ProviderFailure,
                QStringLiteral("Cannot open database \"%1\": the file %2 is empty, it holds "
                               "no database")
                    .arg(parts.initialCatalog, file),
                QStringLiteral("SQLite"));
        }
        if (ConnectionReuse::Take(file, mDatabase, mName)) {
            return;
        }
        mDatabase = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), mName);
        mDatabase.setDatabaseName(file);
        mDatabase.setConnectOptions(
            QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(EngineSettings::giEmbeddedBusyTimeout));
    } else {
        if (parts.dataSource.isEmpty()) {
            throw MigrationError(ProviderFailure,
                                 QStringLiteral("The connection string names no database server "
                                                "(Data Source)"),
                                 QStringLiteral("Database"));
        }
        const QString odbcText = OdbcConnectString(parts, EngineSettings::gsOdbcDriver);
        if (ConnectionReuse::TakeServer(odbcText, mDatabase, mName)) {
            return;
        }
        mDatabase = QSqlDatabase::addDatabase(QStringLiteral("QODBC"), mName);
        mDatabase.setDatabaseName(odbcText);
        const int timeout =
            EngineSettings::giLoginTimeout > 0 ? EngineSettings::giLoginTimeout : 15;
        mDatabase.setConnectOptions(
            QStringLiteral("SQL_ATTR_LOGIN_TIMEOUT=%1;SQL_ATTR_CONNECTION_TIMEOUT=%1")
                .arg(timeout));
    }
    if (!mDatabase.isValid()) {
        const QString driver = mEmbedded ? QStringLiteral("QSQLITE") : QStringLiteral("QODBC");
        mDatabase = QSqlDatabase();
        QSqlDatabase::removeDatabase(mName);
        throw MigrationError(ProviderFailure,
                             QStringLiteral("The database driver %1 is not installed").arg(driver),
                             driver);
    }
    if (!mDatabase.open()) {
        const QSqlError error = mDatabase.lastError();
        mDatabase = QSqlDatabase();
        QSqlDatabase::removeDatabase(mName);
        fail(error);
    }
    if (mEmbedded) {
        try {
            QSqlQuery pragma(mDatabase);
            pragma.exec(QStringLiteral("PRAGMA foreign_keys = ON"));
            EmbeddedCollations::Register(mDatabase);
            ConnectionReuse::Prepare(mDatabase);
        } catch (...) {
            mDatabase.close();
            mDatabase = QSqlDatabase();
            QSqlDatabase::removeDatabase(mName);
            throw;
        }
    }
}

DbConnection::~DbConnection()
{
    if (mEmbedded ? ConnectionReuse::Keep(mDatabase, mName)
                  : ConnectionReuse::KeepServer(mDatabase, mName, mClean && !mInTransaction)) {
        return;
    }
    if (mDatabase.isValid()) {
        mDatabase.close();
    }
    mDatabase = QSqlDatabase();
    QSqlDatabase::removeDatabase(mName);
}

QSqlQuery DbConnection::prepare(const QString& sql)
{
    QSqlQuery query(mDatabase);
    query.setForwardOnly(true);
    if (!query.prepare(sql)) {
        if (mEmbedded) {
            fail(query.lastError());
        }
        mClean = false;
        raise(query.lastError(), sql);
    }
    return query;
}

void DbConnection::run(QSqlQuery& query, const QString& sql, const QVariantList& parameters)
{
    query.setForwardOnly(true);
    bool ok = false;
    if (parameters.isEmpty()) {
        ok = query.exec(sql);
    } else {
        ok = query.prepare(sql);
        if (ok) {
            for (const QVariant& value : parameters) {
                query.addBindValue(value);
            }
            ok = query.exec();
        }
    }
    if (!ok) {
        fail(query.lastError());
    }
}

// A batch sent to SQL Server answers with one result per statement that counts
// rows; the driver stops the rest of the batch when they are left unread, so every
// result is read, and a statement that failed further down is raised too.
void DbConnection::readRemainingResults(QSqlQuery& query)
{
    if (mEmbedded) {
        return;
    }
    while (query.nextResult()) {
    }
    if (query.lastError().isValid()) {
        fail(query.lastError());
    }
}

void DbConnection::execute(const QString& sql, const QVariantList& parameters)
{
    if (!mEmbedded && !parameters.isEmpty()) {
        QSqlError error;
        if (OdbcDirect::Run(mDatabase, sql, parameters, error)) {
            if (error.isValid()) {
                fail(error);
            }
            return;
        }
    }
    QSqlQuery query(mDatabase);
    run(query, sql, parameters);
    readRemainingResults(query);
}

QList<QSqlRecord> DbConnection::select(const QString& sql, const QVariantList& parameters)
{
    QSqlQuery query(mDatabase);
    run(query, sql, parameters);
    // Statements of a batch that only count rows come before the rows asked for.
    while (!mEmbedded && !query.isSelect() && query.nextResult()) {
    }
    // The column description is read once, before the first row: on a row, the
    // description comes with that row's values read. Each row is a copy with its
    // values set, which is much cheaper than asking the driver for a new record per row.
    const QSqlRecord shape = query.record();
    const int columns = shape.count();
    // On SQL Server, texts are read whole by hand.
    const QList<int> textColumns = mEmbedded ? QList<int>() : OdbcText::textColumns(shape);
    QList<QSqlRecord> rows;
    while (query.next()) {
        QSqlRecord row = shape;
        for (int i = 0; i < columns; ++i) {
            row.setValue(i, textColumns.contains(i) ? OdbcText::read(query, i) : query.value(i));
        }
        rows.append(row);
    }
    if (query.lastError().isValid()) {
        fail(query.lastError());
    }
    readRemainingResults(query);
    return rows;
}

QVariant DbConnection::number(const QString& sql, const QVariantList& parameters)
{
    if (!mEmbedded) {
        QSqlError error;
        QVariant value;
        if (OdbcDirect::Run(mDatabase, sql, parameters, error, &value)) {
            if (error.isValid()) {
                fail(error);
            }
            return value;
        }
    }
    const QList<QSqlRecord> rows = select(sql, parameters);
    return rows.isEmpty() || rows.first().isNull(0) ? QVariant()
                                                    : QVariant(rows.first().value(0).toLongLong());
}

bool DbConnection::hasRow(const QString& sql)
{
    QSqlQuery query(mDatabase);
    query.setForwardOnly(true);
    if (!query.exec(sql)) {
        fail(query.lastError());
    }
    const bool found = query.next();
    if (!found && query.lastError().isValid()) {
        fail(query.lastError());
    }
    readRemainingResults(query);
    return found;
}

void DbConnection::executeBatch(const QString& sqlServerText, const QStringList& embeddedStatements)
{
    if (!mEmbedded) {
        execute(sqlServerText);
        return;
    }
    inTransaction([&] {
        for (const QString& statement : embeddedStatements) {
            execute(statement);
        }
    });
}

void DbConnection::beginTransaction()
{
    mInTransaction = true;
    if (!mEmbedded) {
        // Begun and ended by statements: switching the driver's autocommit off and on
        // again around a commit costs a round trip more.
        execute(QStringLiteral("BEGIN TRANSACTION"));
        return;
    }
    // A plain BEGIN reads first and asks for the write lock only at its first write;
    // when another program holds that lock then, the engine fails at once instead of
    // waiting. Taking the lock at the start lets the busy wait apply.
    QSqlQuery begin(mDatabase);
    if (!begin.exec(QStringLiteral("BEGIN IMMEDIATE"))) {
        fail(begin.lastError());
    }
}

void DbConnection::commit()
{
    if (!mEmbedded) {
        execute(QStringLiteral("COMMIT TRANSACTION"));
    } else if (!mDatabase.commit()) {
        fail(mDatabase.lastError());
    }
    mInTransaction = false;
}

void DbConnection::rollback()
{
    // A connection whose work was taken back is not handed on.
    mClean = false;
    if (mEmbedded) {
        mDatabase.rollback();
        return;
    }
    try {
        execute(QStringLiteral("IF @@TRANCOUNT > 0 ROLLBACK TRANSACTION"));
    } catch (const std::exception&) {
        // The connection is closed with whatever it still holds, which the server
        // then takes back itself.
    }
}

long DbConnection::errorNumber(const QSqlError& error)
{
    bool ok = false;
    const long number = error.nativeErrorCode().toLong(&ok);
    return ok && number != 0 ? number : ProviderFailure;
}

void DbConnection::raise(const QSqlError& error, const QString& context)
{
    QString description = error.databaseText().trimmed();
    if (description.isEmpty()) {
        description = error.driverText().trimmed();
    }
    if (!context.isEmpty()) {
        description = context + QStringLiteral(": ") + description;
    }
    const QString source =
        error.driverText().isEmpty() ? QStringLiteral("Database") : error.driverText().trimmed();
    throw MigrationError(errorNumber(error), description, source);
}

namespace {

// The engine's primary result codes that come from the database file itself.
constexpr int EmbeddedBusy = 5;
constexpr int EmbeddedReadOnly = 8;
constexpr int EmbeddedCannotOpen = 14;
constexpr int EmbeddedNotADatabase = 26;

} // namespace

void DbConnection::fail(const QSqlError& error) const
{
    mClean = false;
    if (!mEmbedded) {
        raise(error);
    }
    bool ok = false;
    const int code = error.nativeErrorCode().toInt(&ok) & 0xFF;
    const QString engineText = error.databaseText().trimmed();
    QString description;
    switch (ok ? code : -1) {
    case EmbeddedBusy:
        description = QStringLiteral("The database %1 is in use by another program, which keeps "
                                     "it locked; waited %2 seconds for it. Try again when that "
                                     "program has finished (%3)")
                          .arg(mFile)
                          .arg(EngineSettings::giEmbeddedBusyTimeout / 1000.0)
                          .arg(engineText);
        break;
    case EmbeddedReadOnly:
    case EmbeddedCannotOpen: {
        // The engine keeps a journal beside the file while it writes, so a folder that
        // may not be written to stops a write as surely as a read-only file.
        const QString why = FileWriting::WhyNotWritable(mFile, true);
        if (!why.isEmpty()) {
            description =
                QStringLiteral("The database file %1 %2 (%3)").arg(mFile, why, engineText);
        }
        break;
    }
    case EmbeddedNotADatabase:
        description = QStringLiteral("The file %1 is not a database (%2)").arg(mFile, engineText);
        break;
    default:
        break;
    }
    if (description.isEmpty()) {
        raise(error);
    }
    throw MigrationError(errorNumber(error), description, QStringLiteral("SQLite"));
}

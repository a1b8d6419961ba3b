#pragma once

#include <QList>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QString>
#include <QStringList>
#include <QVariant>

class QSqlError;

// One open connection, made from an OLE DB style connection string and closed when
// the object goes out of scope: every database operation makes its own. A Data
// Source "sqlite:<folder>" opens <folder>/<Initial Catalog>.sqlite on the embedded
// engine; anything else is a SQL Server reached over ODBC.
// Every failure is thrown as a MigrationError with the driver's number and text.
class DbConnection
{
public:
    enum class Mode
    {
        OpenExisting,
        CreateIfMissing
    };

    // The provider's generic failure number, used when the driver names none.
    static constexpr long ProviderFailure = -2147467259;

    explicit DbConnection(const QString& connectionString, Mode mode = Mode::OpenExisting);
    ~DbConnection();
    DbConnection(const DbConnection&) = delete;
    DbConnection& operator=(const DbConnection&) = delete;

    bool isEmbedded() const { return mEmbedded; }

    // Runs one statement that returns no rows; positional parameters bind to "?".
    void execute(const QString& sql, const QVariantList& parameters = {});
    // Runs one statement and returns all of its rows.
    QList<QSqlRecord> select(const QString& sql, const QVariantList& parameters = {});
    // Runs one statement and returns the first column of its first row as a whole
    // number (null without a row). On SQL Server this and execute with parameters go
    // through OdbcDirect: one round trip where the Qt driver takes two.
    QVariant number(const QString& sql, const QVariantList& parameters = {});
    // Runs one statement and tells whether it returns at least one row, reading no more.
    bool hasRow(const QString& sql);
    // A statement prepared once and run many times, forward-only like every query
    // here: on SQL Server a statement that is not would be wrapped in a server cursor,
    // one more round trip per run, and some servers refuse an INSERT sent that way.
    QSqlQuery prepare(const QString& sql);
    // Runs a batch: on SQL Server the text is sent whole; on the embedded engine its
    // counterpart statements run one after the other in one transaction.
    void executeBatch(const QString& sqlServerText, const QStringList& embeddedStatements);

    // On the embedded engine the transaction takes the write lock at once, so that
    // it waits for another program's lock instead of failing halfway.
    void beginTransaction();
    void commit();
    void rollback();
    // Runs work in one transaction: committed when it returns, rolled back when it throws.
    template <typename Work> void inTransaction(Work&& work)
    {
        beginTransaction();
        try {
            work();
        } catch (...) {
            rollback();
            throw;
        }
        commit();
    }

    QSqlDatabase& database() { return mDatabase; }

    // The number and text of a driver failure, as the wizard reports it.
    static long errorNumber(const QSqlError& error);
    [[noreturn]] static void raise(const QSqlError& error, const QString& context = QString());
    // As raise, but a failure of the embedded engine that comes from its file (locked
    // by another program, read-only, not a database) says so and names the file.
    [[noreturn]] void fail(const QSqlError& error) const;

private:
    // Prepares and runs one statement on query, binding the positional parameters.
    void run(QSqlQuery& query, const QString& sql, const QVariantList& parameters);
    // Reads what a SQL Server batch still has to say after the result in use.
    void readRemainingResults(QSqlQuery& query);

    QString mName;
    QSqlDatabase mDatabase;
    bool mEmbedded = false;
    QString mFile;
    // Whether the connection may be handed to the next operation (ConnectionReuse):
    // no failure met, no transaction left open.
    mutable bool mClean = true;
    bool mInTransaction = false;
};

#pragma once

#include <QSqlRecord>
#include <QTemporaryDir>
#include <QTest>
#include <QVariantList>
#include <memory>

// The engines every database test runs on: the embedded one always, and a SQL Server
// when the environment names one:
//
//   VARNEL_TEST_SQLSERVER=host,port            the server (required)
//   VARNEL_TEST_SQLSERVER_LOGIN=sa_test        a login that may create databases
//   VARNEL_TEST_SQLSERVER_PASSWORD=TestPass123 its password
//
// (login and password default to those of ../shared/tools/tsql-server). A _data
// function adds the column "engine" first (addColumn) and one row per engine (newRows,
// or rows without columns of its own); the test makes its databases on the row's
// engine with TestDatabase.
namespace Engines {

inline const QString Embedded = QStringLiteral("embedded");
inline const QString SqlServer = QStringLiteral("sqlserver");

// host,port as named, and the login to use there.
inline QString sqlServerAddress()
{
    return qEnvironmentVariable("VARNEL_TEST_SQLSERVER").trimmed();
}
inline QString sqlServerLogin()
{
    return qEnvironmentVariable("VARNEL_TEST_SQLSERVER_LOGIN", QStringLiteral("sa_test"));
}
inline QString sqlServerPassword()
{
    return qEnvironmentVariable("VARNEL_TEST_SQLSERVER_PASSWORD", QStringLiteral("TestPass123"));
}
inline bool sqlServerNamed()
{
    return !sqlServerAddress().isEmpty();
}
// "embedded", then "sqlserver" when VARNEL_TEST_SQLSERVER is set.
inline QStringList available()
{
    return sqlServerNamed() ? QStringList{Embedded, SqlServer} : QStringList{Embedded};
}
// A connection string to a database of the named server (SQL login).
QString sqlServerConnectionString(const QString& database);

// Runs a statement that changes the server's catalog (CREATE DATABASE, CREATE LOGIN,
// ...) on master. CTest runs two test programs at once, and the test server refuses
// two such changes at the same moment ("tuple concurrently updated"); the statement
// is then run again.
void executeOnMaster(const QString& sql);

// In a _data function: the QString column "engine", before the test's own columns.
inline void addColumn()
{
    QTest::addColumn<QString>("engine");
}
// In a _data function: one row per available engine, named "<engine>: <name>" (or
// only the engine without a name), holding the engine and then the values in the
// order of the columns.
template <typename... Values> void newRows(const char* name, const Values&... values)
{
    for (const QString& engine : available()) {
        const QByteArray row =
            (name && *name ? engine + QStringLiteral(": ") + QString::fromUtf8(name) : engine)
                .toUtf8();
        ((QTest::newRow(row.constData()) << engine) << ... << values);
    }
}
// In a _data function of a test without columns of its own: one row per engine.
inline void rows()
{
    addColumn();
    newRows("");
}

} // namespace Engines

// A fresh, empty database for one test on one engine, gone when the object is. On
// the embedded engine: a temporary folder, where the file <name>.sqlite is made by
// whatever writes the database first (a builder, or make()). On SQL Server: a new
// database with a name of its own (the given name, the process ID and a counter,
// in lower case), dropped afterwards with every session still connected to it (the
// ODBC driver manager keeps closed connections in its pool).
class TestDatabase
{
public:
    explicit TestDatabase(const QString& engine, const QString& name = QStringLiteral("Varnel"));
    ~TestDatabase();
    TestDatabase(const TestDatabase&) = delete;
    TestDatabase& operator=(const TestDatabase&) = delete;

    bool isEmbedded() const { return mEngine == Engines::Embedded; }
    // The database's name as the connection string names it.
    QString name() const { return mName; }
    QString connectionString() const { return mConnectionString; }
    // A connection string to another database of the same server (or folder), one
    // that this object does not own, such as "master" or one that does not exist.
    QString connectionStringOf(const QString& database) const;

    // Runs statements, making the embedded file when it is not there yet.
    void make(const QStringList& statements) const;
    void execute(const QString& sql, const QVariantList& parameters = {}) const;
    QList<QSqlRecord> rows(const QString& sql, const QVariantList& parameters = {}) const;
    // The first column of the first row, or an invalid value without rows.
    QVariant scalar(const QString& sql, const QVariantList& parameters = {}) const;
    // The names of its tables, sorted.
    QStringList tables() const;

private:
    QString mEngine;
    QString mName;
    QString mConnectionString;
    std::unique_ptr<QTemporaryDir> mFolder;
};

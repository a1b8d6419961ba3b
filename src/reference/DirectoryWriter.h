#pragma once

#include <QHash>
#include <QList>
#include <QPair>
#include <QSqlQuery>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantList>
#include <memory>

class DbConnection;
class VariantTable;

// Writes users, services and stores into a Directory over one open connection,
// inside the caller's transaction. IDs are the highest one in the table plus one,
// read once per table and counted on from there, so the caller must hold its
// transaction until it commits. Statements are prepared once and reused, which
// lets one writer fill tens of thousands of users quickly.
class DirectoryWriter
{
public:
    explicit DirectoryWriter(DbConnection& connection);
    ~DirectoryWriter();
    DirectoryWriter(const DirectoryWriter&) = delete;
    DirectoryWriter& operator=(const DirectoryWriter&) = delete;

    // The next free ID of a table.
    int nextID(const QString& table, const QString& idColumn);
    // On SQL Server, reads the next free IDs of several tables (table, ID column) in
    // one statement, one round trip instead of one per table; nextID then counts on
    // from them. The embedded engine reads them table by table.
    void readNextIDs(const QList<QPair<QString, QString>>& tables);

    // Whether a directory user other than exceptUserID (0: none) has this login ID,
    // compared as the server compares it: letter case ignored in every alphabet,
    // trailing blanks ignored ("ÉMILE" is "émile", "eve " is "eve"). On SQL Server the
    // column's collation does that; the embedded column is NOCASE (ASCII letters
    // only, which any SQLite tool understands), so there the CI_AS collation of
    // EmbeddedCollations decides, after the column's index has narrowed the
    // candidates to the login IDs that begin with the same ASCII characters.
    bool loginIDTaken(const QString& loginID, int exceptUserID = 0);
    // Raises the unique-key failure when the login ID is taken (embedded engine only:
    // the server's unique constraint raises its own).
    void refuseTakenLoginID(const QString& loginID, int exceptUserID = 0);

    // A new user from its field array (positions 1 to 18) and its service entries;
    // returns the new user ID.
    int insertUser(const QVariantList& userFields, const QList<QVariantList>& services);
    // A new store from its record (1 name, 2 version, 3 description) and settings
    // (0 name, 1 kind, 3 value per setting); returns the new store ID.
    int insertStore(const VariantTable& storeRecord, const VariantTable& settings);

    // Text for a column that holds no null: a null value becomes the empty text.
    static QString text(const QVariant& value);
    // Refuses a user field array that the Directory cannot hold as it is: a text
    // longer than its column, a NUL in any text, a control character in the login
    // ID, a full name longer than the services' display name. Null positions are
    // not checked (an update leaves them as they are). The error names the field.
    static void checkUserFields(const QVariantList& userFields);
    // The fwtUser column of each position of a user field array, 0 to 18.
    static const QStringList& userColumns();
    // A column value read back as the field array carries it (flags as Booleans).
    static QVariant userFieldValue(int position, const QVariant& columnValue);

private:
    QSqlQuery& prepared(const QString& key, const QString& sql);
    void run(QSqlQuery& query, const QVariantList& values);
    // Runs the statement prepared under key (embedded engine), or on SQL Server sends
    // it with its values in one call.
    void runPrepared(const QString& key, const QString& sql, const QVariantList& values);
    // Inserts rows of `columns` values each, several rows per statement.
    void insertRows(const QString& insertText, int columns, const QVariantList& values);

    DbConnection& mConnection;
    QHash<QString, int> mNextIDs;
    QHash<QString, std::shared_ptr<QSqlQuery>> mQueries;
};

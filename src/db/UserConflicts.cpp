#include "db/UserConflicts.h"

#include "db/AdministrativeDBCon.h"
#include "db/AdministrativeSql.h"
#include "db/DbConnection.h"
#include "db/VarnelSql.h"
#include "frame/RecordKeys.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <algorithm>
#include <optional>
#include <utility>

namespace AdministrativeDBCon {

namespace {

QString doubleQuotes(QString text)
{
    return text.replace(QLatin1Char('\''), QStringLiteral("''"));
}

// Placeholders are replaced one after the other, case-sensitively; the name with
// "'" doubled, the login ID as it stands.
QString fillUserRow(const QString& rowTemplate, const WorkingUserRow& row)
{
    QString text = rowTemplate;
    text.replace(QStringLiteral("<UserID>"), QString::number(row.userID), Qt::CaseSensitive);
    text.replace(QStringLiteral("<UserName>"), doubleQuotes(row.name), Qt::CaseSensitive);
    text.replace(QStringLiteral("<LoginID>"), row.loginID, Qt::CaseSensitive);
    return text;
}

QString fillSortRow(const QString& rowTemplate, const QString& name, int index)
{
    QString text = rowTemplate;
    text.replace(QStringLiteral("<UserName>"), name, Qt::CaseSensitive);
    text.replace(QStringLiteral("<Index>"), QString::number(index), Qt::CaseSensitive);
    return text;
}

// Two names the sort table holds as equal: letter case and trailing blanks do not
// count, as in its collation.
bool sameSortName(QString left, QString right)
{
    while (left.endsWith(QLatin1Char(' '))) {
        left.chop(1);
    }
    while (right.endsWith(QLatin1Char(' '))) {
        right.chop(1);
    }
    return left.compare(right, Qt::CaseInsensitive) == 0;
}

// The rows of the sort as (name, index), equal names in the order of their index:
// SQL Server sorts by the name alone and leaves equal names in an order of its own,
// the embedded engine sorts them by the index, so both give the same report.
QList<std::pair<QString, int>> sortedRows(const QList<QSqlRecord>& rows)
{
    QList<std::pair<QString, int>> sorted;
    sorted.reserve(rows.size());
    for (const QSqlRecord& row : rows) {
        sorted.append({row.value(QStringLiteral("UserName")).toString(),
                       row.value(QStringLiteral("Index")).toInt()});
    }
    for (qsizetype first = 0; first < sorted.size();) {
        qsizetype end = first + 1;
        while (end < sorted.size() && sameSortName(sorted.at(first).first, sorted.at(end).first)) {
            ++end;
        }
        std::sort(sorted.begin() + first, sorted.begin() + end,
                  [](const auto& a, const auto& b) { return a.second < b.second; });
        first = end;
    }
    return sorted;
}

// Filled statements joined by one blank, without a trailing one.
QString joinStatements(const QStringList& statements)
{
    return statements.join(QLatin1Char(' '));
}

// Rows of `columns` values each into the embedded engine, InsertRowsPerStatement
// rows per statement with every value bound, so that no value is read as SQL. The
// statement for a full set of rows is prepared once.
void insertBound(DbConnection& connection, const QString& head, int columns,
                 const QVariantList& values)
{
    const int perStatement = AdministrativeSql::InsertRowsPerStatement;
    const int rows = static_cast<int>(values.size() / columns);
    const QString tuple = QLatin1Char('(') +
                          QStringList(columns, QStringLiteral("?")).join(QLatin1Char(',')) +
                          QLatin1Char(')');
    const auto statement = [&](int count) {
        return connection.prepare(head + QStringList(count, tuple).join(QLatin1Char(',')));
    };
    std::optional<QSqlQuery> full;
    for (int first = 0; first < rows; first += perStatement) {
        const int count = std::min(perStatement, rows - first);
        std::optional<QSqlQuery> rest;
        if (count == perStatement && !full) {
            full.emplace(statement(count));
        } else if (count < perStatement) {
            rest.emplace(statement(count));
        }
        QSqlQuery& query = count == perStatement ? *full : *rest;
        const qsizetype offset = qsizetype(first) * columns;
        for (int i = 0; i < count * columns; ++i) {
            query.bindValue(i, values.at(offset + i));
        }
        if (!query.exec()) {
            DbConnection::raise(query.lastError());
        }
    }
}

QStringList filledRows(const QString& rowTemplate, const QList<WorkingUserRow>& rows)
{
    QStringList texts;
    texts.reserve(rows.size());
    for (const WorkingUserRow& row : rows) {
        texts.append(fillUserRow(rowTemplate, row));
    }
    return texts;
}

void insertUsers(DbConnection& connection, const QList<WorkingUserRow>& rows, bool source)
{
    if (connection.isEmbedded()) {
        QVariantList values;
        values.reserve(rows.size() * 3);
        for (const WorkingUserRow& row : rows) {
            values << row.userID << row.name << row.loginID;
        }
        connection.inTransaction([&] {
            insertBound(connection,
                        source ? AdministrativeSql::InsertVarnelUsersSqlite
                               : AdministrativeSql::InsertZephrinUsersSqlite,
                        3, values);
            connection.execute(source ? AdministrativeSql::IndexVarnelUsersSqlite
                                      : AdministrativeSql::IndexZephrinUsersSqlite);
        });
    } else if (!rows.isEmpty()) {
        connection.executeBatch(
            source ? VarnelUsersInsertBatch(rows) : ZephrinUsersInsertBatch(rows), {});
    }
}

// The source users as GetAllUsers reads them (same query, same order), taken straight
// into rows: a check of tens of thousands of users needs no record per user.
QList<WorkingUserRow> readVarnelUsers(DbConnection& connection)
{
    QSqlQuery query(connection.database());
    query.setForwardOnly(true);
    if (!query.exec(connection.isEmbedded() ? VarnelSql::AllUsersSqlite : VarnelSql::AllUsers)) {
        DbConnection::raise(query.lastError());
    }
    const QSqlRecord columns = query.record();
    const int userID = columns.indexOf(QStringLiteral("UserID"));
    const int givenName = columns.indexOf(QStringLiteral("GivenName"));
    const int familyName = columns.indexOf(QStringLiteral("FamilyName"));
    const int loginID = columns.indexOf(QStringLiteral("LoginID"));
    QList<WorkingUserRow> rows;
    while (query.next()) {
        WorkingUserRow row;
        row.userID = query.value(userID).toInt();
        row.name = query.value(givenName).toString() + QLatin1Char(' ') +
                   query.value(familyName).toString();
        row.loginID = query.value(loginID).toString();
        rows.append(row);
    }
    if (query.lastError().isValid()) {
        DbConnection::raise(query.lastError());
    }
    return rows;
}

} // namespace

QList<WorkingUserRow> VarnelUserRows(const CollectionPtr& sourceUsers)
{
    QList<WorkingUserRow> rows;
    if (!sourceUsers) {
        return rows;
    }
    rows.reserve(sourceUsers->count());
    for (int i = 1; i <= sourceUsers->count(); ++i) {
        const CollectionPtr user = sourceUsers->collection(i);
        WorkingUserRow row;
        row.userID = user->item(RecordKeys::UserID).toInt();
        row.name = user->item(RecordKeys::FirstName).toString() + QLatin1Char(' ') +
                   user->item(RecordKeys::LastName).toString();
        row.loginID = user->item(RecordKeys::LoginID).toString();
        rows.append(row);
    }
    return rows;
}

QList<WorkingUserRow> ZephrinUserRows(const CollectionPtr& directoryUsers)
{
    QList<WorkingUserRow> rows;
    if (!directoryUsers || directoryUsers->isEmpty()) {
        return rows;
    }
    const CollectionPtr ids = directoryUsers->collection(RecordKeys::IDs);
    const CollectionPtr names = directoryUsers->collection(RecordKeys::Names);
    const CollectionPtr loginIDs = directoryUsers->collection(RecordKeys::LoginIDs);
    rows.reserve(ids->count());
    for (int i = 1; i <= ids->count(); ++i) {
        WorkingUserRow row;
        row.userID = ids->item(i).toInt();
        row.name = names->item(i).toString();
        row.loginID = loginIDs->item(i).toString();
        rows.append(row);
    }
    return rows;
}

QString VarnelUsersInsertBatch(const QList<WorkingUserRow>& rows)
{
    return joinStatements(filledRows(AdministrativeSql::InsertVarnelUser, rows));
}

QString ZephrinUsersInsertBatch(const QList<WorkingUserRow>& rows)
{
    return joinStatements(filledRows(AdministrativeSql::InsertZephrinUser, rows));
}

QStringList SortNames(const CollectionPtr& users)
{
    QStringList names;
    if (!users) {
        return names;
    }
    names.reserve(users->count());
    for (int i = 1; i <= users->count(); ++i) {
        const CollectionPtr user = users->collection(i);
        names.append(user->item(RecordKeys::Lastname).toString() + QStringLiteral(", ") +
                     user->item(RecordKeys::Firstname).toString());
    }
    return names;
}

QString SortTableInsertBatch(const QStringList& names)
{
    QStringList statements;
    statements.reserve(names.size());
    for (int i = 0; i < names.size(); ++i) {
        statements.append(fillSortRow(AdministrativeSql::InsertSortRow, names.at(i), i + 1));
    }
    return joinStatements(statements);
}

CollectionPtr CheckForUserConflicts(const QString& sourceConnectionString,
                                    const CollectionPtr& directoryUsers)
{
    const QList<WorkingUserRow> zephrinRows = ZephrinUserRows(directoryUsers);
    DbConnection connection(sourceConnectionString);
    const QList<WorkingUserRow> varnelRows = readVarnelUsers(connection);
    CreateVarnelUsersTable(connection);
    insertUsers(connection, varnelRows, true);
    CreateZephrinUsersTable(connection);
    insertUsers(connection, zephrinRows, false);

    const QList<QSqlRecord> pairs =
        connection.select(connection.isEmbedded() ? AdministrativeSql::SelectConflictsSqlite
                                                  : AdministrativeSql::SelectConflicts);
    const CollectionPtr vaUserIDs = Collection::create();
    const CollectionPtr zeUserIDs = Collection::create();
    const CollectionPtr vaNames = Collection::create();
    const CollectionPtr zeNames = Collection::create();
    const CollectionPtr loginIDs = Collection::create();
    for (const QSqlRecord& pair : pairs) {
        const int vaUserID = pair.value(QStringLiteral("VaUserID")).toInt();
        const QString key = QString::number(vaUserID);
        vaUserIDs->add(vaUserID, key);
        zeUserIDs->add(pair.value(QStringLiteral("ZeUserID")).toInt(), key);
        vaNames->add(pair.value(QStringLiteral("VaName")).toString(), key);
        zeNames->add(pair.value(QStringLiteral("ZeName")).toString(), key);
        loginIDs->add(pair.value(QStringLiteral("LoginID")).toString(), key);
    }
    const CollectionPtr result = Collection::create();
    result->add(toVariant(vaUserIDs), RecordKeys::VaUserID);
    result->add(toVariant(zeUserIDs), RecordKeys::ZeUserID);
    result->add(toVariant(vaNames), RecordKeys::VaName);
    result->add(toVariant(zeNames), RecordKeys::ZeName);
    result->add(toVariant(loginIDs), RecordKeys::LoginID);

    DropVarnelUsersTable(connection);
    DropZephrinUsersTable(connection);
    return result;
}

CollectionPtr SortUsersByName(const CollectionPtr& users, const QString& connectionString)
{
    DbConnection connection(connectionString);
    connection.executeBatch(AdministrativeSql::CreateSortTable,
                            AdministrativeSql::CreateSortTableSqlite);

    const QStringList names = SortNames(users);
    const CollectionPtr sorted = Collection::create();
    if (!names.isEmpty()) {
        if (connection.isEmbedded()) {
            QVariantList values;
            values.reserve(names.size() * 2);
            for (int i = 0; i < names.size(); ++i) {
                values << names.at(i) << i + 1;
            }
            connection.inTransaction([&] {
                insertBound(connection, AdministrativeSql::InsertSortRowsSqlite, 2, values);
            });
        } else {
            connection.executeBatch(SortTableInsertBatch(names), {});
        }
        const QList<QSqlRecord> rows =
            connection.select(connection.isEmbedded() ? AdministrativeSql::SelectSortedSqlite
                                                      : AdministrativeSql::SelectSorted);
        for (const auto& [name, index] : sortedRows(rows)) {
            const QVariant record = users->item(index);
            toCollection(record)->add(name, RecordKeys::FullName);
            sorted->add(record, QString::number(sorted->count() + 1));
        }
    }

    connection.execute(connection.isEmbedded() ? AdministrativeSql::DropSortTableSqlite
                                               : AdministrativeSql::DropSortTable);
    return sorted;
}

} // namespace AdministrativeDBCon

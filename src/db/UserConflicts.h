#pragma once

#include "frame/Collection.h"

#include <QString>
#include <QStringList>

// Login-ID conflicts between the source users and the Directory users, found by a
// join of two working tables in the source database, and the sort of user records by
// name through a third working table. Neither catches failures: a failed statement or
// a duplicate key reaches the caller, and a leftover working table is dropped by the
// next call. The SQL Server texts are sent as defined, values pasted in (a "'" in a
// login ID fails the batch there); the embedded engine, which is ours, binds every
// value, so no login ID or name can add a row or break a statement.
namespace AdministrativeDBCon {

// The pairs of a source user and a Directory user with the same login ID, letter case
// ignored: five parallel lists "VaUserID", "ZeUserID", "VaName", "ZeName", "LoginID",
// each entry keyed by the decimal source user ID. directoryUsers is what
// ZephrinFunctions::GetDirectoryUsers returns for the target: "LoginIDs", "Names" and
// "IDs", parallel. A source user matching two Directory users fails on the duplicate
// key (457).
CollectionPtr CheckForUserConflicts(const QString& sourceConnectionString,
                                    const CollectionPtr& directoryUsers);

// The records of the list ordered by "Lastname, Firstname" without regard to case;
// each record gets that text under "FullName" and the result is keyed by the decimal
// output position. Equal names (case and trailing blanks aside) keep the order of the
// list on both engines. On SQL Server names go into the batch as they stand, so a "'"
// breaks it; the embedded engine binds them.
CollectionPtr SortUsersByName(const CollectionPtr& users, const QString& connectionString);

// --- The texts sent to SQL Server ---------------------------------------------------

// One working-table row. The SQL Server batch pastes it into the insert text with
// "'" doubled in the name and the login ID as it stands; the embedded engine binds
// the values.
struct WorkingUserRow
{
    int userID = 0;
    QString name;
    QString loginID;
};

// From GetAllUsers records: name = FirstName + " " + LastName. The check itself reads
// the same query's rows straight into WorkingUserRow, without a record per user.
QList<WorkingUserRow> VarnelUserRows(const CollectionPtr& sourceUsers);
// From the "IDs", "Names" and "LoginIDs" lists of the Directory users.
QList<WorkingUserRow> ZephrinUserRows(const CollectionPtr& directoryUsers);

// The insert batch: one filled INSERT per row, joined by one blank; empty without rows.
QString VarnelUsersInsertBatch(const QList<WorkingUserRow>& rows);
QString ZephrinUsersInsertBatch(const QList<WorkingUserRow>& rows);

// "Lastname" + ", " + "Firstname" of every record, in list order.
QStringList SortNames(const CollectionPtr& users);
// The insert batch of the sort table (names not quoted).
QString SortTableInsertBatch(const QStringList& names);

} // namespace AdministrativeDBCon

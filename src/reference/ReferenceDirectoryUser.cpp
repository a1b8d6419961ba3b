#include "reference/ReferenceDirectoryUser.h"

#include "db/DbConnection.h"
#include "frame/MigrationError.h"
#include "reference/DirectoryWriter.h"
#include "reference/RowTable.h"

namespace {

const QString Source = QStringLiteral("DirectoryUser");

} // namespace

QVariant ReferenceDirectoryUser::ModifyUser(const QVariantList& userFields,
                                            const QString& /*reserved*/,
                                            const QString& connectionString)
{
    const QStringList& columns = DirectoryWriter::userColumns();
    if (userFields.size() < columns.size() || userFields.at(0).isNull()) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("A user to modify needs its user ID and 19 fields"),
                             Source);
    }
    DirectoryWriter::checkUserFields(userFields);
    const int userID = userFields.at(0).toInt();
    QStringList assignments;
    QVariantList values;
    for (int position = 1; position < columns.size(); ++position) {
        const QVariant value = userFields.at(position);
        if (value.isNull()) {
            continue; // null leaves the column as it is
        }
        assignments << columns.at(position) + QStringLiteral(" = ?");
        if (value.typeId() == QMetaType::Bool) {
            values << (value.toBool() ? 1 : 0);
        } else if (value.typeId() == QMetaType::QString) {
            values << DirectoryWriter::text(value);
        } else {
            values << value.toInt();
        }
    }
    DbConnection connection(connectionString);
    connection.inTransaction([&] {
        const auto found = connection.select(
            QStringLiteral("SELECT COUNT(*) FROM fwtUser WHERE UserID = ?"), {userID});
        if (found.isEmpty() || found.first().value(0).toInt() == 0) {
            throw MigrationError(
                ErrorNumber::InvalidProcedureCall,
                QStringLiteral("There is no directory user with the ID %1").arg(userID), Source);
        }
        if (!userFields.at(8).isNull()) {
            DirectoryWriter(connection)
                .refuseTakenLoginID(DirectoryWriter::text(userFields.at(8)), userID);
        }
        if (!assignments.isEmpty()) {
            values << userID;
            connection.execute(QStringLiteral("UPDATE fwtUser SET ") +
                                   assignments.join(QStringLiteral(", ")) +
                                   QStringLiteral(" WHERE UserID = ?"),
                               values);
        }
    });
    return 0;
}

int ReferenceDirectoryUser::AddUser(const QVariantList& userFields,
                                    const QList<QVariantList>& services,
                                    const QString& /*reserved*/, const QString& connectionString)
{
    DbConnection connection(connectionString);
    int userID = 0;
    connection.inTransaction([&] {
        DirectoryWriter writer(connection);
        userID = writer.insertUser(userFields, services);
    });
    return userID;
}

QVariant ReferenceDirectoryUser::RemoveUser(int userID, const QString& /*reserved*/,
                                            const QString& connectionString)
{
    DbConnection connection(connectionString);
    connection.inTransaction([&] {
        const auto found = connection.select(
            QStringLiteral("SELECT COUNT(*) FROM fwtUser WHERE UserID = ?"), {userID});
        if (found.isEmpty() || found.first().value(0).toInt() == 0) {
            throw MigrationError(
                ErrorNumber::InvalidProcedureCall,
                QStringLiteral("There is no directory user with the ID %1").arg(userID), Source);
        }
        connection.execute(QStringLiteral("UPDATE fwtUser SET DefaultServiceID = NULL "
                                          "WHERE UserID = ?"),
                           {userID});
        connection.execute(
            QStringLiteral("DELETE FROM fwtServiceSetting WHERE ServiceID IN "
                           "(SELECT ServiceID FROM fwtService WHERE OwnerUserID = ?)"),
            {userID});
        connection.execute(QStringLiteral("DELETE FROM fwtService WHERE OwnerUserID = ?"),
                           {userID});
        connection.execute(QStringLiteral("DELETE FROM fwtUser WHERE UserID = ?"), {userID});
    });
    return 0;
}

bool ReferenceDirectoryUser::LoginIDExists(const QString& loginID, const QString& connectionString)
{
    // A login ID that the Directory could not hold is refused here as adding it would
    // be, before a server gets to fail on it in its own words.
    QVariantList fields(9);
    fields[8] = loginID;
    DirectoryWriter::checkUserFields(fields);
    DbConnection connection(connectionString);
    return DirectoryWriter(connection).loginIDTaken(loginID);
}

int ReferenceDirectoryUser::CountUsers(const QString& connectionString)
{
    DbConnection connection(connectionString);
    const auto rows = connection.select(QStringLiteral("SELECT COUNT(*) FROM fwtUser"));
    return rows.isEmpty() ? 0 : rows.first().value(0).toInt();
}

VariantTable ReferenceDirectoryUser::ListUsers(int /*a*/, int /*b*/, int userID, int /*d*/,
                                               const QString& /*reserved*/,
                                               const QString& connectionString)
{
    const QStringList& columns = DirectoryWriter::userColumns();
    DbConnection connection(connectionString);
    QString sql = QStringLiteral("SELECT ") + columns.join(QStringLiteral(", ")) +
                  QStringLiteral(" FROM fwtUser");
    QVariantList parameters;
    if (userID >= 0) {
        sql += QStringLiteral(" WHERE UserID = ?"); // -1 lists them all
        parameters << userID;
    }
    const auto rows = connection.select(sql + QStringLiteral(" ORDER BY UserID"), parameters);
    return RowTable(rows, &DirectoryWriter::userFieldValue);
}

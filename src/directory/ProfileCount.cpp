#include "db/DbConnection.h"
#include "directory/ZephrinFunctions.h"

#include <QSqlRecord>

int ZephrinFunctions::CountDirectoryProfiles(const QString& directoryConnectionString,
                                             const QString& profileName)
{
    DbConnection connection(directoryConnectionString);
    const QList<QSqlRecord> rows = connection.select(
        QStringLiteral("SELECT COUNT(*) FROM fwtDeviceProfile WHERE Name = ?"), {profileName});
    return rows.isEmpty() ? 0 : rows.first().value(0).toInt();
}

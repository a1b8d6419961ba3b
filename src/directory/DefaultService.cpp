#include "db/DbConnection.h"
#include "directory/ZephrinFunctions.h"

QString ZephrinFunctions::SetDefaultServiceSql(int userID)
{
    const QString id = QString::number(userID);
    return QStringLiteral("UPDATE fwtUser ") + QStringLiteral("SET DefaultServiceID = ") +
           QStringLiteral("(") + QStringLiteral("SELECT ServiceID ") +
           QStringLiteral("FROM fwtService ") + QStringLiteral("WHERE ApplicationID = '") +
           QLatin1String(MailServiceGuid) + QStringLiteral("' ") +
           QStringLiteral("AND OwnerUserID = ") + id + QStringLiteral(") ") +
           QStringLiteral("WHERE UserID = ") + id;
}

void ZephrinFunctions::SetDefaultService(const QString& directoryConnectionString, int userID)
{
    DbConnection connection(directoryConnectionString);
    if (connection.isEmbedded()) {
        connection.execute(QStringLiteral("UPDATE fwtUser SET DefaultServiceID = "
                                          "(SELECT ServiceID FROM fwtService "
                                          "WHERE ApplicationID = ? AND OwnerUserID = ?) "
                                          "WHERE UserID = ?"),
                           {QString::fromLatin1(MailServiceGuid), userID, userID});
    } else {
        connection.execute(SetDefaultServiceSql(userID));
    }
}

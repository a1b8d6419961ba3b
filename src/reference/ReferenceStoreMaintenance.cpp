#include "reference/ReferenceStoreMaintenance.h"

#include "db/DbConnection.h"
#include "reference/DirectoryWriter.h"
#include "reference/RowTable.h"

VariantTable ReferenceStoreMaintenance::GetStores(int which, const QString& connectionString)
{
    DbConnection connection(connectionString);
    QString sql =
        QStringLiteral("SELECT StoreID, Name, ExchangeVersion, Description FROM fwtStore");
    QVariantList parameters;
    if (which >= 0) {
        sql += QStringLiteral(" WHERE StoreID = ?"); // -1 lists them all
        parameters << which;
    }
    const auto rows = connection.select(sql + QStringLiteral(" ORDER BY StoreID"), parameters);
    return RowTable(rows);
}

QVariant ReferenceStoreMaintenance::AddStoreEntry(const VariantTable& storeRecord,
                                                  const VariantTable& settings,
                                                  const QString& /*reserved*/,
                                                  const QString& connectionString)
{
    DbConnection connection(connectionString);
    int storeID = 0;
    connection.inTransaction([&] {
        DirectoryWriter writer(connection);
        storeID = writer.insertStore(storeRecord, settings);
    });
    return storeID;
}

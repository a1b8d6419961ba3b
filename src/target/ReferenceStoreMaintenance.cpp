#include "target/ReferenceStoreMaintenance.h"

#include "db/DbConnection.h"
#include "target/DirectoryWriter.h"

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
    if (rows.isEmpty()) {
        return VariantTable();
    }
    VariantTable stores(0, 3, static_cast<int>(rows.size()));
    for (int record = 0; record < rows.size(); ++record) {
        const QSqlRecord& row = rows.at(record);
        stores.set(0, record, row.value(0).toInt());
        stores.set(1, record, row.value(1).toString());
        stores.set(2, record, row.value(2).toInt());
        stores.set(3, record, row.value(3).toString());
    }
    return stores;
}

QVariant ReferenceStoreMaintenance::AddStoreEntry(const VariantTable& storeRecord,
                                                  const VariantTable& settings,
                                                  const QString& /*reserved*/,
                                                  const QString& connectionString)
{
    DbConnection connection(connectionString);
    connection.beginTransaction();
    int storeID = 0;
    try {
        DirectoryWriter writer(connection);
        storeID = writer.insertStore(storeRecord, settings);
    } catch (...) {
        connection.rollback();
        throw;
    }
    connection.commit();
    return storeID;
}

#include "target/ReferenceDirectoryListing.h"

#include "db/DbConnection.h"

VariantTable ReferenceDirectoryListing::GetList(int /*which*/, const QString& connectionString)
{
    DbConnection connection(connectionString);
    const auto rows = connection.select(
        QStringLiteral("SELECT LanguageID, Name FROM fwtLanguage ORDER BY LanguageID"));
    if (rows.isEmpty()) {
        return VariantTable();
    }
    VariantTable list(0, 1, static_cast<int>(rows.size()));
    for (int record = 0; record < rows.size(); ++record) {
        list.set(0, record, rows.at(record).value(0).toInt());
        list.set(1, record, rows.at(record).value(1).toString());
    }
    return list;
}

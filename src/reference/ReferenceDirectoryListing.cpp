#include "reference/ReferenceDirectoryListing.h"

#include "db/DbConnection.h"
#include "reference/RowTable.h"

VariantTable ReferenceDirectoryListing::GetList(int /*which*/, const QString& connectionString)
{
    DbConnection connection(connectionString);
    const auto rows = connection.select(
        QStringLiteral("SELECT LanguageID, Name FROM fwtLanguage ORDER BY LanguageID"));
    return RowTable(rows);
}

#include "reference/ReferenceSettings.h"

#include "db/DbConnection.h"
#include "frame/MigrationError.h"

VariantTable ReferenceSettings::GetSetting(int kind, const QString& owner, const QString& name,
                                           const QString& category, const QString& connectionString)
{
    DbConnection connection(connectionString);
    const auto rows = connection.select(
        QStringLiteral("SELECT Value FROM fwtSystemSetting WHERE Category = ? AND Name = ?"),
        {category, name});
    if (rows.isEmpty()) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("The Directory has no setting \"%1\" in the category "
                                            "\"%2\" (table fwtSystemSetting)")
                                 .arg(name, category),
                             QStringLiteral("Settings"));
    }
    VariantTable setting(0, 4, 1);
    setting.set(0, 0, kind);
    setting.set(1, 0, owner);
    setting.set(2, 0, name);
    setting.set(3, 0, category);
    setting.set(4, 0, rows.first().value(0).toString());
    return setting;
}

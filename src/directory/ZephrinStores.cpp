#include "directory/ComponentFactory.h"
#include "directory/DirectoryErrors.h"
#include "directory/TargetComponents.h"
#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"

bool ZephrinFunctions::StoreExists(QString& serverName, const QString& directoryConnectionString)
{
    try {
        const auto storeMaint = Components::factory().CreateStoreMaintenance();
        const VariantTable stores = storeMaint->GetStores(-1, directoryConnectionString);
        serverName = serverName.toLower();
        if (!stores.hasBounds() || stores.isOneDimensional()) {
            return false;
        }
        for (int store = stores.lowerRecord(); store <= stores.upperRecord(); ++store) {
            if (stores.at(1, store).toString().toLower() == serverName) {
                return true;
            }
        }
        return false;
    } catch (const std::exception& failure) {
        long number = 0;
        QString description;
        DirectoryErrors::HandBack(failure, number, description);
        QString source;
        if (const auto* error = dynamic_cast<const MigrationError*>(&failure)) {
            source = error->source();
        }
        throw MigrationError(number,
                             QStringLiteral("VarnelMigrationTool.ZephrinFunctions.") +
                                 QStringLiteral("StoreExists - ") + description,
                             source);
    }
}

void ZephrinFunctions::AddStore(const QString& serverName, int exchangeVersion,
                                const QString& description,
                                const QString& directoryConnectionString)
{
    VariantTable storeRecord = MakeNullTable(0, 3, 0);
    storeRecord.set(1, serverName);
    storeRecord.set(3, description);
    storeRecord.set(2, exchangeVersion);

    // The store's one setting keeps name, kind and value in fields 0, 1 and 3.
    VariantTable storeSettings = MakeNullTable(0, 3, 1);
    storeSettings.set(0, 0, QStringLiteral("exchangeversion"));
    storeSettings.set(3, 0, exchangeVersion);
    storeSettings.set(1, 0, QStringLiteral("store"));

    const auto storeMaint = Components::factory().CreateStoreMaintenance();
    storeMaint->AddStoreEntry(storeRecord, storeSettings, QString(), directoryConnectionString);
}

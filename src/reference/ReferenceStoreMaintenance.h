#pragma once

#include "directory/TargetComponents.h"

// The store-maintenance component of the reference installation, over fwtStore and
// fwtStoreSetting. A store list has the fields 0 store ID, 1 name, 2 Exchange
// version, 3 description, one record per store by ascending ID; without stores
// it has no bounds.
class ReferenceStoreMaintenance : public StoreMaintenanceComponent
{
public:
    VariantTable GetStores(int which, const QString& connectionString) override;
    // Store names are unique without regard to case; a second one is refused.
    QVariant AddStoreEntry(const VariantTable& storeRecord, const VariantTable& settings,
                           const QString& reserved, const QString& connectionString) override;
};

#pragma once

#include "directory/TargetComponents.h"

// The settings component of the reference installation, over fwtSystemSetting
// (Category, Name, Value). A setting comes back as one record of the fields
// 0 kind, 1 owner, 2 name, 3 category, 4 value.
class ReferenceSettings : public SettingsComponent
{
public:
    // Fails with a clear text when the Directory does not hold the setting.
    VariantTable GetSetting(int kind, const QString& owner, const QString& name,
                            const QString& category, const QString& connectionString) override;
};

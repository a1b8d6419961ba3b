#pragma once

#include "directory/TargetComponents.h"

// The two profile components of the reference installation: A keeps the profile
// (fwtDeviceProfile), B its bearer settings and change flags
// (fwtDeviceProfileSetting, fwtDeviceProfileChangeFlag), each in the order given.
class ReferenceProfileA : public ProfileComponentA
{
public:
    int AddProfile(const QString& name, const QString& description, const QString& urlValue,
                   const QString& wapProxy, const QString& bearer, const QString& provisioningMode,
                   const QString& connectionMode, const QString& connectionString) override;
    void RemoveProfile(int profileID, const QString& connectionString) override;
};

class ReferenceProfileB : public ProfileComponentB
{
public:
    // Replaces what the profile held before; the profile must exist.
    void SetBearerSettings(int profileID, const QStringList& fieldNames,
                           const QStringList& fieldValues, const QStringList& changeFlagNames,
                           const QStringList& changeFlagValues,
                           const QString& connectionString) override;
};

#pragma once

#include "directory/ComponentFactory.h"

#include <QString>

// The components of the reference installation, over the Directory database and
// the INI configuration file.
class TargetComponentFactory : public ComponentFactory
{
public:
    explicit TargetComponentFactory(const QString& configurationPath);

    std::unique_ptr<ConfigurationComponent> CreateConfiguration() override;

    QString configurationPath() const { return mConfigurationPath; }

private:
    QString mConfigurationPath;
};

#include "target/TargetComponentFactory.h"

#include "target/IniConfiguration.h"

TargetComponentFactory::TargetComponentFactory(const QString& configurationPath)
    : mConfigurationPath(configurationPath)
{
}

std::unique_ptr<ConfigurationComponent> TargetComponentFactory::CreateConfiguration()
{
    return std::make_unique<IniConfiguration>(mConfigurationPath);
}

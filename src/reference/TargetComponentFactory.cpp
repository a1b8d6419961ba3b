#include "reference/TargetComponentFactory.h"

#include "reference/IniConfiguration.h"
#include "reference/ReferenceDirectoryListing.h"
#include "reference/ReferenceDirectoryUser.h"
#include "reference/ReferenceMail.h"
#include "reference/ReferencePasswordEncoder.h"
#include "reference/ReferenceProfiles.h"
#include "reference/ReferenceSettings.h"
#include "reference/ReferenceStoreMaintenance.h"
#include "reference/ReferenceTemplate.h"

TargetComponentFactory::TargetComponentFactory(const QString& configurationPath)
    : mConfigurationPath(configurationPath)
{
}

std::unique_ptr<ConfigurationComponent> TargetComponentFactory::CreateConfiguration()
{
    return std::make_unique<IniConfiguration>(mConfigurationPath);
}

std::unique_ptr<MailComponent> TargetComponentFactory::CreateMail()
{
    return std::make_unique<ReferenceMail>(mConfigurationPath);
}

std::unique_ptr<DirectoryUserComponent> TargetComponentFactory::CreateDirectoryUser()
{
    return std::make_unique<ReferenceDirectoryUser>();
}

std::unique_ptr<StoreMaintenanceComponent> TargetComponentFactory::CreateStoreMaintenance()
{
    return std::make_unique<ReferenceStoreMaintenance>();
}

std::unique_ptr<DirectoryListingComponent> TargetComponentFactory::CreateDirectoryListing()
{
    return std::make_unique<ReferenceDirectoryListing>();
}

std::unique_ptr<PasswordEncoderComponent> TargetComponentFactory::CreatePasswordEncoder()
{
    return std::make_unique<ReferencePasswordEncoder>(
        ReferencePasswordEncoder::ConfiguredIterations(mConfigurationPath));
}

std::unique_ptr<TemplateComponent> TargetComponentFactory::CreateTemplate()
{
    return std::make_unique<ReferenceTemplate>();
}

std::unique_ptr<SettingsComponent> TargetComponentFactory::CreateSettings()
{
    return std::make_unique<ReferenceSettings>();
}

std::unique_ptr<ProfileComponentA> TargetComponentFactory::CreateProfileA()
{
    return std::make_unique<ReferenceProfileA>();
}

std::unique_ptr<ProfileComponentB> TargetComponentFactory::CreateProfileB()
{
    return std::make_unique<ReferenceProfileB>();
}

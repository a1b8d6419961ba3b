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
    std::unique_ptr<MailComponent> CreateMail() override;
    std::unique_ptr<DirectoryUserComponent> CreateDirectoryUser() override;
    std::unique_ptr<StoreMaintenanceComponent> CreateStoreMaintenance() override;
    std::unique_ptr<DirectoryListingComponent> CreateDirectoryListing() override;
    std::unique_ptr<PasswordEncoderComponent> CreatePasswordEncoder() override;
    std::unique_ptr<TemplateComponent> CreateTemplate() override;
    std::unique_ptr<SettingsComponent> CreateSettings() override;
    std::unique_ptr<ProfileComponentA> CreateProfileA() override;
    std::unique_ptr<ProfileComponentB> CreateProfileB() override;

    QString configurationPath() const { return mConfigurationPath; }

private:
    QString mConfigurationPath;
};

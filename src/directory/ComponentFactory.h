#pragma once

#include <memory>

class ConfigurationComponent;
class DirectoryUserComponent;
class StoreMaintenanceComponent;
class DirectoryListingComponent;
class PasswordEncoderComponent;
class TemplateComponent;
class MailComponent;
class SettingsComponent;
class ProfileComponentA;
class ProfileComponentB;

// Creates the target system's components, one per call; the caller releases the
// component when it returns. A component that cannot be created throws a
// MigrationError: number 70 when the account may not create it, 429 otherwise.
// Every creation fails with 429 unless a factory overrides it.
class ComponentFactory
{
public:
    virtual ~ComponentFactory() = default;
    virtual std::unique_ptr<ConfigurationComponent> CreateConfiguration();
    virtual std::unique_ptr<DirectoryUserComponent> CreateDirectoryUser();
    virtual std::unique_ptr<StoreMaintenanceComponent> CreateStoreMaintenance();
    virtual std::unique_ptr<DirectoryListingComponent> CreateDirectoryListing();
    virtual std::unique_ptr<PasswordEncoderComponent> CreatePasswordEncoder();
    virtual std::unique_ptr<TemplateComponent> CreateTemplate();
    virtual std::unique_ptr<MailComponent> CreateMail();
    virtual std::unique_ptr<SettingsComponent> CreateSettings();
    virtual std::unique_ptr<ProfileComponentA> CreateProfileA();
    virtual std::unique_ptr<ProfileComponentB> CreateProfileB();
};

namespace Components {
// The installed factory; before one is installed every creation fails with 429.
ComponentFactory& factory();
void setFactory(std::shared_ptr<ComponentFactory> factory);
} // namespace Components

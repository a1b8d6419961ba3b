#include "directory/ComponentFactory.h"

#include "directory/ConfigurationComponent.h"
#include "directory/TargetComponents.h"
#include "frame/MigrationError.h"

namespace {

[[noreturn]] void cannotCreate()
{
    throw MigrationError(ErrorNumber::CannotCreateComponent,
                         QStringLiteral("ActiveX component can't create object"),
                         QStringLiteral("Components"));
}

std::shared_ptr<ComponentFactory>& current()
{
    static std::shared_ptr<ComponentFactory> factory = std::make_shared<ComponentFactory>();
    return factory;
}

} // namespace

std::unique_ptr<ConfigurationComponent> ComponentFactory::CreateConfiguration()
{
    cannotCreate();
}
std::unique_ptr<DirectoryUserComponent> ComponentFactory::CreateDirectoryUser()
{
    cannotCreate();
}
std::unique_ptr<StoreMaintenanceComponent> ComponentFactory::CreateStoreMaintenance()
{
    cannotCreate();
}
std::unique_ptr<DirectoryListingComponent> ComponentFactory::CreateDirectoryListing()
{
    cannotCreate();
}
std::unique_ptr<PasswordEncoderComponent> ComponentFactory::CreatePasswordEncoder()
{
    cannotCreate();
}
std::unique_ptr<TemplateComponent> ComponentFactory::CreateTemplate()
{
    cannotCreate();
}
std::unique_ptr<MailComponent> ComponentFactory::CreateMail()
{
    cannotCreate();
}
std::unique_ptr<SettingsComponent> ComponentFactory::CreateSettings()
{
    cannotCreate();
}
std::unique_ptr<ProfileComponentA> ComponentFactory::CreateProfileA()
{
    cannotCreate();
}
std::unique_ptr<ProfileComponentB> ComponentFactory::CreateProfileB()
{
    cannotCreate();
}

ComponentFactory& Components::factory()
{
    return *current();
}

void Components::setFactory(std::shared_ptr<ComponentFactory> factory)
{
    current() = factory ? std::move(factory) : std::make_shared<ComponentFactory>();
}

#include "directory/ComponentFactory.h"

#include "directory/ConfigurationComponent.h"
#include "frame/MigrationError.h"

namespace {

// Stands in while no target installation is known: nothing can be created.
class NoComponents : public ComponentFactory
{
public:
    std::unique_ptr<ConfigurationComponent> CreateConfiguration() override { fail(); }

private:
    [[noreturn]] static void fail()
    {
        throw MigrationError(ErrorNumber::CannotCreateComponent,
                             QStringLiteral("ActiveX component can't create object"),
                             QStringLiteral("Components"));
    }
};

std::shared_ptr<ComponentFactory>& current()
{
    static std::shared_ptr<ComponentFactory> factory = std::make_shared<NoComponents>();
    return factory;
}

} // namespace

ComponentFactory& Components::factory()
{
    return *current();
}

void Components::setFactory(std::shared_ptr<ComponentFactory> factory)
{
    current() = factory ? std::move(factory) : std::make_shared<NoComponents>();
}

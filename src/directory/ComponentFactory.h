#pragma once

#include <memory>

class ConfigurationComponent;

// Creates the target system's components, one per call; the caller releases the
// component when it returns. A component that cannot be created throws a
// MigrationError: number 70 when the account may not create it, 429 otherwise.
class ComponentFactory
{
public:
    virtual ~ComponentFactory() = default;
    virtual std::unique_ptr<ConfigurationComponent> CreateConfiguration() = 0;
};

namespace Components {
// The installed factory; before one is installed every creation fails with 429.
ComponentFactory& factory();
void setFactory(std::shared_ptr<ComponentFactory> factory);
} // namespace Components

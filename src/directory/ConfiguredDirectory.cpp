#include "directory/ComponentFactory.h"
#include "directory/ConfigurationComponent.h"
#include "directory/ZephrinFunctions.h"

#include <exception>

// A configuration that cannot be asked is one that names no Directory: the source
// page then shows the target page as usual.
QString ZephrinFunctions::GetZeCS()
{
    try {
        const auto configuration = Components::factory().CreateConfiguration();
        return configuration->GetDirectoryConnectionString();
    } catch (const std::exception&) {
        return QString();
    }
}

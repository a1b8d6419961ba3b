#pragma once

#include <QString>

// Every operation of the wizard on the target system, through its components.
namespace ZephrinFunctions {

// The target's product name ("global:productname"); "4.5" when it cannot be read.
// When the account may not create the component, the "Access Denied" message is
// shown first.
QString GetProductName();

} // namespace ZephrinFunctions

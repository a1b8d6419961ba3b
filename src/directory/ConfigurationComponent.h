#pragma once

#include <QString>

// The target system's configuration: its product name, the Directory database's
// connection string and the settings of this installation. A setting is named
// "section:name", such as "global:productname".
class ConfigurationComponent
{
public:
    virtual ~ConfigurationComponent() = default;
    // The text of a setting; empty when it is not set.
    virtual QString GetSetting(const QString& name) = 0;
    // The connection string of the Directory database. When none is configured it
    // is empty, or the component raises an error that says where it should be set.
    virtual QString GetDirectoryConnectionString() = 0;
};

#pragma once

#include "directory/ConfigurationComponent.h"

#include <QHash>
#include <QString>

class QFile;

// The configuration of an installation without the target's own component: an INI
// file, zephrin.ini. A setting "section:name" is the key name in [section]:
//
//   [global]     productname
//   [directory]  connectionstring
//   [odbc]       driver (FreeTDS), logintimeout (seconds, 15)
//   [mail]       transport (smtp or pickup), smtphost, smtpport (25), pickupfolder
//
// Values are taken literally up to the end of the line; surrounding double quotes
// are removed. Lines starting with ';' or '#' are comments. The file is read once,
// when the component is made.
class IniConfiguration : public ConfigurationComponent
{
public:
    // Opens the file; throws 429 when it does not exist and 70 when it may not be read.
    explicit IniConfiguration(const QString& path);

    QString GetSetting(const QString& name) override;
    QString GetDirectoryConnectionString() override;

    QString path() const { return mPath; }

    // The file named by --config, else by ZEPHRIN_CONFIG, else zephrin.ini beside
    // the program.
    static QString locate(const QString& commandLinePath);

private:
    void read(QFile& file);

    QString mPath;
    // Values by section and key, letter case folded.
    QHash<QString, QString> mSettings;
};

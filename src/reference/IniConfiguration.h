#pragma once

#include "directory/ConfigurationComponent.h"

#include <QHash>
#include <QString>

// The configuration of an installation without the target's own component: an INI
// file, zephrin.ini. A setting "section:name" is the key name in [section]:
//
//   [global]     productname
//   [directory]  connectionstring
//   [odbc]       driver (FreeTDS), logintimeout (seconds, 15)
//   [mail]       transport (smtp or pickup), smtphost, smtpport (25), pickupfolder
//
// Values are taken literally up to the end of the line or to a ';' that follows a
// blank (a comment); surrounding double quotes are removed, and a ';' between them
// stays. Lines starting with ';' or '#' are comments, and a section header may be
// followed by one. The file is UTF-8, or Latin-1 when it is not valid UTF-8. It is
// read once, when the component is made; a line that is none of these makes it
// unreadable (error 321, naming the file and the line).
class IniConfiguration : public ConfigurationComponent
{
public:
    // Opens the file; throws 429 when it does not exist, 70 when it may not be read and
    // 321 when a line cannot be read.
    explicit IniConfiguration(const QString& path);
    // The configuration held in contents, as if read from the file at path.
    IniConfiguration(const QString& path, const QByteArray& contents);

    QString GetSetting(const QString& name) override;
    // Raises, naming the file and the key, when no connection string is set.
    QString GetDirectoryConnectionString() override;

    QString path() const { return mPath; }

    // The file named by --config, else by ZEPHRIN_CONFIG, else (for a program
    // installed under /usr) /etc/varnel-migrate/zephrin.ini, else zephrin.ini beside
    // the program.
    static QString locate(const QString& commandLinePath);

private:
    void read(const QByteArray& contents);
    [[noreturn]] void refuseLine(qsizetype number, const QString& line) const;

    QString mPath;
    // Values by section and key, letter case folded.
    QHash<QString, QString> mSettings;
};

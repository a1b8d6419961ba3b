#include "reference/IniConfiguration.h"

#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

namespace {

// A setting's place in the file: section and key, letter case folded.
QString settingKey(const QString& section, const QString& key)
{
    return section.toCaseFolded() + QLatin1Char('\n') + key.toCaseFolded();
}

} // namespace

IniConfiguration::IniConfiguration(const QString& path) : mPath(path)
{
    const QFileInfo info(path);
    if (path.isEmpty() || !info.exists()) {
        throw MigrationError(ErrorNumber::CannotCreateComponent,
                             QStringLiteral("The configuration file %1 was not found").arg(path),
                             QStringLiteral("IniConfiguration"));
    }
    QFile file(path);
    if (info.isDir() || !file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        throw MigrationError(ErrorNumber::PermissionDenied,
                             QStringLiteral("Permission denied: %1").arg(path),
                             QStringLiteral("IniConfiguration"));
    }
    read(file);
}

// The file is read line by line rather than through QSettings, which would split a
// value at its commas ("Data Source=dbhost,1433" or "Zephrin, Inc."). The first
// line of a key in its section counts.
void IniConfiguration::read(QFile& file)
{
    QTextStream in(&file);
    QString current;
    while (!in.atEnd()) {
        const QString line = in.readLine().trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char(';')) ||
            line.startsWith(QLatin1Char('#'))) {
            continue;
        }
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
            current = line.mid(1, line.size() - 2).trimmed();
            continue;
        }
        const int eq = line.indexOf(QLatin1Char('='));
        if (eq < 0) {
            continue;
        }
        const QString key = settingKey(current, line.left(eq).trimmed());
        if (mSettings.contains(key)) {
            continue;
        }
        QString value = line.mid(eq + 1).trimmed();
        if (value.size() >= 2 && value.startsWith(QLatin1Char('"')) &&
            value.endsWith(QLatin1Char('"'))) {
            value = value.mid(1, value.size() - 2);
        }
        mSettings.insert(key, value);
    }
}

QString IniConfiguration::GetSetting(const QString& name)
{
    const int colon = name.indexOf(QLatin1Char(':'));
    const QString section = colon < 0 ? QString() : name.left(colon).trimmed();
    return mSettings.value(settingKey(section, name.mid(colon + 1).trimmed()));
}

QString IniConfiguration::GetDirectoryConnectionString()
{
    return GetSetting(QStringLiteral("directory:connectionstring"));
}

QString IniConfiguration::locate(const QString& commandLinePath)
{
    if (!commandLinePath.isEmpty()) {
        return commandLinePath;
    }
    const QString fromEnvironment = qEnvironmentVariable("ZEPHRIN_CONFIG");
    if (!fromEnvironment.isEmpty()) {
        return fromEnvironment;
    }
    return QDir(CommonFunctions::ProgramFolder()).filePath(QStringLiteral("zephrin.ini"));
}

#include "target/IniConfiguration.h"

#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

IniConfiguration::IniConfiguration(const QString& path) : mPath(path)
{
    const QFileInfo info(path);
    if (path.isEmpty() || !info.exists()) {
        throw MigrationError(ErrorNumber::CannotCreateComponent,
                             QStringLiteral("The configuration file %1 was not found").arg(path),
                             QStringLiteral("IniConfiguration"));
    }
    QFile file(path);
    if (info.isDir() || !file.open(QIODevice::ReadOnly)) {
        throw MigrationError(ErrorNumber::PermissionDenied,
                             QStringLiteral("Permission denied: %1").arg(path),
                             QStringLiteral("IniConfiguration"));
    }
}

QString IniConfiguration::GetSetting(const QString& name)
{
    QString key = name;
    key.replace(QLatin1Char(':'), QLatin1Char('/'));
    QSettings settings(mPath, QSettings::IniFormat);
    return settings.value(key).toString();
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

#include "reference/IniConfiguration.h"

#include "frame/CommonFunctions.h"
#include "frame/IniText.h"
#include "frame/MigrationError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

namespace {

// A setting's place in the file: section and key, letter case folded.
QString settingKey(const QString& section, const QString& key)
{
    return section.toCaseFolded() + QLatin1Char('\n') + key.toCaseFolded();
}

} // namespace

#ifdef Q_OS_UNIX
namespace {

// The settings of each file read, with the file's identity and times as they were: a
// component made per call (every e-mail, every new password) takes them from here
// until the file is changed, replaced or has its rights changed.
struct ReadFile
{
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified = {};
    timespec changed = {};
    QHash<QString, QString> settings;
};

QHash<QString, ReadFile>& readFiles()
{
    static QHash<QString, ReadFile> files;
    return files;
}

bool sameTime(const timespec& a, const timespec& b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool unchanged(const ReadFile& known, const struct stat& status)
{
    return known.device == status.st_dev && known.inode == status.st_ino &&
           known.size == status.st_size && sameTime(known.modified, status.st_mtim) &&
           sameTime(known.changed, status.st_ctim);
}

} // namespace
#endif

IniConfiguration::IniConfiguration(const QString& path) : mPath(path)
{
    const QFileInfo info(path);
    if (path.isEmpty() || !info.exists()) {
        throw MigrationError(ErrorNumber::CannotCreateComponent,
                             QStringLiteral("The configuration file %1 was not found").arg(path),
                             QStringLiteral("IniConfiguration"));
    }
#ifdef Q_OS_UNIX
    struct stat status = {};
    const bool identified =
        !info.isDir() && ::stat(QFile::encodeName(path).constData(), &status) == 0;
    if (identified) {
        const auto known = readFiles().constFind(path);
        if (known != readFiles().constEnd() && unchanged(*known, status)) {
            mSettings = known->settings;
            return;
        }
    }
#endif
    QFile file(path);
    if (info.isDir() || !file.open(QIODevice::ReadOnly)) {
        throw MigrationError(ErrorNumber::PermissionDenied,
                             QStringLiteral("Permission denied: %1").arg(path),
                             QStringLiteral("IniConfiguration"));
    }
    read(file.readAll());
#ifdef Q_OS_UNIX
    if (identified) {
        readFiles().insert(path, {status.st_dev, status.st_ino, status.st_size, status.st_mtim,
                                  status.st_ctim, mSettings});
    }
#endif
}

IniConfiguration::IniConfiguration(const QString& path, const QByteArray& contents) : mPath(path)
{
    read(contents);
}

// The file is read line by line rather than through QSettings, which would split a
// value at its commas ("Data Source=dbhost,1433" or "Zephrin, Inc."). The first
// line of a key in its section counts. A line that is neither a section header, a
// setting nor a comment makes the file unreadable: taken as nothing, it would let
// the settings after it fall into the section before it.
void IniConfiguration::read(const QByteArray& contents)
{
    const QStringList lines = IniText::decode(contents).split(QLatin1Char('\n'));
    QString current;
    for (qsizetype number = 1; number <= lines.size(); ++number) {
        const QString line = lines.at(number - 1).trimmed();
        if (line.isEmpty() || IniText::isComment(line)) {
            continue;
        }
        if (line.startsWith(QLatin1Char('['))) {
            const qsizetype close = line.indexOf(QLatin1Char(']'));
            const QString rest = close < 0 ? QString() : line.mid(close + 1).trimmed();
            if (close < 0 || !(rest.isEmpty() || IniText::isComment(rest))) {
                refuseLine(number, line);
            }
            current = line.mid(1, close - 1).trimmed();
            continue;
        }
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (eq <= 0) {
            refuseLine(number, line);
        }
        const QString key = settingKey(current, line.left(eq).trimmed());
        if (mSettings.contains(key)) {
            continue;
        }
        QString value = IniText::withoutComment(line.mid(eq + 1));
        if (value.size() >= 2 && value.startsWith(QLatin1Char('"')) &&
            value.endsWith(QLatin1Char('"'))) {
            value = value.mid(1, value.size() - 2);
        }
        mSettings.insert(key, value);
    }
}

void IniConfiguration::refuseLine(qsizetype number, const QString& line) const
{
    constexpr qsizetype Shown = 60;
    QString shown = line.left(Shown);
    for (QChar& c : shown) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F) {
            c = QLatin1Char('?');
        }
    }
    if (line.size() > Shown) {
        shown += QStringLiteral("...");
    }
    throw MigrationError(ErrorNumber::InvalidFileFormat,
                         QStringLiteral("The configuration file %1, line %2, is neither a "
                                        "[section], a name=value setting nor a comment: \"%3\"")
                             .arg(mPath)
                             .arg(number)
                             .arg(shown),
                         QStringLiteral("IniConfiguration"));
}

QString IniConfiguration::GetSetting(const QString& name)
{
    const int colon = name.indexOf(QLatin1Char(':'));
    const QString section = colon < 0 ? QString() : name.left(colon).trimmed();
    return mSettings.value(settingKey(section, name.mid(colon + 1).trimmed()));
}

QString IniConfiguration::GetDirectoryConnectionString()
{
    const QString text = GetSetting(QStringLiteral("directory:connectionstring"));
    if (text.trimmed().isEmpty()) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("The configuration file %1 names no Directory "
                                            "database: connectionstring under [directory] is "
                                            "missing or empty")
                                 .arg(mPath),
                             QStringLiteral("IniConfiguration"));
    }
    return text;
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
    // An installed program keeps its configuration where the system keeps it.
    if (CommonFunctions::InstalledUnderUsr()) {
        return QStringLiteral("/etc/varnel-migrate/zephrin.ini");
    }
    return QDir(CommonFunctions::ProgramFolder()).filePath(QStringLiteral("zephrin.ini"));
}

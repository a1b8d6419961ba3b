#include "support/Golden.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

namespace {

bool write(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

QString diff(const QString& expected, const QString& actual)
{
    QProcess process;
    process.start(QStringLiteral("diff"), {QStringLiteral("-u"), expected, actual});
    process.waitForFinished();
    return QString::fromUtf8(process.readAllStandardOutput());
}

} // namespace

QString Golden::difference(const QString& name, const QString& actual)
{
    const QString expectedPath = QStringLiteral(TESTS_SOURCE_DIR "/data/") + name;
    const QString actualPath =
        QCoreApplication::applicationDirPath() + QStringLiteral("/golden-actual/") + name;
    const QByteArray bytes = actual.toUtf8();
    QFile expected(expectedPath);
    const bool exists = expected.open(QIODevice::ReadOnly);
    if (exists && expected.readAll() == bytes) {
        return QString();
    }
    if (!write(actualPath, bytes)) {
        return QStringLiteral("cannot write ") + actualPath;
    }
    const QString shown = exists ? diff(expectedPath, actualPath)
                                 : QStringLiteral("no expected file ") + expectedPath;
    if (qEnvironmentVariableIntValue("VARNEL_REGENERATE") == 1) {
        if (!write(expectedPath, bytes)) {
            return QStringLiteral("cannot write ") + expectedPath;
        }
        qWarning("%s regenerated:\n%s", qPrintable(name), qPrintable(shown));
        return QString();
    }
    return name + QStringLiteral(" differs (VARNEL_REGENERATE=1 accepts it):\n") + shown;
}

QString Golden::fromCrlf(const QString& text)
{
    QStringList lines = text.split(QStringLiteral("\r\n"));
    for (QString& line : lines) {
        line.replace(QLatin1Char('\r'), QLatin1String("<CR>"))
            .replace(QLatin1Char('\n'), QLatin1String("<LF>"));
    }
    return lines.join(QLatin1Char('\n'));
}

QString Golden::rowFile(const QString& prefix)
{
    // The same file for a row on either engine: both must give the same.
    QString tag = QString::fromUtf8(QTest::currentDataTag()).toLower();
    tag.remove(QRegularExpression(QStringLiteral("^(embedded|sqlserver): ")));
    tag.replace(QRegularExpression(QStringLiteral("[^a-z0-9]+")), QStringLiteral("-"));
    return prefix + tag + QStringLiteral(".txt");
}

#include "directory/ZephrinFunctions.h"
#include "engine/MigrationEngine.h"
#include "frame/Clock.h"
#include "frame/CommonFunctions.h"
#include "frame/FileWriting.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <array>

namespace {

const QString CRLF = QStringLiteral("\r\n");

// What each position of the user field array holds; the positions without a name of
// their own are written by number.
const std::array<const char*, 19> FieldNames = {"user ID",
                                                "first name",
                                                "last name",
                                                "field 3",
                                                "field 4",
                                                "enabled",
                                                "language ID",
                                                "time zone ID",
                                                "login ID",
                                                "password (as the Directory stores it)",
                                                "date format",
                                                "time format",
                                                "field 12",
                                                "field 13",
                                                "field 14",
                                                "graphics on",
                                                "mobile telephone number",
                                                "field 17",
                                                "user logon failure counter"};

// Beside the log, named after it: MigrationLog<time>.log gives
// MigrationLog<time>-DeletedUsers.txt; in the per-user folder when the log's folder
// cannot take it.
QStringList recoveryPaths()
{
    const QString logPath = CommonFunctions::LastLogFilePath();
    const QString folder =
        logPath.isEmpty() ? CommonFunctions::ProgramFolder() : QFileInfo(logPath).absolutePath();
    QString name = GlobalVariables::gsLogFileName;
    if (name.endsWith(QLatin1String(".log"), Qt::CaseInsensitive)) {
        name.chop(4);
    }
    if (name.isEmpty()) {
        name = QStringLiteral("MigrationLog");
    }
    name += QStringLiteral("-DeletedUsers.txt");
    QStringList paths{QDir(folder).filePath(name)};
    const QString fallback = CommonFunctions::FallbackLogFolder();
    if (!fallback.isEmpty() && QDir(fallback).absolutePath() != QDir(folder).absolutePath()) {
        paths << QDir(fallback).filePath(name);
    }
    return paths;
}

} // namespace

bool MigrationEngine::keepDeletedUser(int zeUserID, int vaUserID, QString& why)
{
    try {
        const QVariantList fields =
            ZephrinFunctions::GetDirectoryUser(zeUserID, directoryConnectionString());
        if (fields.isEmpty()) {
            // Nothing to keep: the delete itself will say what is wrong.
            why.clear();
            return false;
        }
        QString text = CommonFunctions::ReplaceAppNames(
                           QStringLiteral("Directory user %1, deleted at %2 to migrate the "
                                          "<EXAPP> user %3 in its place:"))
                           .arg(zeUserID)
                           .arg(AppClock::logTime())
                           .arg(vaUserID) +
                       CRLF;
        for (int position = 0; position < fields.size(); ++position) {
            const QString name = position < static_cast<int>(FieldNames.size())
                                     ? QString::fromLatin1(FieldNames.at(position))
                                     : QStringLiteral("field %1").arg(position);
            text += QStringLiteral("    %1 %2: %3")
                        .arg(position)
                        .arg(name, fields.at(position).toString()) +
                    CRLF;
        }
        text += CRLF;

        // UTF-8, so that no letter of a name is lost; on disk before the user goes.
        QStringList failures;
        const QStringList paths = recoveryPaths();
        for (const QString& path : paths) {
            try {
                if (path != paths.first()) {
                    FileWriting::MakePrivateFolder(QFileInfo(path).absolutePath());
                }
                FileWriting::AppendDurable(path, text.toUtf8(),
                                           QStringLiteral("VarnelMigrationTool.RecoveryFile"));
                msRecoveryFile = path;
                return true;
            } catch (const MigrationError& error) {
                failures << error.description();
            }
        }
        why = failures.join(QStringLiteral("; "));
        return false;
    } catch (const MigrationError& error) {
        why = QStringLiteral("Error Number: %1 Error Description: %2")
                  .arg(error.number())
                  .arg(error.description());
    } catch (const std::exception& error) {
        why = QString::fromLocal8Bit(error.what());
    }
    return false;
}

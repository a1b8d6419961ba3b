#include "demo/DemoInstallation.h"

#include "db/ConnectionString.h"
#include "db/VarnelBuilder.h"
#include "frame/FileWriting.h"
#include "frame/MigrationError.h"
#include "reference/DirectoryBuilder.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

namespace {

const QString Source = QStringLiteral("DemoInstallation");

[[noreturn]] void refuse(long number, const QString& message)
{
    throw MigrationError(number, message, Source);
}

// The folder the demo goes into, made when missing; createdFolder tells whether it
// was made here.
QString prepareFolder(const QString& requested, bool& createdFolder)
{
    createdFolder = false;
    if (requested.isEmpty()) {
        QTemporaryDir fresh(QDir(QDir::tempPath()).filePath(QStringLiteral("varnel-demo-XXXXXX")));
        if (!fresh.isValid()) {
            refuse(ErrorNumber::PathFileAccess,
                   QStringLiteral("No folder for the demo could be made in %1: %2")
                       .arg(QDir::tempPath(), fresh.errorString()));
        }
        fresh.setAutoRemove(false);
        createdFolder = true;
        return fresh.path();
    }

    const QString folder = QDir::cleanPath(QDir(requested).absolutePath());
    // The folder becomes part of connection strings and of an INI line.
    if (folder.contains(QLatin1Char(';')) || folder.contains(QLatin1Char('\n')) ||
        folder.contains(QLatin1Char('\r'))) {
        refuse(ErrorNumber::InvalidProcedureCall,
               QStringLiteral("The folder name %1 contains a ';' or a line break, which a "
                              "connection string cannot carry. Choose another folder.")
                   .arg(folder));
    }
    const QFileInfo info(folder);
    if (info.exists() && !info.isDir()) {
        refuse(ErrorNumber::PathFileAccess,
               QStringLiteral("%1 exists and is not a folder.").arg(folder));
    }
    if (info.exists()) {
        QStringList present;
        for (const QString& name :
             {DemoInstallation::SourceFileName(), DemoInstallation::DirectoryFileName(),
              DemoInstallation::ConfigurationFileName()}) {
            if (QFileInfo::exists(QDir(folder).filePath(name))) {
                present << name;
            }
        }
        if (!present.isEmpty()) {
            QString message = QStringLiteral("The folder %1 already holds a demo installation "
                                             "(%2); it was left as it is. Choose another folder, "
                                             "or remove these files first.")
                                  .arg(folder, present.join(QStringLiteral(", ")));
            if (present.contains(DemoInstallation::ConfigurationFileName())) {
                message +=
                    QStringLiteral(" To run the wizard on it again: varnel-migrate "
                                   "--config \"%1\"")
                        .arg(QDir(folder).filePath(DemoInstallation::ConfigurationFileName()));
            }
            refuse(ErrorNumber::PathFileAccess, message);
        }
        return folder;
    }
    if (!QDir().mkpath(folder)) {
        refuse(ErrorNumber::PathFileAccess,
               QStringLiteral("The folder %1 could not be made.").arg(folder));
    }
    createdFolder = true;
    return folder;
}

void writeConfiguration(const DemoInstallation& demo)
{
    const QString text =
        QStringLiteral("; Demo installation made by varnel-migrate --demo on %1.\n"
                       "; The wizard reads it when started with --config %2\n"
                       "\n"
                       "[global]\n"
                       "productname=%3\n"
                       "\n"
                       "[directory]\n"
                       "connectionstring=%4\n"
                       "; A demo's password cost, so that a demo of many users runs quickly.\n"
                       "; A real installation leaves passworditerations out (600000, current\n"
                       "; guidance) or sets it higher.\n"
                       "passworditerations=%6\n"
                       "\n"
                       "[mail]\n"
                       "transport=pickup\n"
                       "pickupfolder=%5\n")
            .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")),
                 demo.configurationPath, QString::fromLatin1(DemoData::ProductName),
                 demo.directoryConnectionString, demo.mailFolder,
                 QString::number(DemoInstallation::PasswordIterations));
    FileWriting::WriteNew(demo.configurationPath, text.toUtf8(), Source);
}

// Takes back what a failed attempt wrote; files that were there before are not touched.
void removeWritten(const QString& folder, bool createdFolder, bool createdMailFolder)
{
    const QDir dir(folder);
    for (const QString& name :
         {DemoInstallation::SourceFileName(), DemoInstallation::DirectoryFileName(),
          DemoInstallation::ConfigurationFileName()}) {
        QFile::remove(dir.filePath(name));
    }
    if (createdMailFolder) {
        QDir().rmdir(dir.filePath(DemoInstallation::MailFolderName()));
    }
    if (createdFolder) {
        QDir().rmdir(folder);
    }
}

// The Directory's connection string as the target's configuration names it on an
// installation: "Data source=" and "Initial Catalog=", each value ended by ";". The
// source database page recognises that form only, and then skips the target page.
QString configuredConnectionString(const QString& folder, const QString& catalog)
{
    return QStringLiteral("Provider=SQLOLEDB.1;Data source=%1%2;Initial Catalog=%3;uid=sa;pwd=")
        .arg(QLatin1String(EmbeddedDataSourcePrefix), folder, catalog);
}

} // namespace

QString DemoInstallation::SourceFileName()
{
    return QString::fromLatin1(DemoData::SourceDatabase) + QStringLiteral(".sqlite");
}

QString DemoInstallation::DirectoryFileName()
{
    return QString::fromLatin1(DemoData::DirectoryDatabase) + QStringLiteral(".sqlite");
}

QString DemoInstallation::ConfigurationFileName()
{
    return QStringLiteral("zephrin.ini");
}

QString DemoInstallation::MailFolderName()
{
    return QStringLiteral("mail");
}

DemoInstallation DemoInstallation::Create(const QString& folder, int userCount)
{
    if (userCount < 1 || userCount > DemoData::MaximumUserCount) {
        refuse(ErrorNumber::InvalidProcedureCall,
               QStringLiteral("A demo has from 1 to %1 users; %2 was asked for.")
                   .arg(DemoData::MaximumUserCount)
                   .arg(userCount));
    }
    bool createdFolder = false;
    DemoInstallation demo;
    demo.folder = prepareFolder(folder, createdFolder);
    const QDir dir(demo.folder);
    demo.configurationPath = dir.filePath(ConfigurationFileName());
    demo.mailFolder = dir.filePath(MailFolderName());
    const bool createdMailFolder = !QFileInfo::exists(demo.mailFolder);

    try {
        const DemoData::DemoContent content = DemoData::Generate(userCount);
        demo.userCount = static_cast<int>(content.source.users.size());
        demo.directoryUserCount = static_cast<int>(content.directory.users.size());
        demo.conflictCount = static_cast<int>(content.conflicts.size());
        demo.profileCount = static_cast<int>(content.source.profiles.size());

        demo.sourceConnectionString = VarnelBuilder::Write(
            demo.folder, QString::fromLatin1(DemoData::SourceDatabase), content.source);
        demo.directoryConnectionString = configuredConnectionString(
            demo.folder, QString::fromLatin1(DemoData::DirectoryDatabase));
        DirectoryBuilder::Build(demo.directoryConnectionString, content.directory);
        if (!QDir().mkpath(demo.mailFolder)) {
            refuse(ErrorNumber::PathFileAccess,
                   QStringLiteral("The mail pickup folder %1 could not be made.")
                       .arg(demo.mailFolder));
        }
        writeConfiguration(demo);
    } catch (const std::exception& failure) {
        removeWritten(demo.folder, createdFolder, createdMailFolder);
        const auto* error = dynamic_cast<const MigrationError*>(&failure);
        throw MigrationError(error != nullptr ? error->number() : ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("The demo installation could not be written to %1: %2")
                                 .arg(demo.folder, error != nullptr
                                                       ? error->description()
                                                       : QString::fromLocal8Bit(failure.what())),
                             Source);
    }
    return demo;
}

QString DemoInstallation::instructions() const
{
    const QDir dir(folder);
    QString text;
    text += QStringLiteral("A demo installation was made in %1:\n").arg(folder);
    text += QStringLiteral("  source database     %1: %2 users, %3 Device Provisioning profiles\n")
                .arg(dir.filePath(SourceFileName()))
                .arg(userCount)
                .arg(profileCount);
    text += QStringLiteral("  Directory database  %1: %2 users, the store %3\n")
                .arg(dir.filePath(DirectoryFileName()))
                .arg(directoryUserCount)
                .arg(QString::fromLatin1(DemoData::RegisteredServer));
    text += QStringLiteral("  configuration       %1\n").arg(configurationPath);
    text += QStringLiteral("  mail pickup folder  %1 (one .eml file per introduction e-mail)\n")
                .arg(mailFolder);
    text += QStringLiteral("\nOn the source database page enter:\n");
    text += QStringLiteral("  SQL Server Name:  sqlite:%1\n").arg(folder);
    text += QStringLiteral("  authentication:   either; the demo ignores login ID and password\n");
    text += QStringLiteral("  Database:         %1 (press Refresh to list it)\n")
                .arg(QString::fromLatin1(DemoData::SourceDatabase));
    text += QStringLiteral("The Directory is named in the configuration, so the target database "
                           "page is skipped.\n");
    text += QStringLiteral("%1 source users have login IDs that the Directory holds already.\n")
                .arg(conflictCount);
    // From the third user on, some users live on the server the Directory lacks.
    if (userCount > 2) {
        text += QStringLiteral("The mail server %1 is not yet a store of the Directory.\n")
                    .arg(QString::fromLatin1(DemoData::UnregisteredServer));
    }
    return text;
}

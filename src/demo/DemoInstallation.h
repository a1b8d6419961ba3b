#pragma once

#include "demo/DemoData.h"

#include <QString>

// A demo installation in one folder, for trying the wizard where neither product is
// installed:
//
//   Varnel.sqlite     the source database (server "sqlite:<folder>", database "Varnel")
//   Directory.sqlite  the Zephrin Directory
//   zephrin.ini       product name, the Directory's connection string, mail to a
//                     pickup folder, a low password cost (marked as a demo's)
//   mail/             the pickup folder: one .eml file per introduction e-mail
struct DemoInstallation
{
    QString folder;
    QString sourceConnectionString;
    QString directoryConnectionString;
    QString configurationPath;
    QString mailFolder;
    int userCount = 0;
    int directoryUserCount = 0;
    int conflictCount = 0;
    int profileCount = 0;

    // Writes a demo of userCount source users into folder, made when missing; an empty
    // folder name makes a new folder varnel-demo-XXXXXX in the system's temporary
    // folder. A folder that already holds a demo (or any of its files) is refused and
    // left as it is. Raises MigrationError with a message for the administrator; what
    // was written before a failure is removed again.
    static DemoInstallation Create(const QString& folder,
                                   int userCount = DemoData::DefaultUserCount);

    // The cost at which the demo encodes new passwords: every migrated demo user gets
    // one, and at the default cost a demo of a thousand users would spend minutes on
    // them. Its zephrin.ini says that a real installation leaves the setting out.
    static constexpr int PasswordIterations = 10000;

    // The file names inside the folder.
    static QString SourceFileName();
    static QString DirectoryFileName();
    static QString ConfigurationFileName();
    static QString MailFolderName();

    // What the administrator reads after the demo was made: where it is and what to
    // enter on the source database page.
    QString instructions() const;
};

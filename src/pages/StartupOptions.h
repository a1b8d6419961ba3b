#pragma once

#include <QString>
#include <QStringList>

// What the command line asks of the program:
//
//   --config FILE   the configuration file to use instead of the one found by
//                   ZEPHRIN_CONFIG or beside the program
//   --demo [DIR]    make a demo installation in DIR (a new temporary folder when
//                   none is given) and run the wizard on it
//   --users N       the demo's number of source users (with --demo)
//   --no-wizard     make the demo and end without starting the wizard (with --demo)
//   --answers FILE  walk the wizard from an answers file, without a person
//   --write-answers FILE  on an interactive run: write the answers given to FILE
//   --outcome FILE  write what became of every user, store and profile as CSV
//   --version       the program's version, printed
//   --help          the options, printed
struct StartupOptions
{
    QString configPath;

    bool demoRequested = false;
    // Empty for a new temporary folder.
    QString demoFolder;
    // 0 when not given: the demo's usual number.
    int demoUsers = 0;
    bool noWizard = false;

    // Empty when not given.
    QString answersPath;
    QString writeAnswersPath;
    QString outcomePath;

    bool helpRequested = false;
    bool versionRequested = false;
    QString helpText;
    // Set when the command line could not be understood; the program says so and ends.
    QString error;

    // Reads the arguments as the application holds them, the program name first.
    static StartupOptions parse(const QStringList& arguments);
};

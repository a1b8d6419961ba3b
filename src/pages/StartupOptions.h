#pragma once

#include <QString>
#include <QStringList>

// What the command line asks of the program:
//
//   --config FILE   the configuration file to use instead of the one found by
//                   ZEPHRIN_CONFIG or beside the program
//   --help          the options, printed
struct StartupOptions
{
    QString configPath;

    bool helpRequested = false;
    QString helpText;
    // Set when the command line could not be understood; the program says so and ends.
    QString error;

    // Reads the arguments as the application holds them, the program name first.
    static StartupOptions parse(const QStringList& arguments);
};

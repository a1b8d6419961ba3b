#include "pages/StartupOptions.h"

#include <QCommandLineParser>

StartupOptions StartupOptions::parse(const QStringList& arguments)
{
    StartupOptions options;

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Migrates users, stores and Device Provisioning profiles into a Directory database."));
    const QCommandLineOption helpOption({QStringLiteral("h"), QStringLiteral("help")},
                                        QStringLiteral("Shows these options."));
    const QCommandLineOption configOption(QStringLiteral("config"),
                                          QStringLiteral("Reads the configuration from <file>."),
                                          QStringLiteral("file"));
    parser.addOption(helpOption);
    parser.addOption(configOption);

    options.helpText = parser.helpText();
    if (!parser.parse(arguments)) {
        options.error = parser.errorText();
        return options;
    }
    if (!parser.positionalArguments().isEmpty()) {
        options.error = QStringLiteral("Unexpected argument: %1")
                            .arg(parser.positionalArguments().constFirst());
        return options;
    }
    options.helpRequested = parser.isSet(helpOption);
    options.configPath = parser.value(configOption);
    if (parser.isSet(configOption) && options.configPath.isEmpty()) {
        options.error = QStringLiteral("The option --config needs the name of a file.");
    }
    return options;
}

#include "pages/StartupOptions.h"

#include <QCommandLineParser>

namespace {

// The one argument that is not an option, the demo's folder, must stand right after
// --demo.
bool followsDemoOption(const QStringList& arguments, const QString& folder)
{
    for (int i = 1; i + 1 < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == QLatin1String("--demo") && arguments.at(i + 1) == folder) {
            return true;
        }
    }
    return false;
}

} // namespace

StartupOptions StartupOptions::parse(const QStringList& arguments)
{
    StartupOptions options;

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Migrates users, stores and Device Provisioning profiles into a Directory database."));
    const QCommandLineOption helpOption({QStringLiteral("h"), QStringLiteral("help")},
                                        QStringLiteral("Shows these options."));
    const QCommandLineOption versionOption({QStringLiteral("v"), QStringLiteral("version")},
                                           QStringLiteral("Prints the program's version."));
    const QCommandLineOption configOption(QStringLiteral("config"),
                                          QStringLiteral("Reads the configuration from <file>."),
                                          QStringLiteral("file"));
    const QCommandLineOption demoOption(
        QStringLiteral("demo"),
        QStringLiteral("Makes a demo installation (source database, Directory, configuration, "
                       "mail folder) in the folder given right after it, or in a new temporary "
                       "folder, and starts the wizard on it."));
    const QCommandLineOption usersOption(
        QStringLiteral("users"),
        QStringLiteral("With --demo: the number of source users of the demo (50 unless given)."),
        QStringLiteral("n"));
    const QCommandLineOption noWizardOption(
        QStringLiteral("no-wizard"),
        QStringLiteral("With --demo: makes the demo and ends without starting the wizard."));
    const QCommandLineOption answersOption(
        QStringLiteral("answers"),
        QStringLiteral("Walks the wizard from the answers in <file>, without a person (and "
                       "without a display when there is none), and ends after the finish page. "
                       "Exit status: 0 all migrated, 1 something failed, 2 the migration did "
                       "not start."),
        QStringLiteral("file"));
    const QCommandLineOption writeAnswersOption(
        QStringLiteral("write-answers"),
        QStringLiteral("Writes the answers given on the pages to <file> when the wizard ends, "
                       "for a later run with --answers."),
        QStringLiteral("file"));
    const QCommandLineOption outcomeOption(
        QStringLiteral("outcome"),
        QStringLiteral("Writes what became of every chosen user, store and profile to <file> as "
                       "CSV, once the migration's report is ready."),
        QStringLiteral("file"));
    parser.addOption(helpOption);
    parser.addOption(versionOption);
    parser.addOption(configOption);
    parser.addOption(demoOption);
    parser.addOption(usersOption);
    parser.addOption(noWizardOption);
    parser.addOption(answersOption);
    parser.addOption(writeAnswersOption);
    parser.addOption(outcomeOption);
    parser.addPositionalArgument(QStringLiteral("[DIR]"),
                                 QStringLiteral("With --demo: the folder of the demo."));

    options.helpText = parser.helpText();
    if (!parser.parse(arguments)) {
        options.error = parser.errorText();
        return options;
    }
    options.helpRequested = parser.isSet(helpOption);
    options.versionRequested = parser.isSet(versionOption);
    options.demoRequested = parser.isSet(demoOption);
    options.noWizard = parser.isSet(noWizardOption);

    const QStringList positional = parser.positionalArguments();
    if (!positional.isEmpty()) {
        if (!options.demoRequested || positional.size() > 1 ||
            !followsDemoOption(arguments, positional.constFirst())) {
            options.error = QStringLiteral("Unexpected argument: %1").arg(positional.constLast());
            return options;
        }
        options.demoFolder = positional.constFirst();
        if (options.demoFolder.isEmpty()) {
            options.error = QStringLiteral("The folder after --demo is empty.");
            return options;
        }
    }

    options.configPath = parser.value(configOption);
    if (parser.isSet(configOption) && options.configPath.isEmpty()) {
        options.error = QStringLiteral("The option --config needs the name of a file.");
        return options;
    }
    if (options.demoRequested && parser.isSet(configOption)) {
        options.error = QStringLiteral("--demo brings its own configuration; leave out --config.");
        return options;
    }
    if (parser.isSet(usersOption)) {
        bool ok = false;
        options.demoUsers = parser.value(usersOption).toInt(&ok);
        if (!options.demoRequested) {
            options.error = QStringLiteral("The option --users is only used with --demo.");
        } else if (!ok || options.demoUsers < 1) {
            // The upper bound is the demo's to tell.
            options.error = QStringLiteral("The option --users needs a positive number, not "
                                           "\"%1\".")
                                .arg(parser.value(usersOption));
            options.demoUsers = 0;
        }
        if (!options.error.isEmpty()) {
            return options;
        }
    }
    if (options.noWizard && !options.demoRequested) {
        options.error = QStringLiteral("The option --no-wizard is only used with --demo.");
        return options;
    }

    options.answersPath = parser.value(answersOption);
    options.writeAnswersPath = parser.value(writeAnswersOption);
    options.outcomePath = parser.value(outcomeOption);
    for (const auto& [option, value] : {std::pair{&answersOption, &options.answersPath},
                                        std::pair{&writeAnswersOption, &options.writeAnswersPath},
                                        std::pair{&outcomeOption, &options.outcomePath}}) {
        if (parser.isSet(*option) && value->isEmpty()) {
            options.error = QStringLiteral("The option --%1 needs the name of a file.")
                                .arg(option->names().constFirst());
            return options;
        }
    }
    if (!options.answersPath.isEmpty() && !options.writeAnswersPath.isEmpty()) {
        options.error = QStringLiteral("--write-answers records an interactive run; leave it "
                                       "out with --answers.");
    } else if (options.noWizard &&
               (!options.answersPath.isEmpty() || !options.writeAnswersPath.isEmpty() ||
                !options.outcomePath.isEmpty())) {
        options.error = QStringLiteral("--no-wizard only makes the demo; leave out --answers, "
                                       "--write-answers and --outcome.");
    }
    return options;
}

#include "db/EngineSettings.h"
#include "demo/DemoInstallation.h"
#include "directory/ComponentFactory.h"
#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "pages/DisplayCheck.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/StartupOptions.h"
#include "pages/WizardPage.h"
#include "reference/IniConfiguration.h"
#include "reference/ReferenceMail.h"
#include "reference/ReferencePasswordEncoder.h"
#include "reference/TargetComponentFactory.h"
#include "unattended/AnswersFile.h"
#include "unattended/AnswersRecorder.h"
#include "unattended/OutcomeWatch.h"
#include "unattended/UnattendedRun.h"

#include <QApplication>
#include <QFileInfo>
#include <cstdio>
#include <memory>
#include <optional>

namespace {

// The components of the reference installation read the configuration file; the
// SQL Server driver and its login time-out come from it too, when it exists. A file
// that is missing or may not be read makes the introduction page name the product
// "4.5" (and say "Access Denied" for the latter); a file with a line that cannot be
// read, or a setting that is no value, is reported here, naming it, before the
// wizard starts.
void useConfiguration(const QString& path)
{
    Components::setFactory(std::make_shared<TargetComponentFactory>(path));
    if (!QFileInfo(path).isFile()) {
        return;
    }
    try {
        IniConfiguration configuration(path);
        const QString driver = configuration.GetSetting(QStringLiteral("odbc:driver"));
        if (!driver.isEmpty()) {
            EngineSettings::gsOdbcDriver = driver;
        }
        bool ok = false;
        const int timeout =
            configuration.GetSetting(QStringLiteral("odbc:logintimeout")).toInt(&ok);
        if (ok && timeout > 0) {
            EngineSettings::giLoginTimeout = timeout;
        }
        // Settings the components would refuse only when first used (the mail
        // time-out, the password cost) are named now, not in the middle of a run.
        ReferenceMail mail(path);
        ReferencePasswordEncoder::ConfiguredIterations(path);
    } catch (const MigrationError& error) {
        if (error.number() != ErrorNumber::PermissionDenied) {
            std::fprintf(stderr, "%s\n", qPrintable(error.description()));
            AppPrompter::prompter().message(error.description(),
                                            QStringLiteral("Configuration file"),
                                            Prompter::Icon::Exclamation);
        }
    }
}

// Printing the options or the version, or only making a demo, opens no window, so
// none of them needs a display.
bool needsWindow(int argc, char* argv[])
{
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument == "--no-wizard" || argument == "--help" || argument == "-h" ||
            argument == "--version" || argument == "-v") {
            return false;
        }
    }
    return true;
}

bool unattended(int argc, char* argv[])
{
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument == "--answers" || argument.startsWith("--answers=")) {
            return true;
        }
    }
    return false;
}

// Drawn offscreen, the platform says of every window that it cannot pass size hints
// on, and the per-user folder notes its default: nothing for the administrator of an
// unattended run, whose output should hold what matters.
QtMessageHandler defaultHandler = nullptr;
void quietOffscreen(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (type == QtWarningMsg &&
        (text == QLatin1String("This plugin does not support propagateSizeHints()") ||
         text.startsWith(QLatin1String("QStandardPaths: XDG_RUNTIME_DIR not set")))) {
        return;
    }
    defaultHandler(type, context, text);
}

void printLine(FILE* stream, const QString& text)
{
    std::fprintf(stream, "%s\n", text.toLocal8Bit().constData());
}

// What an unattended or recorded run leaves behind, for the administrator or the job
// that started it: where the log, the report and the outcome are, and the counts.
void printResult(const OutcomeWatch& watch, const QString& reportPath)
{
    const QString log = CommonFunctions::LastLogFilePath();
    if (!log.isEmpty()) {
        printLine(stdout, QStringLiteral("Log: ") + log);
    }
    if (!reportPath.isEmpty() && watch.outcome()) {
        printLine(stdout, QStringLiteral("Report appended to: ") + reportPath);
    }
    if (!watch.csvPath().isEmpty() && watch.outcome() && watch.csvError().isEmpty()) {
        printLine(stdout, QStringLiteral("Outcome: ") + watch.csvPath());
    }
    std::fputs(watch.summary().toLocal8Bit().constData(), stdout);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char* argv[])
{
    // An unattended run needs no display: where there is none, it draws offscreen.
    if (unattended(argc, argv) && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") &&
        qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    if (unattended(argc, argv) && qgetenv("QT_QPA_PLATFORM") == "offscreen") {
        defaultHandler = qInstallMessageHandler(quietOffscreen);
    }
    // Without a display the command line is still read, so that an error, the help
    // or the version is told as usual; the wizard itself then refuses to start.
    const bool window = needsWindow(argc, argv) && DisplayCheck::displayNamed(argc, argv);
    if (window) {
        DisplayCheck::exitWhenUnreachable(2);
    }
    const std::unique_ptr<QCoreApplication> app =
        window ? std::make_unique<QApplication>(argc, argv)
               : std::make_unique<QCoreApplication>(argc, argv);
    // The name also names the per-user folder that takes the log when the
    // program's folder cannot be written.
    QCoreApplication::setApplicationName(QStringLiteral("varnel-migrate"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VARNEL_MIGRATE_VERSION));

    const StartupOptions options = StartupOptions::parse(QCoreApplication::arguments());
    if (!options.error.isEmpty()) {
        std::fprintf(stderr, "%s\n\n%s", qPrintable(options.error), qPrintable(options.helpText));
        return 2;
    }
    if (options.helpRequested) {
        std::fputs(qPrintable(options.helpText), stdout);
        return 0;
    }
    if (options.versionRequested) {
        printLine(stdout, QCoreApplication::applicationName() + QLatin1Char(' ') +
                              QCoreApplication::applicationVersion());
        return 0;
    }
    if (!window && !options.noWizard) {
        const QString reason = QStringLiteral("no display was found");
        printLine(stderr, DisplayCheck::missingDisplayMessage(reason));
        return 2;
    }

    QString configPath = options.configPath;
    if (options.demoRequested) {
        try {
            const DemoInstallation demo = DemoInstallation::Create(
                options.demoFolder,
                options.demoUsers > 0 ? options.demoUsers : DemoData::DefaultUserCount);
            std::fputs(qPrintable(demo.instructions()), stdout);
            std::fflush(stdout);
            configPath = demo.configurationPath;
        } catch (const MigrationError& error) {
            std::fprintf(stderr, "%s\n", qPrintable(error.description()));
            return 1;
        }
        if (options.noWizard) {
            return 0;
        }
    }

    std::optional<AnswersFile> answers;
    if (!options.answersPath.isEmpty()) {
        try {
            answers = AnswersFile::Read(options.answersPath);
        } catch (const AnswersError& error) {
            printLine(stderr, error.message());
            return 2;
        }
    }

    // Every run tells its outcome through the exit status; --outcome writes it down.
    OutcomeWatch watch(options.outcomePath);
    std::unique_ptr<UnattendedRun> run;
    std::shared_ptr<AnswersRecorder> recorder;
    if (answers) {
        run = std::make_unique<UnattendedRun>(*answers, watch);
        run->prepare();
    } else if (!options.writeAnswersPath.isEmpty()) {
        recorder = std::make_shared<AnswersRecorder>(std::make_shared<InteractivePrompter>());
        AppPrompter::setPrompter(recorder);
    }

    useConfiguration(IniConfiguration::locate(configPath));

    Pages::registerAllPages();
    if (run) {
        QObject::connect(run.get(), &UnattendedRun::finished, app.get(), &QCoreApplication::quit,
                         Qt::QueuedConnection);
        run->start();
        if (!run->isDone()) {
            QCoreApplication::exec();
        }
        for (const QString& note : run->notes()) {
            printLine(stderr, note);
        }
        if (!run->stopReason().isEmpty()) {
            printLine(stderr, run->stopReason());
        }
        printResult(watch, answers->reportPath);
        return run->exitStatus();
    }

    WizardPage* start = Pages::create(PageNames::Introduction);
    if (start == nullptr) {
        return 2;
    }
    start->show();
    QCoreApplication::exec();
    int status = watch.exitStatus();
    if (recorder) {
        if (!watch.started()) {
            printLine(stderr, QStringLiteral("No answers were written to %1: the wizard ended "
                                             "before the migration started.")
                                  .arg(options.writeAnswersPath));
        } else {
            try {
                recorder->write(options.writeAnswersPath);
                printLine(stdout,
                          QStringLiteral("Answers written to: ") + options.writeAnswersPath);
            } catch (const MigrationError& error) {
                printLine(stderr, error.description());
                status = std::max(status, 1);
            }
        }
    }
    if (!options.outcomePath.isEmpty() && !watch.csvError().isEmpty()) {
        printLine(stderr, watch.csvError());
    }
    return status;
}

#include "db/EngineSettings.h"
#include "demo/DemoInstallation.h"
#include "directory/ComponentFactory.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/StartupOptions.h"
#include "pages/WizardPage.h"
#include "reference/IniConfiguration.h"
#include "reference/ReferenceMail.h"
#include "reference/ReferencePasswordEncoder.h"
#include "reference/TargetComponentFactory.h"

#include <QApplication>
#include <QFileInfo>
#include <cstdio>
#include <memory>

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

// Printing the options or only making a demo opens no window, so neither needs a
// display.
bool needsWindow(int argc, char* argv[])
{
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument == "--no-wizard" || argument == "--help" || argument == "-h") {
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char* argv[])
{
    const std::unique_ptr<QCoreApplication> app =
        needsWindow(argc, argv) ? std::make_unique<QApplication>(argc, argv)
                                : std::make_unique<QCoreApplication>(argc, argv);
    // The name also names the per-user folder that takes the log when the
    // program's folder cannot be written.
    QCoreApplication::setApplicationName(QStringLiteral("varnel-migrate"));

    const StartupOptions options = StartupOptions::parse(QCoreApplication::arguments());
    if (!options.error.isEmpty()) {
        std::fprintf(stderr, "%s\n\n%s", qPrintable(options.error), qPrintable(options.helpText));
        return 2;
    }
    if (options.helpRequested) {
        std::fputs(qPrintable(options.helpText), stdout);
        return 0;
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

    useConfiguration(IniConfiguration::locate(configPath));

    Pages::registerAllPages();
    WizardPage* start = Pages::create(PageNames::Introduction);
    if (start == nullptr) {
        return 1;
    }
    start->show();
    return QCoreApplication::exec();
}

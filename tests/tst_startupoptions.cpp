#include "pages/StartupOptions.h"

#include <QProcess>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

// The command line: read into StartupOptions, and as the program answers it.
class TestStartupOptions : public QObject
{
    Q_OBJECT
private slots:
    void startupOptions_data()
    {
        // After the program name; the config path, "help", "error" or "demo <folder> <users>".
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("result");
        const auto row = [](const char* name, const QStringList& arguments, const char* result) {
            QTest::newRow(name) << arguments << QString::fromLatin1(result);
        };
        row("nothing", {}, "");
        row("config, separate value", {"--config", "/z.ini"}, "/z.ini");
        row("config with =", {"--config=/tmp/a b.ini"}, "/tmp/a b.ini");
        row("config without a file", {"--config"}, "error");
        row("unknown option", {"--bogus"}, "error");
        row("stray argument", {"stray"}, "error");
        row("help", {"--help"}, "help");
        row("demo in a new folder", {"--demo"}, "demo  0");
        row("demo in a folder", {"--demo", "/tmp/d"}, "demo /tmp/d 0");
        row("demo options first", {"--users", "500", "--no-wizard", "--demo", "d"},
            "demo d 500 no-wizard");
        row("folder not after --demo", {"--demo", "--users", "7", "d"}, "error");
        row("two folders", {"--demo", "a", "b"}, "error");
        row("users alone", {"--users", "5"}, "error");
        row("users zero", {"--demo", "--users", "0"}, "error");
        row("demo with config", {"--demo", "--config", "/z.ini"}, "error");
        row("answers", {"--answers", "a.ini"}, " answers a.ini");
        row("answers with config and outcome",
            {"--config", "/z.ini", "--outcome=o.csv", "--answers", "a.ini"},
            "/z.ini answers a.ini outcome o.csv");
        row("write answers with outcome", {"--write-answers", "w.ini", "--outcome", "o.csv"},
            " write w.ini outcome o.csv");
        row("answers without a file", {"--answers="}, "error");
        row("outcome without a file", {"--outcome="}, "error");
        row("answers and write answers", {"--answers", "a.ini", "--write-answers", "w.ini"},
            "error");
        row("answers with no-wizard", {"--demo", "--no-wizard", "--answers", "a.ini"}, "error");
        row("demo with answers", {"--demo", "d", "--answers", "a.ini"}, "demo d 0");
        row("resume with outcome", {"--resume", "j.sqlite", "--outcome", "o.csv"},
            " outcome o.csv resume j.sqlite");
        row("resume with answers", {"--resume=j.sqlite", "--answers", "a.ini"},
            " answers a.ini resume j.sqlite");
        row("resume without a journal", {"--resume="}, "error");
        row("resume with demo", {"--demo", "--resume", "j.sqlite"}, "error");
        row("resume with write answers", {"--resume", "j.sqlite", "--write-answers", "w.ini"},
            "error");
    }

    void startupOptions()
    {
        QFETCH(QStringList, arguments);
        const StartupOptions options =
            StartupOptions::parse(QStringList{u"varnel-migrate"_s} + arguments);
        const QString demo = u"demo %1 %2%3"_s.arg(options.demoFolder)
                                 .arg(options.demoUsers)
                                 .arg(options.noWizard ? u" no-wizard"_s : QString());
        QString files = options.configPath;
        for (const auto& [name, path] : {std::pair{u" answers "_s, options.answersPath},
                                         std::pair{u" write "_s, options.writeAnswersPath},
                                         std::pair{u" outcome "_s, options.outcomePath},
                                         std::pair{u" resume "_s, options.resumePath}}) {
            files += path.isEmpty() ? QString() : name + path;
        }
        QTEST(options.helpRequested      ? u"help"_s
              : !options.error.isEmpty() ? u"error"_s
              : options.demoRequested    ? demo
                                         : files,
              "result");
    }

    // The program refuses an unknown option with exit code 2 and prints its help.
    void programOptions()
    {
        QProcess program;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        program.setProcessEnvironment(environment);
        const auto run = [&program](const QString& option) {
            program.start(QStringLiteral(VARNEL_MIGRATE_BINARY), {option});
            return program.waitForFinished(30000) ? program.exitCode() : -1;
        };
        QCOMPARE(run(u"--bogus"_s), 2);
        QVERIFY(program.readAllStandardError().contains("bogus"));
        QCOMPARE(run(u"--help"_s), 0);
        QVERIFY(program.readAllStandardOutput().contains("--config"));
    }
};

QTEST_GUILESS_MAIN(TestStartupOptions)
#include "tst_startupoptions.moc"

#include "pages/StartupOptions.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
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
        row("version", {"--version"}, "version");
        row("short version", {"-v"}, "version");
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
                                         std::pair{u" outcome "_s, options.outcomePath}}) {
            files += path.isEmpty() ? QString() : name + path;
        }
        QTEST(options.helpRequested      ? u"help"_s
              : options.versionRequested ? u"version"_s
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

    // The manual page describes every option the program takes, in its list of
    // options ("*--config* _file_").
    void manualNamesEveryOption()
    {
        QFile manual(QStringLiteral(TESTS_SOURCE_DIR "/../packaging/varnel-migrate.1.scd"));
        QVERIFY(manual.open(QIODevice::ReadOnly));
        const QString page = QString::fromUtf8(manual.readAll());
        const QString help = StartupOptions::parse({u"varnel-migrate"_s}).helpText;
        const QRegularExpression option(u"^  (?:-\\w, )?(--[\\w-]+)"_s,
                                        QRegularExpression::MultilineOption);
        QStringList named;
        for (const QRegularExpressionMatch& match : option.globalMatch(help)) {
            named << match.captured(1);
            QVERIFY2(page.contains(u"\n*"_s + match.captured(1) + u'*') ||
                         page.contains(u"*, *"_s + match.captured(1) + u'*'),
                     qPrintable(match.captured(1) + u" is not described in the manual page"_s));
        }
        QVERIFY2(named.size() >= 9, qPrintable(named.join(u' ')));
    }

    // On a machine without a display, what needs no window works (the version, the
    // help, a demo without the wizard, an answers run) and the wizard ends in one line
    // that says what to do instead, never in Qt's abort. "DIR" stands for a new
    // folder; the expected text is the whole output, or a part of it after "~".
    void withoutDisplay_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("environment");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err");
        const QString version = u"varnel-migrate "_s + QStringLiteral(VARNEL_MIGRATE_VERSION);
        const QString noDisplay = u"The wizard needs a display, and no display was found: "_s;
        QTest::newRow("version") << QStringList{u"--version"_s} << QStringList{} << 0
                                 << version + u"\n"_s << QString();
        QTest::newRow("version, short")
            << QStringList{u"-v"_s} << QStringList{} << 0 << version + u"\n"_s << QString();
        QTest::newRow("help") << QStringList{u"--help"_s} << QStringList{} << 0 << u"~--version"_s
                              << QString();
        QTest::newRow("wizard") << QStringList{} << QStringList{} << 2 << QString() << noDisplay;
        QTest::newRow("demo with the wizard: no demo made")
            << QStringList{u"--demo"_s, u"DIR"_s} << QStringList{} << 2 << QString() << noDisplay;
        QTest::newRow("demo without the wizard")
            << QStringList{u"--demo"_s, u"DIR"_s, u"--no-wizard"_s} << QStringList{} << 0
            << u"~DIR/zephrin.ini"_s << QString();
        QTest::newRow("answers file read before any window")
            << QStringList{u"--answers"_s, u"DIR/none.ini"_s} << QStringList{} << 2 << QString()
            << u"~DIR/none.ini"_s;
        QTest::newRow("unknown option told first")
            << QStringList{u"--bogus"_s} << QStringList{} << 2 << QString()
            << u"~Unknown option 'bogus'"_s;
        QTest::newRow("display that cannot be opened")
            << QStringList{} << QStringList{u"DISPLAY=:987"_s} << 2 << QString()
            << u"~The wizard needs a display, and the display named could not be opened: "_s;
        QTest::newRow("platform that needs a display")
            << QStringList{} << QStringList{u"QT_QPA_PLATFORM=xcb"_s} << 2 << QString()
            << u"~The wizard needs a display, and the display named could not be opened: "_s;
    }

    void withoutDisplay()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, environment);
        QFETCH(int, status);
        QTemporaryDir folder;
        const QString dir = folder.filePath(u"demo"_s);
        arguments.replaceInStrings(u"DIR"_s, dir);

        QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
            variables.remove(QString::fromLatin1(name));
        }
        for (const QString& setting : environment) {
            variables.insert(setting.section(u'=', 0, 0), setting.section(u'=', 1));
        }
        QProcess program;
        program.setProcessEnvironment(variables);
        program.setWorkingDirectory(folder.path());
        program.start(QStringLiteral(VARNEL_MIGRATE_BINARY), arguments);
        QVERIFY(program.waitForFinished(60000));
        const QString printed = QString::fromLocal8Bit(program.readAllStandardOutput());
        const QString told = QString::fromLocal8Bit(program.readAllStandardError());
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QVERIFY2(program.exitCode() == status, qPrintable(printed + told));
        QFETCH(QString, out);
        QFETCH(QString, err);
        for (const auto& [text, expected] : {std::pair{printed, out}, std::pair{told, err}}) {
            const QString wanted = QString(expected).replace(u"DIR"_s, dir);
            if (wanted.startsWith(u'~')) {
                QVERIFY2(text.contains(wanted.mid(1)), qPrintable(text));
            } else if (wanted.startsWith(u"The wizard needs a display"_s)) {
                // One line, naming both ways out.
                QVERIFY2(text.startsWith(wanted) && text.count(u'\n') == 1 &&
                             text.contains(u"--answers"_s) && text.contains(u"VNC"_s) &&
                             text.contains(u"scripts/demo"_s),
                         qPrintable(text));
            } else {
                QCOMPARE(text, wanted);
            }
        }
        // The wizard that could not start made no demo.
        QCOMPARE(QFileInfo::exists(dir + u"/zephrin.ini"_s), arguments.contains(u"--no-wizard"_s));
    }
};

QTEST_GUILESS_MAIN(TestStartupOptions)
#include "tst_startupoptions.moc"

#include "pages/StartupOptions.h"
#include "support/Golden.h"
#include "support/ProgramRun.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

// The lines of a file under tests/data.
QStringList caseLines(const QString& name)
{
    return QString::fromUtf8(readAll(QStringLiteral(TESTS_SOURCE_DIR "/data/") + name))
        .split(u'\n');
}

} // namespace

// The command line: read into StartupOptions, and as the program answers it.
class TestStartupOptions : public QObject
{
    Q_OBJECT
private slots:
    // Each line of the file: the arguments after the program's name, and after "=>"
    // what they are read as.
    void startupOptions()
    {
        QStringList lines = caseLines(u"startupoptions/parse.txt"_s);
        for (QString& line : lines) {
            if (!line.contains(u"=>"_s) || line.startsWith(u'#')) {
                continue;
            }
            const QString arguments = line.section(u"=>"_s, 0, 0).trimmed();
            const StartupOptions options = StartupOptions::parse(QStringList{u"varnel-migrate"_s} +
                                                                 QProcess::splitCommand(arguments));
            QString files = options.configPath;
            for (const auto& [name, path] : {std::pair{u" answers "_s, options.answersPath},
                                             std::pair{u" write "_s, options.writeAnswersPath},
                                             std::pair{u" outcome "_s, options.outcomePath},
                                             std::pair{u" resume "_s, options.resumePath}}) {
                files += path.isEmpty() ? QString() : name + path;
            }
            const QString demo = u"demo %1 %2%3"_s.arg(options.demoFolder)
                                     .arg(options.demoUsers)
                                     .arg(options.noWizard ? u" no-wizard"_s : QString());
            const QString read = options.helpRequested      ? u"help"_s
                                 : options.versionRequested ? u"version"_s
                                 : !options.error.isEmpty() ? u"error: "_s + options.error
                                 : options.demoRequested    ? demo
                                                            : files;
            line = (arguments + u" => "_s + read).trimmed();
        }
        QCOMPARE_GOLDEN(lines.join(u'\n'), u"startupoptions/parse.txt"_s);
    }

    // The manual page describes every option the program takes, in its list of
    // options ("*--config* _file_").
    void manualNamesEveryOption()
    {
        const QString page = QString::fromUtf8(
            readAll(QStringLiteral(TESTS_SOURCE_DIR "/../packaging/varnel-migrate.1.scd")));
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
    // help, a demo without the wizard, an answers run), and the wizard ends in one line
    // that says what to do instead, never in Qt's abort. Each "$" line of the file: the
    // settings of the environment and the arguments ("DIR" a new folder); after it the
    // exit status, every line printed ("out|" and "err|") and whether a demo was made.
    void withoutDisplay()
    {
        QStringList transcript;
        for (const QString& line : caseLines(u"startupoptions/without-display.txt"_s)) {
            if (line != u"$"_s && !line.startsWith(u"$ "_s)) {
                if (line.isEmpty() || line.startsWith(u'#')) {
                    transcript << line;
                }
                continue;
            }
            transcript << line;
            QTemporaryDir folder;
            const QString dir = folder.filePath(u"demo"_s);
            QStringList arguments = QProcess::splitCommand(line.mid(2));
            QStringList environment = {u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s, u"QT_QPA_PLATFORM"_s};
            while (!arguments.isEmpty() && arguments.first().contains(u'=') &&
                   !arguments.first().startsWith(u'-')) {
                environment << arguments.takeFirst();
            }
            const ProgramOutput output =
                runProgram(QStringLiteral(VARNEL_MIGRATE_BINARY),
                           arguments.replaceInStrings(u"DIR"_s, dir), folder.path(), environment);
            transcript << u"exit %1"_s.arg(output.status);
            for (const auto& [prefix, text] :
                 {std::pair{u"out| "_s, output.out}, std::pair{u"err| "_s, output.err}}) {
                const QString masked =
                    QString(text)
                        .replace(QStringLiteral(VARNEL_MIGRATE_BINARY), u"varnel-migrate"_s)
                        .replace(dir, u"DIR"_s)
                        .replace(QStringLiteral(VARNEL_MIGRATE_VERSION), u"<version>"_s);
                // Qt's own messages aside.
                for (const QString& one :
                     masked.split(u'\n').filter(QRegularExpression(u"^(?!qt\\.)(.|$)"_s))) {
                    transcript << prefix + one;
                }
                transcript.removeLast();
            }
            transcript << (QFileInfo::exists(dir + u"/zephrin.ini"_s) ? u"demo made"_s
                                                                      : u"no demo"_s);
        }
        QCOMPARE_GOLDEN(transcript.join(u'\n'), u"startupoptions/without-display.txt"_s);
    }
};

QTEST_GUILESS_MAIN(TestStartupOptions)
#include "tst_startupoptions.moc"

// Times the finish page with the status report of a large run: showing the report in
// its box, reading the box back as it is saved, and "Save" appending it to a file
// twice. The report has the run's shape: a warning block for every fifth user, an
// error block for every fiftieth, and the change table with a line for every user
// that got a new password. Usage: bench_finish [USERS] (50,000 by default).

#include "frame/Clock.h"
#include "frame/GlobalVariables.h"
#include "frame/Prompter.h"
#include "pages/Finish.h"
#include "support/ScriptedPrompter.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdio>
#include <ctime>
#include <memory>

namespace {

QString report(int users)
{
    const QString end = QStringLiteral("\r\n");
    QString text = QStringLiteral("Status, migrated stores: ") + end + end +
                   QStringLiteral("Exchange 2000/2003: ") + end +
                   QStringLiteral("    Migrated MAIL02 successfully") + end + end + end + end;
    text += QStringLiteral("Status, migrated users: ") + end + end;
    const int warned = users / 5;
    const int failed = users / 50;
    text +=
        QStringLiteral("%1 of %2 user(s) successfully migrated").arg(users - failed).arg(users) +
        end + end;
    text += QStringLiteral("%1 of %2 user(s) migrated with warning(s)").arg(warned).arg(users) +
            end + end;
    for (int i = 0; i < warned; ++i) {
        text += QStringLiteral("    First%1 Last%1").arg(i) + end + end +
                QStringLiteral("        Warning(s):") + end + end +
                QStringLiteral("        PROBLEM: Graphics setting missing") + end +
                QStringLiteral("        ACTION: Graphics setting set to false") + end + end + end;
    }
    text += QStringLiteral("%1 of %2 user(s) not migrated due to error").arg(failed).arg(users) +
            end + end;
    for (int i = 0; i < failed; ++i) {
        text += QStringLiteral("    First%1 Last%1").arg(i) + end + end +
                QStringLiteral("        Error:") + end + end +
                QStringLiteral("        User information was corrupt (See Warnings for details)") +
                end + end + end;
    }
    text += QStringLiteral("Users with changed login ID and/or password:") + end + end;
    for (int i = 0; i < users - failed; ++i) {
        text += QStringLiteral("%1%2%3")
                    .arg(QStringLiteral("Last%1, First%1").arg(i), -30)
                    .arg(QStringLiteral("Not Changed"), -20)
                    .arg(QStringLiteral("x7Gq2pLm")) +
                end;
    }
    return text + end +
           QStringLiteral("2 of 2 Device Provisioning profile(s) were successfully "
                          "migrated.") +
           end + end;
}

double cpuMs()
{
    return 1000.0 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

// Wall and processor time of one step, with the longest gap between two event passes
// measured by a 1 ms timer.
template <typename Step> void timed(const char* name, Step step)
{
    QElapsedTimer wall;
    QElapsedTimer sinceTick;
    qint64 longestGap = 0;
    QTimer ticker;
    ticker.setInterval(1);
    QObject::connect(&ticker, &QTimer::timeout,
                     [&] { longestGap = std::max(longestGap, sinceTick.restart()); });
    ticker.start();
    sinceTick.start();
    const double cpu = cpuMs();
    wall.start();
    step();
    QApplication::processEvents();
    const qint64 elapsed = wall.elapsed();
    longestGap = std::max(longestGap, sinceTick.elapsed());
    std::printf("%-44s %8lld ms wall %8.0f ms processor %8lld ms longest gap\n", name,
                static_cast<long long>(elapsed), cpuMs() - cpu, static_cast<long long>(longestGap));
}

} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int users = argc > 1 ? std::atoi(argv[1]) : 50000;
    QTemporaryDir work;
    GlobalVariables::gsProgramFolder = work.path();
    GlobalVariables::gsLogFileName = QStringLiteral("MigrationLog.log");
    auto prompter = std::make_shared<ScriptedPrompter>();
    AppPrompter::setPrompter(prompter);

    const QString text = report(users);
    std::printf("%d users, report of %lld characters\n", users,
                static_cast<long long>(text.size()));

    Finish page;
    page.show();
    QApplication::processEvents();
    timed("show the report", [&] { page.setReport(text); });
    QString back;
    timed("read the box back as saved", [&] { back = page.reportText(); });
    const QString path = work.filePath(QStringLiteral("report.txt"));
    prompter->fileNames << path << path;
    timed("Save (appended to a new file)", [&] { page.WriteToFileBtn->click(); });
    timed("Save again (appended to the same file)", [&] { page.WriteToFileBtn->click(); });

    const qint64 expected = 2 * back.toLatin1().size();
    if (back != text || QFile(path).size() != expected) {
        std::fprintf(stderr, "the saved report differs from the report shown\n");
        return 1;
    }
    return 0;
}

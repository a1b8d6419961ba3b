#include "TestServerControl.h"

#include <QProcess>
#include <QStringList>
#include <unistd.h>

namespace {

// pg_ctl of the server's own installation, as the user the server runs as.
bool control(const QString& state, const QStringList& action)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LD_LIBRARY_PATH"), state + QStringLiteral("/babelfish/lib"));
    process.setProcessEnvironment(environment);
    QStringList command{state + QStringLiteral("/babelfish/bin/pg_ctl"), QStringLiteral("-D"),
                        state + QStringLiteral("/data"), QStringLiteral("-w")};
    command << action;
    if (::getuid() == 0) {
        process.start(QStringLiteral("setpriv"), QStringList{QStringLiteral("--reuid=nobody"),
                                                             QStringLiteral("--regid=nogroup"),
                                                             QStringLiteral("--clear-groups")} +
                                                     command);
    } else {
        const QString program = command.takeFirst();
        process.start(program, command);
    }
    return process.waitForFinished(120000) && process.exitCode() == 0;
}

} // namespace

bool TestServerControl::Stop(const QString& stateFolder)
{
    return control(stateFolder,
                   {QStringLiteral("-m"), QStringLiteral("immediate"), QStringLiteral("stop")});
}

bool TestServerControl::Start(const QString& stateFolder)
{
    return control(stateFolder, {QStringLiteral("-l"), stateFolder + QStringLiteral("/server.log"),
                                 QStringLiteral("start")});
}

#include "pages/DisplayCheck.h"

#include <QByteArray>
#include <cstdio>
#include <cstdlib>

namespace {

QtMessageHandler previousHandler = nullptr;
int unreachableStatus = 2;

void endOnPlatformFailure(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    // Qt ends a start without a usable platform plugin in a fatal message, then
    // aborts; the warnings before it (which display could not be opened) still show.
    if (type == QtFatalMsg && text.contains(QLatin1String("platform plugin"))) {
        const QString line = DisplayCheck::missingDisplayMessage(
            QStringLiteral("the display named could not be opened"));
        std::fprintf(stderr, "%s\n", line.toLocal8Bit().constData());
        std::fflush(stderr);
        std::_Exit(unreachableStatus);
    }
    if (previousHandler != nullptr) {
        previousHandler(type, context, text);
    }
}

} // namespace

bool DisplayCheck::displayNamed(int argc, char* argv[])
{
    for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        if (!qEnvironmentVariableIsEmpty(variable)) {
            return true;
        }
    }
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument == "-platform" || argument.startsWith("-platform=")) {
            return true;
        }
    }
    return false;
}

QString DisplayCheck::missingDisplayMessage(const QString& reason)
{
    return QStringLiteral("The wizard needs a display, and %1: run it without one from an answers "
                          "file (--answers FILE), or serve it over VNC with "
                          "QT_QPA_PLATFORM=vnc:port=5900 and connect a VNC viewer (as bash "
                          "scripts/demo does on a machine without a desktop).")
        .arg(reason);
}

void DisplayCheck::exitWhenUnreachable(int status)
{
    unreachableStatus = status;
    previousHandler = qInstallMessageHandler(endOnPlatformFailure);
}

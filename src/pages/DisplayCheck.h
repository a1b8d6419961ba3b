#pragma once

#include <QString>

// The wizard's windows need a display. Where there is none, Qt would abort with a
// message about its platform plugin; the program says instead what to do.
namespace DisplayCheck {

// Whether the environment (or a -platform argument) names a display, or a platform
// that draws without one (offscreen, vnc, ...).
bool displayNamed(int argc, char* argv[]);

// The one line the program prints when the wizard cannot open its windows; `reason`
// says why ("no display was found").
QString missingDisplayMessage(const QString& reason);

// From here on, a display that is named but cannot be opened ends the program with
// missingDisplayMessage and `status` instead of Qt's abort. Other messages go on to
// the handler installed before.
void exitWhenUnreachable(int status);

} // namespace DisplayCheck

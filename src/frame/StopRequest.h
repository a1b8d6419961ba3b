#pragma once

#include <QString>

// A request to stop the run cleanly, made by SIGTERM, SIGINT or SIGHUP (what
// schedulers, service managers and a closed terminal send). The run looks at it
// between two items: the item in hand is finished, the journal marked stopped, and
// the report so far written. A second signal while the run is still stopping ends
// the process at once (the journal still allows the resume).
namespace StopRequest {

// Installs the handlers of the three signals; once per process.
void InstallSignalHandlers();

// True once a stop was asked for.
bool requested();
// "SIGTERM", "SIGINT" or "SIGHUP"; the text given to request() otherwise.
QString reason();
// Asks for a stop without a signal (tests, the program itself).
void request(const QString& why);
// Forgets the request (tests).
void reset();

// Whether a run is between its start and its report: a signal then stops the run,
// otherwise the program itself.
void setRunActive(bool active);
bool runActive();
// Whether a run was ever active in this process.
bool everActive();

// The exit status of a program whose run was stopped this way.
constexpr int ExitStatus = 3;

} // namespace StopRequest

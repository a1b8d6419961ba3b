#pragma once

#include <QString>

// The T-SQL test server started by ../shared/tools/tsql-server/start in a state folder
// of the tester's own: stopped at once, as a crash stops it, and started again on the
// data it had (its own start script would make a fresh, empty cluster).
namespace TestServerControl {

bool Stop(const QString& stateFolder);
bool Start(const QString& stateFolder);

} // namespace TestServerControl

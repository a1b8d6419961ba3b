#pragma once

#include <QString>

// How the database layer reaches SQL Server; set from the configuration at start-up.
namespace EngineSettings {
// The unixODBC driver name (or a Windows ODBC driver) used for SQL Server.
inline QString gsOdbcDriver = QStringLiteral("FreeTDS");
// Seconds to wait for a SQL Server login before giving up.
inline int giLoginTimeout = 15;
// Milliseconds that a statement on the embedded engine waits for another program's
// lock on the database file to go away before it fails.
inline int giEmbeddedBusyTimeout = 5000;
} // namespace EngineSettings

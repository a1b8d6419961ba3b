#pragma once

#include <QString>

// How the database layer reaches SQL Server; set from the configuration at start-up.
namespace EngineSettings {
// The unixODBC driver name (or a Windows ODBC driver) used for SQL Server.
inline QString gsOdbcDriver = QStringLiteral("FreeTDS");
// Seconds to wait for a SQL Server login before giving up.
inline int giLoginTimeout = 15;
} // namespace EngineSettings

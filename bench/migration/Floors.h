#pragma once

#include <QString>

// What the migration is compared with: the Directory rows that the run added, written
// again in one transaction on one connection, without the run's reads, checks and
// log. Each returns the time in milliseconds and sets rows to the number of rows.

// Embedded: every row the run added to any Directory table, copied from the file
// after the run into a copy made before it, one prepared insert per table.
long long embeddedFloor(const QString& beforeFile, const QString& afterFile, long long& rows);

// SQL Server: the users the run added (UserID above firstNewUserID) with their
// services and settings, read from the run's Directory and inserted into another
// Directory as it was before the run, through multi-row inserts of up to 100 rows.
long long sqlServerFloor(const QString& runDirectory, const QString& floorDirectory,
                         int firstNewUserID, long long& rows);

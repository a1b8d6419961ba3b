#pragma once

#include "frame/Collection.h"

#include <QString>

// The parts of the status report that stand on their own.
namespace StatusReport {

// The text followed by blanks up to width characters; a longer text stays as it is.
QString PadRight(const QString& text, int width);

// The table of users whose login ID or password changed: a header, a line of 70
// dashes, then one row per record of the sorted list ("FullName", the changed login
// ID or "Not Changed", the new password or "Not Changed").
QString ChangeTable(const CollectionPtr& sortedRecords);

} // namespace StatusReport

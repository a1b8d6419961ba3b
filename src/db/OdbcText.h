#pragma once

#include <QSqlRecord>
#include <QVariant>

class QSqlQuery;

// Text columns as the SQL Server driver hands them over. The Qt driver of this
// platform reads a text as 8-bit pieces of the column's declared length, and drops the
// whole value as null or empty when it does not fit one piece: a text without a
// length of its own (nvarchar(max)) longer than 255 bytes, or one whose UTF-8 form is
// longer than its column ("Zoë" in an nvarchar(3)). These read such columns
// themselves, whole, in UTF-16.
namespace OdbcText {

// The positions of the text columns of a result.
QList<int> textColumns(const QSqlRecord& shape);

// The value of column (0-based) of the query's current row, read whole. Columns are
// read in order: the caller reads every column before this one first.
QVariant read(const QSqlQuery& query, int column);

} // namespace OdbcText

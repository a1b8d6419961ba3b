#pragma once

#include "frame/Collection.h"

#include <QString>

// The log writer, the product-name substitution and small text and collection
// helpers that every module uses. None of them shows anything to the user.
namespace CommonFunctions {

// The time in log entries and page launch lines: "YYYY-MM-DD hh:mm:ss".
inline const QString LogTimeFormat = QStringLiteral("yyyy-MM-dd hh:mm:ss");
// The time in the log file's name: "YYYYMMDDhhmmss".
inline const QString LogFileTimeFormat = QStringLiteral("yyyyMMddhhmmss");

// Appends one entry to this pass's log: each CR LF separated line ends in CR LF,
// then one empty line follows. Written in a single-byte code page (ISO 8859-1).
// An entry goes to disk whole or not at all; one that could not be written to the
// program folder goes to the per-user folder. Never raises; false when the entry
// could not be written anywhere. A new log file is readable by its owner only.
bool WriteLog(const QString& text);

// Replaces "<IMAPP>" and then "<EXAPP>", case-sensitively, by the product names.
QString ReplaceAppNames(const QString& text);

// Every non-empty CR LF separated line gets count spaces in front; every line,
// the last one too, ends in CR LF.
QString IndentLines(const QString& text, int count);

// "0,72,105,0" -> "Hi": the first and last elements frame the list and carry no
// character. An element that is not a number raises.
QString CharCodesToText(const QString& list);

// Appends text as it is to a file, creating it readable by its owner only. Failing
// to open raises, and so does a write that failed or was cut short (a full disk);
// the file is then left as it was.
void AppendTextToFile(const QString& path, const QString& text);

bool ObjectKeyExists(const CollectionPtr& collection, const QString& key);
bool ValueKeyExists(const CollectionPtr& collection, const QString& key);

// The folder that holds the program (GlobalVariables::gsProgramFolder when set).
QString ProgramFolder();
// Where the log goes when the program folder cannot be written.
QString FallbackLogFolder();
// A program installed under /usr (by its package or cmake --install) writes nothing
// into its own folder, root's runs included: the log goes to the per-user folder.
bool InstalledUnderUsr();
// The full path of the log file that the last entry went to (empty before any).
QString LastLogFilePath();

// The single-byte code page of the log and of saved reports.
QByteArray ToSingleByte(const QString& text);

} // namespace CommonFunctions

#pragma once

#include <QByteArray>
#include <QString>

// How the wizard reads an INI file as an administrator writes it, shared by the
// configuration file and the answers file.
namespace IniText {

// The text of the file: UTF-8 (a byte-order mark is dropped) when it is valid UTF-8,
// else Latin-1, as an editor that saves in the system's 8-bit code page writes it.
QString decode(const QByteArray& contents);

// The value without a trailing comment: a ';' that follows a blank begins one, unless
// it stands between double quotes ("pwd=a;b" keeps its ';', "smtpport = 25 ; default"
// loses the comment). Trimmed.
QString withoutComment(const QString& text);

// A line (trimmed) that is a comment: it begins with ';' or '#'.
bool isComment(const QString& line);

} // namespace IniText

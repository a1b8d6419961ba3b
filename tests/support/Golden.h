#pragma once

#include <QString>
#include <QStringList>
#include <QTest>

// Whole expected outputs kept as files under tests/data, compared in one call.
//
// A difference fails with `diff -u expected actual`; the actual text stays in
// <build>/tests/golden-actual/<name> for a look. With VARNEL_REGENERATE=1 the actual
// text is written over the expected file instead (the diff is still printed), to be
// reviewed in the commit's diff.
namespace Golden {

// Empty when the text equals tests/data/<name>, else the diff (or why none).
QString difference(const QString& name, const QString& actual);
// prefix + the current data row's tag as a file name ("a quote" -> "a-quote") + ".txt";
// an engine's name before the tag ("sqlserver: a quote") is left out, so that a row
// compares with the same file on both engines.
QString rowFile(const QString& prefix);
// A text whose lines end in CR LF with plain line ends, for a readable file; a CR or
// LF on its own shows as <CR> or <LF>.
QString fromCrlf(const QString& text);
inline QString difference(const QString& name, const QStringList& lines)
{
    return difference(name, lines.join(QLatin1Char('\n')) + QLatin1Char('\n'));
}

} // namespace Golden

#define QCOMPARE_GOLDEN(actual, name)                                                              \
    do {                                                                                           \
        const QString goldenDiff_ = Golden::difference(name, actual);                              \
        QVERIFY2(goldenDiff_.isEmpty(), qPrintable(goldenDiff_));                                  \
    } while (false)

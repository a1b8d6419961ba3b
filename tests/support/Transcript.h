#pragma once

#include "support/PageFixture.h"

#include <QList>
#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <stdexcept>
#include <string>

// What a page test saw, step by step, as one text to compare whole with a file under
// tests/data (QCOMPARE_GOLDEN): after each step the visible windows (windowText), the
// log entries written and the message boxes asked since the step before. When the
// log file changes, its name is written and its entries from the start. The fixture's
// folder is written as "<folder>".
class Transcript
{
public:
    explicit Transcript(PageFixture& fixture);

    // Writes name wherever text appears (a temporary folder, a connection string).
    void mask(const QString& text, const QString& name);
    // Writes name over every match of pattern (words of a driver that vary).
    void mask(const QRegularExpression& pattern, const QString& name)
    {
        mPatterns.append({pattern, name});
    }
    // "## title", then what the step showed, wrote and asked.
    void step(const QString& title) { record(title, true); }
    // Only the log entries and message boxes of the step, not the windows.
    void stepQuiet(const QString& title) { record(title, false); }
    void note(const QString& line) { mLines << line; }

    QString text() const;

    // The one visible window of a kind; throws (the test fails with the names of the
    // visible windows) when there is not exactly one.
    template <typename Page> static Page& on()
    {
        if (Page* page = PageFixture::visible<Page>()) {
            return *page;
        }
        throw std::runtime_error("no single visible " +
                                 std::string(Page::staticMetaObject.className()) +
                                 ", visible: " + visibleNames().toStdString());
    }
    static QString visibleNames();

private:
    void record(const QString& title, bool windows);

    PageFixture& mFixture;
    QList<std::pair<QString, QString>> mMasks;
    QList<std::pair<QRegularExpression, QString>> mPatterns;
    QStringList mLines;
    qsizetype mAsked = 0;
    QString mLogName;
};

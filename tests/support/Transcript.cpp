#include "support/Transcript.h"

#include "support/WindowText.h"

#include "frame/GlobalVariables.h"

#include <algorithm>

Transcript::Transcript(PageFixture& fixture) : mFixture(fixture)
{
    mFixture.markLog();
    mAsked = mFixture.prompter().asked.size();
    mLogName = GlobalVariables::gsLogFileName;
    mask(mFixture.folder(), QStringLiteral("<folder>"));
}

void Transcript::mask(const QString& text, const QString& name)
{
    if (!text.isEmpty()) {
        mMasks.append({text, name});
    }
}

void Transcript::record(const QString& title, bool windows)
{
    mLines << QStringLiteral("## ") + title;
    if (windows) {
        for (WizardPage* page : PageFixture::visibleWindows<WizardPage>()) {
            mLines << windowText(page).trimmed();
        }
    }
    QStringList entries = mFixture.newLogEntries();
    if (GlobalVariables::gsLogFileName != mLogName) {
        mLogName = GlobalVariables::gsLogFileName;
        mLines << QStringLiteral("log file: ") + mLogName;
        entries = mFixture.logEntries();
    }
    for (const QString& entry : entries) {
        mLines << QStringLiteral("log: ") +
                      QString(entry).replace(QStringLiteral("\r\n"), QStringLiteral("\n     "));
    }
    mFixture.markLog();
    const QList<ScriptedPrompter::Asked>& asked = mFixture.prompter().asked;
    for (; mAsked < asked.size(); ++mAsked) {
        const ScriptedPrompter::Asked& box = asked.at(mAsked);
        mLines << QStringLiteral("asked %1 \"%2\" icon %3 buttons %4 over %5: %6")
                      .arg(box.kind, box.title)
                      .arg(int(box.icon))
                      .arg(int(box.buttons))
                      .arg(box.parent.isEmpty() ? QStringLiteral("nothing") : box.parent,
                           QString(box.text).replace(QStringLiteral("\r\n"),
                                                     QStringLiteral("\\r\\n")));
    }
}

QString Transcript::text() const
{
    QString all = mLines.join(QLatin1Char('\n')) + QLatin1Char('\n');
    // The longest first, so that a folder inside a connection string stays in its name.
    QList<std::pair<QString, QString>> masks = mMasks;
    std::stable_sort(masks.begin(), masks.end(),
                     [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
    for (const auto& [text, name] : masks) {
        all.replace(text, name);
    }
    for (const auto& [pattern, name] : mPatterns) {
        all.replace(pattern, name);
    }
    return all;
}

QString Transcript::visibleNames()
{
    QStringList names;
    for (QWidget* window : PageFixture::visibleWindows<QWidget>()) {
        names << window->objectName();
    }
    return names.join(QLatin1Char(','));
}

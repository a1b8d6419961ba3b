#pragma once

#include "ManualClock.h"
#include "ScriptedPrompter.h"
#include "demo/DemoInstallation.h"
#include "pages/WizardPage.h"

#include <QApplication>
#include <QByteArray>
#include <QLatin1String>
#include <QSqlDatabase>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>

class QAbstractButton;
class QLineEdit;

// What every page test starts from, made anew for each test function (create it in
// init(), destroy it in cleanup()):
// - a temporary folder that stands for the program's folder, so the log goes there,
//   under the name the introduction page would give it at the fixture's start time;
// - a scripted Prompter and a manual clock (2003-12-04 15:30:12) installed;
// - the state store and the process-wide values as at program start, with the
//   product names "Zephrin 4.5" and "3.1x";
// - every page registered, and the reference components reading <folder>/zephrin.ini.
// Destroying it closes every window that is left and puts the program's prompter,
// clock and components back.
class PageFixture
{
public:
    PageFixture();
    ~PageFixture();
    PageFixture(const PageFixture&) = delete;
    PageFixture& operator=(const PageFixture&) = delete;

    QString folder() const { return mFolder.path(); }
    ScriptedPrompter& prompter() { return *mPrompter; }
    ManualClock& clock() { return *mClock; }

    // Writes <folder>/zephrin.ini with the given text.
    void writeConfiguration(const QByteArray& text);
    // Makes a demo installation in <folder>/demo, lets the components read its
    // configuration, and fills the two database groups of the state store with its
    // connection strings as the database pages would have left them.
    const DemoInstallation& useDemo(int userCount = DemoData::DefaultUserCount);
    const DemoInstallation& demo() const { return mDemo; }

    // Creates and loads a page, runs LoadStateNext or LoadStatePrev as asked, shows
    // it. Null when it is not registered or is of another type.
    template <typename Page>
    Page* open(QLatin1String name, WizardPage::Restore restore = WizardPage::Restore::None)
    {
        return qobject_cast<Page*>(openPage(name, restore));
    }

    // The visible top-level windows of a kind, and the only one (null when there is
    // not exactly one).
    template <typename Page> static QList<Page*> visibleWindows()
    {
        QList<Page*> windows;
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (auto* window = qobject_cast<Page*>(widget); window && window->isVisible()) {
                windows << window;
            }
        }
        return windows;
    }
    template <typename Page = WizardPage> static Page* visible()
    {
        const QList<Page*> windows = visibleWindows<Page>();
        return windows.size() == 1 ? windows.first() : nullptr;
    }

    // Clicks a button as a person does and lets the pages that were left go.
    static void click(QAbstractButton* button);
    // Types into a text box as a person does, replacing what it held.
    static void type(QLineEdit* box, const QString& text);
    // Deletes the pages that a hand-over or a close let go.
    static void processDeletions()
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    // The log file of this pass, as bytes, and as its entries (each without the blank
    // line that ends it). An entry whose own text holds an empty line comes out as two
    // entries there; compare log() for those.
    QByteArray log() const;
    QStringList logEntries() const;
    // Entries written since the last call of markLog().
    void markLog() { mLogMark = static_cast<int>(logEntries().size()); }
    QStringList newLogEntries() const { return logEntries().mid(mLogMark); }

    // The database connections still open; empty after every well-behaved test.
    static QStringList openConnections() { return QSqlDatabase::connectionNames(); }

private:
    WizardPage* openPage(QLatin1String name, WizardPage::Restore restore);

    QTemporaryDir mFolder;
    std::shared_ptr<ScriptedPrompter> mPrompter;
    std::shared_ptr<ManualClock> mClock;
    DemoInstallation mDemo;
    int mLogMark = 0;
};

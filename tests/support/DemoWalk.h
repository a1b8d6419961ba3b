#pragma once

#include "PageFixture.h"
#include "pages/Introduction.h"
#include "pages/PageNames.h"

#include <QTimer>

class QAbstractButton;
class QAbstractItemView;
class QLineEdit;

// Typing and clicking as a person does, for the walks through the wizard.
namespace Clicks {
void type(QLineEdit* box, const QString& text);
void clickRow(QAbstractItemView* list, int row);
void clickBox(QAbstractButton* box);
} // namespace Clicks

// The files of the Directory in a folder (with any journal beside it), each as its
// name, a blank and the SHA-256 of its bytes: what tells that nothing was written.
QStringList directoryFileHashes(const QString& folder);

// Answers every conflict dialog that opens with the next option of the cycle "new
// login ID", "update", "replace", by clicking its option and OK.
class ConflictAnswers
{
public:
    ConflictAnswers()
    {
        QObject::connect(&mTimer, &QTimer::timeout, [this] { answer(); });
        mTimer.start(0);
    }
    // The conflicts decided: "<source user ID> <option>" each, in order.
    QStringList decided;

private:
    void answer();
    QTimer mTimer;
};

// The demo walked page by page with real widgets, as the administrator walks it: the
// source typed, EXCH55 typed as an Exchange 5.5 server, every user moved (the
// conflicts decided by ConflictAnswers), "Do not send e-mail" cleared and the second
// template clicked, the service account typed when the mail logon page is shown, and
// the fifth and then the first profile chosen. Each step leaves its page with Next.
class DemoWalk
{
public:
    // The source is typed as sqlite:<demoFolder>, the fixture's demo when none is given.
    explicit DemoWalk(PageFixture& fixture, const QString& demoFolder = QString())
        : mFixture(fixture), mDemoFolder(demoFolder)
    {
    }

    // Opens the introduction page as the program does.
    void start() { mFixture.open<Introduction>(PageNames::Introduction); }

    WizardPage* current() const { return PageFixture::visible<WizardPage>(); }
    QString currentName() const { return current() ? current()->objectName() : QString(); }

    // Does what the administrator does on the page shown, then presses Next.
    bool step();
    // Steps on until the named page is shown; false when the walk stops elsewhere.
    bool walkTo(const QString& page);

    ConflictAnswers answers;

private:
    PageFixture& mFixture;
    QString mDemoFolder;
};

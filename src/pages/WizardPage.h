#pragma once

#include <QPointer>
#include <QWidget>
#include <functional>

class QHBoxLayout;
class QKeyEvent;
class QPushButton;

// A page of the wizard: a window of its own that is deleted when it is closed.
// Its child controls carry the system's control names as object names and as
// member names. A page moves on with handOver(), which creates the page it opens,
// lets the caller prepare it, restores it, shows it, hides this page and deletes it.
class WizardPage : public QWidget
{
    Q_OBJECT
public:
    // What the page that is opened does before it is shown.
    enum class Restore
    {
        None,
        Next,
        Prev
    };

    // The navigation buttons a page has.
    enum Button
    {
        PreviousButton = 0x1,
        NextButton = 0x2,
        CancelButton = 0x4
    };
    Q_DECLARE_FLAGS(Buttons, Button)

    WizardPage(const QString& name, const QString& caption, QWidget* parent = nullptr);

    // Called right after the page is loaded and before it is shown: by the page
    // before it when the user moves forward, by the page after it when the user
    // moves back. A page without state of its own does nothing here.
    virtual void LoadStateNext() {}
    virtual void LoadStatePrev() {}

    // Runs Form_Load once. Pages::create loads every page it makes.
    void load();

    // True while one of the page's handlers runs, or while other work marks the page
    // with a Working guard (the migration window during the run). A working page
    // takes no second click and refuses to be closed.
    bool isWorking() const { return mWorking > 0; }

    // Marks a page as working for as long as it lives.
    class Working
    {
    public:
        explicit Working(WizardPage& page);
        ~Working();
        Working(const Working&) = delete;
        Working& operator=(const Working&) = delete;

    private:
        QPointer<WizardPage> mPage;
    };

    // Closes the page as Cancel does, also from inside one of its own handlers.
    void unload();

    // Opens the page registered under pageName in place of this one: create and
    // load it, let prepare set its members, call LoadStateNext or LoadStatePrev as
    // restore says, show it, hide this page and delete it. When the page cannot be
    // opened the user has been told, this page stays and the result is null.
    WizardPage* handOver(const QString& pageName, Restore restore,
                         const std::function<void(WizardPage&)>& prepare = {});

    // The same with the opened page's own type for prepare; prepare is skipped when
    // the page registered under that name is of another type.
    template <typename Page>
    Page* handOverTo(const QString& pageName, Restore restore,
                     const std::function<void(Page&)>& prepare)
    {
        return qobject_cast<Page*>(handOver(pageName, restore, [&prepare](WizardPage& page) {
            if (auto* typed = qobject_cast<Page*>(&page)) {
                prepare(*typed);
            }
        }));
    }

    QPushButton* PreviousBtn = nullptr;
    QPushButton* NextBtn = nullptr;
    QPushButton* CancelBtn = nullptr;

protected:
    // Fills the page when it is loaded, before any LoadState call.
    virtual void Form_Load() {}
    virtual void PreviousBtn_Click() {}
    virtual void NextBtn_Click() {}
    // Unloads this page only: no question, no log entry. The program ends when
    // its last window is closed.
    virtual void CancelBtn_Click();

    // A working page stays open; otherwise closing it unloads it.
    void closeEvent(QCloseEvent* event) override;

    // Return or Enter presses the button that has the focus, else Next when it is
    // enabled: Next is the page's default button, as in a dialog.
    void keyPressEvent(QKeyEvent* event) override;

    // Creates the navigation buttons the page has, wired to their handlers, and
    // returns the row that holds them at its right end; a page may insert buttons
    // of its own (such as a help button) at the front.
    QHBoxLayout* createNavigationButtons(Buttons buttons);

    // Writes the page's name, " Launched" and the time in the log's time format, as a
    // page does when it loads.
    void logLaunched() const;

    // Runs a handler so that a failure it did not catch itself is logged and shown
    // to the user instead of ending the program. Every handler of a page runs through
    // it: while one runs (its pauses and event passes let clicks through), a further
    // click on the page is ignored, so no handler is entered twice.
    void runHandler(const QString& handlerName, const std::function<void()>& handler);

    // Logs and shows a failure of an action of this page that nothing else caught.
    void reportFailure(const QString& action, long number, const QString& description);

    // Shows an error box over the page once it is on screen: a load that fails is
    // told over the page it leaves half filled, not before the page appears.
    void tellWhenShown(const QString& text);
    void showEvent(QShowEvent* event) override;

private:
    void tellPendingFailure();

    QString mPendingFailure;
    bool mLoaded = false;
    int mWorking = 0;
    bool mUnloading = false;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(WizardPage::Buttons)

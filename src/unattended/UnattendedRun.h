#pragma once

#include "unattended/AnswersFile.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <memory>

class ConflictDecision;
class OutcomeWatch;
class Prompter;
class QWidget;
class SelectDatabase;
class WizardPage;

// Walks the wizard's pages from an answers file, as a person would: every page is
// created, loaded and left by its own handlers, writing the same log lines and state,
// only its controls are filled from the file and its buttons pressed here. It watches
// which window is shown (an event filter on the application) and acts once the
// window is on screen; every message box and save dialog is answered by its prompter.
//
// Anything the file does not answer, names wrongly, or any message the wizard shows
// before the run, stops the walk before the summary page's Next, so nothing has been
// written to the Directory: every window is closed and the exit status is 2.
class UnattendedRun : public QObject
{
    Q_OBJECT
public:
    UnattendedRun(AnswersFile answers, OutcomeWatch& watch, QObject* parent = nullptr);
    ~UnattendedRun() override;

    // Installs the prompter that answers from the file and the watch on the windows,
    // before the configuration is read: a message about it stops the run too.
    void prepare();
    // Opens the introduction page; the walk goes on in the event loop.
    void start();

    bool isDone() const { return mDone; }
    // 2 when the run did not start; else the outcome's status (0 or 1), 1 as well when
    // the report could not be saved.
    int exitStatus() const;
    // Why the walk stopped before the run; empty when it did not.
    QString stopReason() const { return mStopReason; }
    // What the administrator should read afterwards: the messages the wizard showed
    // during and after the run, and the answers given to its questions.
    QStringList notes() const { return mNotes; }

signals:
    // Every window is closed.
    void finished(int exitStatus);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    friend class AnswersPrompter;
    enum class Phase
    {
        Walk,
        Run,
        Finish
    };

    // Stops the walk: the reason is kept and told, and every window is closed once the
    // handler that is running has returned.
    void stop(const QString& reason);
    void closeAll();
    void finish();

    void act(QWidget* window);
    void answerPage(WizardPage* page);
    void answerDatabase(SelectDatabase* page, AnswersFile::Database& database,
                        const QString& section);
    void answerStores(WizardPage* page);
    void answerUsers(WizardPage* page);
    void answerConflict(ConflictDecision* dialog);
    void answerTemplate(WizardPage* page);
    void answerServiceAccount(WizardPage* page);
    void answerProfiles(WizardPage* page);
    void answerSummary(WizardPage* page);
    void answerFinish(WizardPage* page);
    // Presses Next; false (after stopping) when the page stays.
    bool next(WizardPage* page);
    // The servers the file types must be mail servers of source users.
    bool checkStoresExist();
    // Stops a walk that stands still: the same windows shown, none of them working, at
    // two checks in a row (a failure the wizard could only tell a person by leaving a
    // window open).
    void checkProgress();

    // The prompter's questions.
    int message(const QString& text, const QString& title, int buttons,
                const QString& detail = QString());
    QString saveFileName();

    AnswersFile mAnswers;
    OutcomeWatch& mWatch;
    std::shared_ptr<Prompter> mPrompter;
    Phase mPhase = Phase::Walk;
    bool mStopped = false;
    bool mDone = false;
    bool mStoresChecked = false;
    bool mReportFailed = false;
    QString mStopReason;
    QStringList mNotes;
    // The windows acted on, so a window shown again is told from a new one.
    QSet<QObject*> mAnswered;
    // The decision for every conflicting user chosen, by source user ID.
    QHash<int, int> mDecisions;
    // The conflicting users chosen, in the order of the page's list.
    QList<int> mConflictOrder;
    QTimer mWatchdog;
    QList<QObject*> mIdleWindows;
};

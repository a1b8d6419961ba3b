#pragma once

#include "engine/RunObserver.h"
#include "engine/RunOutcome.h"

#include <QString>
#include <optional>

// Watches the runs of this process (MigrationEngine::observer, for its lifetime): whether
// one began, and its outcome once its report is ready, which it writes to the outcome
// file when one is named. It gives the program's exit status.
class OutcomeWatch : public RunObserver
{
public:
    // Nothing written when csvPath is empty.
    explicit OutcomeWatch(const QString& csvPath = QString());
    ~OutcomeWatch() override;
    OutcomeWatch(const OutcomeWatch&) = delete;
    OutcomeWatch& operator=(const OutcomeWatch&) = delete;

    void runStarted(const MigrationEngine& run) override;
    void reportGenerated(const MigrationEngine& run) override;

    bool started() const { return mStarted; }
    const std::optional<RunOutcome>& outcome() const { return mOutcome; }
    QString csvPath() const { return mCsvPath; }
    // Why the outcome file could not be written; empty when it was, or none was asked.
    QString csvError() const { return mCsvError; }

    // 2 when no run began; 3 when a signal stopped it (it can be resumed); 1 when one
    // began but a user, store or profile failed, the run ended without its report, or
    // the outcome file could not be written; 0 else.
    int exitStatus() const;
    bool stopped() const { return mStopped; }

    // "Users: 37 migrated, 9 with warnings, 4 failed" and the same for stores and
    // profiles, one line each; empty before a report. Users in the Directory whose
    // e-mail did not go out are named on the users' line, with how to send them.
    QString summary() const;

private:
    QString mCsvPath;
    bool mStarted = false;
    std::optional<RunOutcome> mOutcome;
    QString mCsvError;
    bool mStopped = false;
    QString mJournalPath;
};

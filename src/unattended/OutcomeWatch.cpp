#include "unattended/OutcomeWatch.h"

#include "engine/MigrationEngine.h"
#include "frame/Prompter.h"
#include "frame/StopRequest.h"

#include <QDir>

#include <QSaveFile>

OutcomeWatch::OutcomeWatch(const QString& csvPath) : mCsvPath(csvPath)
{
    MigrationEngine::observer = this;
}

OutcomeWatch::~OutcomeWatch()
{
    if (MigrationEngine::observer == this) {
        MigrationEngine::observer = nullptr;
    }
}

void OutcomeWatch::runStarted(const MigrationEngine&)
{
    mStarted = true;
}

// The file is written as soon as the report is ready, so it is there while the finish
// page waits for the administrator. It replaces an earlier outcome file: it says what
// became of this run.
void OutcomeWatch::reportGenerated(const MigrationEngine& run)
{
    mStopped = run.wasStopped();
    mJournalPath = run.journalPath();
    // The run is over and its report made: nothing here may undo that.
    try {
        mOutcome = RunOutcome::Of(run);
    } catch (const std::exception& error) {
        mOutcome.reset();
        mCsvError = QStringLiteral("The outcome of the run could not be taken: %1")
                        .arg(QString::fromLocal8Bit(error.what()));
        AppPrompter::prompter().message(mCsvError, QStringLiteral("Outcome"),
                                        Prompter::Icon::Exclamation);
        return;
    }
    if (mCsvPath.isEmpty()) {
        return;
    }
    QSaveFile file(mCsvPath);
    const QByteArray csv = mOutcome->toCsv();
    if (file.open(QIODevice::WriteOnly) && file.write(csv) == csv.size() && file.commit()) {
        mCsvError.clear();
        return;
    }
    mCsvError = QStringLiteral("The outcome file %1 could not be written: %2")
                    .arg(mCsvPath, file.errorString());
    AppPrompter::prompter().message(mCsvError, QStringLiteral("Outcome"),
                                    Prompter::Icon::Exclamation);
}

int OutcomeWatch::exitStatus() const
{
    if (!mStarted) {
        return 2;
    }
    if (mStopped) {
        return StopRequest::ExitStatus;
    }
    if (!mOutcome || !mCsvError.isEmpty()) {
        return 1;
    }
    return mOutcome->allMigrated() ? 0 : 1;
}

QString OutcomeWatch::summary() const
{
    if (!mOutcome) {
        return QString();
    }
    const auto line = [this](const QString& title, const QString& kind) {
        return QStringLiteral("%1: %2 migrated, %3 with warnings, %4 failed\n")
            .arg(title)
            .arg(mOutcome->count(kind, QStringLiteral("success")))
            .arg(mOutcome->count(kind, QStringLiteral("warning")))
            .arg(mOutcome->count(kind, QStringLiteral("error")));
    };
    int notMailed = 0;
    for (const OutcomeRow& row : mOutcome->rows) {
        notMailed += row.kind == QLatin1String("user") && row.email == QLatin1String("failed");
    }
    QString users = line(QStringLiteral("Users"), QStringLiteral("user"));
    if (notMailed > 0) {
        users.chop(1);
        users += QStringLiteral(" (%1 of them written to the Directory but not mailed%2)\n")
                     .arg(notMailed)
                     .arg(mJournalPath.isEmpty()
                              ? QString()
                              : QStringLiteral(": varnel-migrate --resume %1 sends them")
                                    .arg(QDir::toNativeSeparators(mJournalPath)));
    }
    return users + line(QStringLiteral("Stores"), QStringLiteral("store")) +
           line(QStringLiteral("Profiles"), QStringLiteral("profile"));
}

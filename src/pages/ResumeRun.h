#pragma once

#include <QList>
#include <QString>

class QWidget;

// Finishing a run that was interrupted, from its journal: the run's input is put back
// as the pages had left it, the migration window runs what the journal says is not
// done yet, and the finish page shows the report of the whole run.
namespace ResumeRun {

// A journal whose run did not finish.
struct Unfinished
{
    QString path;
    QString started;
    QString state;
    QString source;
    QString target;
    int total = 0;
    int done = 0;
};

// The journals of unfinished runs beside the logs (the program's folder, then the
// per-user folder), the newest first. Files that are no journal are passed over.
QList<Unfinished> FindUnfinished();

// Resumes the run: on success the finish page is shown with the report, and the text
// is empty; otherwise it says why nothing was resumed.
QString Resume(const QString& journalPath);

// At the start of the wizard: when an unfinished journal is found, asks whether to
// resume it. True when the administrator said yes and the run was resumed (its
// finish page is shown); false to start the wizard as usual (the journal stays).
bool OfferAtStart();

// Before a new run starts: when the Directory already holds users that an unfinished
// run of the same source and Directory made, says so and offers to resume that run
// instead.
enum class Duplicate
{
    None,     // nothing stands in the way of the new run
    Declined, // the new run must not start; the page stays
    Resumed   // the earlier run was resumed instead (its finish page is shown)
};
Duplicate CheckForDuplicateRun(QWidget* parent);

} // namespace ResumeRun

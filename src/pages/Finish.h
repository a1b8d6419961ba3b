#pragma once

#include "pages/WizardPage.h"

class QLabel;
class QPlainTextEdit;

// The last page ("Migration Completed"): the status report of the run in a box with a
// fixed-pitch font, so its columns line up, which the administrator may edit. "Save"
// appends the box's text to a file chosen in the save dialog, never replacing what
// the file holds, so several runs can be collected in one file; "Finish" ends the
// program.
class Finish : public WizardPage
{
    Q_OBJECT
public:
    explicit Finish(QWidget* parent = nullptr);

    // The filter of the save dialog: text files (chosen first), log files, all files.
    static const QString SaveFilter;

    // The report to show; the summary page sets it after loading the page.
    QString gsReport;
    void setReport(const QString& report);

    // The text of the box as it is saved: every line ended by CR LF as in the report.
    QString reportText() const;

    QLabel* Label1 = nullptr;
    QPlainTextEdit* AfterOpInfo = nullptr;
    QPushButton* WriteToFileBtn = nullptr;

protected:
    void Form_Load() override;

private:
    void WriteToFileBtn_Click();
};

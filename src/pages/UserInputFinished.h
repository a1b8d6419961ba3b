#pragma once

#include "pages/WizardPage.h"

class QLabel;

// The summary page ("Ready to Migrate"): what the migration is about to do, built
// anew from the state store every time the page loads. Next runs the migration on
// the migration window and opens the finish page with the status report; up to
// here nothing has been written to either database.
class UserInputFinished : public WizardPage
{
    Q_OBJECT
public:
    explicit UserInputFinished(QWidget* parent = nullptr);

    // The summary of the current state store, with the product names put in. The
    // e-mail template line appears only when users get new login IDs or passwords
    // (gbNtLogon), even when mail is to be sent otherwise.
    static QString SummaryText();

    QLabel* BeforeOpInfo = nullptr;

protected:
    void Form_Load() override;
    void NextBtn_Click() override;
    void PreviousBtn_Click() override;
};

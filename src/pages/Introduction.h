#pragma once

#include "pages/WizardPage.h"

class QLabel;

// The start page. Creating it fixes the two product names; loading it starts a
// new log file and writes its first entries. Next opens the source database page.
class Introduction : public WizardPage
{
    Q_OBJECT
public:
    explicit Introduction(QWidget* parent = nullptr);

    // True when this page was reached by Previous from the source database page,
    // which then gets its earlier values back on Next.
    bool mbBackedTo = false;
    void setBackedTo(bool backedTo) { mbBackedTo = backedTo; }

    QLabel* IntroductionText = nullptr;

protected:
    void Form_Load() override;
    void NextBtn_Click() override;

private:
    void Form_Initialize();
};

#pragma once

#include "pages/BackToVarnelPage.h"
#include "pages/WizardPage.h"

#include <QStringList>

// Stands in for a page that is not part of this build, such as the user selection
// page, under its name: it records how it was opened, and its Previous goes back the
// way the user selection page's does (to the store page when the route went through
// it, else to the database page it came from, each restored).
class StandInPage : public WizardPage, public BackToVarnelPage
{
    Q_OBJECT
public:
    StandInPage(const QString& name, const QString& caption);

    // Registers a stand-in under name in place of the page registered there.
    static void registerAs(const QString& name,
                           const QString& caption = QStringLiteral("Stand-in"));

    void setBackToVarnel(bool backToVarnel) override { gbBackToVarnel = backToVarnel; }
    void LoadStateNext() override { record("LoadStateNext"); }
    void LoadStatePrev() override { record("LoadStatePrev"); }

    bool gbBackToVarnel = false;
    // How it was opened: "LoadStateNext" or "LoadStatePrev", with the flag as it was
    // set then, as "LoadStateNext backToVarnel=true".
    QStringList opened;

protected:
    void PreviousBtn_Click() override;

private:
    void record(const char* how);
};

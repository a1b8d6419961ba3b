#include "StandInPage.h"

#include "frame/GlobalVariables.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"

StandInPage::StandInPage(const QString& name, const QString& caption) : WizardPage(name, caption)
{
    createNavigationButtons(PreviousButton | NextButton | CancelButton);
}

void StandInPage::registerAs(const QString& name, const QString& caption)
{
    Pages::registerPage(name, [name, caption] { return new StandInPage(name, caption); });
}

void StandInPage::record(const char* how)
{
    opened << QStringLiteral("%1 backToVarnel=%2").arg(how, gbBackToVarnel ? "true" : "false");
}

void StandInPage::PreviousBtn_Click()
{
    if (GlobalVariables::gbAddStores) {
        handOverBackTo(*this, PageNames::AddStores, Restore::Prev, gbBackToVarnel);
    } else {
        handOver(gbBackToVarnel ? PageNames::SelectVarnel : PageNames::SelectZephrin,
                 Restore::Prev);
    }
}

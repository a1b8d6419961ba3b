#pragma once

#include "pages/WizardPage.h"

#include <functional>

// A page whose Previous returns to the source database page or to the target database
// page, as the page that opens it says: the store page and the user selection page.
// The pages before them open them by name through this interface, without knowing
// their types.
class BackToVarnelPage
{
public:
    virtual ~BackToVarnelPage() = default;
    // True when the page is opened from the source database page (directly, or through
    // the store page, which passes its own value on); false from the target page.
    virtual void setBackToVarnel(bool backToVarnel) = 0;
};

// Opens pageName in place of from as WizardPage::handOver does, telling the page,
// before it is restored, which database page its Previous returns to. prepare then
// sets whatever else the page needs.
inline WizardPage* handOverBackTo(WizardPage& from, const QString& pageName,
                                  WizardPage::Restore restore, bool backToVarnel,
                                  const std::function<void(WizardPage&)>& prepare = {})
{
    return from.handOver(pageName, restore, [&](WizardPage& page) {
        if (auto* backTo = dynamic_cast<BackToVarnelPage*>(&page)) {
            backTo->setBackToVarnel(backToVarnel);
        }
        if (prepare) {
            prepare(page);
        }
    });
}

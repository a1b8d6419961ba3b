#include "pages/Introduction.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectUsers.h"

// One line per page of the wizard.
void Pages::registerAllPages()
{
    registerPage(PageNames::Introduction, [] { return new Introduction; });
    registerPage(PageNames::SelectUsers, [] { return new SelectUsers; });
}

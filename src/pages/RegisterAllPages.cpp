#include "pages/Introduction.h"
#include "pages/MigrateUsers.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"

// One line per page of the wizard.
void Pages::registerAllPages()
{
    registerPage(PageNames::Introduction, [] { return new Introduction; });
    registerPage(PageNames::MigrateUsers, [] { return new MigrateUsers; });
}

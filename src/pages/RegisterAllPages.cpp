#include "pages/AddStores.h"
#include "pages/EnterConnectData.h"
#include "pages/Finish.h"
#include "pages/Introduction.h"
#include "pages/MigrateUsers.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectDPProfiles.h"
#include "pages/SelectEmailTemplate.h"
#include "pages/SelectUsers.h"
#include "pages/SelectVarnel.h"
#include "pages/SelectZephrin.h"
#include "pages/UserInputFinished.h"
#include "pages/Verifier.h"

// One line per page of the wizard.
void Pages::registerAllPages()
{
    registerPage(PageNames::Introduction, [] { return new Introduction; });
    registerPage(PageNames::SelectVarnel, [] { return new SelectVarnel; });
    registerPage(PageNames::SelectZephrin, [] { return new SelectZephrin; });
    registerPage(PageNames::Verifier, [] { return new Verifier; });
    registerPage(PageNames::AddStores, [] { return new AddStores; });
    registerPage(PageNames::SelectUsers, [] { return new SelectUsers; });
    registerPage(PageNames::SelectEmailTemplate, [] { return new SelectEmailTemplate; });
    registerPage(PageNames::EnterConnectData, [] { return new EnterConnectData; });
    registerPage(PageNames::SelectDPProfiles, [] { return new SelectDPProfiles; });
    registerPage(PageNames::UserInputFinished, [] { return new UserInputFinished; });
    registerPage(PageNames::MigrateUsers, [] { return new MigrateUsers; });
    registerPage(PageNames::Finish, [] { return new Finish; });
}

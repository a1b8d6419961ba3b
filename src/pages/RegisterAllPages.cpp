#include "pages/Introduction.h"
#include "pages/Pages.h"

// One line per page of the wizard.
void Pages::registerAllPages()
{
    registerPage(QStringLiteral("Introduction"), [] { return new Introduction; });
}

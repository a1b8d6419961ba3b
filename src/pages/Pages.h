#pragma once

#include <QString>
#include <QStringList>
#include <functional>

class WizardPage;

// The wizard's pages by name. Every page is registered in registerAllPages(),
// which the program and the tests call before the first page is created; a test
// may register a page of its own under a page's name.
namespace Pages {

using Creator = std::function<WizardPage*()>;

void registerPage(const QString& name, Creator creator);
void unregisterPage(const QString& name);
// The names registered, in no particular order.
QStringList registeredNames();

// Creates and loads the page registered under name. Null, after the user has been
// told, when no page is registered under it or loading it failed.
WizardPage* create(const QString& name);

// Registers every page of the wizard.
void registerAllPages();

} // namespace Pages

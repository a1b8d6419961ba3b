#pragma once

#include "reference/DirectoryBuilder.h"

#include <QList>
#include <QStringList>

// The introduction e-mail templates of the demo's Directory. The first, which is
// also the chosen one, uses every placeholder that the introduction e-mail fills.
namespace DemoTemplates {

QList<DirectoryDescription::Template> Templates();

// "<LoginID>", "<Password>", "<FirstName>", "<LastName>", "<WizardURL>".
QStringList Placeholders();

} // namespace DemoTemplates

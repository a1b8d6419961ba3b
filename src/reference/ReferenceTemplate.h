#pragma once

#include "directory/TargetComponents.h"

// The template component of the reference installation, over fwtTemplate. The
// chosen template is remembered in the Directory itself, as the system setting
// ('emailTemplate', 'selectedtemplate') holding the template's ID.
class ReferenceTemplate : public TemplateComponent
{
public:
    // Field 0 the ID, field 1 the title, by ascending ID; no bounds without templates.
    VariantTable ListTemplates(const QString& connectionString) override;
    // Refuses an ID that names no template.
    void SelectTemplate(int templateID, const QString& connectionString) override;
    // Fails with a clear text when none is chosen or the chosen one is gone.
    CollectionPtr ReadTemplate(const QString& connectionString) override;
};

#pragma once

#include "directory/TargetComponents.h"

// The template component of the reference installation, over fwtTemplate. The
// template chosen for a Directory is remembered by the program, per Directory, and
// not written to the Directory: the wizard chooses it before the run, when nothing
// may be written yet. Until one is chosen, the system setting ('emailTemplate',
// 'selectedtemplate') of the Directory names the template to read.
class ReferenceTemplate : public TemplateComponent
{
public:
    // Field 0 the ID, field 1 the title, by ascending ID; no bounds without templates.
    VariantTable ListTemplates(const QString& connectionString) override;
    // Refuses an ID that names no template; writes nothing.
    void SelectTemplate(int templateID, const QString& connectionString) override;
    // Fails with a clear text when none is chosen or the chosen one is gone.
    CollectionPtr ReadTemplate(const QString& connectionString) override;
};

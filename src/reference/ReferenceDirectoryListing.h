#pragma once

#include "directory/TargetComponents.h"

// The directory listing component of the reference installation: the languages
// the Directory knows (fwtLanguage), field 0 the language ID and field 1 its name,
// by ascending ID. The migration checks every user's language against it.
class ReferenceDirectoryListing : public DirectoryListingComponent
{
public:
    VariantTable GetList(int which, const QString& connectionString) override;
};

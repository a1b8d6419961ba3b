#pragma once

#include <QLatin1String>

// The keys of the wizard state store's groups and of the collections the pages hand
// to one another through it. Each key stands here once; every reader and writer
// names it through these constants.
namespace StateKeys {

// Groups 1 and 2: the source and the target database page.
inline constexpr QLatin1String DatabaseServer{"DatabaseServer"};
inline constexpr QLatin1String Database{"Database"};
inline constexpr QLatin1String Authentication{"Authentication"};
inline constexpr QLatin1String DatabaseListIndex{"DatabaseListIndex"};
inline constexpr QLatin1String LoginID{"LoginID"};
inline constexpr QLatin1String Password{"Password"};
inline constexpr QLatin1String DatabasesLoaded{"DatabasesLoaded"};
inline constexpr QLatin1String ConnectionString{"ConnectionString"};

// Group 3: the user selection page.
inline constexpr QLatin1String ConflictDecisions{"ConflictDecisions"};
inline constexpr QLatin1String ConflictUsers{"ConflictUsers"};
inline constexpr QLatin1String ConflictUserNames{"ConflictUserNames"};
inline constexpr QLatin1String Link{"Link"};
inline constexpr QLatin1String AllUsers{"AllUsers"};
inline constexpr QLatin1String ExportedUsers{"ExportedUsers"};
inline constexpr QLatin1String OldUsers{"OldUsers"};
inline constexpr QLatin1String MigrationList{"MigrationList"};
inline constexpr QLatin1String NeedEmail{"NeedEmail"};

// The members of "MigrationList".
inline constexpr QLatin1String VaUserIDs{"VaUserIDs"};
inline constexpr QLatin1String Actions{"Actions"};
inline constexpr QLatin1String ZeUserIDs{"ZeUserIDs"};

// Group 4: the profile selection page.
inline constexpr QLatin1String AllProfiles{"AllProfiles"};
inline constexpr QLatin1String ExportedProfiles{"ExportedProfiles"};
inline constexpr QLatin1String OldProfiles{"OldProfiles"};

// Group 5: the store type page.
inline constexpr QLatin1String E2kServers{"E2kServers"};
inline constexpr QLatin1String E55Servers{"E55Servers"};

// Group 6: the e-mail template page.
inline constexpr QLatin1String Send{"Send"};
inline constexpr QLatin1String Title{"Title"};

// Group 7: the mail logon page.
inline constexpr QLatin1String ServerName{"ServerName"};
inline constexpr QLatin1String Alias{"Alias"};
inline constexpr QLatin1String EmailAddress{"EmailAddress"};

} // namespace StateKeys

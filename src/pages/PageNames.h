#pragma once

#include <QLatin1String>

// The names under which the pages are registered and by which they open one
// another; each page carries its name as its object name.
namespace PageNames {

inline constexpr QLatin1String Introduction{"Introduction"};
inline constexpr QLatin1String SelectVarnel{"SelectVarnel"};
inline constexpr QLatin1String SelectZephrin{"SelectZephrin"};
inline constexpr QLatin1String Verifier{"Verifier"};
inline constexpr QLatin1String AddStores{"AddStores"};
inline constexpr QLatin1String SelectUsers{"SelectUsers"};
inline constexpr QLatin1String ConflictDecision{"ConflictDecision"};
inline constexpr QLatin1String SelectEmailTemplate{"SelectEmailTemplate"};
inline constexpr QLatin1String EnterConnectData{"EnterConnectData"};
inline constexpr QLatin1String SelectDPProfiles{"SelectDPProfiles"};
inline constexpr QLatin1String UserInputFinished{"UserInputFinished"};
inline constexpr QLatin1String MigrateUsers{"MigrateUsers"};
inline constexpr QLatin1String Finish{"Finish"};

} // namespace PageNames

#pragma once

#include "db/VarnelBuilder.h"
#include "reference/DirectoryBuilder.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

// The content of a demo installation: a Varnel source with users whose records show
// everything the migration has to deal with, and a Directory that already holds some
// of their login IDs, one store, e-mail templates and a service account.
//
// Users are made from their position alone, so the same count always gives the same
// data. Positions repeat in blocks of CycleLength; within a block every position has
// its role (DemoTrait), so a block of 50 users has every case once, and N users have
// each case about N / 50 times.
namespace DemoData {

inline constexpr int DefaultUserCount = 50;
inline constexpr int CycleLength = 50;
inline constexpr int MaximumUserCount = 1000000;

inline constexpr const char* ProductName = "Zephrin 4.5";
inline constexpr const char* SourceDatabase = "Varnel";
inline constexpr const char* DirectoryDatabase = "Directory";
inline constexpr const char* Domain = "CORP";
inline constexpr const char* MailDomain = "example.com";
// The mail server that the Directory already knows as a store, and the one it does not.
inline constexpr const char* RegisteredServer = "MAIL01";
inline constexpr const char* UnregisteredServer = "EXCH55";
inline constexpr const char* BaseHref = "http://zephrin.example.com/zephrin/";
inline constexpr const char* ServiceAccountAlias = "svc-migrate";

// What a source user is there to show.
enum class DemoTrait
{
    Plain,
    Conflict,          // the Directory holds the same login ID
    ConflictCaseOnly,  // the Directory holds it in other letter case
    GraphicsMissing,   // no UserViewGraphics
    GraphicsInvalid,   // UserViewGraphics "yes"
    LanguageMissing,   // no UserLanguage
    LanguageUnknown,   // a UserLanguage the Directory does not know
    TimezoneMissing,   // no TimezoneIndex
    EnabledMissing,    // no UserEnabled
    EnabledInvalid,    // UserEnabled "1"
    PhoneMissing,      // no UserPhoneNumber
    PhoneEmpty,        // UserPhoneNumber ""
    LoginEmpty,        // empty login ID: not migrated
    AliasMissing,      // no UserMailAlias: not migrated
    EmailMissing,      // neither UserLogin nor UserPrimaryEmailAddress: not migrated
    MailServerMissing, // no UserMailHomeServer: not migrated
    PasswordEmpty,     // empty password: not migrated unless new passwords are made
    NamesEmpty,        // empty first and last name: migrated as "Unnamed"
    EmailFromPrimary   // UserLogin "", the address comes from UserPrimaryEmailAddress
};

// The role of the user at a position (0-based).
DemoTrait TraitAt(int position);

// A pair of a source user and the Directory user that holds its login ID.
struct PlantedConflict
{
    int vaUserID = 0;
    QString sourceLoginID;
    QString directoryLoginID;
};

struct DemoContent
{
    VarnelSource source;
    DirectoryDescription directory;
    // The role of every source user, by user ID.
    QHash<int, DemoTrait> traits;
    // In the order of the source users.
    QList<PlantedConflict> conflicts;

    // The first source user with the role, or null.
    const VarnelSourceUser* firstUserWith(DemoTrait trait) const;
};

// The content for userCount source users (1 to MaximumUserCount). The Directory's
// users carry the encoded form of one password, made once.
DemoContent Generate(int userCount = DefaultUserCount);

// The setting names of a source user, in the order the wizard asks for them.
QStringList SettingNames();

// The clear password of the Directory's existing users.
QString DirectoryUserPassword();

} // namespace DemoData

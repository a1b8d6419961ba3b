#include "engine/UserValidation.h"

#include "db/VarnelDBCon.h"
#include "engine/OutcomeCodes.h"
#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"
#include "frame/RecordKeys.h"

#include <array>

namespace UserValidation {

namespace {

using namespace RecordKeys;

const QString UserLogin = QStringLiteral("UserLogin");
const QString UserPrimaryEmailAddress = QStringLiteral("UserPrimaryEmailAddress");

// A record member taken from a setting: the setting name and the member it becomes.
struct SettingMember
{
    QLatin1String setting;
    QLatin1String member;
};

// In the order the record is built; "Email" comes between "Enabled" and
// "MobileTelephoneNumber" and is chosen from two settings.
const std::array<SettingMember, 6> LeadingSettings = {{
    {QLatin1String("UserMailHomeServer"), ExchangeServer},
    {QLatin1String("UserMailAlias"), Alias},
    {QLatin1String("UserViewGraphics"), GraphicsSetting},
    {QLatin1String("UserLanguage"), LanguageID},
    {QLatin1String("TimezoneIndex"), TimezoneID},
    {QLatin1String("UserEnabled"), Enabled},
}};
const std::array<SettingMember, 3> TrailingSettings = {{
    {QLatin1String("UserPhoneNumber"), MobileTelephoneNumber},
    {QLatin1String("UserLogonFailureCounter"), UserLogonFailureCounter},
    {QLatin1String("defaultstartpoint"), DefaultStartPoint},
}};

QString text(const CollectionPtr& record, const QString& key)
{
    return record->value(key).toString();
}

void copySetting(const CollectionPtr& settings, const SettingMember& pair,
                 const CollectionPtr& record)
{
    if (settings->contains(pair.setting)) {
        record->add(text(settings, pair.setting), pair.member);
    }
}

int gradeOf(const CollectionPtr& grades, const QString& field)
{
    return grades->value(field, Grade::Good).toInt();
}

// Takes the member out and puts it in again at the end of the record.
void replaceMember(const CollectionPtr& record, const QString& key, const QVariant& value)
{
    if (record->contains(key)) {
        record->remove(key);
    }
    record->add(value, key);
}

// The grade of a field that must be there and must not be empty.
int essentialGrade(const CollectionPtr& record, const QString& field)
{
    if (!CommonFunctions::ValueKeyExists(record, field)) {
        return Grade::Unusable;
    }
    return text(record, field).isEmpty() ? Grade::Unusable : Grade::Good;
}

// The grade of a field that is repaired when missing (2) or invalid (1).
template <typename Valid>
int optionalGrade(const CollectionPtr& record, const QString& field, Valid valid)
{
    if (!CommonFunctions::ValueKeyExists(record, field)) {
        return Grade::Missing;
    }
    return valid(text(record, field)) ? Grade::Good : Grade::Invalid;
}

struct FatalReason
{
    QLatin1String field;
    QLatin1String problem;
};

// The record's own members, so "Firstname" and "Lastname" are never graded here.
const std::array<FatalReason, 7> FatalReasons = {{
    {Firstname, QLatin1String("Firstname missing")},
    {Lastname, QLatin1String("Surname missing")},
    {Password, QLatin1String("Password missing")},
    {LoginID, QLatin1String("Login ID missing")},
    {Alias, QLatin1String("Alias missing")},
    {Email, QLatin1String("E-mail Address missing")},
    {ExchangeServer, QLatin1String("Mail server missing")},
}};

struct RepairReason
{
    QLatin1String field;
    int grade;
    QLatin1String problem;
    QLatin1String action;
};

// The texts say "false" and "english" where the stored values are "off" and "1033".
const std::array<RepairReason, 9> RepairReasons = {{
    {LanguageID, Grade::Missing, QLatin1String("Language ID missing"),
     QLatin1String("User's language ID set to 1033 (english)")},
    {LanguageID, Grade::Invalid, QLatin1String("Language not supported"),
     QLatin1String("User's language set to english")},
    {GraphicsSetting, Grade::Missing, QLatin1String("Graphics setting missing"),
     QLatin1String("Graphics setting set to false")},
    {GraphicsSetting, Grade::Invalid, QLatin1String("Graphics setting invalid"),
     QLatin1String("Graphics setting set to false")},
    {MobileTelephoneNumber, Grade::Missing, QLatin1String("Mobile Telephone Number missing"),
     QLatin1String("No Action")},
    {MobileTelephoneNumber, Grade::Invalid, QLatin1String("Mobile Telephone Number invalid"),
     QLatin1String("No Action")},
    {TimezoneID, Grade::Missing, QLatin1String("Timezone ID missing"),
     QLatin1String("Timezone ID set to 24 (GMT+1)")},
    {Enabled, Grade::Missing, QLatin1String("Enabled setting missing"),
     QLatin1String("User set to disabled")},
    {Enabled, Grade::Invalid, QLatin1String("Enabled setting missing"),
     QLatin1String("User set to disabled")},
}};

} // namespace

QStringList SettingNames()
{
    QStringList names;
    for (const SettingMember& pair : LeadingSettings) {
        names << pair.setting;
    }
    names << UserLogin << UserPrimaryEmailAddress;
    for (const SettingMember& pair : TrailingSettings) {
        names << pair.setting;
    }
    return names;
}

CollectionPtr GetUserInformation(int vaUserID, const QString& connectionString)
{
    const CollectionPtr user = VarnelDBCon::GetUserByID(vaUserID, connectionString);
    if (!user->contains(RecordKeys::LoginID)) {
        throw MigrationError(
            ErrorNumber::InvalidProcedureCall,
            CommonFunctions::ReplaceAppNames(
                QStringLiteral("There is no user with the ID %1 in the <EXAPP> database"))
                .arg(vaUserID),
            QStringLiteral("VarnelMigrationTool.MigrateUsers.GetUserInformation"));
    }
    const CollectionPtr settings =
        VarnelDBCon::GetUserSettingsByID(vaUserID, SettingNames(), connectionString);

    const CollectionPtr record = Collection::create();
    record->add(text(user, RecordKeys::FirstName), Firstname);
    record->add(text(user, RecordKeys::LastName), Lastname);
    record->add(text(user, RecordKeys::LoginID), LoginID);
    record->add(text(user, RecordKeys::Domain), Domain);
    record->add(text(user, RecordKeys::Password), Password);
    for (const SettingMember& pair : LeadingSettings) {
        copySetting(settings, pair, record);
    }
    if (settings->contains(UserLogin) && !text(settings, UserLogin).isEmpty()) {
        record->add(text(settings, UserLogin), Email);
    } else if (settings->contains(UserPrimaryEmailAddress)) {
        record->add(text(settings, UserPrimaryEmailAddress), Email);
    }
    for (const SettingMember& pair : TrailingSettings) {
        copySetting(settings, pair, record);
    }
    return record;
}

CollectionPtr ValidateUser(const CollectionPtr& record, bool newPasswords,
                           const CollectionPtr& languageIDs)
{
    const CollectionPtr grades = Collection::create();
    int total = Grade::Good;
    const auto grade = [&](const QString& field, int value) {
        grades->add(value, field);
        total = MaxGrade(total, value);
    };

    grade(LoginID, essentialGrade(record, LoginID));
    if (!CommonFunctions::ValueKeyExists(record, Password)) {
        grade(Password, Grade::Unusable);
    } else {
        grade(Password,
              newPasswords || !text(record, Password).isEmpty() ? Grade::Good : Grade::Unusable);
    }
    grade(ExchangeServer, essentialGrade(record, ExchangeServer));
    grade(Alias, essentialGrade(record, Alias));
    grade(Email, essentialGrade(record, Email));
    grade(GraphicsSetting, optionalGrade(record, GraphicsSetting, [](const QString& value) {
              const QString upper = value.toUpper();
              return upper == QLatin1String("OFF") || upper == QLatin1String("ON");
          }));
    grade(LanguageID, optionalGrade(record, LanguageID, [&](const QString& value) {
              return languageIDs && languageIDs->contains(value);
          }));
    grade(TimezoneID, optionalGrade(record, TimezoneID, [](const QString&) { return true; }));
    grade(Enabled, optionalGrade(record, Enabled, [](const QString& value) {
              const QString upper = value.toUpper();
              return upper == QLatin1String("FALSE") || upper == QLatin1String("TRUE");
          }));
    grade(MobileTelephoneNumber,
          optionalGrade(record, MobileTelephoneNumber,
                        [](const QString& value) { return !value.isEmpty(); }));
    grades->add(total, Total);
    return grades;
}

CollectionPtr RepairUser(const CollectionPtr& record, const CollectionPtr& grades)
{
    switch (gradeOf(grades, GraphicsSetting)) {
    case Grade::Missing:
    case Grade::Invalid:
        replaceMember(record, GraphicsSetting, QStringLiteral("off"));
        break;
    default:
        break;
    }
    switch (gradeOf(grades, LanguageID)) {
    case Grade::Missing:
    case Grade::Invalid:
        replaceMember(record, LanguageID, QStringLiteral("1033"));
        break;
    default:
        break;
    }
    if (gradeOf(grades, TimezoneID) == Grade::Missing) {
        replaceMember(record, TimezoneID, 24);
    }
    switch (gradeOf(grades, Enabled)) {
    case Grade::Missing:
    case Grade::Invalid:
        replaceMember(record, Enabled, false);
        break;
    default:
        break;
    }
    if (gradeOf(grades, MobileTelephoneNumber) == Grade::Missing) {
        replaceMember(record, MobileTelephoneNumber, QStringLiteral(""));
    }
    return record;
}

int MaxGrade(int current, int grade)
{
    return grade > current ? grade : current;
}

QString FormatWarning(const QString& problem, const QString& action)
{
    return QStringLiteral("PROBLEM: ") + problem + QStringLiteral("\r\n") +
           QStringLiteral("ACTION: ") + action + QStringLiteral("\r\n") + QStringLiteral("\r\n");
}

QString WarningText(const CollectionPtr& grades)
{
    QString warnings;
    if (!grades) {
        return warnings;
    }
    if (gradeOf(grades, Total) == Grade::Unusable) {
        for (const FatalReason& reason : FatalReasons) {
            if (gradeOf(grades, reason.field) == Grade::Unusable) {
                warnings += FormatWarning(reason.problem, QStringLiteral("User not migrated"));
            }
        }
        return warnings;
    }
    for (const RepairReason& reason : RepairReasons) {
        if (gradeOf(grades, reason.field) == reason.grade) {
            warnings += FormatWarning(reason.problem, reason.action);
        }
    }
    return warnings;
}

} // namespace UserValidation

#include "demo/DemoData.h"

#include "demo/DemoProfiles.h"
#include "demo/DemoTemplates.h"
#include "directory/DefaultServices.h"
#include "reference/ReferencePasswordEncoder.h"

#include <QSet>

namespace DemoData {

namespace {

const QStringList FirstNames = {
    QStringLiteral("James"),     QStringLiteral("Mary"),     QStringLiteral("John"),
    QStringLiteral("Patricia"),  QStringLiteral("Robert"),   QStringLiteral("Jennifer"),
    QStringLiteral("Michael"),   QStringLiteral("Linda"),    QStringLiteral("William"),
    QStringLiteral("Elisabeth"), QStringLiteral("David"),    QStringLiteral("Ingrid"),
    QStringLiteral("Richard"),   QStringLiteral("Susan"),    QStringLiteral("Joseph"),
    QStringLiteral("Jessica"),   QStringLiteral("Thomas"),   QStringLiteral("Sarah"),
    QStringLiteral("Charles"),   QStringLiteral("Karen"),    QStringLiteral("Daniel"),
    QStringLiteral("Nancy"),     QStringLiteral("Matthew"),  QStringLiteral("Lisa"),
    QStringLiteral("Anthony"),   QStringLiteral("Margaret"), QStringLiteral("Mark"),
    QStringLiteral("Sandra"),    QStringLiteral("Paul"),     QStringLiteral("Ashley"),
    QStringLiteral("Stefan"),    QStringLiteral("Emily"),    QStringLiteral("Andrew"),
    QStringLiteral("Donna"),     QStringLiteral("Lars"),     QStringLiteral("Michelle"),
    QStringLiteral("Pierre"),    QStringLiteral("Carol"),    QStringLiteral("Kevin"),
    QStringLiteral("Amanda"),
};

// A prime count, so that first and last names pair up differently in every block.
const QStringList LastNames = {
    QStringLiteral("Smith"),    QStringLiteral("Johnson"),  QStringLiteral("Williams"),
    QStringLiteral("Brown"),    QStringLiteral("Jones"),    QStringLiteral("Garcia"),
    QStringLiteral("Miller"),   QStringLiteral("Davis"),    QStringLiteral("Fischer"),
    QStringLiteral("Martinez"), QStringLiteral("Jensen"),   QStringLiteral("Lopez"),
    QStringLiteral("Rossi"),    QStringLiteral("Wilson"),   QStringLiteral("Anderson"),
    QStringLiteral("Thomas"),   QStringLiteral("Taylor"),   QStringLiteral("Moore"),
    QStringLiteral("Jackson"),  QStringLiteral("Martin"),   QStringLiteral("Dubois"),
    QStringLiteral("Perez"),    QStringLiteral("Thompson"), QStringLiteral("White"),
    QStringLiteral("Harris"),   QStringLiteral("Sanchez"),  QStringLiteral("Clark"),
    QStringLiteral("Novak"),    QStringLiteral("Lewis"),    QStringLiteral("Robinson"),
    QStringLiteral("Walker"),   QStringLiteral("Young"),    QStringLiteral("Allen"),
    QStringLiteral("Becker"),   QStringLiteral("Wright"),   QStringLiteral("Scott"),
    QStringLiteral("Torres"),   QStringLiteral("Nguyen"),   QStringLiteral("Larsen"),
    QStringLiteral("Flores"),   QStringLiteral("Green"),    QStringLiteral("Adams"),
    QStringLiteral("Nelson"),   QStringLiteral("Baker"),    QStringLiteral("Moreau"),
    QStringLiteral("Rivera"),   QStringLiteral("Campbell"),
};

const QStringList Passwords = {QStringLiteral("Summer03"),  QStringLiteral("blue42sky"),
                               QStringLiteral("Tr0ub4dor"), QStringLiteral("letmein9"),
                               QStringLiteral("Pa55word"),  QStringLiteral("qwerty12")};
const QStringList Languages = {
    QStringLiteral("1033"), QStringLiteral("1033"), QStringLiteral("1031"), QStringLiteral("1036"),
    QStringLiteral("2057"), QStringLiteral("1053"), QStringLiteral("1034"), QStringLiteral("1043")};
// Time zones 21 to 27 and 47, 48 are merged by the Directory.
const QList<int> TimeZones = {4, 20, 21, 22, 23, 24, 25, 26, 27, 35, 47, 48, 24, 2, 24, 10};
const QStringList Graphics = {QStringLiteral("on"), QStringLiteral("off"), QStringLiteral("ON"),
                              QStringLiteral("Off")};

// The role of each position of a block; the rest are plain users.
const QHash<int, DemoTrait> Roles = {
    {1, DemoTrait::Conflict},           {3, DemoTrait::GraphicsMissing},
    {6, DemoTrait::GraphicsInvalid},    {8, DemoTrait::LanguageMissing},
    {10, DemoTrait::ConflictCaseOnly},  {11, DemoTrait::LanguageUnknown},
    {14, DemoTrait::TimezoneMissing},   {16, DemoTrait::EnabledMissing},
    {19, DemoTrait::EnabledInvalid},    {21, DemoTrait::Conflict},
    {22, DemoTrait::PhoneMissing},      {25, DemoTrait::PhoneEmpty},
    {27, DemoTrait::LoginEmpty},        {30, DemoTrait::AliasMissing},
    {32, DemoTrait::Conflict},          {33, DemoTrait::EmailMissing},
    {36, DemoTrait::MailServerMissing}, {38, DemoTrait::PasswordEmpty},
    {41, DemoTrait::NamesEmpty},        {43, DemoTrait::Conflict},
    {44, DemoTrait::EmailFromPrimary},
};

// Positions of a block at which the Directory gets a user of its own that no source
// user shares.
const QSet<int> DirectoryOnlyPositions = {0, 12, 24, 37};

// The first conflicting position of a block also finds the login ID that the
// Directory would give it as a new user taken already, so the new one gets the next.
constexpr int TakenNewLoginPosition = 1;

const QString Empty = QStringLiteral("");

QString charCodes(const QString& clear)
{
    QStringList codes = {QStringLiteral("0")};
    for (const QChar c : clear) {
        codes << QString::number(c.unicode());
    }
    codes << QStringLiteral("0");
    return codes.join(QLatin1Char(','));
}

QString address(const QString& localPart)
{
    return localPart + QLatin1Char('@') + QLatin1String(MailDomain);
}

// Login IDs of both databases, compared without regard to case.
class LoginRegister
{
public:
    bool taken(const QString& login) const { return mUsed.contains(login.toLower()); }
    void take(const QString& login) { mUsed.insert(login.toLower()); }

    // base, or base followed by 2, 3, ... when it is taken.
    QString unique(const QString& base)
    {
        QString login = base;
        int& next = mNextSuffix[base.toLower()];
        if (next == 0) {
            next = 2;
        }
        while (taken(login)) {
            login = base + QString::number(next++);
        }
        take(login);
        return login;
    }

private:
    QSet<QString> mUsed;
    QHash<QString, int> mNextSuffix;
};

class Generator
{
public:
    explicit Generator(int userCount) : mUserCount(userCount)
    {
        mEncodedPassword = ReferencePasswordEncoder().EncodePassword(DirectoryUserPassword());
    }

    DemoContent run()
    {
        mContent.source.settingNames = SettingNames();
        for (int position = 0; position < mUserCount; ++position) {
            addUser(position);
        }
        mContent.source.profiles = DemoProfiles::Profiles();
        mContent.source.registry = {
            {QStringLiteral("AuthenticationMethod"), QStringLiteral("NTLOGON")},
            {QStringLiteral("MailDomain"), QString::fromLatin1(MailDomain)},
            {QStringLiteral("ProductVersion"), QStringLiteral("3.13")}};
        describeDirectory();
        return std::move(mContent);
    }

private:
    void addUser(int position)
    {
        const int block = position / CycleLength;
        const DemoTrait trait = TraitAt(position);
        const QString first = FirstNames.at(position % FirstNames.size());
        const QString last =
            LastNames.at((position * 7 + position / FirstNames.size()) % LastNames.size());

        VarnelSourceUser user;
        user.userID = position + 1;
        user.domain = QString::fromLatin1(Domain);
        QString login;
        if (trait == DemoTrait::NamesEmpty) {
            user.givenName = Empty;
            user.familyName = Empty;
            login = mLogins.unique(QStringLiteral("frontdesk"));
        } else {
            user.givenName = first;
            user.familyName = last;
            login = mLogins.unique((first.left(1) + last).toLower());
        }
        user.loginID = login;
        user.password = charCodes(Passwords.at(position % Passwords.size()));

        const QString primary = trait == DemoTrait::NamesEmpty
                                    ? address(login)
                                    : address((first + QLatin1Char('.') + last).toLower());
        QMap<QString, QVariant>& s = user.settings;
        s[QStringLiteral("UserMailHomeServer")] =
            QString::fromLatin1(position % 3 == 2 ? UnregisteredServer : RegisteredServer);
        s[QStringLiteral("UserMailAlias")] = login;
        s[QStringLiteral("UserViewGraphics")] = Graphics.at(position % Graphics.size());
        s[QStringLiteral("UserLanguage")] = Languages.at(position % Languages.size());
        s[QStringLiteral("TimezoneIndex")] =
            QString::number(TimeZones.at((position + block) % TimeZones.size()));
        s[QStringLiteral("UserEnabled")] =
            position % 9 == 7
                ? QStringLiteral("FALSE")
                : (position % 2 == 0 ? QStringLiteral("TRUE") : QStringLiteral("true"));
        s[QStringLiteral("UserLogin")] = address(login);
        s[QStringLiteral("UserPrimaryEmailAddress")] = primary;
        s[QStringLiteral("UserPhoneNumber")] =
            QStringLiteral("+44 7700 9%1").arg(position % 100000, 5, 10, QLatin1Char('0'));
        s[QStringLiteral("UserLogonFailureCounter")] = QString::number(position % 5 == 0 ? 1 : 0);
        s[QStringLiteral("defaultstartpoint")] = position % 8 == 1 ? QStringLiteral("browsefolder")
                                                 : position % 8 == 5
                                                     ? QStringLiteral("BrowseFolder")
                                                     : QStringLiteral("inbox");

        applyTrait(trait, user);
        mContent.traits.insert(user.userID, trait);
        mContent.source.users.append(user);

        if (trait == DemoTrait::Conflict || trait == DemoTrait::ConflictCaseOnly) {
            addConflict(position, user, first, last, trait);
        }
        if (DirectoryOnlyPositions.contains(position % CycleLength)) {
            addDirectoryOnlyUser(position);
        }
    }

    static void applyTrait(DemoTrait trait, VarnelSourceUser& user)
    {
        QMap<QString, QVariant>& s = user.settings;
        switch (trait) {
        case DemoTrait::GraphicsMissing:
            s.remove(QStringLiteral("UserViewGraphics"));
            break;
        case DemoTrait::GraphicsInvalid:
            s[QStringLiteral("UserViewGraphics")] = QStringLiteral("yes");
            break;
        case DemoTrait::LanguageMissing:
            s.remove(QStringLiteral("UserLanguage"));
            break;
        case DemoTrait::LanguageUnknown:
            s[QStringLiteral("UserLanguage")] = QStringLiteral("1049");
            break;
        case DemoTrait::TimezoneMissing:
            s.remove(QStringLiteral("TimezoneIndex"));
            break;
        case DemoTrait::EnabledMissing:
            s.remove(QStringLiteral("UserEnabled"));
            break;
        case DemoTrait::EnabledInvalid:
            s[QStringLiteral("UserEnabled")] = QStringLiteral("1");
            break;
        case DemoTrait::PhoneMissing:
            s.remove(QStringLiteral("UserPhoneNumber"));
            break;
        case DemoTrait::PhoneEmpty:
            s[QStringLiteral("UserPhoneNumber")] = Empty;
            break;
        case DemoTrait::LoginEmpty:
            user.loginID = Empty;
            break;
        case DemoTrait::AliasMissing:
            s.remove(QStringLiteral("UserMailAlias"));
            break;
        case DemoTrait::EmailMissing:
            s.remove(QStringLiteral("UserLogin"));
            s.remove(QStringLiteral("UserPrimaryEmailAddress"));
            break;
        case DemoTrait::MailServerMissing:
            s.remove(QStringLiteral("UserMailHomeServer"));
            break;
        case DemoTrait::PasswordEmpty:
            user.password = Empty;
            break;
        case DemoTrait::EmailFromPrimary:
            s[QStringLiteral("UserLogin")] = Empty;
            break;
        case DemoTrait::Plain:
        case DemoTrait::Conflict:
        case DemoTrait::ConflictCaseOnly:
        case DemoTrait::NamesEmpty:
            break;
        }
    }

    DirectoryDescription::User directoryUser(const QString& first, const QString& last,
                                             const QString& login) const
    {
        DirectoryDescription::User user;
        user.firstName = first;
        user.lastName = last;
        user.loginID = login;
        user.password = mEncodedPassword;
        user.mailServer = QString::fromLatin1(RegisteredServer);
        user.alias = login.toLower();
        user.email = address(login.toLower());
        user.mobileNumber = QStringLiteral("+44 7700 900000");
        return user;
    }

    // Another first name with the same initial, so that the login ID fits both people;
    // the same name when there is none.
    static QString namesake(int position, const QString& first)
    {
        const int count = static_cast<int>(FirstNames.size());
        for (int step = 1; step < count; ++step) {
            const QString& other = FirstNames.at((position + step) % count);
            if (other != first && other.at(0) == first.at(0)) {
                return other;
            }
        }
        return first;
    }

    // Another person of the same family already holds the login ID in the Directory.
    void addConflict(int position, const VarnelSourceUser& source, const QString& first,
                     const QString& last, DemoTrait trait)
    {
        const QString sourceLogin = source.loginID.toString();
        QString directoryLogin = sourceLogin;
        if (trait == DemoTrait::ConflictCaseOnly) {
            directoryLogin = sourceLogin.left(1).toUpper() + sourceLogin.mid(1, 1).toUpper() +
                             sourceLogin.mid(2);
        }
        mDirectoryUsers.append(directoryUser(namesake(position, first), last, directoryLogin));
        mContent.conflicts.append({source.userID, sourceLogin, directoryLogin});

        if (position % CycleLength == TakenNewLoginPosition) {
            // An earlier trial created the source user under the login ID a new user
            // is given first.
            const QString taken = first.left(2) + last.left(2) + QStringLiteral("0");
            if (!mLogins.taken(taken)) {
                mLogins.take(taken);
                mDirectoryUsers.append(directoryUser(first, last, taken));
            }
        }
    }

    void addDirectoryOnlyUser(int position)
    {
        const QString first = FirstNames.at((position + 5) % FirstNames.size());
        const QString last =
            LastNames.at((position * 3 + 11 + position / LastNames.size()) % LastNames.size());
        const QString login = mLogins.unique((first + QLatin1Char('.') + last).toLower());
        mDirectoryUsers.append(directoryUser(first, last, login));
    }

    void describeDirectory()
    {
        DirectoryDescription& d = mContent.directory;
        d.users = std::move(mDirectoryUsers);
        d.stores = {{QString::fromLatin1(RegisteredServer), 2,
                     QStringLiteral("Head office Exchange 2000 server")}};
        d.templates = DemoTemplates::Templates();
        d.chosenTemplateID = 1;
        d.baseHref = QString::fromLatin1(BaseHref);
        const QString serviceAddress = address(QString::fromLatin1(ServiceAccountAlias));
        d.serviceAccount = DefaultServices::MailConnection(QString::fromLatin1(RegisteredServer),
                                                           QString::fromLatin1(ServiceAccountAlias),
                                                           serviceAddress);
        d.serviceAccountName = serviceAddress;
    }

    int mUserCount;
    QString mEncodedPassword;
    LoginRegister mLogins;
    QList<DirectoryDescription::User> mDirectoryUsers;
    DemoContent mContent;
};

} // namespace

DemoTrait TraitAt(int position)
{
    return Roles.value(position % CycleLength, DemoTrait::Plain);
}

const VarnelSourceUser* DemoContent::firstUserWith(DemoTrait trait) const
{
    for (const VarnelSourceUser& user : source.users) {
        if (traits.value(user.userID) == trait) {
            return &user;
        }
    }
    return nullptr;
}

DemoContent Generate(int userCount)
{
    return Generator(qBound(1, userCount, MaximumUserCount)).run();
}

QStringList SettingNames()
{
    return {QStringLiteral("UserMailHomeServer"), QStringLiteral("UserMailAlias"),
            QStringLiteral("UserViewGraphics"),   QStringLiteral("UserLanguage"),
            QStringLiteral("TimezoneIndex"),      QStringLiteral("UserEnabled"),
            QStringLiteral("UserLogin"),          QStringLiteral("UserPrimaryEmailAddress"),
            QStringLiteral("UserPhoneNumber"),    QStringLiteral("UserLogonFailureCounter"),
            QStringLiteral("defaultstartpoint")};
}

QString DirectoryUserPassword()
{
    return QStringLiteral("Welcome1");
}

} // namespace DemoData

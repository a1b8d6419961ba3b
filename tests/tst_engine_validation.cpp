#include "db/VarnelBuilder.h"
#include "engine/UserValidation.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "support/Describe.h"

#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace UserValidation;

namespace {

using Settings = QMap<QString, QVariant>;

// A record of the run with the given members, in order.
CollectionPtr record(const QList<QPair<QString, QVariant>>& members)
{
    const CollectionPtr result = Collection::create();
    for (const auto& [key, value] : members) {
        result->add(value, key);
    }
    return result;
}

// A user that every grade passes.
QList<QPair<QString, QVariant>> goodUser()
{
    return {{u"Firstname"_s, u"Anna"_s},
            {u"Lastname"_s, u"Li"_s},
            {u"LoginID"_s, u"ali"_s},
            {u"Domain"_s, u"CORP"_s},
            {u"Password"_s, u"0,72,105,0"_s},
            {u"Exchange Server"_s, u"MAIL01"_s},
            {u"Alias"_s, u"ali"_s},
            {u"GraphicsSetting"_s, u"on"_s},
            {u"LanguageID"_s, u"1033"_s},
            {u"TimezoneID"_s, u"4"_s},
            {u"Enabled"_s, u"TRUE"_s},
            {u"Email"_s, u"ali@example.com"_s},
            {u"MobileTelephoneNumber"_s, u"+44 7700 900000"_s},
            {u"UserLogonFailureCounter"_s, u"0"_s},
            {u"deaultstartpoint"_s, u"inbox"_s}};
}

CollectionPtr languages()
{
    const CollectionPtr ids = Collection::create();
    for (const int id : {1031, 1033, 2057}) {
        ids->add(id, QString::number(id));
    }
    return ids;
}

// The user with one member changed (an invalid QVariant removes it).
CollectionPtr userWith(const QString& key, const QVariant& value)
{
    auto members = goodUser();
    for (auto it = members.begin(); it != members.end(); ++it) {
        if (it->first == key) {
            if (value.isValid()) {
                it->second = value;
            } else {
                members.erase(it);
            }
            break;
        }
    }
    return record(members);
}

const QVariant Absent;

} // namespace

class EngineValidationTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { GlobalVariables::gsExportApp = u"3.1x"_s; }
    void cleanup() { QCOMPARE(QSqlDatabase::connectionNames(), QStringList()); }

    // The source user under the target's field names, in the order the record is
    // built; a setting without a row stays out of the record.
    void readsTheUserUnderTheTargetsNames_data()
    {
        QTest::addColumn<Settings>("settings");
        QTest::addColumn<QStringList>("expected");

        const Settings all = {{u"UserMailHomeServer"_s, u"MAIL01"_s},
                              {u"UserMailAlias"_s, u"ali"_s},
                              {u"UserViewGraphics"_s, u"on"_s},
                              {u"UserLanguage"_s, u"1033"_s},
                              {u"TimezoneIndex"_s, u"24"_s},
                              {u"UserEnabled"_s, u"TRUE"_s},
                              {u"UserLogin"_s, u"login@example.com"_s},
                              {u"UserPrimaryEmailAddress"_s, u"primary@example.com"_s},
                              {u"UserPhoneNumber"_s, u"+44 7700 900000"_s},
                              {u"UserLogonFailureCounter"_s, u"2"_s},
                              {u"defaultstartpoint"_s, u"browsefolder"_s},
                              {u"UserOtherSetting"_s, u"not read"_s}};
        const QStringList head = {u"Firstname=Anna"_s, u"Lastname=Li"_s, u"LoginID=ali"_s,
                                  u"Domain=CORP"_s, u"Password=0,72,105,0"_s};
        QTest::newRow("every setting")
            << all
            << head + QStringList{u"Exchange Server=MAIL01"_s,
                                  u"Alias=ali"_s,
                                  u"GraphicsSetting=on"_s,
                                  u"LanguageID=1033"_s,
                                  u"TimezoneID=24"_s,
                                  u"Enabled=TRUE"_s,
                                  u"Email=login@example.com"_s,
                                  u"MobileTelephoneNumber=+44 7700 900000"_s,
                                  u"UserLogonFailureCounter=2"_s,
                                  u"deaultstartpoint=browsefolder"_s};

        Settings emptyLogin = all;
        emptyLogin[u"UserLogin"_s] = u""_s;
        Settings noLogin = all;
        noLogin.remove(u"UserLogin"_s);
        Settings noAddress;
        noAddress[u"UserMailHomeServer"_s] = u"MAIL01"_s;
        noAddress[u"UserLogin"_s] = u""_s;
        const QStringList addressFromPrimary =
            head + QStringList{u"Exchange Server=MAIL01"_s,
                               u"Alias=ali"_s,
                               u"GraphicsSetting=on"_s,
                               u"LanguageID=1033"_s,
                               u"TimezoneID=24"_s,
                               u"Enabled=TRUE"_s,
                               u"Email=primary@example.com"_s,
                               u"MobileTelephoneNumber=+44 7700 900000"_s,
                               u"UserLogonFailureCounter=2"_s,
                               u"deaultstartpoint=browsefolder"_s};
        QTest::newRow("empty login address: the primary address")
            << emptyLogin << addressFromPrimary;
        QTest::newRow("no login address: the primary address") << noLogin << addressFromPrimary;
        QTest::newRow("only a mail server and an empty login address")
            << noAddress << head + QStringList{u"Exchange Server=MAIL01"_s};
    }
    void readsTheUserUnderTheTargetsNames()
    {
        QFETCH(Settings, settings);
        QFETCH(QStringList, expected);
        QTemporaryDir folder;
        VarnelSource source;
        VarnelSourceUser user;
        user.userID = 7;
        user.givenName = u"Anna"_s;
        user.familyName = u"Li"_s;
        user.domain = u"CORP"_s;
        user.loginID = u"ali"_s;
        user.password = u"0,72,105,0"_s;
        user.settings = settings;
        source.users = {user};
        const QString connection = VarnelBuilder::Write(folder.path(), u"Varnel"_s, source);

        QCOMPARE(describe(GetUserInformation(7, connection)), expected);
    }

    void gradesEveryField_data()
    {
        QTest::addColumn<CollectionPtr>("user");
        QTest::addColumn<bool>("newPasswords");
        QTest::addColumn<QString>("field");
        QTest::addColumn<int>("grade");
        QTest::addColumn<int>("total");

        QTest::newRow("a good user") << record(goodUser()) << false << u"LoginID"_s << 0 << 0;
        QTest::newRow("no login ID")
            << userWith(u"LoginID"_s, Absent) << false << u"LoginID"_s << 3 << 3;
        QTest::newRow("empty login ID")
            << userWith(u"LoginID"_s, u""_s) << false << u"LoginID"_s << 3 << 3;
        QTest::newRow("empty password")
            << userWith(u"Password"_s, u""_s) << false << u"Password"_s << 3 << 3;
        QTest::newRow("empty password, new passwords")
            << userWith(u"Password"_s, u""_s) << true << u"Password"_s << 0 << 0;
        QTest::newRow("no password, new passwords")
            << userWith(u"Password"_s, Absent) << true << u"Password"_s << 3 << 3;
        QTest::newRow("empty mail server")
            << userWith(u"Exchange Server"_s, u""_s) << false << u"Exchange Server"_s << 3 << 3;
        QTest::newRow("no alias") << userWith(u"Alias"_s, Absent) << false << u"Alias"_s << 3 << 3;
        QTest::newRow("empty e-mail address")
            << userWith(u"Email"_s, u""_s) << false << u"Email"_s << 3 << 3;
        QTest::newRow("graphics oN")
            << userWith(u"GraphicsSetting"_s, u"oN"_s) << false << u"GraphicsSetting"_s << 0 << 0;
        QTest::newRow("graphics yes")
            << userWith(u"GraphicsSetting"_s, u"yes"_s) << false << u"GraphicsSetting"_s << 1 << 1;
        QTest::newRow("no graphics")
            << userWith(u"GraphicsSetting"_s, Absent) << false << u"GraphicsSetting"_s << 2 << 2;
        QTest::newRow("unknown language")
            << userWith(u"LanguageID"_s, u"1049"_s) << false << u"LanguageID"_s << 1 << 1;
        QTest::newRow("no language")
            << userWith(u"LanguageID"_s, Absent) << false << u"LanguageID"_s << 2 << 2;
        QTest::newRow("a time zone is not examined")
            << userWith(u"TimezoneID"_s, u"x"_s) << false << u"TimezoneID"_s << 0 << 0;
        QTest::newRow("no time zone")
            << userWith(u"TimezoneID"_s, Absent) << false << u"TimezoneID"_s << 2 << 2;
        QTest::newRow("enabled false")
            << userWith(u"Enabled"_s, u"false"_s) << false << u"Enabled"_s << 0 << 0;
        QTest::newRow("enabled 1")
            << userWith(u"Enabled"_s, u"1"_s) << false << u"Enabled"_s << 1 << 1;
        QTest::newRow("empty mobile number") << userWith(u"MobileTelephoneNumber"_s, u""_s) << false
                                             << u"MobileTelephoneNumber"_s << 1 << 1;
        QTest::newRow("no mobile number") << userWith(u"MobileTelephoneNumber"_s, Absent) << false
                                          << u"MobileTelephoneNumber"_s << 2 << 2;
    }
    void gradesEveryField()
    {
        QFETCH(CollectionPtr, user);
        QFETCH(bool, newPasswords);
        QFETCH(QString, field);
        QFETCH(int, grade);
        QFETCH(int, total);

        const CollectionPtr grades = ValidateUser(user, newPasswords, languages());
        QCOMPARE(grades->keys(),
                 QStringList({u"LoginID"_s, u"Password"_s, u"Exchange Server"_s, u"Alias"_s,
                              u"Email"_s, u"GraphicsSetting"_s, u"LanguageID"_s, u"TimezoneID"_s,
                              u"Enabled"_s, u"MobileTelephoneNumber"_s, u"Total"_s}));
        QCOMPARE(grades->item(field).toInt(), grade);
        QCOMPARE(grades->item(u"Total"_s).toInt(), total);
    }

    // What is repaired moves to the end of the record; what is kept stays where it is.
    void repairsWhatIsNotEssential()
    {
        auto members = goodUser();
        const CollectionPtr user = record(members);
        user->remove(u"GraphicsSetting"_s);
        user->remove(u"TimezoneID"_s);
        user->remove(u"MobileTelephoneNumber"_s);
        user->remove(u"LanguageID"_s);
        user->add(u"1049"_s, u"LanguageID"_s);
        user->remove(u"Enabled"_s);
        user->add(u"yes"_s, u"Enabled"_s);
        const CollectionPtr grades = ValidateUser(user, false, languages());
        QCOMPARE(grades->item(u"Total"_s).toInt(), 2);

        QCOMPARE(RepairUser(user, grades), user);
        QCOMPARE(describe(user),
                 QStringList(
                     {u"Firstname=Anna"_s, u"Lastname=Li"_s, u"LoginID=ali"_s, u"Domain=CORP"_s,
                      u"Password=0,72,105,0"_s, u"Exchange Server=MAIL01"_s, u"Alias=ali"_s,
                      u"Email=ali@example.com"_s, u"UserLogonFailureCounter=0"_s,
                      u"deaultstartpoint=inbox"_s, u"GraphicsSetting=off"_s, u"LanguageID=1033"_s,
                      u"TimezoneID=24"_s, u"Enabled=false"_s, u"MobileTelephoneNumber="_s}));
        QCOMPARE(user->item(u"TimezoneID"_s).typeId(), QMetaType::Int);
        QCOMPARE(user->item(u"Enabled"_s).typeId(), QMetaType::Bool);
        // An empty mobile number is invalid but kept as it is.
        const CollectionPtr empty = userWith(u"MobileTelephoneNumber"_s, u""_s);
        RepairUser(empty, ValidateUser(empty, false, languages()));
        QCOMPARE(describe(empty), describe(userWith(u"MobileTelephoneNumber"_s, u""_s)));
    }

    // The warnings say "false" and "english" where the values are "off" and "1033".
    void warningsExplainEveryGrade_data()
    {
        QTest::addColumn<CollectionPtr>("user");
        QTest::addColumn<bool>("newPasswords");
        QTest::addColumn<QString>("warnings");

        const CollectionPtr repaired = record(goodUser());
        repaired->remove(u"LanguageID"_s);
        repaired->remove(u"GraphicsSetting"_s);
        repaired->add(u"yes"_s, u"GraphicsSetting"_s);
        repaired->remove(u"MobileTelephoneNumber"_s);
        repaired->remove(u"TimezoneID"_s);
        repaired->remove(u"Enabled"_s);
        repaired->add(u"1"_s, u"Enabled"_s);
        QTest::newRow("everything repaired")
            << repaired << false
            << u"PROBLEM: Language ID missing\r\nACTION: User's language ID set to 1033 "
               "(english)\r\n\r\n"
               "PROBLEM: Graphics setting invalid\r\nACTION: Graphics setting set to false\r\n\r\n"
               "PROBLEM: Mobile Telephone Number missing\r\nACTION: No Action\r\n\r\n"
               "PROBLEM: Timezone ID missing\r\nACTION: Timezone ID set to 24 (GMT+1)\r\n\r\n"
               "PROBLEM: Enabled setting missing\r\nACTION: User set to disabled\r\n\r\n"_s;
        QTest::newRow("language not supported, graphics missing")
            <<
            [] {
                const CollectionPtr user = userWith(u"LanguageID"_s, u"1049"_s);
                user->remove(u"GraphicsSetting"_s);
                return user;
            }()
            << false
            << u"PROBLEM: Language not supported\r\nACTION: User's language set to english\r\n\r\n"
               "PROBLEM: Graphics setting missing\r\nACTION: Graphics setting set to false\r\n\r\n"_s;

        // Only the reasons for not migrating are listed, in their own order.
        const CollectionPtr unusable = record(goodUser());
        unusable->remove(u"Exchange Server"_s);
        unusable->remove(u"LoginID"_s);
        unusable->remove(u"Password"_s);
        unusable->add(u""_s, u"Password"_s);
        unusable->remove(u"GraphicsSetting"_s);
        unusable->remove(u"Email"_s);
        QTest::newRow("not migrated")
            << unusable << false
            << u"PROBLEM: Password missing\r\nACTION: User not migrated\r\n\r\n"
               "PROBLEM: Login ID missing\r\nACTION: User not migrated\r\n\r\n"
               "PROBLEM: E-mail Address missing\r\nACTION: User not migrated\r\n\r\n"
               "PROBLEM: Mail server missing\r\nACTION: User not migrated\r\n\r\n"_s;
        QTest::newRow("a good user") << record(goodUser()) << false << QString();
    }
    void warningsExplainEveryGrade()
    {
        QFETCH(CollectionPtr, user);
        QFETCH(bool, newPasswords);
        QFETCH(QString, warnings);
        QCOMPARE(WarningText(ValidateUser(user, newPasswords, languages())), warnings);
    }
};

QTEST_GUILESS_MAIN(EngineValidationTest)
#include "tst_engine_validation.moc"

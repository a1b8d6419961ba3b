#include "db/VarnelBuilder.h"
#include "engine/UserValidation.h"
#include "frame/GlobalVariables.h"
#include "support/Describe.h"
#include "support/Golden.h"

#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace UserValidation;

namespace {

// Members as "key=value", or "-key" for one left out; a changed member keeps its place.
CollectionPtr changed(QStringList base, const QStringList& changes)
{
    for (const QString& change : changes) {
        const QString key = change.startsWith(u'-') ? change.mid(1) : change.section(u'=', 0, 0);
        const auto at = std::find_if(base.begin(), base.end(), [&](const QString& member) {
            return member.section(u'=', 0, 0) == key;
        });
        if (change.startsWith(u'-')) {
            base.erase(at);
        } else if (at != base.end()) {
            *at = change;
        } else {
            base << change;
        }
    }
    const CollectionPtr result = Collection::create();
    for (const QString& member : base) {
        result->add(member.section(u'=', 1), member.section(u'=', 0, 0));
    }
    return result;
}

// A user that every grade passes.
const QStringList GoodUser = {u"Firstname=Anna"_s,
                              u"Lastname=Li"_s,
                              u"LoginID=ali"_s,
                              u"Domain=CORP"_s,
                              u"Password=0,72,105,0"_s,
                              u"Exchange Server=MAIL01"_s,
                              u"Alias=ali"_s,
                              u"GraphicsSetting=on"_s,
                              u"LanguageID=1033"_s,
                              u"TimezoneID=4"_s,
                              u"Enabled=TRUE"_s,
                              u"Email=ali@example.com"_s,
                              u"MobileTelephoneNumber=+44 7700 900000"_s,
                              u"UserLogonFailureCounter=0"_s,
                              u"deaultstartpoint=inbox"_s};

CollectionPtr languages()
{
    const CollectionPtr ids = Collection::create();
    for (const int id : {1031, 1033, 2057}) {
        ids->add(id, QString::number(id));
    }
    return ids;
}

} // namespace

class EngineValidationTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { GlobalVariables::gsExportApp = u"3.1x"_s; }
    void cleanup() { QCOMPARE(QSqlDatabase::connectionNames(), QStringList()); }

    // The source user under the target's field names, in the order the record is
    // built; a setting without a row stays out; the login address before the primary.
    void readsTheUserUnderTheTargetsNames()
    {
        const QMap<QString, QVariant> all = {
            {u"UserMailHomeServer"_s, u"MAIL01"_s},
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
        auto emptyLogin = all;
        emptyLogin[u"UserLogin"_s] = u""_s;
        auto noLogin = all;
        noLogin.remove(u"UserLogin"_s);
        const QMap<QString, QVariant> little = {{u"UserMailHomeServer"_s, u"MAIL01"_s},
                                                {u"UserLogin"_s, u""_s}};
        QTemporaryDir folder;
        VarnelSource source;
        int id = 0;
        for (const auto& settings : {all, emptyLogin, noLogin, little}) {
            VarnelSourceUser user;
            user.userID = ++id;
            user.givenName = u"Anna"_s;
            user.familyName = u"Li"_s;
            user.domain = u"CORP"_s;
            user.loginID = u"ali%1"_s.arg(id);
            user.password = u"0,72,105,0"_s;
            user.settings = settings;
            source.users << user;
        }
        const QString connection = VarnelBuilder::Write(folder.path(), u"Varnel"_s, source);
        QStringList read;
        for (int user = 1; user <= id; ++user) {
            read << describe(GetUserInformation(user, connection)).join(u", "_s);
        }
        QCOMPARE_GOLDEN(read, u"engine_validation/read.txt"_s);
    }

    // Every field's grade, the warnings that explain them ("false" and "english" where
    // the values are "off" and "1033"; only the reasons for not migrating when one
    // is fatal) and the repaired record (what is repaired moves to the end).
    void gradesWarnsAndRepairs()
    {
        const QList<std::tuple<QString, bool, QStringList>> cases = {
            {u"a good user"_s, false, {}},
            {u"no login ID"_s, false, {u"-LoginID"_s}},
            {u"empty login ID"_s, false, {u"LoginID="_s}},
            {u"empty password"_s, false, {u"Password="_s}},
            {u"empty password, new passwords"_s, true, {u"Password="_s}},
            {u"no password, new passwords"_s, true, {u"-Password"_s}},
            {u"empty mail server"_s, false, {u"Exchange Server="_s}},
            {u"no alias"_s, false, {u"-Alias"_s}},
            {u"empty e-mail address"_s, false, {u"Email="_s}},
            {u"graphics oN"_s, false, {u"GraphicsSetting=oN"_s}},
            {u"graphics yes"_s, false, {u"GraphicsSetting=yes"_s}},
            {u"no graphics"_s, false, {u"-GraphicsSetting"_s}},
            {u"unknown language"_s, false, {u"LanguageID=1049"_s}},
            {u"no language"_s, false, {u"-LanguageID"_s}},
            {u"a time zone is not examined"_s, false, {u"TimezoneID=x"_s}},
            {u"no time zone"_s, false, {u"-TimezoneID"_s}},
            {u"enabled false"_s, false, {u"Enabled=false"_s}},
            {u"enabled 1"_s, false, {u"Enabled=1"_s}},
            {u"empty mobile number"_s, false, {u"MobileTelephoneNumber="_s}},
            {u"no mobile number"_s, false, {u"-MobileTelephoneNumber"_s}},
            {u"everything repaired"_s,
             false,
             {u"-LanguageID"_s, u"GraphicsSetting=yes"_s, u"-MobileTelephoneNumber"_s,
              u"-TimezoneID"_s, u"Enabled=1"_s}},
            {u"not migrated"_s,
             false,
             {u"-Exchange Server"_s, u"-LoginID"_s, u"Password="_s, u"-GraphicsSetting"_s,
              u"-Email"_s}},
        };
        QStringList text;
        for (const auto& [name, newPasswords, changes] : cases) {
            const CollectionPtr user = changed(GoodUser, changes);
            const CollectionPtr grades = ValidateUser(user, newPasswords, languages());
            text << u"## "_s + name << u"grades: "_s + describe(grades).join(u' ')
                 << Golden::fromCrlf(WarningText(grades));
            QCOMPARE(RepairUser(user, grades), user);
            QStringList members;
            for (int i = 1; i <= user->count(); ++i) {
                members << user->key(i) + u'=' + describe(user->item(i)) + u':' +
                               QString::fromLatin1(user->item(i).typeName());
            }
            text << u"repaired: "_s + members.join(u", "_s);
        }
        QCOMPARE_GOLDEN(text, u"engine_validation/grades.txt"_s);
    }
};

QTEST_GUILESS_MAIN(EngineValidationTest)
#include "tst_engine_validation.moc"

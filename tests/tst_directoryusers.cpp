#include "db/AdministrativeDBCon.h"
#include "db/UserConflicts.h"
#include "db/VarnelBuilder.h"
#include "directory/ComponentFactory.h"
#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"
#include "support/Describe.h"
#include "support/Engines.h"
#include "support/Golden.h"
#include "support/TargetDirectory.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace ZephrinFunctions;

namespace {

struct NewUser
{
    QString firstName = u"John"_s;
    QString lastName = u"Smith"_s;
    QString loginID = u"jsmith"_s;
    QString server = u"MAIL01"_s;
    QString graphics = u"on"_s;
    QString language = u"1033"_s;
};

const QString UserRowSql =
    u"SELECT FirstName, LastName, LoginID, Password, LanguageID, TimeZoneID, DateFormat, "
    "TimeFormat, MobileNumber, LogonFailureCount, Enabled, GraphicsOn, Option12, Option13, "
    "Option14, Option17, DefaultServiceID FROM fwtUser WHERE UserID = ?"_s;
const QString ServicesSql =
    u"SELECT s.Position, ApplicationID, DisplayName, StoreID, Enabled FROM fwtService s WHERE "
    "OwnerUserID = ? ORDER BY Position"_s;
const QString SettingsSql =
    u"SELECT s.Position, st.Name, st.Kind, st.Value FROM fwtService s JOIN fwtServiceSetting st "
    "ON st.ServiceID = s.ServiceID WHERE s.OwnerUserID = ? ORDER BY s.Position, st.Position"_s;

} // namespace

// Users written into a real Directory through the reference installation, and the
// Directory that the builder writes. One Directory per engine goes through every
// step; what each gave and the tables afterwards are compared whole with
// tests/data/directoryusers/story.txt, which both engines must give alike.
class TestDirectoryUsers : public QObject
{
    Q_OBJECT
private slots:
    void story_data() { Engines::rows(); }

    void story()
    {
        QFETCH(QString, engine);
        DirectoryDescription description;
        description.stores = {{u"EXCH1"_s, 1, QString()}, {u"MAIL01"_s, 2, QString()}};
        // Taken login IDs: the server's comparison ignores letter case beyond ASCII and
        // trailing blanks; an accent alone makes another login ID.
        description.users = {TargetDirectory::user(u"X"_s, u"Y"_s, u"nomail"_s),
                             TargetDirectory::user(u"Anna"_s, u"Li"_s, u"AnLi"_s, u"mail01"_s),
                             TargetDirectory::user(u"X"_s, u"Y"_s, u"annali "_s, u"MAIL01"_s),
                             TargetDirectory::user(u"X"_s, u"Y"_s, u"\u00e9mile"_s, u"MAIL01"_s)};
        description.serviceAccount = u"MAIL01;svc;svc@example.com"_s;
        description.serviceAccountName = u"svc"_s;
        TargetDirectory directory(description, engine);
        mDirectory = &directory;
        mText.clear();

        // The mark that the wizard's identity check looks for; an existing Directory
        // is not overwritten.
        mText << u"import check %1"_s.arg(AdministrativeDBCon::CheckImportDatabase(cs()));
        QVERIFY_THROWS_EXCEPTION(MigrationError, DirectoryBuilder::Build(cs(), {}));
        dump(u"mail settings"_s, u"SELECT Name, Value FROM fwtSystemSetting WHERE Category = "
                                 "'mail' ORDER BY Name"_s);

        // The new user's row, its ten services on the store of its mail server (-1 for
        // an unknown one) and their settings in order.
        int john = 0;
        for (const auto& [server, graphics] :
             QList<std::pair<QString, QString>>{{u"MAIL01"_s, u"on"_s},
                                                {u"exch1"_s, u"ON"_s},
                                                {u"mail01.corp.example.com"_s, u"1"_s},
                                                {u"mail99"_s, u"off"_s}}) {
            const int id =
                add({.loginID = u"js-"_s + server, .server = server, .graphics = graphics});
            john = john == 0 ? id : john;
            dump(u"user"_s, UserRowSql, id);
            dump(u"services"_s, ServicesSql, id);
            dump(u"settings"_s, SettingsSql, id);
        }

        mText << u"## taken login IDs made unique"_s;
        add({.firstName = u"Anna"_s, .lastName = u"Li"_s, .loginID = u"annali"_s});
        add({.firstName = u"Anna"_s, .lastName = u"Li"_s, .loginID = u"ANNALI"_s});
        add({.firstName = u"J"_s, .lastName = u"Li"_s, .loginID = u"annali"_s});
        add({.firstName = u"\u00c9mile"_s, .lastName = u"Zola"_s, .loginID = u"\u00c9MILE"_s});
        add({.firstName = u"Emile"_s, .lastName = u"Li"_s, .loginID = u"emile"_s});

        // The made-unique login keeps the Directory usable for the next conflict check:
        // had "\u00c9MILE" gone in beside "\u00e9mile", the source user "\u00c9MILE"
        // would match both and the check would fail on the duplicate key.
        TestDatabase source(engine);
        VarnelSource varnel;
        varnel.users = {{7, u"\u00c9mile"_s, u"Zola"_s, {}, u"\u00c9MILE"_s, {}, {}}};
        VarnelBuilder::WriteTo(source.connectionString(), varnel);
        mText << u"## conflicts of \u00c9mile Zola, \u00c9MILE"_s
              << describe(AdministrativeDBCon::CheckForUserConflicts(source.connectionString(),
                                                                     GetDirectoryUsers(cs())));

        // What the Directory cannot hold is refused with the field named and nothing is
        // stored: a login ID the conflict check cannot compare, a NUL, a name longer
        // than its column or a full name longer than the services' display name. An
        // update is held to the same rules and leaves the user as it was.
        mText << u"## refused fields, added and as the update of nomail"_s;
        const int nomail = scalar(u"SELECT UserID FROM fwtUser WHERE LoginID = 'nomail'"_s);
        for (const auto& [first, last, login] : QList<std::tuple<QString, QString, QString>>{
                 {u"J"_s, u"S"_s, QString(51, u'j')},
                 {u"J"_s, u"S"_s, u"js\0mith"_s},
                 {u"Jo\0hn"_s, u"S"_s, u"js"_s},
                 {QString(256, u'J'), u"S"_s, u"js"_s},
                 {QString(200, u'J'), QString(55, u'S'), u"js"_s},
                 {QString(200, u'J'), QString(54, u'S'), QString(50, u'j')}}) {
            add({.firstName = first, .lastName = last, .loginID = login});
            QString changed = login == QString(50, u'j') ? u"nomail"_s : login;
            update(nomail, first, last, changed, u"pw"_s);
            dump(QString(), u"SELECT FirstName, LastName, LoginID FROM fwtUser WHERE UserID = ?"_s,
                 nomail);
        }

        mText << u"## failures handed back"_s;
        add({.language = u"english"_s});
        QString ghost = u"ghost"_s;
        long number = 0;
        QString text;
        mText << u"update of 77: %1, error given %2, names the ID %3"_s
                     .arg(UpdateUser(77, u"G"_s, u"H"_s, {}, {}, {}, u"1033"_s, 24, ghost, {}, {},
                                     u"on"_s, true, 0, cs(), number, text))
                     .arg(number != 0)
                     .arg(text.contains(u"77"_s));
        remove(999);

        mText << u"## the default service is the mail service"_s;
        const int other = add({.loginID = u"other"_s});
        SetDefaultService(cs(), other);
        dump(QString(),
             u"SELECT u.LoginID, s.DisplayName FROM fwtUser u LEFT JOIN fwtService s ON "
             "s.ServiceID = u.DefaultServiceID WHERE u.LoginID IN ('js-MAIL01', 'other') "
             "ORDER BY u.UserID"_s);

        // Positions 12 and 13 are null in an update and stay; 14 is written as 0; the
        // user keeps its services.
        mText << u"## update of js-MAIL01"_s;
        directory.execute(u"UPDATE fwtUser SET Option12 = 5, Option13 = 6, Option14 = 7"_s);
        const QString servicesSql = u"SELECT s.ServiceID, s.DisplayName, s.StoreID, st.Name, "
                                    "st.Value FROM fwtService s JOIN fwtServiceSetting st ON "
                                    "st.ServiceID = s.ServiceID ORDER BY s.Position, st.Position"_s;
        const QStringList before = describe(directory.rows(servicesSql));
        update(john, u"Jon"_s, u"Smyth"_s, u"js-MAIL01"_s, u"new-pw"_s, u"1031"_s, 48, u"555"_s);
        QCOMPARE(describe(directory.rows(servicesSql)), before);
        dump(QString(), UserRowSql, john);
        // Another user's login ID in other letter case is refused, as the server's unique
        // constraint refuses it: 2627 is the server's duplicate key, 2067 the embedded
        // engine's.
        QString taken = u"\u00c9MILE"_s;
        mText << u"to \u00c9MILE: %1, duplicate key %2"_s
                     .arg(UpdateUser(john, u"John"_s, u"Smith"_s, {}, {}, {}, u"1033"_s, 24, taken,
                                     {}, {}, u"on"_s, true, 0, cs(), number, text))
                     .arg(number == (directory.isEmbedded() ? 2067L : 2627L));

        // Deleting takes the services and their settings along; the login ID is free.
        mText << u"## delete of js-MAIL01"_s;
        remove(john);
        dump(QString(),
             u"SELECT (SELECT COUNT(*) FROM fwtService s WHERE s.OwnerUserID = ?), "
             "(SELECT COUNT(*) FROM fwtServiceSetting WHERE ServiceID NOT IN (SELECT "
             "ServiceID FROM fwtService))"_s,
             john);
        add({.loginID = u"js-MAIL01"_s});

        mText << u"## directory users"_s << describe(GetDirectoryUsers(cs()));
        dump(u"users and their services"_s,
             u"SELECT u.LoginID, COUNT(s.ServiceID), MIN(s.StoreID) FROM fwtUser u LEFT JOIN "
             "fwtService s ON u.UserID = s.OwnerUserID GROUP BY u.UserID, u.LoginID ORDER BY "
             "u.UserID"_s);
        const CollectionPtr languages = GetDirectoryIDList(cs());
        mText << u"languages 1033 %1, 1031 %2, 1 %3"_s.arg(languages->contains(u"1033"_s))
                     .arg(languages->contains(u"1031"_s))
                     .arg(languages->contains(u"1"_s));

        mText << u"## without components"_s;
        Components::setFactory(nullptr);
        add({});
        remove(1);
        QCOMPARE_GOLDEN(mText, u"directoryusers/story.txt"_s);
    }

    void timezones()
    {
        QStringList converted;
        for (int source : {20, 21, 23, 27, 28, 46, 47, 49}) {
            converted << u"%1>%2"_s.arg(source).arg(ConvertTimezoneID(source));
        }
        QCOMPARE(converted, QStringList({"20>20", "21>22", "23>22", "27>24", "28>28", "46>46",
                                         "47>48", "49>49"}));
    }

private:
    QString cs() const { return mDirectory->connectionString(); }
    int scalar(const QString& sql) const { return mDirectory->scalar(sql).toInt(); }

    void dump(const QString& title, const QString& sql, int id = 0)
    {
        if (!title.isEmpty()) {
            mText << u"# "_s + title;
        }
        mText << describe(mDirectory->rows(sql, id == 0 ? QVariantList() : QVariantList{id}));
    }

    // A field as the story shows it: long ones cut, a NUL visible.
    static QString shown(const QString& text)
    {
        return QString(text.left(20)).replace(QChar(0), u"<NUL>"_s);
    }

    // Adds the user and notes the outcome with the login ID as made unique.
    int add(NewUser user)
    {
        int id = 0;
        long number = 0;
        QString text;
        const QString asked = user.loginID;
        const bool ok = AddUserToDirectory(user.firstName, user.lastName, user.server, u"jsm"_s,
                                           u"js@example.com"_s, user.language, 22, user.loginID, id,
                                           u"pw-encoded"_s, u"+31 6 1234"_s, user.graphics, true, 3,
                                           cs(), number, text);
        mText << u"add %1 %2, %3: %4 %5 %6"_s
                     .arg(shown(user.firstName), shown(user.lastName), shown(asked))
                     .arg(ok ? u"as"_s : u"error"_s)
                     .arg(ok ? user.loginID : QString::number(number), text);
        return id;
    }

    void update(int id, const QString& first, const QString& last, QString login,
                const QString& password, const QString& language = u"1033"_s, int timezone = 24,
                const QString& mobile = QString())
    {
        long number = 0;
        QString text;
        const bool ok =
            UpdateUser(id, first, last, u"EXCH1"_s, u"new"_s, u"new@example.com"_s, language,
                       timezone, login, password, mobile, u"off"_s, false, 0, cs(), number, text);
        mText << u"update: %1 %2"_s.arg(ok ? u"ok"_s : QString::number(number), text);
    }

    void remove(int id)
    {
        long number = 0;
        QString text;
        const bool ok = DeleteUser(id, cs(), number, text);
        mText << u"delete: %1 %2"_s.arg(ok ? u"ok"_s : QString::number(number), text);
    }

    const TargetDirectory* mDirectory = nullptr;
    QStringList mText;
};

QTEST_GUILESS_MAIN(TestDirectoryUsers)
#include "tst_directoryusers.moc"

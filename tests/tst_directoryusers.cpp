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

namespace {

DirectoryDescription twoStores(const QStringList& users = {})
{
    DirectoryDescription description;
    description.stores = {{u"EXCH1"_s, 1, QString()}, {u"MAIL01"_s, 2, QString()}};
    for (const QString& login : users) {
        description.users << TargetDirectory::user(u"X"_s, u"Y"_s, login, u"MAIL01"_s);
    }
    return description;
}

struct NewUser
{
    QString firstName = u"John"_s;
    QString lastName = u"Smith"_s;
    QString server = u"MAIL01"_s;
    QString loginID = u"jsmith"_s;
    QString language = u"1033"_s;
    QString graphics = u"on"_s;

    bool ok = false;
    int userID = 0;
    long errorNumber = 0;
    QString errorDescription;

    NewUser& add(const TargetDirectory& directory)
    {
        ok = ZephrinFunctions::AddUserToDirectory(
            firstName, lastName, server, u"jsm"_s, u"js@example.com"_s, language, 22, loginID,
            userID, u"pw-encoded"_s, u"+31 6 1234"_s, graphics, true, 3,
            directory.connectionString(), errorNumber, errorDescription);
        return *this;
    }
};

const QString userRowSql =
    u"SELECT FirstName, LastName, LoginID, Password, LanguageID, TimeZoneID, DateFormat, "
    "TimeFormat, MobileNumber, LogonFailureCount, Enabled, GraphicsOn, Option12, Option13, "
    "Option14, Option17, DefaultServiceID FROM fwtUser WHERE UserID = ?"_s;

} // namespace

// Users written into a real Directory through the reference installation, and the
// Directory that the builder writes, on each engine.
class TestDirectoryUsers : public QObject
{
    Q_OBJECT
private slots:
    void builtDirectory_data() { Engines::rows(); }

    void builtDirectory()
    {
        QFETCH(QString, engine);
        DirectoryDescription description = twoStores({u"nomail"_s});
        description.users.last().mailServer.clear();
        description.users << TargetDirectory::user(u"Anna"_s, u"Li"_s, u"AnLi"_s, u"mail01"_s);
        description.serviceAccount = u"MAIL01;svc;svc@example.com"_s;
        description.serviceAccountName = u"svc"_s;
        TargetDirectory directory(description, engine);

        // The mark that the wizard's identity check looks for.
        QVERIFY(AdministrativeDBCon::CheckImportDatabase(directory.connectionString()));
        QCOMPARE(describe(directory.rows(u"SELECT u.LoginID, COUNT(s.ServiceID), MIN(s.StoreID) "
                                         "FROM fwtUser u LEFT JOIN fwtService s ON u.UserID = "
                                         "s.OwnerUserID GROUP BY u.LoginID ORDER BY u.LoginID"_s)),
                 QStringList({"AnLi/10/2", "nomail/0/(null)"}));
        QCOMPARE(
            describe(directory.rows(u"SELECT Name, Value FROM fwtSystemSetting WHERE Category "
                                    "= 'mail' ORDER BY Name"_s)),
            QStringList({"serviceaccount/MAIL01;svc;svc@example.com", "serviceaccountname/svc"}));

        // An existing Directory is not overwritten.
        QVERIFY_THROWS_EXCEPTION(
            MigrationError,
            DirectoryBuilder::Build(directory.connectionString(), DirectoryDescription()));
        QCOMPARE(directory.scalar(u"SELECT COUNT(*) FROM fwtUser"_s).toInt(), 2);
    }

    void newUserRowAndServices_data()
    {
        Engines::addColumn();
        QTest::addColumn<QString>("server");
        QTest::addColumn<QString>("graphics");
        Engines::newRows("same name", u"MAIL01"_s, u"on"_s);
        Engines::newRows("other case", u"exch1"_s, u"ON"_s);
        Engines::newRows("with domain", u"mail01.corp.example.com"_s, u"1"_s);
        Engines::newRows("unknown", u"mail99"_s, u"off"_s);
    }

    // The new user's row, its ten services on the store of its mail server (-1 for an
    // unknown one) and their settings in order, as tests/data/directoryusers/new-<row>.txt
    // holds them for both engines.
    void newUserRowAndServices()
    {
        QFETCH(QString, engine);
        QFETCH(QString, server);
        QFETCH(QString, graphics);
        TargetDirectory directory(twoStores(), engine);
        NewUser user;
        user.server = server;
        user.graphics = graphics;
        QVERIFY2(user.add(directory).ok, qPrintable(user.errorDescription));
        QStringList dump = {u"## user"_s};
        dump << describe(directory.rows(userRowSql, {user.userID})) << u"## services"_s;
        dump << describe(directory.rows(u"SELECT Position, ApplicationID, DisplayName, StoreID, "
                                        "Enabled FROM fwtService WHERE OwnerUserID = ? ORDER BY "
                                        "Position"_s,
                                        {user.userID}));
        dump << u"## settings"_s
             << describe(directory.rows(
                    u"SELECT s.Position, st.Name, st.Kind, st.Value FROM fwtService s JOIN "
                    "fwtServiceSetting st ON st.ServiceID = s.ServiceID WHERE s.OwnerUserID = ? "
                    "ORDER BY s.Position, st.Position"_s,
                    {user.userID}));
        QCOMPARE_GOLDEN(dump, Golden::rowFile(u"directoryusers/new-"_s));
    }

    void takenLoginMadeUnique_data()
    {
        Engines::addColumn();
        QTest::addColumn<QString>("firstName");
        QTest::addColumn<QString>("loginID");
        QTest::addColumn<QStringList>("taken");
        QTest::addColumn<QString>("expected");
        Engines::newRows("taken in other case", u"Anna"_s, u"annali"_s, QStringList{"ANNALI"},
                         u"AnLi0"_s);
        Engines::newRows("AnLi0 taken too", u"Anna"_s, u"annali"_s, QStringList{"annali", "AnLi0"},
                         u"AnLi1"_s);
        Engines::newRows("short names", u"J"_s, u"annali"_s, QStringList{"annali"}, u"JLi0"_s);
        // The server's comparison ignores letter case beyond ASCII and trailing blanks
        // too; an accent alone makes another login ID.
        Engines::newRows("accented capitals", u"\u00c9mile"_s, u"\u00c9MILE"_s,
                         QStringList{u"\u00e9mile"_s}, u"\u00c9mLi0"_s);
        Engines::newRows("trailing blank", u"Anna"_s, u"annali"_s, QStringList{"annali "},
                         u"AnLi0"_s);
        Engines::newRows("accent differs", u"Emile"_s, u"emile"_s, QStringList{u"\u00e9mile"_s},
                         u"emile"_s);
    }

    void takenLoginMadeUnique()
    {
        QFETCH(QString, engine);
        QFETCH(QString, firstName);
        QFETCH(QString, loginID);
        QFETCH(QStringList, taken);
        TargetDirectory directory(twoStores(taken), engine);
        NewUser user;
        user.firstName = firstName;
        user.lastName = u"Li"_s;
        user.loginID = loginID;
        QVERIFY2(user.add(directory).ok, qPrintable(user.errorDescription));
        QTEST(user.loginID, "expected");
        QTEST(directory.scalar(u"SELECT LoginID FROM fwtUser WHERE UserID = ?"_s, {user.userID})
                  .toString(),
              "expected");
    }

    // A made-unique login keeps the Directory usable for the next conflict check: had
    // "\u00c9MILE" gone in beside "\u00e9mile", the source user "emile" would match both and
    // the check would fail on the duplicate key.
    void conflictCheckAfterAccentedLogin_data() { Engines::rows(); }

    void conflictCheckAfterAccentedLogin()
    {
        QFETCH(QString, engine);
        TargetDirectory directory(twoStores({u"\u00e9mile"_s}), engine);
        NewUser user;
        user.firstName = u"\u00c9mile"_s;
        user.lastName = u"Zola"_s;
        user.loginID = u"\u00c9MILE"_s;
        QVERIFY2(user.add(directory).ok, qPrintable(user.errorDescription));
        QCOMPARE(user.loginID, u"\u00c9mZo0"_s);

        TestDatabase source(engine);
        VarnelSourceUser emile;
        emile.userID = 7;
        emile.givenName = u"\u00c9mile"_s;
        emile.familyName = u"Zola"_s;
        emile.loginID = u"\u00c9MILE"_s;
        VarnelSource varnel;
        varnel.users = {emile};
        VarnelBuilder::WriteTo(source.connectionString(), varnel);
        const CollectionPtr conflicts = AdministrativeDBCon::CheckForUserConflicts(
            source.connectionString(),
            ZephrinFunctions::GetDirectoryUsers(directory.connectionString()));
        QCOMPARE(describe(conflicts->collection(u"ZeName"_s)), QStringList{u"7=Y X"_s});
        QCOMPARE(describe(conflicts->collection(u"LoginID"_s)), QStringList{u"7=\u00c9MILE"_s});
    }

    // The procedures that return a flag hand back what went wrong and write nothing.
    void failuresHandedBack_data() { Engines::rows(); }

    void failuresHandedBack()
    {
        QFETCH(QString, engine);
        TargetDirectory directory(DirectoryDescription(), engine);
        NewUser badLanguage;
        badLanguage.language = u"english"_s;
        QVERIFY(!badLanguage.add(directory).ok);
        QCOMPARE(badLanguage.errorNumber, ErrorNumber::TypeMismatch);
        QVERIFY(badLanguage.errorDescription.contains(u"english"_s));
        QCOMPARE(directory.scalar(u"SELECT COUNT(*) FROM fwtUser"_s).toInt(), 0);

        QString login = u"ghost"_s;
        long number = 0;
        QString description;
        QVERIFY(!ZephrinFunctions::UpdateUser(
            77, u"G"_s, u"H"_s, QString(), QString(), QString(), u"1033"_s, 24, login, QString(),
            QString(), u"on"_s, true, 0, directory.connectionString(), number, description));
        QVERIFY(number != 0);
        QVERIFY(description.contains(u"77"_s));
        QVERIFY(
            !ZephrinFunctions::DeleteUser(999, directory.connectionString(), number, description));
        QCOMPARE(number, ErrorNumber::InvalidProcedureCall);
        QCOMPARE(description, u"There is no directory user with the ID 999"_s);

        Components::setFactory(nullptr);
        NewUser noComponent;
        QVERIFY(!noComponent.add(directory).ok);
        QCOMPARE(noComponent.errorNumber, ErrorNumber::CannotCreateComponent);
        QVERIFY(
            !ZephrinFunctions::DeleteUser(1, directory.connectionString(), number, description));
        QCOMPARE(number, ErrorNumber::CannotCreateComponent);
    }

    // What the Directory cannot hold is refused with the field named, and nothing is
    // stored: a login ID the conflict check cannot compare, a NUL, a name longer than
    // its column or a full name longer than the services' display name.
    void refusedFields_data()
    {
        Engines::addColumn();
        QTest::addColumn<QString>("firstName");
        QTest::addColumn<QString>("lastName");
        QTest::addColumn<QString>("loginID");
        QTest::addColumn<QString>("description"); // empty when the user is stored
        const QString control = u"The field %1 holds a NUL or another control character, which "
                                "the Directory cannot hold"_s;
        const QString length =
            u"The field %1 holds %2 characters; the Directory holds at most %3"_s;
        Engines::newRows("login ID of 50", u"J"_s, u"S"_s, QString(50, u'j'), QString());
        Engines::newRows("login ID of 51", u"J"_s, u"S"_s, QString(51, u'j'),
                         length.arg(u"LoginID"_s).arg(51).arg(50));
        Engines::newRows("NUL in the login ID", u"J"_s, u"S"_s, u"js\0mith"_s,
                         control.arg(u"LoginID"_s));
        Engines::newRows("NUL in a name", u"Jo\0hn"_s, u"S"_s, u"js"_s,
                         control.arg(u"FirstName"_s));
        Engines::newRows("first name of 256", QString(256, u'J'), u"S"_s, u"js"_s,
                         length.arg(u"FirstName"_s).arg(256).arg(255));
        Engines::newRows("full name of 256", QString(200, u'J'), QString(55, u'S'), u"js"_s,
                         u"The fields FirstName and LastName make a full name of 256 "
                         "characters; the Directory holds at most 255"_s);
    }

    void refusedFields()
    {
        QFETCH(QString, engine);
        QFETCH(QString, firstName);
        QFETCH(QString, lastName);
        QFETCH(QString, loginID);
        QFETCH(QString, description);
        TargetDirectory directory(twoStores({u"kept"_s}), engine);
        NewUser user;
        user.firstName = firstName;
        user.lastName = lastName;
        user.loginID = loginID;
        QCOMPARE(user.add(directory).ok, description.isEmpty());
        QCOMPARE(user.errorDescription, description);
        QCOMPARE(directory.scalar(u"SELECT COUNT(*) FROM fwtUser"_s).toInt(),
                 description.isEmpty() ? 2 : 1);

        // An update is held to the same rules and leaves the user as it was.
        const int kept =
            directory.scalar(u"SELECT UserID FROM fwtUser WHERE LoginID = 'kept'"_s).toInt();
        long number = 0;
        QString text;
        QString login = description.isEmpty() ? u"kept"_s : loginID;
        QCOMPARE(ZephrinFunctions::UpdateUser(kept, firstName, lastName, QString(), QString(),
                                              QString(), u"1033"_s, 24, login, u"pw"_s, QString(),
                                              u"on"_s, true, 0, directory.connectionString(),
                                              number, text),
                 description.isEmpty());
        QCOMPARE(text, description);
        if (!description.isEmpty()) {
            QCOMPARE(describe(directory.rows(u"SELECT FirstName, LastName FROM fwtUser WHERE "
                                             "UserID = ?"_s,
                                             {kept})),
                     QStringList{"X/Y"});
        }
    }

    void defaultServiceIsMail_data() { Engines::rows(); }

    void defaultServiceIsMail()
    {
        QFETCH(QString, engine);
        TargetDirectory directory(twoStores(), engine);
        NewUser first;
        NewUser second;
        second.loginID = u"other"_s;
        QVERIFY(first.add(directory).ok && second.add(directory).ok);

        ZephrinFunctions::SetDefaultService(directory.connectionString(), second.userID);
        QCOMPARE(describe(directory.rows(u"SELECT u.UserID, s.DisplayName FROM fwtUser u LEFT JOIN "
                                         "fwtService s ON s.ServiceID = u.DefaultServiceID "
                                         "ORDER BY u.UserID"_s)),
                 QStringList({u"%1/(null)"_s.arg(first.userID), u"%1/Mail"_s.arg(second.userID)}));
    }

    void updateKeepsServicesAndUntouchedFields_data() { Engines::rows(); }

    void updateKeepsServicesAndUntouchedFields()
    {
        QFETCH(QString, engine);
        TargetDirectory directory(twoStores(), engine);
        NewUser user;
        QVERIFY(user.add(directory).ok);
        directory.execute(u"UPDATE fwtUser SET Option12 = 5, Option13 = 6, Option14 = 7"_s);
        const QString servicesSql =
            u"SELECT s.ServiceID, s.DisplayName, s.StoreID, st.Name, st.Value FROM fwtService s "
            "JOIN fwtServiceSetting st ON st.ServiceID = s.ServiceID ORDER BY s.Position, "
            "st.Position"_s;
        const QStringList before = describe(directory.rows(servicesSql));

        QString login = u"jsmith"_s;
        long number = 0;
        QString description;
        QVERIFY(ZephrinFunctions::UpdateUser(user.userID, u"Jon"_s, u"Smyth"_s, u"EXCH1"_s,
                                             u"new"_s, u"new@example.com"_s, u"1031"_s, 48, login,
                                             u"new-pw"_s, u"555"_s, u"off"_s, false, 0,
                                             directory.connectionString(), number, description));
        QCOMPARE(describe(directory.rows(servicesSql)), before);
        // Positions 12 and 13 are null in an update and stay; 14 is written as 0.
        QCOMPARE(
            describe(directory.rows(userRowSql, {user.userID})),
            QStringList{"Jon/Smyth/jsmith/new-pw/1031/48/yy-mm-dd/hh:mm/555/0/0/0/5/6/0/1/(null)"});
    }

    // An update that would give a user another user's login ID (in other letter case)
    // is refused, as the server's unique constraint refuses it; the numbers differ:
    // 2627 is the server's duplicate key, 2067 the embedded engine's.
    void updateToTakenLoginRefused_data() { Engines::rows(); }

    void updateToTakenLoginRefused()
    {
        QFETCH(QString, engine);
        TargetDirectory directory(twoStores({u"\u00e9mile"_s}), engine);
        NewUser user;
        QVERIFY(user.add(directory).ok);
        QString login = u"\u00c9MILE"_s;
        long number = 0;
        QString description;
        QVERIFY(!ZephrinFunctions::UpdateUser(user.userID, u"John"_s, u"Smith"_s, QString(),
                                              QString(), QString(), u"1033"_s, 24, login, QString(),
                                              QString(), u"on"_s, true, 0,
                                              directory.connectionString(), number, description));
        QCOMPARE(number, directory.isEmbedded() ? 2067L : 2627L);
        QCOMPARE(directory.scalar(u"SELECT LoginID FROM fwtUser WHERE UserID = ?"_s, {user.userID})
                     .toString(),
                 u"jsmith"_s);
    }

    void deleteRemovesUserAndServices_data() { Engines::rows(); }

    void deleteRemovesUserAndServices()
    {
        QFETCH(QString, engine);
        TargetDirectory directory(twoStores({u"keep"_s}), engine);
        NewUser user;
        QVERIFY(user.add(directory).ok);
        long number = 0;
        QString text;
        QVERIFY(
            ZephrinFunctions::DeleteUser(user.userID, directory.connectionString(), number, text));
        QCOMPARE(describe(directory.rows(
                     u"SELECT (SELECT COUNT(*) FROM fwtUser), (SELECT COUNT(*) FROM fwtService), "
                     "(SELECT COUNT(*) FROM fwtServiceSetting WHERE ServiceID NOT IN (SELECT "
                     "ServiceID FROM fwtService))"_s)),
                 QStringList{"1/10/0"});
        // The freed login ID can be used again.
        NewUser again;
        QVERIFY(again.add(directory).ok);
        QCOMPARE(again.loginID, u"jsmith"_s);
    }

    void timezones()
    {
        QStringList converted;
        for (int source : {20, 21, 23, 27, 28, 46, 47, 49}) {
            converted << u"%1>%2"_s.arg(source).arg(ZephrinFunctions::ConvertTimezoneID(source));
        }
        QCOMPARE(converted, QStringList({"20>20", "21>22", "23>22", "27>24", "28>28", "46>46",
                                         "47>48", "49>49"}));
    }

    void directoryUsersAndLanguages_data() { Engines::rows(); }

    void directoryUsersAndLanguages()
    {
        QFETCH(QString, engine);
        DirectoryDescription description;
        description.users << TargetDirectory::user(u"Anna"_s, u"Li"_s, u"AnLi"_s)
                          << TargetDirectory::user(u"Bert"_s, u"Bakker"_s, u"bbakker"_s);
        TargetDirectory directory(description, engine);
        QCOMPARE(describe(ZephrinFunctions::GetDirectoryUsers(directory.connectionString())),
                 QStringList({"LoginIDs=[1=AnLi|2=bbakker]", "Names=[1=Li Anna|2=Bakker Bert]",
                              "IDs=[1=1|2=2]"}));
        const CollectionPtr languages =
            ZephrinFunctions::GetDirectoryIDList(directory.connectionString());
        QVERIFY(languages->contains(u"1033"_s) && languages->contains(u"1031"_s));
        QVERIFY(!languages->contains(u"1"_s));
    }
};

QTEST_GUILESS_MAIN(TestDirectoryUsers)
#include "tst_directoryusers.moc"

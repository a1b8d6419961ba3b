#include "directory/ComponentFactory.h"
#include "directory/DefaultServices.h"
#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"
#include "support/TargetDirectory.h"

#include <QTest>

// Users written into a real embedded Directory through the reference installation.
class TestDirectoryUsers : public QObject
{
    Q_OBJECT
private slots:
    void newUserRowAndServices_data();
    void newUserRowAndServices();
    void serviceSettingsInOrder();
    void serviceArrayLayout();
    void takenLoginMadeUnique_data();
    void takenLoginMadeUnique();
    void graphicsSetting_data();
    void graphicsSetting();
    void badLanguageFailsWithoutWriting();
    void missingComponentHandedBack();
    void defaultServiceIsMail();
    void defaultServiceSqlText();
    void updateKeepsServicesAndUntouchedFields();
    void updateOfMissingUserFails();
    void deleteRemovesUserAndServices();
    void timezones_data();
    void timezones();
    void directoryUsersAndLanguages();
};

namespace {

const QStringList displayNames = {QStringLiteral("Mail"),
                                  QStringLiteral("Contacts"),
                                  QStringLiteral("Calendar"),
                                  QStringLiteral("Notes"),
                                  QStringLiteral("Tasks"),
                                  QStringLiteral("Sent Items "),
                                  QStringLiteral("Deleted Items"),
                                  QStringLiteral("Drafts"),
                                  QStringLiteral("Device Provisioning"),
                                  QStringLiteral("FileViewer")};

const QStringList applicationIDs = {QStringLiteral("{B4E1A160-BF8F-11D4-AA78-00508B638B18}"),
                                    QStringLiteral("{692C2BD3-26C7-46DB-B0DD-720EBF8A44BB}"),
                                    QStringLiteral("{DC7E00D1-F236-4E13-84C9-826215C1AEAB}"),
                                    QStringLiteral("{A4C2CC57-2840-4BDA-B4EA-9E095348F2BD}"),
                                    QStringLiteral("{0A6B1F2D-95E9-4704-8C74-9234ECA28258}"),
                                    QStringLiteral("{D774097C-535C-4382-899F-E37E2BEE2164}"),
                                    QStringLiteral("{DF6AC980-27B2-4204-B0EF-5D84F92FDF64}"),
                                    QStringLiteral("{98607AF7-F1FE-4264-BC09-242D1C399E6E}"),
                                    QStringLiteral("{1D08B4DF-381A-4795-A18A-E559F1458F9F}"),
                                    QStringLiteral("{2E4B9A66-D524-41b2-BC31-0E84A7F61820}")};

DirectoryDescription twoStores()
{
    DirectoryDescription description;
    description.stores = {{QStringLiteral("EXCH1"), 1, QString()},
                          {QStringLiteral("MAIL01"), 2, QString()}};
    return description;
}

struct NewUser
{
    QString firstName = QStringLiteral("John");
    QString lastName = QStringLiteral("Smith");
    QString server = QStringLiteral("MAIL01");
    QString loginID = QStringLiteral("jsmith");
    QString language = QStringLiteral("1033");
    QString graphics = QStringLiteral("on");
    int timezone = 24;

    bool ok = false;
    int userID = 0;
    long errorNumber = 0;
    QString errorDescription;

    void add(const TargetDirectory& directory)
    {
        ok = ZephrinFunctions::AddUserToDirectory(
            firstName, lastName, server, QStringLiteral("jsm"), QStringLiteral("js@example.com"),
            language, timezone, loginID, userID, QStringLiteral("pw-encoded"),
            QStringLiteral("+31 6 1234"), graphics, true, 3, directory.connectionString(),
            errorNumber, errorDescription);
    }
};

} // namespace

void TestDirectoryUsers::newUserRowAndServices_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<int>("storeID");
    QTest::newRow("same name") << QStringLiteral("MAIL01") << 2;
    QTest::newRow("other case") << QStringLiteral("exch1") << 1;
    QTest::newRow("with domain") << QStringLiteral("mail01.corp.example.com") << 2;
    QTest::newRow("unknown") << QStringLiteral("mail99") << -1;
}

void TestDirectoryUsers::newUserRowAndServices()
{
    QFETCH(QString, server);
    QFETCH(int, storeID);
    TargetDirectory directory(twoStores());
    NewUser user;
    user.server = server;
    user.timezone = 22;
    user.add(directory);
    QVERIFY2(user.ok, qPrintable(user.errorDescription));
    QCOMPARE(user.loginID, QStringLiteral("jsmith"));

    const auto rows =
        directory.rows(QStringLiteral("SELECT * FROM fwtUser WHERE UserID = ?"), {user.userID});
    QCOMPARE(rows.size(), 1);
    const QSqlRecord row = rows.first();
    QCOMPARE(row.value("FirstName").toString(), QStringLiteral("John"));
    QCOMPARE(row.value("LastName").toString(), QStringLiteral("Smith"));
    QCOMPARE(row.value("LoginID").toString(), QStringLiteral("jsmith"));
    QCOMPARE(row.value("Password").toString(), QStringLiteral("pw-encoded"));
    QCOMPARE(row.value("LanguageID").toInt(), 1033);
    QCOMPARE(row.value("TimeZoneID").toInt(), 22);
    QCOMPARE(row.value("DateFormat").toString(), QStringLiteral("yy-mm-dd"));
    QCOMPARE(row.value("TimeFormat").toString(), QStringLiteral("hh:mm"));
    QCOMPARE(row.value("MobileNumber").toString(), QStringLiteral("+31 6 1234"));
    QCOMPARE(row.value("LogonFailureCount").toInt(), 3);
    QCOMPARE(row.value("Enabled").toInt(), 1);
    QCOMPARE(row.value("Option17").toInt(), 1);
    QVERIFY(row.value("DefaultServiceID").isNull());

    const auto services = directory.rows(
        QStringLiteral("SELECT ApplicationID, DisplayName, StoreID, Enabled FROM fwtService "
                       "WHERE OwnerUserID = ? ORDER BY Position"),
        {user.userID});
    QCOMPARE(services.size(), 10);
    for (int index = 0; index < services.size(); ++index) {
        QCOMPARE(services.at(index).value(0).toString(), applicationIDs.at(index));
        QCOMPARE(services.at(index).value(1).toString(), displayNames.at(index));
        QCOMPARE(services.at(index).value(2).toInt(), storeID);
        QCOMPARE(services.at(index).value(3).toInt(), 1);
    }
}

void TestDirectoryUsers::serviceSettingsInOrder()
{
    TargetDirectory directory(twoStores());
    NewUser user;
    user.add(directory);
    QVERIFY2(user.ok, qPrintable(user.errorDescription));

    const QString connection = QStringLiteral("MAIL01;jsm;js@example.com");
    const QString fullName = QStringLiteral("John Smith");
    const auto base = [](int value) {
        return QStringLiteral("baseitem/store/") + QString::number(value);
    };
    const QString conn = QStringLiteral("connection/store/") + connection;
    const QString mailName = QStringLiteral("fullname/mail/") + fullName;
    const QString cache = QStringLiteral("cacheid/store/0");
    const QList<QStringList> expected = {
        {base(1), conn, mailName, cache},
        {base(5), conn, cache},
        {base(0), conn, QStringLiteral("fullname/calendar/") + fullName, cache},
        {base(7), conn},
        {base(8), conn},
        {base(3), conn, mailName, cache},
        {base(4), conn, mailName, cache},
        {base(10), conn, mailName, cache},
        {conn, cache},
        {conn, cache}};

    const auto settings = directory.rows(
        QStringLiteral("SELECT s.Position, st.Name, st.Kind, st.Value FROM fwtService s "
                       "JOIN fwtServiceSetting st ON st.ServiceID = s.ServiceID "
                       "WHERE s.OwnerUserID = ? ORDER BY s.Position, st.Position"),
        {user.userID});
    QList<QStringList> actual(10);
    for (const QSqlRecord& row : settings) {
        actual[row.value(0).toInt()] << row.value(1).toString() + QLatin1Char('/') +
                                            row.value(2).toString() + QLatin1Char('/') +
                                            row.value(3).toString();
    }
    QCOMPARE(actual, expected);
}

void TestDirectoryUsers::serviceArrayLayout()
{
    // What the user component receives: seven values per entry, typed as the
    // Directory expects them.
    const QList<QVariantList> entries =
        DefaultServices::BuildServiceEntries(QStringLiteral("s;a;e"), QStringLiteral("F L"), 7);
    QCOMPARE(entries.size(), 10);
    const QVariantList mail = entries.at(0);
    QCOMPARE(mail.size(), 7);
    QVERIFY(mail.at(0).isNull() && mail.at(2).isNull());
    QCOMPARE(mail.at(1).toString(), applicationIDs.at(0));
    QCOMPARE(mail.at(3).toInt(), 7);
    QCOMPARE(mail.at(4).typeId(), QMetaType::Bool);
    QCOMPARE(mail.at(5).toString(), QStringLiteral("Mail"));
    const VariantTable settings = mail.at(6).value<VariantTable>();
    QCOMPARE(settings.lowerField(), 0);
    QCOMPARE(settings.upperField(), 8);
    QCOMPARE(settings.upperRecord(), 3);
    QCOMPARE(settings.at(1, 0).toString(), QStringLiteral("baseitem"));
    QCOMPARE(settings.at(8, 0).typeId(), QMetaType::Short);
    QCOMPARE(settings.at(8, 0).toInt(), 1);
    QCOMPARE(settings.at(8, 3).typeId(), QMetaType::Short); // cacheid
    for (int field : {0, 3, 4, 5, 6, 7}) {
        QVERIFY(settings.at(field, 0).isNull());
    }
    // Notes has two settings; the rest of its table stays wholly null.
    const VariantTable notes = entries.at(3).at(6).value<VariantTable>();
    for (int field = 0; field <= 8; ++field) {
        QVERIFY(notes.at(field, 2).isNull() && notes.at(field, 3).isNull());
    }
}

void TestDirectoryUsers::takenLoginMadeUnique_data()
{
    QTest::addColumn<QString>("firstName");
    QTest::addColumn<QString>("lastName");
    QTest::addColumn<QStringList>("taken");
    QTest::addColumn<QString>("expected");
    QTest::newRow("free") << QStringLiteral("Anna") << QStringLiteral("Li")
                          << QStringList{QStringLiteral("other")} << QStringLiteral("annali");
    QTest::newRow("taken") << QStringLiteral("Anna") << QStringLiteral("Li")
                           << QStringList{QStringLiteral("annali")} << QStringLiteral("AnLi0");
    QTest::newRow("taken in other case")
        << QStringLiteral("Anna") << QStringLiteral("Li") << QStringList{QStringLiteral("ANNALI")}
        << QStringLiteral("AnLi0");
    QTest::newRow("AnLi0 taken too")
        << QStringLiteral("Anna") << QStringLiteral("Li")
        << QStringList{QStringLiteral("annali"), QStringLiteral("AnLi0")}
        << QStringLiteral("AnLi1");
    QTest::newRow("short names") << QStringLiteral("J") << QStringLiteral("Li")
                                 << QStringList{QStringLiteral("annali")} << QStringLiteral("JLi0");
}

void TestDirectoryUsers::takenLoginMadeUnique()
{
    QFETCH(QString, firstName);
    QFETCH(QString, lastName);
    QFETCH(QStringList, taken);
    QFETCH(QString, expected);
    DirectoryDescription description = twoStores();
    for (const QString& login : taken) {
        description.users << TargetDirectory::user(QStringLiteral("X"), QStringLiteral("Y"), login);
    }
    TargetDirectory directory(description);
    NewUser user;
    user.firstName = firstName;
    user.lastName = lastName;
    user.loginID = QStringLiteral("annali");
    user.add(directory);
    QVERIFY2(user.ok, qPrintable(user.errorDescription));
    QCOMPARE(user.loginID, expected);
    QCOMPARE(
        directory
            .scalar(QStringLiteral("SELECT LoginID FROM fwtUser WHERE UserID = ?"), {user.userID})
            .toString(),
        expected);
}

void TestDirectoryUsers::graphicsSetting_data()
{
    QTest::addColumn<QString>("graphics");
    QTest::addColumn<int>("stored");
    QTest::newRow("on") << QStringLiteral("on") << 1;
    QTest::newRow("ON") << QStringLiteral("ON") << 1;
    QTest::newRow("1") << QStringLiteral("1") << 0;
    QTest::newRow("off") << QStringLiteral("off") << 0;
}

void TestDirectoryUsers::graphicsSetting()
{
    QFETCH(QString, graphics);
    QFETCH(int, stored);
    TargetDirectory directory;
    NewUser user;
    user.graphics = graphics;
    user.add(directory);
    QVERIFY2(user.ok, qPrintable(user.errorDescription));
    QCOMPARE(directory
                 .scalar(QStringLiteral("SELECT GraphicsOn FROM fwtUser WHERE UserID = ?"),
                         {user.userID})
                 .toInt(),
             stored);
}

void TestDirectoryUsers::badLanguageFailsWithoutWriting()
{
    TargetDirectory directory;
    NewUser user;
    user.language = QStringLiteral("english");
    user.add(directory);
    QVERIFY(!user.ok);
    QCOMPARE(user.errorNumber, ErrorNumber::TypeMismatch);
    QVERIFY(user.errorDescription.contains(QStringLiteral("english")));
    QCOMPARE(directory.scalar(QStringLiteral("SELECT COUNT(*) FROM fwtUser")).toInt(), 0);
}

void TestDirectoryUsers::missingComponentHandedBack()
{
    TargetDirectory directory;
    Components::setFactory(nullptr);
    NewUser user;
    user.add(directory);
    QVERIFY(!user.ok);
    QCOMPARE(user.errorNumber, ErrorNumber::CannotCreateComponent);
    QVERIFY(!user.errorDescription.isEmpty());

    long number = 0;
    QString description;
    QVERIFY(!ZephrinFunctions::DeleteUser(1, directory.connectionString(), number, description));
    QCOMPARE(number, ErrorNumber::CannotCreateComponent);
}

void TestDirectoryUsers::defaultServiceIsMail()
{
    TargetDirectory directory(twoStores());
    NewUser first;
    first.add(directory);
    NewUser second;
    second.loginID = QStringLiteral("other");
    second.add(directory);
    QVERIFY(first.ok && second.ok);

    ZephrinFunctions::SetDefaultService(directory.connectionString(), second.userID);
    const QVariant mailService = directory.scalar(
        QStringLiteral("SELECT ServiceID FROM fwtService WHERE OwnerUserID = ? AND "
                       "DisplayName = 'Mail'"),
        {second.userID});
    QCOMPARE(
        directory.scalar(QStringLiteral("SELECT DefaultServiceID FROM fwtUser WHERE UserID = ?"),
                         {second.userID}),
        mailService);
    QVERIFY(directory
                .scalar(QStringLiteral("SELECT DefaultServiceID FROM fwtUser WHERE UserID = ?"),
                        {first.userID})
                .isNull());
}

void TestDirectoryUsers::defaultServiceSqlText()
{
    QCOMPARE(ZephrinFunctions::SetDefaultServiceSql(42),
             QStringLiteral("UPDATE fwtUser SET DefaultServiceID = (SELECT ServiceID FROM "
                            "fwtService WHERE ApplicationID = "
                            "'{B4E1A160-BF8F-11D4-AA78-00508B638B18}' AND OwnerUserID = 42) "
                            "WHERE UserID = 42"));
}

void TestDirectoryUsers::updateKeepsServicesAndUntouchedFields()
{
    TargetDirectory directory(twoStores());
    NewUser user;
    user.add(directory);
    QVERIFY(user.ok);
    directory.execute(QStringLiteral("UPDATE fwtUser SET Option12 = 5, Option13 = 6, Option14 = 7 "
                                     "WHERE UserID = ?"),
                      {user.userID});
    const QString servicesSql =
        QStringLiteral("SELECT s.ServiceID, s.DisplayName, s.StoreID, st.Name, st.Value "
                       "FROM fwtService s JOIN fwtServiceSetting st ON st.ServiceID = s.ServiceID "
                       "WHERE s.OwnerUserID = ? ORDER BY s.Position, st.Position");
    const auto before = directory.rows(servicesSql, {user.userID});

    QString login = QStringLiteral("jsmith");
    long number = 0;
    QString description;
    QVERIFY(ZephrinFunctions::UpdateUser(
        user.userID, QStringLiteral("Jon"), QStringLiteral("Smyth"), QStringLiteral("EXCH1"),
        QStringLiteral("new"), QStringLiteral("new@example.com"), QStringLiteral("1031"), 48, login,
        QStringLiteral("new-pw"), QStringLiteral("555"), QStringLiteral("off"), false, 0,
        directory.connectionString(), number, description));

    const auto after = directory.rows(servicesSql, {user.userID});
    QCOMPARE(after.size(), before.size());
    for (int index = 0; index < after.size(); ++index) {
        for (int column = 0; column < 5; ++column) {
            QCOMPARE(after.at(index).value(column), before.at(index).value(column));
        }
    }
    const QSqlRecord row =
        directory.rows(QStringLiteral("SELECT * FROM fwtUser WHERE UserID = ?"), {user.userID})
            .first();
    QCOMPARE(row.value("FirstName").toString(), QStringLiteral("Jon"));
    QCOMPARE(row.value("LastName").toString(), QStringLiteral("Smyth"));
    QCOMPARE(row.value("LanguageID").toInt(), 1031);
    QCOMPARE(row.value("TimeZoneID").toInt(), 48);
    QCOMPARE(row.value("Password").toString(), QStringLiteral("new-pw"));
    QCOMPARE(row.value("Enabled").toInt(), 0);
    QCOMPARE(row.value("GraphicsOn").toInt(), 0);
    // Positions 12 and 13 are null in an update and stay; 14 is written as 0.
    QCOMPARE(row.value("Option12").toInt(), 5);
    QCOMPARE(row.value("Option13").toInt(), 6);
    QCOMPARE(row.value("Option14").toInt(), 0);
}

void TestDirectoryUsers::updateOfMissingUserFails()
{
    TargetDirectory directory;
    QString login = QStringLiteral("ghost");
    long number = 0;
    QString description;
    QVERIFY(!ZephrinFunctions::UpdateUser(77, QStringLiteral("G"), QStringLiteral("H"), QString(),
                                          QString(), QString(), QStringLiteral("1033"), 24, login,
                                          QString(), QString(), QStringLiteral("on"), true, 0,
                                          directory.connectionString(), number, description));
    QVERIFY(number != 0);
    QVERIFY(description.contains(QStringLiteral("77")));
}

void TestDirectoryUsers::deleteRemovesUserAndServices()
{
    DirectoryDescription description = twoStores();
    description.users << TargetDirectory::user(QStringLiteral("Keep"), QStringLiteral("Me"),
                                               QStringLiteral("keep"), QStringLiteral("MAIL01"));
    TargetDirectory directory(description);
    NewUser user;
    user.add(directory);
    QVERIFY(user.ok);

    long number = 0;
    QString text;
    QVERIFY(ZephrinFunctions::DeleteUser(user.userID, directory.connectionString(), number, text));
    QCOMPARE(directory.scalar(QStringLiteral("SELECT COUNT(*) FROM fwtUser")).toInt(), 1);
    QCOMPARE(directory.scalar(QStringLiteral("SELECT COUNT(*) FROM fwtService")).toInt(), 10);
    QCOMPARE(directory
                 .scalar(QStringLiteral("SELECT COUNT(*) FROM fwtServiceSetting WHERE ServiceID "
                                        "NOT IN (SELECT ServiceID FROM fwtService)"))
                 .toInt(),
             0);
    // The freed login ID can be used again.
    NewUser again;
    again.add(directory);
    QVERIFY(again.ok);
    QCOMPARE(again.loginID, QStringLiteral("jsmith"));
}

void TestDirectoryUsers::timezones_data()
{
    QTest::addColumn<int>("source");
    QTest::addColumn<int>("target");
    const QList<std::pair<int, int>> pairs = {{20, 20}, {21, 22}, {23, 22}, {27, 24},
                                              {28, 28}, {46, 46}, {47, 48}, {49, 49}};
    for (const auto& [source, target] : pairs) {
        QTest::addRow("%d", source) << source << target;
    }
}

void TestDirectoryUsers::timezones()
{
    QFETCH(int, source);
    QFETCH(int, target);
    QCOMPARE(ZephrinFunctions::ConvertTimezoneID(source), target);
}

void TestDirectoryUsers::directoryUsersAndLanguages()
{
    DirectoryDescription description;
    description.users << TargetDirectory::user(QStringLiteral("Anna"), QStringLiteral("Li"),
                                               QStringLiteral("AnLi"))
                      << TargetDirectory::user(QStringLiteral("Bert"), QStringLiteral("Bakker"),
                                               QStringLiteral("bbakker"));
    TargetDirectory directory(description);

    const CollectionPtr users = ZephrinFunctions::GetDirectoryUsers(directory.connectionString());
    QCOMPARE(users->keys(), (QStringList{QStringLiteral("LoginIDs"), QStringLiteral("Names"),
                                         QStringLiteral("IDs")}));
    const CollectionPtr names = users->collection(QStringLiteral("Names"));
    const CollectionPtr logins = users->collection(QStringLiteral("LoginIDs"));
    const CollectionPtr ids = users->collection(QStringLiteral("IDs"));
    QCOMPARE(names->count(), 2);
    QCOMPARE(names->item(QStringLiteral("1")).toString(), QStringLiteral("Li Anna"));
    QCOMPARE(names->item(QStringLiteral("2")).toString(), QStringLiteral("Bakker Bert"));
    QCOMPARE(logins->item(QStringLiteral("2")).toString(), QStringLiteral("bbakker"));
    QCOMPARE(ids->item(2).toInt(), 2);

    const CollectionPtr languages =
        ZephrinFunctions::GetDirectoryIDList(directory.connectionString());
    QVERIFY(languages->contains(QStringLiteral("1033")));
    QVERIFY(languages->contains(QStringLiteral("1031")));
    QVERIFY(!languages->contains(QStringLiteral("1")));
}

QTEST_GUILESS_MAIN(TestDirectoryUsers)
#include "tst_directoryusers.moc"

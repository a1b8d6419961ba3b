#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/VarnelBuilder.h"
#include "db/VarnelDBCon.h"
#include "frame/MigrationError.h"

#include <QRegularExpression>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString NoServer = QStringLiteral("127.0.0.1,1");

const char* PairsXml = "<Profile><Pair><Name>Server</Name><Value>mail.example.com</Value></Pair>"
                       "<Pair><Name>Port</Name><Value>443</Value></Pair></Profile>";

VarnelSource sampleSource()
{
    VarnelSource source;
    VarnelSourceUser ann;
    ann.userID = 7;
    ann.givenName = QStringLiteral("Ann");
    ann.familyName = QStringLiteral("O'Neil");
    ann.domain = QStringLiteral("CORP");
    ann.loginID = QStringLiteral("aoneil");
    ann.password = QStringLiteral("0,104,105,0");
    ann.settings = {{QStringLiteral("UserMailHomeServer"), QStringLiteral("MAIL01")},
                    {QStringLiteral("UserLogin"), QStringLiteral("ann@example.com")},
                    {QStringLiteral("TimezoneIndex"), 20},
                    {QStringLiteral("UserPhoneNumber"), QVariant()}};
    VarnelSourceUser bob;
    bob.userID = 3;
    bob.givenName = QVariant(); // null given name
    bob.familyName = QStringLiteral("Brown");
    bob.loginID = QStringLiteral("bbrown");
    bob.settings = {{QStringLiteral("UserMailHomeServer"), QStringLiteral("mail01")},
                    {QStringLiteral("UserLogin"), QStringLiteral("bob@example.com")}};
    VarnelSourceUser cid;
    cid.userID = 12;
    cid.givenName = QStringLiteral("Cid");
    cid.familyName = QStringLiteral("Cole");
    cid.loginID = QStringLiteral("ccole");
    cid.settings = {{QStringLiteral("UserMailHomeServer"), QStringLiteral("EXCH2")}};
    source.users = {ann, bob, cid};
    source.settingNames = {QStringLiteral("UserEnabled")};
    source.profiles = {
        {QString::fromLatin1(PairsXml), QStringLiteral("Sales"), QStringLiteral("Sales phones")},
        {QStringLiteral("<Profile><Pair><Name>Server</Name>"), QStringLiteral("Broken"),
         QStringLiteral("not well formed")},
        {QVariant(), QStringLiteral("Empty"), QStringLiteral("no XML")},
        {QStringLiteral("<P><Pair><Name>A</Name><Value>1</Value></Pair></P>"),
         QStringLiteral("Field"), QVariant()}};
    source.registry = {{QStringLiteral("NTLogon"), QStringLiteral("1")},
                       {QStringLiteral("MailDomain"), QVariant()},
                       {QStringLiteral("Empty"), QStringLiteral("")}};
    return source;
}

} // namespace

class TestVarnelDBCon : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup();
    void allUsers();
    void userByID_data();
    void userByID();
    void userSettings_data();
    void userSettings();
    void settingFailures();
    void mailHomeServers();
    void profiles();
    void parseProfile_data();
    void parseProfile();
    void guidText();
    void registry_data();
    void registry();
    void registryFailures_data();
    void registryFailures();
    void sqlServerTexts();

private:
    QTemporaryDir mDir;
    QString mSource;
};

void TestVarnelDBCon::initTestCase()
{
    QVERIFY(mDir.isValid());
    mSource = VarnelBuilder::Write(mDir.path(), QStringLiteral("Varnel"), sampleSource());
}

void TestVarnelDBCon::cleanup()
{
    QCOMPARE(QSqlDatabase::connectionNames(), QStringList());
}

void TestVarnelDBCon::allUsers()
{
    const CollectionPtr users = VarnelDBCon::GetAllUsers(mSource);
    QCOMPARE(users->count(), 3);
    QCOMPARE(users->keys(), QStringList({QString(), QString(), QString()}));
    QList<int> ids;
    for (int i = 1; i <= users->count(); ++i) {
        const CollectionPtr user = users->collection(i);
        QCOMPARE(user->keys(),
                 QStringList({QStringLiteral("UserID"), QStringLiteral("FirstName"),
                              QStringLiteral("LastName"), QStringLiteral("LoginID")}));
        ids.append(user->item(QStringLiteral("UserID")).toInt());
    }
    QCOMPARE(ids, QList<int>({3, 7, 12}));
    const CollectionPtr ann = users->collection(2);
    QCOMPARE(ann->item(QStringLiteral("firstname")).toString(), QStringLiteral("Ann"));
    QCOMPARE(ann->item(QStringLiteral("LastName")).toString(), QStringLiteral("O'Neil"));
    QCOMPARE(ann->item(QStringLiteral("LoginID")).toString(), QStringLiteral("aoneil"));
    QVERIFY(users->collection(1)->item(QStringLiteral("FirstName")).isNull());

    // The file is free again: it can be removed and the next read fails.
    QTemporaryDir other;
    const QString moved = VarnelBuilder::Write(other.path(), QStringLiteral("Gone"), {});
    QVERIFY(QFile::remove(other.filePath(QStringLiteral("Gone.sqlite"))));
    QVERIFY_THROWS_EXCEPTION(MigrationError, VarnelDBCon::GetAllUsers(moved));
}

void TestVarnelDBCon::userByID_data()
{
    QTest::addColumn<int>("userID");
    QTest::addColumn<QStringList>("values");

    QTest::newRow("existing") << 7 << QStringList{"Ann", "O'Neil", "aoneil", "CORP", "0,104,105,0"};
    QTest::newRow("missing") << 8 << QStringList{};
    QTest::newRow("negative") << -1 << QStringList{};
}

void TestVarnelDBCon::userByID()
{
    QFETCH(int, userID);
    QFETCH(QStringList, values);
    const CollectionPtr user = VarnelDBCon::GetUserByID(userID, mSource);
    if (values.isEmpty()) {
        QCOMPARE(user->count(), 0);
        return;
    }
    QCOMPARE(user->keys(), QStringList({QStringLiteral("FirstName"), QStringLiteral("LastName"),
                                        QStringLiteral("LoginID"), QStringLiteral("Domain"),
                                        QStringLiteral("Password")}));
    for (int i = 0; i < values.size(); ++i) {
        QCOMPARE(user->item(i + 1).toString(), values.at(i));
    }
}

void TestVarnelDBCon::userSettings_data()
{
    QTest::addColumn<int>("userID");
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QStringList>("values");

    QTest::newRow("several at once")
        << 7 << QStringList{"UserMailHomeServer", "UserLogin", "TimezoneIndex", "UserEnabled"}
        << QStringList{"UserMailHomeServer", "UserLogin", "TimezoneIndex"}
        << QStringList{"MAIL01", "ann@example.com", "20"};
    // Names compare without regard to case; the key is the name as stored.
    QTest::newRow("other case") << 3 << QStringList{"userlogin"} << QStringList{"UserLogin"}
                                << QStringList{"bob@example.com"};
    QTest::newRow("no such setting")
        << 3 << QStringList{"UserEnabled", "NoSuchSetting"} << QStringList{} << QStringList{};
    QTest::newRow("no such user") << 99 << QStringList{"UserLogin"} << QStringList{}
                                  << QStringList{};
    // A stored null stays null: present, with no text.
    QTest::newRow("null value") << 7 << QStringList{"UserPhoneNumber"}
                                << QStringList{"UserPhoneNumber"} << QStringList{""};
}

void TestVarnelDBCon::userSettings()
{
    QFETCH(int, userID);
    QFETCH(QStringList, names);
    QFETCH(QStringList, keys);
    QFETCH(QStringList, values);
    const CollectionPtr settings = VarnelDBCon::GetUserSettingsByID(userID, names, mSource);
    QStringList actualKeys = settings->keys();
    // The order of the rows is the database's own.
    QStringList sortedKeys = keys;
    actualKeys.sort();
    sortedKeys.sort();
    QCOMPARE(actualKeys, sortedKeys);
    for (int i = 0; i < keys.size(); ++i) {
        QCOMPARE(settings->item(keys.at(i)).toString(), values.at(i));
    }
    if (keys.contains(QStringLiteral("UserPhoneNumber"))) {
        QVERIFY(settings->item(QStringLiteral("UserPhoneNumber")).isNull());
    }
}

void TestVarnelDBCon::settingFailures()
{
    // No names: error 1001 before any database work (the database does not exist).
    try {
        VarnelDBCon::GetUserSettingsByID(
            1, {},
            BuildSqlConnectionString(QStringLiteral("sqlite:/nonexistent"),
                                     QStringLiteral("Nothing"), QString(), QString()));
        QFAIL("no error for an empty name list");
    } catch (const MigrationError& error) {
        QCOMPARE(error.number(), 1001L);
        QCOMPARE(error.source(),
                 QStringLiteral("VarnelMigrationTool.VarnelDBCon.GetUserSettingsByID"));
        QCOMPARE(error.description(), QStringLiteral("No setting names specified"));
    }

    // Two settings whose names differ only in case make a duplicate key.
    QTemporaryDir dir;
    VarnelSource source;
    VarnelSourceUser user;
    user.userID = 1;
    user.settings = {{QStringLiteral("UserLogin"), "a"},
                     {QStringLiteral("USERLOGIN"), "b"},
                     {QStringLiteral("UserEnabled"), "1"}};
    source.users = {user};
    const QString cs = VarnelBuilder::Write(dir.path(), QStringLiteral("Dup"), source);
    try {
        VarnelDBCon::GetUserSettingsByID(1, {QStringLiteral("UserLogin")}, cs);
        QFAIL("no error for a duplicate setting name");
    } catch (const MigrationError& error) {
        QCOMPARE(error.number(), long(ErrorNumber::DuplicateKey));
    }
    QCOMPARE(VarnelDBCon::GetUserSettingsByID(1, {QStringLiteral("UserEnabled")}, cs)
                 ->item(QStringLiteral("UserEnabled"))
                 .toString(),
             QStringLiteral("1"));
}

void TestVarnelDBCon::mailHomeServers()
{
    // MAIL01 and mail01 are one server, as on the server's collation.
    const QStringList servers = VarnelDBCon::GetUserMailHomeServers(mSource);
    QCOMPARE(servers.size(), 2);
    QCOMPARE(servers.at(0), QStringLiteral("EXCH2"));
    QCOMPARE(servers.at(1).toUpper(), QStringLiteral("MAIL01"));

    QTemporaryDir dir;
    VarnelSource none;
    QCOMPARE(VarnelDBCon::GetUserMailHomeServers(
                 VarnelBuilder::Write(dir.path(), QStringLiteral("None"), none)),
             QStringList());
    none.settingNames = {QStringLiteral("UserMailHomeServer")};
    QCOMPARE(VarnelDBCon::GetUserMailHomeServers(
                 VarnelBuilder::Write(dir.path(), QStringLiteral("Unused"), none)),
             QStringList());
}

void TestVarnelDBCon::profiles()
{
    const CollectionPtr profiles = VarnelDBCon::GetProvisioningProfiles(mSource);
    // The broken and the empty profile are skipped; the others keep their order.
    QCOMPARE(profiles->count(), 2);
    const CollectionPtr sales = profiles->collection(1);
    QCOMPARE(profiles->key(1), sales->item(QStringLiteral("ProfileID")).toString());
    QCOMPARE(sales->keys(), QStringList({QStringLiteral("Server"), QStringLiteral("Port"),
                                         QStringLiteral("ProfileID"), QStringLiteral("ProfileName"),
                                         QStringLiteral("ProfileDescription")}));
    QCOMPARE(sales->item(QStringLiteral("Server")).toString(), QStringLiteral("mail.example.com"));
    QCOMPARE(sales->item(QStringLiteral("ProfileName")).toString(), QStringLiteral("Sales"));
    QCOMPARE(sales->item(QStringLiteral("ProfileDescription")).toString(),
             QStringLiteral("Sales phones"));
    const CollectionPtr field = profiles->collection(2);
    QCOMPARE(field->item(QStringLiteral("ProfileName")).toString(), QStringLiteral("Field"));
    QCOMPARE(field->item(QStringLiteral("ProfileDescription")).toString(), QString());
    QVERIFY(profiles->key(1) != profiles->key(2));

    // A database without the table yields what was read: nothing.
    QTemporaryDir dir;
    {
        DbConnection connection(BuildSqlConnectionString(QStringLiteral("sqlite:") + dir.path(),
                                                         QStringLiteral("Bare"), QString(),
                                                         QString()),
                                DbConnection::Mode::CreateIfMissing);
    }
    QCOMPARE(VarnelDBCon::GetProvisioningProfiles(
                 BuildSqlConnectionString(QStringLiteral("sqlite:") + dir.path(),
                                          QStringLiteral("Bare"), QString(), QString()))
                 ->count(),
             0);
}

void TestVarnelDBCon::parseProfile_data()
{
    QTest::addColumn<QString>("xml");
    QTest::addColumn<bool>("parsed");
    QTest::addColumn<QStringList>("pairs"); // name=value, in order

    QTest::newRow("pairs") << QString::fromLatin1(PairsXml) << true
                           << QStringList{"Server=mail.example.com", "Port=443"};
    QTest::newRow("first of a name wins")
        << "<p><x><name>Port</name><value>1</value></x><x><name>port</name><value>2</value></x>"
           "<x><name>Other</name><value>3</value></x></p>"
        << true << QStringList{"Port=1", "Other=3"};
    QTest::newRow("node names in any case, last match wins, others ignored")
        << "<p><x><NAME>A</NAME><Value>1</Value><VALUE>2</VALUE><note>n</note></x></p>" << true
        << QStringList{"A=2"};
    QTest::newRow("pair without value")
        << "<p><x><name>A</name></x></p>" << true << QStringList{"A="};
    QTest::newRow("text of nested nodes")
        << "<p><x><name>A</name><value><b>x</b>y</value></x></p>" << true << QStringList{"A=xy"};
    QTest::newRow("pair without name is no pair")
        << "<p><!-- c --><x><value>1</value></x><x><name>B</name><value>2</value></x></p>" << true
        << QStringList{"B=2"};
    QTest::newRow("empty root") << "<p/>" << true << QStringList{};
    // The document's first node is the root, and an XML declaration is that node.
    QTest::newRow("declaration first")
        << "<?xml version=\"1.0\"?><p><x><name>A</name><value>1</value></x></p>" << true
        << QStringList{};
    QTest::newRow("not well formed") << "<p><x><name>A</name></p>" << false << QStringList{};
    QTest::newRow("empty text") << "" << false << QStringList{};
    QTest::newRow("not XML") << "Server=mail" << false << QStringList{};
}

void TestVarnelDBCon::parseProfile()
{
    QFETCH(QString, xml);
    QFETCH(bool, parsed);
    QFETCH(QStringList, pairs);
    const CollectionPtr profile =
        VarnelDBCon::ParseProfileXml(xml, QStringLiteral("N"), QStringLiteral("D"));
    QCOMPARE(bool(profile), parsed);
    if (!profile) {
        return;
    }
    QCOMPARE(profile->count(), pairs.size() + 3);
    for (int i = 0; i < pairs.size(); ++i) {
        QCOMPARE(profile->key(i + 1) + QLatin1Char('=') + profile->item(i + 1).toString(),
                 pairs.at(i));
    }
    QCOMPARE(profile->key(pairs.size() + 1), QStringLiteral("ProfileID"));
    QCOMPARE(profile->item(QStringLiteral("ProfileName")).toString(), QStringLiteral("N"));
    QCOMPARE(profile->item(QStringLiteral("ProfileDescription")).toString(), QStringLiteral("D"));
}

void TestVarnelDBCon::guidText()
{
    const QRegularExpression form(
        QStringLiteral("^\\{[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\\}$"));
    const QString first = VarnelDBCon::NewGuidText();
    const QString second = VarnelDBCon::NewGuidText();
    QVERIFY2(form.match(first).hasMatch(), qPrintable(first));
    QVERIFY2(form.match(second).hasMatch(), qPrintable(second));
    QVERIFY(first != second);
}

void TestVarnelDBCon::registry_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("exists");
    QTest::addColumn<QString>("value");

    QTest::newRow("present") << "NTLogon" << true << "1";
    QTest::newRow("name in lower case") << "ntlogon" << true << "1";
    QTest::newRow("present with null") << "MailDomain" << true << "";
    QTest::newRow("present, empty") << "Empty" << true << "";
    QTest::newRow("missing") << "NoSuchName" << false << "";
    QTest::newRow("quote in name") << "NT'Logon" << false << "";
}

void TestVarnelDBCon::registry()
{
    QFETCH(QString, name);
    QFETCH(bool, exists);
    QFETCH(QString, value);
    QCOMPARE(VarnelDBCon::RegistryNameExists(mSource, name), exists);
    const QString actual = VarnelDBCon::RegistryValueGet(mSource, name);
    QCOMPARE(actual, value);
}

void TestVarnelDBCon::registryFailures_data()
{
    QTest::addColumn<QString>("connectionString");

    QTest::newRow("no server") << BuildSqlConnectionString(NoServer, QStringLiteral("Varnel"),
                                                           QStringLiteral("sa"), QString());
    QTest::newRow("no database") << BuildSqlConnectionString(
        QStringLiteral("sqlite:/nonexistent"), QStringLiteral("Varnel"), QString(), QString());
}

void TestVarnelDBCon::registryFailures()
{
    QFETCH(QString, connectionString);
    try {
        VarnelDBCon::RegistryValueGet(connectionString, QStringLiteral("NTLogon"));
        QFAIL("no error");
    } catch (const MigrationError& error) {
        QVERIFY(error.number() != 0);
        QVERIFY2(error.source().startsWith(
                     QStringLiteral("VarnelMigrationTool.VarnelDBCon..RegistryValueGet - ")),
                 qPrintable(error.source()));
    }
    try {
        VarnelDBCon::RegistryNameExists(connectionString, QStringLiteral("NTLogon"));
        QFAIL("no error");
    } catch (const MigrationError& error) {
        QVERIFY(error.number() != 0);
        QVERIFY2(error.source().startsWith(
                     QStringLiteral("VarnelMigrationTool.VarnelDBCon..RegistryNameExists - ")),
                 qPrintable(error.source()));
    }
}

void TestVarnelDBCon::sqlServerTexts()
{
    QCOMPARE(VarnelDBCon::UserByIDSql(42),
             QStringLiteral("Select GivenName, FamilyName, Domain, LoginID, Password From VA_User "
                            "where userid=42"));
    QCOMPARE(
        VarnelDBCon::UserSettingsSql(5, {QStringLiteral("UserLogin"), QStringLiteral("UserEnabled"),
                                         QStringLiteral("O'Name")}),
        QStringLiteral("select t1.SettingName, t2.SettingValue From (Select "
                       "SettingName,SettingID From VA_Setting where SettingName='UserLogin' "
                       "or SettingName='UserEnabled' or SettingName='O'Name') as t1, (select "
                       "SettingID,SettingValue,UserID From VA_UserSetting) as t2 WHERE "
                       "t1.SettingID=t2.SettingID and t2.userid=5"));
    QCOMPARE(VarnelDBCon::MailHomeServersSql(9),
             QStringLiteral("SELECT DISTINCT SettingValue FROM VA_UserSetting WHERE SettingID=9"));
}

QTEST_GUILESS_MAIN(TestVarnelDBCon)
#include "tst_varneldbcon.moc"

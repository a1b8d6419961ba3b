#include "db/ConnectionString.h"
#include "db/VarnelBuilder.h"
#include "db/VarnelDBCon.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "support/Describe.h"
#include "support/EmbeddedDatabase.h"

#include <QFile>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTest>
#include <functional>

using namespace Qt::Literals::StringLiterals;

using namespace EmbeddedDatabase;

namespace {

const char* PairsXml = "<Profile><Pair><Name>Server</Name><Value>mail.example.com</Value></Pair>"
                       "<Pair><Name>Port</Name><Value>443</Value></Pair></Profile>";

VarnelSourceUser sourceUser(int id, const QVariant& given, const QString& family,
                            const QString& login, const QMap<QString, QVariant>& settings)
{
    VarnelSourceUser user;
    user.userID = id;
    user.givenName = given;
    user.familyName = family;
    user.loginID = login;
    user.settings = settings;
    return user;
}

VarnelSource sampleSource()
{
    VarnelSource source;
    VarnelSourceUser ann = sourceUser(7, u"Ann"_s, u"O'Neil"_s, u"aoneil"_s,
                                      {{u"UserMailHomeServer"_s, "MAIL01"},
                                       {u"UserLogin"_s, "ann@example.com"},
                                       {u"TimezoneIndex"_s, 20},
                                       {u"UserPhoneNumber"_s, QVariant()}});
    ann.domain = u"CORP"_s;
    ann.password = u"0,104,105,0"_s;
    source.users = {
        ann,
        sourceUser(3, QVariant(), u"Brown"_s, u"bbrown"_s,
                   {{u"UserMailHomeServer"_s, "mail01"}, {u"UserLogin"_s, "bob@example.com"}}),
        sourceUser(12, u"Cid"_s, u"Cole"_s, u"ccole"_s, {{u"UserMailHomeServer"_s, "EXCH2"}})};
    source.settingNames = {u"UserEnabled"_s};
    source.profiles = {{QString::fromLatin1(PairsXml), "Sales", "Sales phones"},
                       {"<Profile><Pair><Name>Server</Name>", "Broken", "not well formed"},
                       {QVariant(), "Empty", "no XML"},
                       {"<P><Pair><Name>A</Name><Value>1</Value></Pair></P>", "Field", QVariant()}};
    source.registry = {{u"NTLogon"_s, "1"}, {u"MailDomain"_s, QVariant()}, {u"Empty"_s, ""}};
    return source;
}

} // namespace

class TestVarnelDBCon : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QVERIFY(mDir.isValid());
        mSource = VarnelBuilder::Write(mDir.path(), u"Varnel"_s, sampleSource());
    }

    void cleanup()
    {
        // Every read closes its connection, on success and on failure.
        QCOMPARE(QSqlDatabase::connectionNames(), QStringList());
    }

    void allUsers()
    {
        // In the order of the user ID, without keys.
        QCOMPARE(describe(VarnelDBCon::GetAllUsers(mSource)),
                 QStringList({"[UserID=3|FirstName=(null)|LastName=Brown|LoginID=bbrown]",
                              "[UserID=7|FirstName=Ann|LastName=O'Neil|LoginID=aoneil]",
                              "[UserID=12|FirstName=Cid|LastName=Cole|LoginID=ccole]"}));
        // A database that does not exist is an error, not a new empty database.
        QVERIFY_THROWS_EXCEPTION(MigrationError,
                                 VarnelDBCon::GetAllUsers(connectionString(mDir.path(), "Gone")));
        QVERIFY(!QFile::exists(mDir.filePath(u"Gone.sqlite"_s)));
    }

    void userByID()
    {
        QCOMPARE(describe(VarnelDBCon::GetUserByID(7, mSource)),
                 QStringList({"FirstName=Ann", "LastName=O'Neil", "LoginID=aoneil", "Domain=CORP",
                              "Password=0,104,105,0"}));
        // A user that does not exist gives an empty record.
        QCOMPARE(VarnelDBCon::GetUserByID(8, mSource)->count(), 0);
    }

    void userSettings_data()
    {
        QTest::addColumn<int>("userID");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QStringList>("settings");
        QTest::newRow("several at once")
            << 7 << QStringList{"UserMailHomeServer", "UserLogin", "TimezoneIndex", "UserEnabled"}
            << QStringList{"TimezoneIndex=20", "UserLogin=ann@example.com",
                           "UserMailHomeServer=MAIL01"};
        // Names compare without regard to case; the key is the name as stored.
        QTest::newRow("other case")
            << 3 << QStringList{"userlogin"} << QStringList{"UserLogin=bob@example.com"};
        QTest::newRow("no such setting")
            << 3 << QStringList{"UserEnabled", "NoSuchSetting"} << QStringList{};
        QTest::newRow("no such user") << 99 << QStringList{"UserLogin"} << QStringList{};
        // A stored null stays null: present, with no value.
        QTest::newRow("null value")
            << 7 << QStringList{"UserPhoneNumber"} << QStringList{"UserPhoneNumber=(null)"};
    }

    void userSettings()
    {
        QFETCH(int, userID);
        QFETCH(QStringList, names);
        // The order of the rows is the database's own.
        QStringList settings = describe(VarnelDBCon::GetUserSettingsByID(userID, names, mSource));
        settings.sort();
        QTEST(settings, "settings");
    }

    void settingFailures()
    {
        // No names: error 1001 before any database work (the database does not exist).
        try {
            VarnelDBCon::GetUserSettingsByID(1, {}, connectionString("/nonexistent", "Nothing"));
            QFAIL("no error for an empty name list");
        } catch (const MigrationError& error) {
            QCOMPARE(error.number(), 1001L);
            QCOMPARE(error.source(), u"VarnelMigrationTool.VarnelDBCon.GetUserSettingsByID"_s);
            QCOMPARE(error.description(), u"No setting names specified"_s);
        }

        // Two settings whose names differ only in case make a duplicate key.
        VarnelSource source;
        source.users = {
            sourceUser(1, "A", "B", "ab",
                       {{u"UserLogin"_s, "a"}, {u"USERLOGIN"_s, "b"}, {u"UserEnabled"_s, "1"}})};
        const QString cs = VarnelBuilder::Write(mDir.path(), u"Dup"_s, source);
        try {
            VarnelDBCon::GetUserSettingsByID(1, {u"UserLogin"_s}, cs);
            QFAIL("no error for a duplicate setting name");
        } catch (const MigrationError& error) {
            QCOMPARE(error.number(), long(ErrorNumber::DuplicateKey));
        }
        QCOMPARE(describe(VarnelDBCon::GetUserSettingsByID(1, {u"UserEnabled"_s}, cs)),
                 QStringList{"UserEnabled=1"});
    }

    void mailHomeServers()
    {
        // MAIL01 and mail01 are one server, as on the server's collation.
        const QStringList servers = VarnelDBCon::GetUserMailHomeServers(mSource);
        QCOMPARE(servers.size(), 2);
        QCOMPARE(servers.at(0), u"EXCH2"_s);
        QCOMPARE(servers.at(1).toUpper(), u"MAIL01"_s);

        VarnelSource none;
        QCOMPARE(
            VarnelDBCon::GetUserMailHomeServers(VarnelBuilder::Write(mDir.path(), u"None"_s, none)),
            QStringList());
        none.settingNames = {u"UserMailHomeServer"_s};
        QCOMPARE(VarnelDBCon::GetUserMailHomeServers(
                     VarnelBuilder::Write(mDir.path(), u"Unused"_s, none)),
                 QStringList());
    }

    void profiles()
    {
        const CollectionPtr profiles = VarnelDBCon::GetProvisioningProfiles(mSource);
        // The broken and the empty profile are skipped; the others keep their order,
        // each under its new profile ID.
        QCOMPARE(profiles->count(), 2);
        const QString sales = profiles->key(1);
        const QString field = profiles->key(2);
        QVERIFY(sales != field);
        QCOMPARE(describe(profiles),
                 QStringList({u"%1=[Server=mail.example.com|Port=443|ProfileID=%1|"
                              "ProfileName=Sales|ProfileDescription=Sales phones]"_s.arg(sales),
                              u"%1=[A=1|ProfileID=%1|ProfileName=Field|"
                              "ProfileDescription=]"_s.arg(field)}));

        // A database without the table yields what was read: nothing.
        QCOMPARE(VarnelDBCon::GetProvisioningProfiles(make(mDir.path(), "Bare", {}))->count(), 0);
    }

    void parseProfile_data()
    {
        QTest::addColumn<QString>("xml");
        QTest::addColumn<QStringList>("profile"); // empty when the text is refused
        const auto row = [](const char* name, const QString& xml, QStringList pairs, bool parsed) {
            if (parsed) {
                pairs << "ProfileID"
                      << "ProfileName=N"
                      << "ProfileDescription=D";
            }
            QTest::newRow(name) << xml << pairs;
        };
        row("pairs", PairsXml, {"Server=mail.example.com", "Port=443"}, true);
        row("first of a name wins",
            "<p><x><name>Port</name><value>1</value></x><x><name>port</name><value>2</value></x>"
            "<x><name>Other</name><value>3</value></x></p>",
            {"Port=1", "Other=3"}, true);
        row("node names in any case, last match wins, others ignored",
            "<p><x><NAME>A</NAME><Value>1</Value><VALUE>2</VALUE><note>n</note></x></p>", {"A=2"},
            true);
        row("pair without value", "<p><x><name>A</name></x></p>", {"A="}, true);
        row("text of nested nodes", "<p><x><name>A</name><value><b>x</b>y</value></x></p>",
            {"A=xy"}, true);
        row("pair without name is no pair",
            "<p><!-- c --><x><value>1</value></x><x><name>B</name><value>2</value></x></p>",
            {"B=2"}, true);
        row("empty root", "<p/>", {}, true);
        // The document's first node is the root, and an XML declaration is that node.
        row("declaration first",
            "<?xml version=\"1.0\"?><p><x><name>A</name><value>1</value></x></p>", {}, true);
        // Nesting is read up to 64 levels: the root, the pair, the value and 61 more.
        const auto nestedValue = [](int levels) {
            return u"<p><x><name>Deep</name><value>"_s + u"<b>"_s.repeated(levels) + u"v"_s +
                   u"</b>"_s.repeated(levels) + u"</value></x></p>"_s;
        };
        row("64 levels", nestedValue(61), {"Deep=v"}, true);
        row("65 levels", nestedValue(62), {}, false);
        row("not well formed", "<p><x><name>A</name></p>", {}, false);
        row("empty text", "", {}, false);
        row("not XML", "Server=mail", {}, false);
    }

    void parseProfile()
    {
        QFETCH(QString, xml);
        QFETCH(QStringList, profile);
        const CollectionPtr parsed = VarnelDBCon::ParseProfileXml(xml, "N", "D");
        QCOMPARE(bool(parsed), !profile.isEmpty());
        QStringList actual = describe(parsed);
        if (parsed) {
            // The new profile ID is a GUID text in braces and upper case.
            const QRegularExpression guid(
                u"^ProfileID=\\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\}$"_s);
            QVERIFY2(guid.match(actual.at(actual.size() - 3)).hasMatch(),
                     qPrintable(actual.join('|')));
            actual[actual.size() - 3] = u"ProfileID"_s;
        }
        QCOMPARE(actual, profile);
    }

    // Profiles that are too large or too deep for the DOM parser are skipped like
    // those that are not well formed, and the log names each with the reason; the
    // others are read. A 2 MB nested profile took the DOM parser minutes.
    void refusedProfiles()
    {
        QTemporaryDir logFolder;
        GlobalVariables::gsProgramFolder = logFolder.path();
        GlobalVariables::gsLogFileName = u"MigrationLog20240305140709.log"_s;
        VarnelSource source;
        const QString huge = u"<a>"_s.repeated(400000) + u"</a>"_s.repeated(200000);
        source.profiles = {{huge, "Nested", "2 MB"},
                           {u"<a>"_s.repeated(100) + u"</a>"_s.repeated(100), "Deep", ""},
                           {QString::fromLatin1(PairsXml), "Sales", "Sales phones"},
                           {"<Profile><Pair><Name>Server</Name>", "Broken", ""}};
        const CollectionPtr profiles = VarnelDBCon::GetProvisioningProfiles(
            VarnelBuilder::Write(mDir.path(), u"Huge"_s, source));
        QCOMPARE(profiles->count(), 1);
        QCOMPARE(profiles->collection(1)->item(u"ProfileName"_s).toString(), u"Sales"_s);

        QFile log(logFolder.filePath(GlobalVariables::gsLogFileName));
        QVERIFY(log.open(QIODevice::ReadOnly));
        const QString text = QString::fromLatin1(log.readAll());
        QCOMPARE(text,
                 u"VarnelDBCon: Device Provisioning profile \"Nested\" skipped: its XML has "
                 "2000000 characters; at most 1048576 are read\r\n\r\n"
                 "VarnelDBCon: Device Provisioning profile \"Deep\" skipped: its XML is nested "
                 "more than 64 levels deep\r\n\r\n"
                 "VarnelDBCon: Device Provisioning profile \"Broken\" skipped: its XML is not "
                 "well formed: Premature end of document. (line 1, column 34)\r\n\r\n"_s);
        GlobalVariables::gsLogFileName.clear();
        GlobalVariables::gsProgramFolder.clear();
    }

    void registry_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("exists");
        QTest::addColumn<QString>("value");
        QTest::newRow("present") << "NTLogon" << true << "1";
        QTest::newRow("name in lower case") << "ntlogon" << true << "1";
        QTest::newRow("present with null") << "MailDomain" << true << "";
        QTest::newRow("missing") << "NoSuchName" << false << "";
        QTest::newRow("quote in name") << "NT'Logon" << false << "";
    }

    void registry()
    {
        QFETCH(QString, name);
        QTEST(VarnelDBCon::RegistryNameExists(mSource, name), "exists");
        QTEST(VarnelDBCon::RegistryValueGet(mSource, name), "value");
    }

    void registryFailures_data()
    {
        QTest::addColumn<QString>("connectionString");
        QTest::newRow("no server") << BuildSqlConnectionString(NoServer, "Varnel", "sa", "");
        QTest::newRow("no database") << connectionString("/nonexistent", "Varnel");
    }

    void registryFailures()
    {
        QFETCH(QString, connectionString);
        // Each names itself in the source, after the reader's name.
        const QList<std::pair<QString, std::function<void()>>> reads = {
            {u"RegistryValueGet"_s, [&] { VarnelDBCon::RegistryValueGet(connectionString, "x"); }},
            {u"RegistryNameExists"_s,
             [&] { VarnelDBCon::RegistryNameExists(connectionString, "x"); }}};
        for (const auto& [name, read] : reads) {
            try {
                read();
                QFAIL("no error");
            } catch (const MigrationError& error) {
                QVERIFY(error.number() != 0);
                QVERIFY2(error.source().startsWith(u"VarnelMigrationTool.VarnelDBCon.."_s + name +
                                                   " - "),
                         qPrintable(error.source()));
            }
        }
    }

    void sqlServerTexts()
    {
        QCOMPARE(VarnelDBCon::UserByIDSql(42),
                 u"Select GivenName, FamilyName, Domain, LoginID, Password From VA_User "
                 "where userid=42"_s);
        QCOMPARE(VarnelDBCon::UserSettingsSql(5, {u"UserLogin"_s, u"UserEnabled"_s, u"O'Name"_s}),
                 u"select t1.SettingName, t2.SettingValue From (Select "
                 "SettingName,SettingID From VA_Setting where SettingName='UserLogin' "
                 "or SettingName='UserEnabled' or SettingName='O'Name') as t1, (select "
                 "SettingID,SettingValue,UserID From VA_UserSetting) as t2 WHERE "
                 "t1.SettingID=t2.SettingID and t2.userid=5"_s);
        QCOMPARE(VarnelDBCon::MailHomeServersSql(9),
                 u"SELECT DISTINCT SettingValue FROM VA_UserSetting WHERE SettingID=9"_s);
    }

private:
    QTemporaryDir mDir;
    QString mSource;
};

QTEST_GUILESS_MAIN(TestVarnelDBCon)
#include "tst_varneldbcon.moc"

#include "db/ConnectionString.h"
#include "db/VarnelBuilder.h"
#include "db/VarnelDBCon.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "support/Describe.h"
#include "support/EmbeddedDatabase.h"
#include "support/Engines.h"
#include "support/Golden.h"

#include <QFile>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTest>
#include <clocale>
#include <functional>
#include <map>

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
    source.registry = {{u"NTLogon"_s, "1"},
                       {u"MailDomain"_s, QVariant()},
                       {u"Empty"_s, ""},
                       {u"AuthenticationMethod"_s, "NTLOGON"}};
    return source;
}

// Runs the test body under one character set of the C library's locale, as a
// service or a cron job runs the wizard, and restores the locale afterwards.
class LocaleScope
{
public:
    explicit LocaleScope(const QByteArray& locale) : mSaved(std::setlocale(LC_ALL, nullptr))
    {
        mApplied = std::setlocale(LC_ALL, locale.constData()) != nullptr;
    }
    ~LocaleScope() { std::setlocale(LC_ALL, mSaved.constData()); }
    bool applied() const { return mApplied; }

private:
    QByteArray mSaved;
    bool mApplied = false;
};

} // namespace

class TestVarnelDBCon : public QObject
{
    Q_OBJECT
private slots:
    // One source database per engine, read by most of the tests.
    void initTestCase()
    {
        for (const QString& engine : Engines::available()) {
            auto database = std::make_unique<TestDatabase>(engine);
            VarnelBuilder::WriteTo(database->connectionString(), sampleSource());
            mSources[engine] = std::move(database);
        }
    }

    void cleanupTestCase() { mSources.clear(); }

    void cleanup()
    {
        // Every read closes its connection, on success and on failure.
        QCOMPARE(QSqlDatabase::connectionNames(), QStringList());
    }
    // Every read of the sample source on each engine, compared with the one file
    // tests/data/varneldbcon/reads.txt: both engines read the same. Users come in the
    // order of their ID; a user that does not exist gives an empty record; setting
    // names compare without regard to case (the key is the name as stored) and a
    // stored null stays null; MAIL01 and mail01 are one mail server (which spelling
    // comes back is the database's choice); the broken and the empty profile are
    // skipped, the others keyed by their new profile ID; the registry is read on SQL
    // Server through the two stored procedures and their output parameters ("NTLOGON"
    // is exactly the seven characters: the output parameter is bound 255 long). SQL
    // Server returns settings, servers and profiles in an order of its own (no ORDER
    // BY), so those are sorted; the embedded engine keeps the profiles as read.
    void reads_data() { Engines::rows(); }

    void reads()
    {
        QFETCH(QString, engine);
        const QString cs = source(engine);
        QStringList text = {u"## all users"_s};
        text << describe(VarnelDBCon::GetAllUsers(cs));
        text << u"## users 7 and 8"_s << describe(VarnelDBCon::GetUserByID(7, cs)).join(u' ')
             << describe(VarnelDBCon::GetUserByID(8, cs)).join(u' ');
        const QList<std::pair<int, QStringList>> settingReads = {
            {7, {u"UserMailHomeServer"_s, u"UserLogin"_s, u"TimezoneIndex"_s, u"UserEnabled"_s}},
            {3, {u"userlogin"_s}},
            {3, {u"UserEnabled"_s, u"NoSuchSetting"_s}},
            {99, {u"UserLogin"_s}},
            {7, {u"UserPhoneNumber"_s}}};
        for (const auto& [user, names] : settingReads) {
            QStringList settings = describe(VarnelDBCon::GetUserSettingsByID(user, names, cs));
            settings.sort();
            text << u"## settings of %1: %2"_s.arg(user).arg(names.join(u", "_s)) << settings;
        }
        QStringList servers = VarnelDBCon::GetUserMailHomeServers(cs);
        servers.sort(Qt::CaseInsensitive);
        text << u"## mail servers"_s << servers.join(u", "_s).toUpper();
        const CollectionPtr profiles = VarnelDBCon::GetProvisioningProfiles(cs);
        QStringList described = describe(profiles);
        for (int i = 1; i <= profiles->count(); ++i) {
            QCOMPARE(profiles->collection(i)->item(u"ProfileID"_s).toString(), profiles->key(i));
        }
        QCOMPARE(profiles->count() == 2 && profiles->key(1) != profiles->key(2), true);
        if (engine == Engines::Embedded) {
            QCOMPARE(profiles->collection(1)->item(u"ProfileName"_s).toString(), u"Sales"_s);
        }
        described.replaceInStrings(QRegularExpression(u"\\{[0-9A-F-]{36}\\}"_s), u"{ID}"_s);
        described.sort();
        text << u"## profiles"_s << described;
        text << u"## registry"_s;
        for (const QString& name : {u"NTLogon"_s, u"AuthenticationMethod"_s, u"ntlogon"_s,
                                    u"MailDomain"_s, u"Empty"_s, u"NoSuchName"_s, u"NT'Logon"_s}) {
            text << u"%1: exists %2, \"%3\""_s.arg(name)
                        .arg(VarnelDBCon::RegistryNameExists(cs, name))
                        .arg(VarnelDBCon::RegistryValueGet(cs, name));
        }
        QCOMPARE_GOLDEN(text, u"varneldbcon/reads.txt"_s);

        // A database that does not exist is an error, not a new empty database; one
        // without the profile table has no profiles.
        const QString gone = mSources.at(engine)->connectionStringOf(u"Gone"_s);
        QVERIFY_THROWS_EXCEPTION(MigrationError, VarnelDBCon::GetAllUsers(gone));
        QVERIFY(!ParseConnectionString(gone).isEmbedded() ||
                !QFile::exists(ParseConnectionString(gone).embeddedFile()));
        TestDatabase bare(engine, u"Bare"_s);
        bare.make({});
        QCOMPARE(VarnelDBCon::GetProvisioningProfiles(bare.connectionString())->count(), 0);
        // No mail server: without the setting, and with the setting unused.
        VarnelSource none;
        TestDatabase noSetting(engine, u"None"_s);
        VarnelBuilder::WriteTo(noSetting.connectionString(), none);
        none.settingNames = {u"UserMailHomeServer"_s};
        TestDatabase unused(engine, u"Unused"_s);
        VarnelBuilder::WriteTo(unused.connectionString(), none);
        QCOMPARE(VarnelDBCon::GetUserMailHomeServers(noSetting.connectionString()) +
                     VarnelDBCon::GetUserMailHomeServers(unused.connectionString()),
                 QStringList());
    }

    void settingFailures_data() { Engines::rows(); }

    void settingFailures()
    {
        QFETCH(QString, engine);
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
        TestDatabase dup(engine, u"Dup"_s);
        VarnelBuilder::WriteTo(dup.connectionString(), source);
        const QString cs = dup.connectionString();
        try {
            VarnelDBCon::GetUserSettingsByID(1, {u"UserLogin"_s}, cs);
            QFAIL("no error for a duplicate setting name");
        } catch (const MigrationError& error) {
            QCOMPARE(error.number(), long(ErrorNumber::DuplicateKey));
        }
        QCOMPARE(describe(VarnelDBCon::GetUserSettingsByID(1, {u"UserEnabled"_s}, cs)),
                 QStringList{"UserEnabled=1"});
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
        row("pair without name is no pair",
            "<p><!-- c --><x><value>1</value></x><x><name>B</name><value>2</value></x></p>",
            {"B=2"}, true);
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
    void refusedProfiles_data() { Engines::rows(); }

    void refusedProfiles()
    {
        QFETCH(QString, engine);
        QTemporaryDir logFolder;
        GlobalVariables::gsProgramFolder = logFolder.path();
        GlobalVariables::gsLogFileName = u"MigrationLog20240305140709.log"_s;
        VarnelSource source;
        const QString huge = u"<a>"_s.repeated(400000) + u"</a>"_s.repeated(200000);
        source.profiles = {{huge, "Nested", "2 MB"},
                           {u"<a>"_s.repeated(100) + u"</a>"_s.repeated(100), "Deep", ""},
                           {QString::fromLatin1(PairsXml), "Sales", "Sales phones"},
                           {"<Profile><Pair><Name>Server</Name>", "Broken", ""}};
        TestDatabase database(engine, u"Huge"_s);
        VarnelBuilder::WriteTo(database.connectionString(), source);
        const CollectionPtr profiles =
            VarnelDBCon::GetProvisioningProfiles(database.connectionString());
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

    // On SQL Server through the two stored procedures and their output parameters.
    void registryFailures_data()
    {
        QTest::addColumn<QString>("connectionString");
        QTest::newRow("no server") << BuildSqlConnectionString(NoServer, "Varnel", "sa", "");
        QTest::newRow("embedded: no database") << connectionString("/nonexistent", "Varnel");
        if (Engines::sqlServerNamed()) {
            QTest::newRow("sqlserver: no database")
                << Engines::sqlServerConnectionString(u"NoSuchVarnel"_s);
            QTest::newRow("sqlserver: wrong password") << BuildSqlConnectionString(
                Engines::sqlServerAddress(), u"master"_s, Engines::sqlServerLogin(), u"wrong"_s);
        }
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

    // Letters beyond ASCII, written and read back, and as a parameter that must match,
    // whatever character set the locale names: under LC_ALL=C (as services and cron
    // jobs run) just as under a UTF-8 locale. The engine itself is asked too, so text
    // that was turned into other characters on the way in and back again shows.
    void nonAsciiRoundTrip_data()
    {
        Engines::addColumn();
        QTest::addColumn<QByteArray>("locale");
        Engines::newRows("LC_ALL=C", QByteArray("C"));
        Engines::newRows("LC_ALL=C.UTF-8", QByteArray("C.UTF-8"));
    }

    void nonAsciiRoundTrip()
    {
        QFETCH(QString, engine);
        QFETCH(QByteArray, locale);
        LocaleScope scope(locale);
        QVERIFY(scope.applied());
        VarnelSource varnel;
        varnel.users = {sourceUser(1, u"Zo\u00eb"_s, u"M\u00fcller"_s, u"zm\u00fcller"_s,
                                   {{u"UserMailHomeServer"_s, u"B\u00dcRO01"_s}})};
        varnel.registry = {{u"Gr\u00f6\u00dfe"_s, u"Zo\u00eb"_s}};
        TestDatabase database(engine);
        VarnelBuilder::WriteTo(database.connectionString(), varnel);
        const QString cs = database.connectionString();

        QCOMPARE(describe(VarnelDBCon::GetAllUsers(cs)),
                 QStringList{u"[UserID=1|FirstName=Zo\u00eb|LastName=M\u00fcller|"
                             "LoginID=zm\u00fcller]"_s});
        QCOMPARE(VarnelDBCon::GetUserMailHomeServers(cs), QStringList{u"B\u00dcRO01"_s});
        QVERIFY(VarnelDBCon::RegistryNameExists(cs, u"Gr\u00f6\u00dfe"_s));
        QCOMPARE(VarnelDBCon::RegistryValueGet(cs, u"Gr\u00f6\u00dfe"_s), u"Zo\u00eb"_s);
        // The engines spell the length and the code of a character differently.
        const QString stored =
            database.isEmbedded()
                ? u"SELECT length(GivenName), unicode(substr(GivenName, 3, 1)) FROM VA_User"_s
                : u"SELECT LEN(GivenName), UNICODE(SUBSTRING(GivenName, 3, 1)) FROM VA_User"_s;
        QCOMPARE(describe(database.rows(stored)), QStringList{u"3/235"_s});
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
    QString source(const QString& engine) const { return mSources.at(engine)->connectionString(); }

    std::map<QString, std::unique_ptr<TestDatabase>> mSources;
};

QTEST_GUILESS_MAIN(TestVarnelDBCon)
#include "tst_varneldbcon.moc"

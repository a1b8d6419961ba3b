#include "db/ConnectionString.h"
#include "db/VarnelBuilder.h"
#include "db/VarnelDBCon.h"
#include "frame/GlobalVariables.h"
#include "support/Describe.h"
#include "support/EmbeddedDatabase.h"
#include "support/Engines.h"
#include "support/Failure.h"
#include "support/Golden.h"

#include <QFile>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTest>
#include <clocale>

using namespace Qt::Literals::StringLiterals;
using namespace VarnelDBCon;

namespace {

const char* PairsXml = "<Profile><Pair><Name>Server</Name><Value>mail.example.com</Value></Pair>"
                       "<Pair><Name>Port</Name><Value>443</Value></Pair></Profile>";

// Profiles too large or too deep for the DOM parser are skipped like those that are
// not well formed (a 2 MB nested profile took the DOM parser minutes).
VarnelSource sampleSource()
{
    const auto nested = [](int levels) {
        return u"<p><x><name>Deep</name><value>"_s + u"<b>"_s.repeated(levels) + u"v"_s +
               u"</b>"_s.repeated(levels) + u"</value></x></p>"_s;
    };
    VarnelSource source;
    const auto user = [](int id, const QVariant& given, const QString& family, const QString& login,
                         const QMap<QString, QVariant>& settings) {
        return VarnelSourceUser{id, given, family, {}, login, {}, settings};
    };
    source.users = {
        user(7, u"Ann"_s, u"O'Neil"_s, u"aoneil"_s,
             {{u"UserMailHomeServer"_s, "MAIL01"},
              {u"UserLogin"_s, "ann@example.com"},
              {u"TimezoneIndex"_s, 20},
              {u"UserPhoneNumber"_s, QVariant()}}),
        user(3, QVariant(), u"Brown"_s, u"bbrown"_s,
             {{u"UserMailHomeServer"_s, "mail01"}, {u"UserLogin"_s, "bob@example.com"}}),
        user(12, u"Cid"_s, u"Cole"_s, u"ccole"_s, {{u"UserMailHomeServer"_s, "EXCH2"}}),
        user(20, u"Zo\u00eb"_s, u"M\u00fcller"_s, u"zm\u00fcller"_s,
             {{u"UserMailHomeServer"_s, u"B\u00dcRO01"_s}}),
        // Two settings whose names differ only in case make a duplicate key.
        user(1, "A", "B", "ab",
             {{u"UserLogin"_s, "a"}, {u"USERLOGIN"_s, "b"}, {u"UserEnabled"_s, "1"}})};
    source.users[0].domain = u"CORP"_s;
    source.users[0].password = u"0,104,105,0"_s;
    source.settingNames = {u"UserEnabled"_s};
    source.profiles = {
        {QString::fromLatin1(PairsXml), "Sales", "Sales phones"},
        {"<Profile><Pair><Name>Server</Name>", "Broken", "not well formed"},
        {QVariant(), "Empty", "no XML"},
        {"<P><Pair><Name>A</Name><Value>1</Value></Pair></P>", "Field", QVariant()},
        {u"<a>"_s.repeated(400000) + u"</a>"_s.repeated(200000), "Nested", "2 MB"},
        {u"<a>"_s.repeated(100) + u"</a>"_s.repeated(100), "Deep", ""},
        {"<p><x><name>Port</name><value>1</value></x><x><name>port</name><value>2"
         "</value></x><x><name>Other</name><value>3</value></x></p>",
         "First of a name wins", ""},
        {"<p><x><NAME>A</NAME><Value>1</Value><VALUE>2</VALUE><note>n</note></x></p>",
         "Node names in any case, last match wins, others ignored", ""},
        {"<p><!-- c --><x><value>1</value></x><x><name>B</name><value>2</value></x>"
         "</p>",
         "A pair without name is no pair", ""},
        // The document's first node is the root, and a declaration is that node.
        {"<?xml version=\"1.0\"?><p><x><name>A</name><value>1</value></x></p>", "Declaration first",
         ""},
        // Nesting is read up to 64 levels: the root, the pair, the value and
        // 61 more.
        {nested(61), "64 levels", ""},
        {nested(62), "65 levels", ""},
        {"", "Empty text", ""}};
    source.registry = {{u"NTLogon"_s, "1"},
                       {u"MailDomain"_s, QVariant()},
                       {u"Empty"_s, ""},
                       {u"AuthenticationMethod"_s, "NTLOGON"},
                       {u"Gr\u00f6\u00dfe"_s, u"Zo\u00eb"_s}};
    return source;
}

} // namespace

class TestVarnelDBCon : public QObject
{
    Q_OBJECT
private slots:
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
    // comes back is the database's choice); the skipped profiles are logged with the
    // reason, the others keyed by their new profile ID; the registry is read on SQL
    // Server through the two stored procedures and their output parameters ("NTLOGON"
    // is exactly the seven characters: the output parameter is bound 255 long). SQL
    // Server returns settings, servers and profiles in an order of its own (no ORDER
    // BY), so those are sorted; the embedded engine keeps the profiles as read.
    // Letters beyond ASCII are written and read back, and match as a parameter,
    // whatever character set the locale names: under LC_ALL=C (as services and cron
    // jobs run) just as under a UTF-8 locale.
    void reads_data()
    {
        Engines::addColumn();
        QTest::addColumn<QByteArray>("locale");
        Engines::newRows("LC_ALL=C", QByteArray("C"));
        Engines::newRows("LC_ALL=C.UTF-8", QByteArray("C.UTF-8"));
    }

    void reads()
    {
        QFETCH(QString, engine);
        QFETCH(QByteArray, locale);
        const QByteArray saved = std::setlocale(LC_ALL, nullptr);
        const auto restore = qScopeGuard([&] { std::setlocale(LC_ALL, saved.constData()); });
        QVERIFY(std::setlocale(LC_ALL, locale.constData()));
        TestDatabase database(engine);
        VarnelBuilder::WriteTo(database.connectionString(), sampleSource());
        const QString cs = database.connectionString();
        QStringList text = {u"## all users"_s};
        text << describe(GetAllUsers(cs));
        text << u"## users 7 and 8"_s << describe(GetUserByID(7, cs)).join(u' ')
             << describe(GetUserByID(8, cs)).join(u' ');
        const QList<std::pair<int, QStringList>> settingReads = {
            {7, {u"UserMailHomeServer"_s, u"UserLogin"_s, u"TimezoneIndex"_s, u"UserEnabled"_s}},
            {3, {u"userlogin"_s}},
            {3, {u"UserEnabled"_s, u"NoSuchSetting"_s}},
            {99, {u"UserLogin"_s}},
            {7, {u"UserPhoneNumber"_s}},
            {1, {u"UserEnabled"_s}}};
        for (const auto& [user, names] : settingReads) {
            QStringList settings = describe(GetUserSettingsByID(user, names, cs));
            settings.sort();
            text << u"## settings of %1: %2"_s.arg(user).arg(names.join(u", "_s)) << settings;
        }
        // No names: an error before any database work (the database does not exist).
        const Failure noNames = Failure::of(
            [&] { GetUserSettingsByID(1, {}, database.connectionStringOf(u"Gone"_s)); });
        text << u"## failures"_s
             << u"duplicate: error %1"_s.arg(
                    Failure::of([&] { GetUserSettingsByID(1, {u"UserLogin"_s}, cs); }).number)
             << u"no names: error %1 from %2: %3"_s.arg(noNames.number)
                    .arg(noNames.source, noNames.description);
        QStringList servers = GetUserMailHomeServers(cs);
        servers.sort(Qt::CaseInsensitive);
        text << u"## mail servers"_s << servers.join(u", "_s).toUpper();

        QTemporaryDir logFolder;
        GlobalVariables::gsProgramFolder = logFolder.path();
        GlobalVariables::gsLogFileName = u"MigrationLog20240305140709.log"_s;
        const CollectionPtr profiles = GetProvisioningProfiles(cs);
        GlobalVariables::gsLogFileName.clear();
        GlobalVariables::gsProgramFolder.clear();
        QStringList described = describe(profiles);
        if (engine == Engines::Embedded) {
            QCOMPARE(profiles->collection(1)->item(u"ProfileName"_s).toString(), u"Sales"_s);
        }
        // Each profile is keyed by its own new ID, a GUID in braces and upper case.
        described.replaceInStrings(
            QRegularExpression(
                u"^(\\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\})=(.*ProfileID=)\\1"_s),
            u"{ID}=\\3{ID}"_s);
        described.sort();
        QFile log(logFolder.filePath(u"MigrationLog20240305140709.log"_s));
        QVERIFY(log.open(QIODevice::ReadOnly));
        text << u"## profiles"_s << described << u"## log"_s
             << Golden::fromCrlf(QString::fromLatin1(log.readAll()));

        text << u"## registry"_s;
        for (const QString& name :
             {u"NTLogon"_s, u"AuthenticationMethod"_s, u"ntlogon"_s, u"MailDomain"_s, u"Empty"_s,
              u"NoSuchName"_s, u"NT'Logon"_s, u"Gr\u00f6\u00dfe"_s}) {
            text << u"%1: exists %2, \"%3\""_s.arg(name)
                        .arg(RegistryNameExists(cs, name))
                        .arg(RegistryValueGet(cs, name));
        }
        // The engine itself is asked too, so text that was turned into other characters
        // on the way in and back again shows; the engines spell it differently.
        text << u"## stored"_s
             << describe(database.rows(
                    database.isEmbedded()
                        ? u"SELECT length(GivenName), unicode(substr(GivenName, 3, 1)) FROM "
                          "VA_User WHERE UserID = 20"_s
                        : u"SELECT LEN(GivenName), UNICODE(SUBSTRING(GivenName, 3, 1)) FROM "
                          "VA_User WHERE UserID = 20"_s));
        QCOMPARE_GOLDEN(text, u"varneldbcon/reads.txt"_s);

        // A database that does not exist is an error, not a new empty database; one
        // without the profile table has no profiles.
        const QString gone = database.connectionStringOf(u"Gone"_s);
        QVERIFY(Failure::of([&] { GetAllUsers(gone); }).thrown);
        QVERIFY(!ParseConnectionString(gone).isEmbedded() ||
                !QFile::exists(ParseConnectionString(gone).embeddedFile()));
        TestDatabase bare(engine, u"Bare"_s);
        bare.make({});
        QCOMPARE(GetProvisioningProfiles(bare.connectionString())->count(), 0);
        // No mail server: without the setting, and with the setting unused.
        VarnelSource none;
        TestDatabase noSetting(engine, u"None"_s);
        VarnelBuilder::WriteTo(noSetting.connectionString(), none);
        none.settingNames = {u"UserMailHomeServer"_s};
        TestDatabase unused(engine, u"Unused"_s);
        VarnelBuilder::WriteTo(unused.connectionString(), none);
        QCOMPARE(GetUserMailHomeServers(noSetting.connectionString()) +
                     GetUserMailHomeServers(unused.connectionString()),
                 QStringList());
    }

    // Each registry read names itself in the source, after the reader's name.
    void registryFailures_data()
    {
        QTest::addColumn<QString>("connectionString");
        QTest::newRow("no server")
            << BuildSqlConnectionString(EmbeddedDatabase::NoServer, "Varnel", "sa", "");
        QTest::newRow("embedded: no database")
            << EmbeddedDatabase::connectionString("/nonexistent", "Varnel");
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
        const Failure value = Failure::of([&] { RegistryValueGet(connectionString, "x"); });
        const Failure exists = Failure::of([&] { RegistryNameExists(connectionString, "x"); });
        QVERIFY(value.number != 0 && exists.number != 0);
        QCOMPARE(value.source.section(u" - "_s, 0, 0) + u' ' +
                     exists.source.section(u" - "_s, 0, 0),
                 u"VarnelMigrationTool.VarnelDBCon..RegistryValueGet "
                 "VarnelMigrationTool.VarnelDBCon..RegistryNameExists"_s);
    }

    void sqlServerTexts()
    {
        QCOMPARE(UserByIDSql(42), u"Select GivenName, FamilyName, Domain, LoginID, Password From "
                                  "VA_User where userid=42"_s);
        QCOMPARE(UserSettingsSql(5, {u"UserLogin"_s, u"UserEnabled"_s, u"O'Name"_s}),
                 u"select t1.SettingName, t2.SettingValue From (Select "
                 "SettingName,SettingID From VA_Setting where SettingName='UserLogin' "
                 "or SettingName='UserEnabled' or SettingName='O'Name') as t1, (select "
                 "SettingID,SettingValue,UserID From VA_UserSetting) as t2 WHERE "
                 "t1.SettingID=t2.SettingID and t2.userid=5"_s);
        QCOMPARE(MailHomeServersSql(9),
                 u"SELECT DISTINCT SettingValue FROM VA_UserSetting WHERE SettingID=9"_s);
    }
};

QTEST_GUILESS_MAIN(TestVarnelDBCon)
#include "tst_varneldbcon.moc"

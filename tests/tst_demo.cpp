#include "db/AdministrativeDBCon.h"
#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/UserConflicts.h"
#include "db/VarnelDBCon.h"
#include "demo/DemoInstallation.h"
#include "demo/DemoProfiles.h"
#include "demo/DemoTemplates.h"
#include "directory/ComponentFactory.h"
#include "directory/ZephrinFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "pages/Introduction.h"
#include "pages/Pages.h"
#include "pages/StartupOptions.h"
#include "target/IniConfiguration.h"
#include "target/TargetComponentFactory.h"

#include <QDir>
#include <QLabel>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

using DemoData::DemoTrait;
Q_DECLARE_METATYPE(DemoData::DemoTrait)

namespace {

QString str(const char* text)
{
    return QString::fromLatin1(text);
}

CollectionPtr conflictsOf(const DemoInstallation& demo)
{
    return AdministrativeDBCon::CheckForUserConflicts(
        demo.sourceConnectionString,
        ZephrinFunctions::GetDirectoryUsers(demo.directoryConnectionString));
}

// "VaUserID:loginid" of every pair of a conflict result.
QSet<QString> conflictPairs(const CollectionPtr& conflicts)
{
    QSet<QString> pairs;
    const CollectionPtr ids = conflicts->collection(QStringLiteral("VaUserID"));
    const CollectionPtr logins = conflicts->collection(QStringLiteral("LoginID"));
    for (int i = 1; i <= ids->count(); ++i) {
        pairs.insert(ids->item(i).toString() + ':' + logins->item(i).toString().toLower());
    }
    return pairs;
}

} // namespace

class TestDemo : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void configuration();
    void asTheWizardSeesIt();
    void conflicts();
    void profiles();
    void plantedSettings_data();
    void plantedSettings();
    void otherUsersAreClean();
    void scaled();
    void refusal_data();
    void refusal();
    void failedWriteIsTakenBack();
    void introductionPage();
    void startupOptions_data();
    void startupOptions();
    void program();

private:
    QTemporaryDir mDir;
    DemoInstallation mDemo;
    DemoData::DemoContent mContent;
};

void TestDemo::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(mDir.isValid());
    GlobalVariables::gsProgramFolder = mDir.path();
    AppPrompter::setPrompter(std::make_shared<ScriptedPrompter>());
    mDemo = DemoInstallation::Create(mDir.filePath(QStringLiteral("demo/first"))); // made
    mContent = DemoData::Generate();
    Components::setFactory(std::make_shared<TargetComponentFactory>(mDemo.configurationPath));
}

void TestDemo::cleanupTestCase()
{
    Components::setFactory(nullptr);
    AppPrompter::setPrompter(nullptr);
}

void TestDemo::configuration()
{
    const QDir folder(mDir.filePath(QStringLiteral("demo/first")));
    QCOMPARE(ParseConnectionString(mDemo.sourceConnectionString).embeddedFile(),
             folder.filePath(QStringLiteral("Varnel.sqlite")));
    QCOMPARE(ParseConnectionString(mDemo.directoryConnectionString).dataSource,
             QStringLiteral("sqlite:") + folder.path());
    IniConfiguration ini(folder.filePath(QStringLiteral("zephrin.ini")));
    QCOMPARE(ini.GetSetting(QStringLiteral("global:productname")), str("Zephrin 4.5"));
    QCOMPARE(ini.GetDirectoryConnectionString(), mDemo.directoryConnectionString);
    QCOMPARE(ini.GetSetting(QStringLiteral("mail:transport")), str("pickup"));
    QCOMPARE(ini.GetSetting(QStringLiteral("mail:pickupfolder")),
             folder.filePath(QStringLiteral("mail")));
    QVERIFY(QFileInfo(folder.filePath(QStringLiteral("mail"))).isDir());
}

// What the verification, store and template steps of the wizard read.
void TestDemo::asTheWizardSeesIt()
{
    const QString source = mDemo.sourceConnectionString;
    const QString target = mDemo.directoryConnectionString;
    QVERIFY(AdministrativeDBCon::CheckExportDatabase(source));
    QVERIFY(AdministrativeDBCon::CheckImportDatabase(target));
    QVERIFY(!AdministrativeDBCon::CheckImportDatabase(source));
    QVERIFY(!AdministrativeDBCon::CheckExportDatabase(target));
    QCOMPARE(VarnelDBCon::RegistryValueGet(source, QStringLiteral("AuthenticationMethod")),
             str("NTLOGON"));

    QStringList servers = VarnelDBCon::GetUserMailHomeServers(source);
    servers.sort();
    QCOMPARE(servers, QStringList({"EXCH55", "MAIL01"}));
    QStringList registered;
    for (QString server : servers) {
        if (ZephrinFunctions::StoreExists(server, target)) {
            registered << server;
        }
    }
    QCOMPARE(registered, QStringList({"mail01"}));

    QCOMPARE(ZephrinFunctions::GetTemplateList(target)->collection(QStringLiteral("IDs"))->count(),
             2);
    const QString body =
        ZephrinFunctions::GetTemplateText(target)->item(QStringLiteral("Body")).toString();
    for (const QString& placeholder : DemoTemplates::Placeholders()) {
        QVERIFY2(body.contains(placeholder), qPrintable(placeholder));
    }
    QCOMPARE(ZephrinFunctions::GetWizardLinkBase(target),
             str("http://zephrin.example.com/zephrin/gettingstarted.asp?lang="));
    // The service account logs on to the pickup folder.
    QVERIFY(ZephrinFunctions::FindServiceAccount(target, Collection::create()));
    QCOMPARE(GlobalVariables::gsServiceAccount, str("MAIL01;svc-migrate;svc-migrate@example.com"));
}

void TestDemo::conflicts()
{
    const CollectionPtr directoryUsers =
        ZephrinFunctions::GetDirectoryUsers(mDemo.directoryConnectionString);
    const CollectionPtr result =
        AdministrativeDBCon::CheckForUserConflicts(mDemo.sourceConnectionString, directoryUsers);
    QSet<QString> planted;
    for (const auto& conflict : mContent.conflicts) {
        planted.insert(QString::number(conflict.vaUserID) + ':' + conflict.sourceLoginID.toLower());
    }
    QCOMPARE(planted.size(), 5);
    QCOMPARE(conflictPairs(result), planted);

    // Exactly one pair differs in letter case only: the planted one.
    const CollectionPtr zeIDs = result->collection(QStringLiteral("ZeUserID"));
    const CollectionPtr zeLogins = directoryUsers->collection(QStringLiteral("LoginIDs"));
    QStringList caseOnly;
    for (int i = 1; i <= zeIDs->count(); ++i) {
        const QString zeLogin = zeLogins->item(zeIDs->item(i).toString()).toString();
        if (zeLogin != result->collection(QStringLiteral("LoginID"))->item(i).toString()) {
            caseOnly << zeIDs->key(i);
        }
    }
    QCOMPARE(caseOnly, QStringList(QString::number(
                           mContent.firstUserWith(DemoTrait::ConflictCaseOnly)->userID)));

    // A new user for the first conflict finds its first generated login ID taken too.
    const auto* first = mContent.firstUserWith(DemoTrait::Conflict);
    const QString generated = first->givenName.toString().left(2) +
                              first->familyName.toString().left(2) + QStringLiteral("0");
    QVERIFY(zeLogins->values().contains(QVariant(generated)));
}

void TestDemo::profiles()
{
    const CollectionPtr profiles =
        VarnelDBCon::GetProvisioningProfiles(mDemo.sourceConnectionString);
    QStringList bearers;
    for (int i = 1; i <= profiles->count(); ++i) {
        const CollectionPtr profile = profiles->collection(i);
        const QString name = profile->item(QStringLiteral("ProfileName")).toString();
        bearers << profile->item(QStringLiteral("Bearer")).toString();
        QVERIFY(name != str(DemoProfiles::DamagedProfileName));
        if (name == str(DemoProfiles::DuplicatePairProfileName)) {
            QCOMPARE(profile->item(QStringLiteral("GPRSAccessPointName")).toString(),
                     str(DemoProfiles::FirstAccessPoint));
        }
        // Only the profile of the unknown bearer is refused by the Directory.
        bool refused = false;
        try {
            ZephrinFunctions::NormaliseProfile(profile);
        } catch (const MigrationError&) {
            refused = true;
        }
        QCOMPARE(refused, name == str(DemoProfiles::UnknownBearerProfileName));
    }
    QCOMPARE(bearers, QStringList({"0", "1", "2", "3", "4", "7"}));
}

void TestDemo::plantedSettings_data()
{
    QTest::addColumn<DemoTrait>("trait");
    QTest::addColumn<QString>("field");     // a setting, or "user:" + a column of the user row
    QTest::addColumn<QVariant>("expected"); // invalid: the setting is absent

    const QVariant absent;
    const QVariant empty = QVariant(QStringLiteral(""));
    QTest::newRow("graphics missing") << DemoTrait::GraphicsMissing << "UserViewGraphics" << absent;
    QTest::newRow("graphics yes") << DemoTrait::GraphicsInvalid << "UserViewGraphics"
                                  << QVariant("yes");
    QTest::newRow("language missing") << DemoTrait::LanguageMissing << "UserLanguage" << absent;
    QTest::newRow("language unknown")
        << DemoTrait::LanguageUnknown << "UserLanguage" << QVariant("1049");
    QTest::newRow("time zone missing") << DemoTrait::TimezoneMissing << "TimezoneIndex" << absent;
    QTest::newRow("enabled missing") << DemoTrait::EnabledMissing << "UserEnabled" << absent;
    QTest::newRow("enabled invalid") << DemoTrait::EnabledInvalid << "UserEnabled" << QVariant("1");
    QTest::newRow("phone missing") << DemoTrait::PhoneMissing << "UserPhoneNumber" << absent;
    QTest::newRow("phone empty") << DemoTrait::PhoneEmpty << "UserPhoneNumber" << empty;
    QTest::newRow("alias missing") << DemoTrait::AliasMissing << "UserMailAlias" << absent;
    QTest::newRow("e-mail missing") << DemoTrait::EmailMissing << "UserLogin" << absent;
    QTest::newRow("mail server missing")
        << DemoTrait::MailServerMissing << "UserMailHomeServer" << absent;
    QTest::newRow("user login empty") << DemoTrait::EmailFromPrimary << "UserLogin" << empty;
    QTest::newRow("login ID empty") << DemoTrait::LoginEmpty << "user:LoginID" << empty;
    QTest::newRow("password empty") << DemoTrait::PasswordEmpty << "user:Password" << empty;
    QTest::newRow("first name empty") << DemoTrait::NamesEmpty << "user:FirstName" << empty;
}

// Read back as the wizard reads the source; an empty text must not turn into NULL.
void TestDemo::plantedSettings()
{
    QFETCH(DemoTrait, trait);
    QFETCH(QString, field);
    QFETCH(QVariant, expected);

    const VarnelSourceUser* user = mContent.firstUserWith(trait);
    QVERIFY(user != nullptr);
    const bool userRow = field.startsWith(QStringLiteral("user:"));
    const QString key = userRow ? field.mid(5) : field;
    const CollectionPtr record =
        userRow ? VarnelDBCon::GetUserByID(user->userID, mDemo.sourceConnectionString)
                : VarnelDBCon::GetUserSettingsByID(user->userID, DemoData::SettingNames(),
                                                   mDemo.sourceConnectionString);
    QCOMPARE(record->contains(key), expected.isValid());
    if (expected.isValid()) {
        QVERIFY2(!record->item(key).isNull(), "stored as NULL");
        QCOMPARE(record->item(key).toString(), expected.toString());
    }
}

// The users without a planted problem give the migration nothing to repair; among
// them are the time zones that the Directory merges and the browse-folder start point.
void TestDemo::otherUsersAreClean()
{
    QSet<QString> languages;
    DbConnection directory(mDemo.directoryConnectionString);
    for (const QSqlRecord& row : directory.select(QStringLiteral("SELECT LanguageID FROM "
                                                                 "fwtLanguage"))) {
        languages.insert(row.value(0).toString());
    }
    QVERIFY(!languages.contains(str("1049")));

    QSet<int> timeZones;
    int browseFolder = 0;
    int clean = 0;
    for (const VarnelSourceUser& user : mContent.source.users) {
        const CollectionPtr s = VarnelDBCon::GetUserSettingsByID(
            user.userID, DemoData::SettingNames(), mDemo.sourceConnectionString);
        timeZones.insert(s->value(QStringLiteral("TimezoneIndex"), -1).toInt());
        browseFolder += s->value(QStringLiteral("defaultstartpoint")).toString().toLower() ==
                        QLatin1String("browsefolder");
        const DemoTrait trait = mContent.traits.value(user.userID);
        if (trait != DemoTrait::Plain && trait != DemoTrait::Conflict &&
            trait != DemoTrait::ConflictCaseOnly) {
            continue;
        }
        const QString id = QString::number(user.userID);
        const auto setting = [&s](const char* name) { return s->item(str(name)).toString(); };
        QVERIFY2(s->count() == DemoData::SettingNames().size(), qPrintable(id));
        QVERIFY2(!s->values().contains(QVariant(QStringLiteral(""))), qPrintable(id));
        QVERIFY2(QStringList({"ON", "OFF"}).contains(setting("UserViewGraphics").toUpper()) &&
                     QStringList({"TRUE", "FALSE"}).contains(setting("UserEnabled").toUpper()) &&
                     languages.contains(setting("UserLanguage")),
                 qPrintable(id));
        QVERIFY(!user.loginID.toString().isEmpty() && user.password.toString().size() > 4);
        ++clean;
    }
    QCOMPARE(clean, 50 - 21 + 5); // 21 roles of a block are not plain; 5 of them conflicts
    QVERIFY(browseFolder >= 5);
    for (const int zone : {21, 22, 23, 24, 25, 26, 27, 47, 48}) {
        QVERIFY2(timeZones.contains(zone), qPrintable(QString::number(zone)));
    }
}

void TestDemo::scaled()
{
    const DemoInstallation big =
        DemoInstallation::Create(mDir.filePath(QStringLiteral("big")), 500);
    QCOMPARE(VarnelDBCon::GetAllUsers(big.sourceConnectionString)->count(), 500);
    QCOMPARE(conflictsOf(big)->collection(QStringLiteral("VaUserID"))->count(), 50);
    const int directoryUsers = ZephrinFunctions::GetDirectoryUsers(big.directoryConnectionString)
                                   ->collection(QStringLiteral("IDs"))
                                   ->count();
    QCOMPARE(directoryUsers, big.directoryUserCount);
    QVERIFY2(directoryUsers > 80 && directoryUsers <= 100,
             qPrintable(QString::number(directoryUsers)));

    // The first users of a larger demo are those of the usual one.
    const CollectionPtr small = VarnelDBCon::GetAllUsers(mDemo.sourceConnectionString);
    const CollectionPtr large = VarnelDBCon::GetAllUsers(big.sourceConnectionString);
    for (int i = 1; i <= small->count(); ++i) {
        QCOMPARE(large->collection(i)->item(QStringLiteral("LoginID")),
                 small->collection(i)->item(QStringLiteral("LoginID")));
    }

    const DemoInstallation one = DemoInstallation::Create(mDir.filePath(QStringLiteral("one")), 1);
    QVERIFY(AdministrativeDBCon::CheckExportDatabase(one.sourceConnectionString));
    QCOMPARE(conflictsOf(one)->collection(QStringLiteral("VaUserID"))->count(), 0);
}

void TestDemo::refusal_data()
{
    QTest::addColumn<QString>("folder"); // in the test folder
    QTest::addColumn<int>("users");
    QTest::addColumn<QString>("message");
    QTest::newRow("a demo is there") << "demo/first" << 50 << "already holds a demo installation";
    QTest::newRow("a configuration is there")
        << "configured" << 50 << "already holds a demo installation (zephrin.ini)";
    QTest::newRow("a file") << "plain.txt" << 50 << "is not a folder";
    QTest::newRow("a ; in the name") << "a;b" << 50 << "contains a ';'";
    QTest::newRow("no users") << "none" << 0 << "from 1 to 1000000 users";
}

void TestDemo::refusal()
{
    QFETCH(QString, folder);
    QFETCH(int, users);
    QFETCH(QString, message);
    const QDir dir(mDir.path());
    QVERIFY(dir.mkpath(QStringLiteral("configured")));
    for (const QString& name :
         {QStringLiteral("plain.txt"), QStringLiteral("configured/zephrin.ini")}) {
        QFile file(dir.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[global]\nproductname=Mine\n");
    }

    const QString path = dir.filePath(folder);
    const QFileInfo source(QDir(path).filePath(QStringLiteral("Varnel.sqlite")));
    try {
        DemoInstallation::Create(path, users);
        QFAIL("the folder was not refused");
    } catch (const MigrationError& error) {
        QVERIFY2(error.description().contains(message), qPrintable(error.description()));
    }
    const QFileInfo after(source.filePath());
    QCOMPARE(after.exists(), source.exists());
    QCOMPARE(after.lastModified(), source.lastModified());
    QCOMPARE(QFileInfo(path).isDir(), folder == "demo/first" || folder == "configured");
    QCOMPARE(IniConfiguration(dir.filePath(QStringLiteral("configured/zephrin.ini")))
                 .GetSetting(QStringLiteral("global:productname")),
             str("Mine"));
}

// A demo that cannot be finished leaves the folder as it was.
void TestDemo::failedWriteIsTakenBack()
{
    const QDir folder(mDir.filePath(QStringLiteral("blocked")));
    QVERIFY(folder.mkpath(QStringLiteral(".")));
    QFile blocker(folder.filePath(QStringLiteral("mail"))); // a file where the folder goes
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    blocker.write("keep me");
    blocker.close();
    try {
        DemoInstallation::Create(folder.path());
        QFAIL("the demo was made");
    } catch (const MigrationError& error) {
        QVERIFY2(error.description().startsWith(
                     QStringLiteral("The demo installation could not be written to ") +
                     folder.absolutePath()),
                 qPrintable(error.description()));
    }
    QCOMPARE(folder.entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList({"mail"}));
    QVERIFY(blocker.open(QIODevice::ReadOnly));
    QCOMPARE(blocker.readAll(), QByteArray("keep me"));
}

void TestDemo::introductionPage()
{
    Pages::registerAllPages();
    std::unique_ptr<Introduction> page(
        qobject_cast<Introduction*>(Pages::create(QStringLiteral("Introduction"))));
    QVERIFY(page != nullptr);
    QCOMPARE(page->IntroductionText->text(),
             str("This tool migrates users and Device Provisioning profiles to an Zephrin 4.5 "
                 "Directory database from a 3.1x database."));
    QFile log(QDir(mDir.path()).filePath(GlobalVariables::gsLogFileName));
    QVERIFY(log.open(QIODevice::ReadOnly));
    QVERIFY(log.readAll().contains("<IMAPP>=Zephrin 4.5\r\n"));
}

void TestDemo::startupOptions_data()
{
    QTest::addColumn<QStringList>("arguments"); // after the program name
    QTest::addColumn<QString>("folder");
    QTest::addColumn<int>("users");
    QTest::addColumn<bool>("noWizard");
    QTest::addColumn<bool>("error");

    QTest::newRow("new folder") << QStringList{"--demo"} << "" << 0 << false << false;
    QTest::newRow("folder") << QStringList{"--demo", "/tmp/d"} << "/tmp/d" << 0 << false << false;
    QTest::newRow("options first") << QStringList{"--users", "500", "--no-wizard", "--demo", "d"}
                                   << "d" << 500 << true << false;
    QTest::newRow("folder not after --demo")
        << QStringList{"--demo", "--users", "7", "d"} << "" << 0 << false << true;
    QTest::newRow("two folders") << QStringList{"--demo", "a", "b"} << "" << 0 << false << true;
    QTest::newRow("users alone") << QStringList{"--users", "5"} << "" << 0 << false << true;
    QTest::newRow("users zero") << QStringList{"--demo", "--users", "0"} << "" << 0 << false
                                << true;
}

void TestDemo::startupOptions()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, folder);
    QFETCH(int, users);
    QFETCH(bool, noWizard);
    QFETCH(bool, error);
    const StartupOptions options =
        StartupOptions::parse(QStringList(QStringLiteral("varnel-migrate")) + arguments);
    QCOMPARE(options.error.isEmpty(), !error);
    if (!error) {
        QVERIFY(options.demoRequested);
        QCOMPARE(options.demoFolder, folder);
        QCOMPARE(options.demoUsers, users);
        QCOMPARE(options.noWizard, noWizard);
    }
}

// The program makes a demo without a display, and refuses to make it twice.
void TestDemo::program()
{
    const QString folder = mDir.filePath(QStringLiteral("from program"));
    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
        environment.remove(str(name));
    }
    program.setProcessEnvironment(environment);
    const QStringList arguments = {QStringLiteral("--demo"), folder, QStringLiteral("--users"),
                                   QStringLiteral("120"), QStringLiteral("--no-wizard")};
    program.start(QStringLiteral(VARNEL_MIGRATE_BINARY), arguments);
    QVERIFY(program.waitForFinished(60000));
    const QString out = QString::fromLocal8Bit(program.readAllStandardOutput());
    QCOMPARE(program.exitCode(), 0);
    QVERIFY2(out.contains(QStringLiteral("SQL Server Name:  sqlite:") + folder + '\n'),
             qPrintable(out));
    QVERIFY(out.contains(QStringLiteral("Database:         Varnel ")));
    QCOMPARE(VarnelDBCon::GetAllUsers(BuildSqlConnectionString(QStringLiteral("sqlite:") + folder,
                                                               str("Varnel"), str("sa"), QString()))
                 ->count(),
             120);

    program.start(QStringLiteral(VARNEL_MIGRATE_BINARY), arguments);
    QVERIFY(program.waitForFinished(60000));
    QCOMPARE(program.exitCode(), 1);
    QVERIFY(program.readAllStandardError().contains("already holds a demo installation"));
}

QTEST_MAIN(TestDemo)
#include "tst_demo.moc"

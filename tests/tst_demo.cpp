#include "db/AdministrativeDBCon.h"
#include "db/ConnectionString.h"
#include "db/UserConflicts.h"
#include "db/VarnelDBCon.h"
#include "demo/DemoInstallation.h"
#include "demo/DemoTemplates.h"
#include "directory/ComponentFactory.h"
#include "directory/ZephrinFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "reference/IniConfiguration.h"
#include "reference/ReferencePasswordEncoder.h"
#include "reference/TargetComponentFactory.h"
#include "support/Describe.h"
#include "support/ScriptedPrompter.h"

#include <QDirIterator>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace AdministrativeDBCon;
using namespace ZephrinFunctions;
using namespace VarnelDBCon;
using DemoData::DemoTrait;
Q_DECLARE_METATYPE(DemoData::DemoTrait)

namespace {

CollectionPtr conflictsOf(const DemoInstallation& demo)
{
    return CheckForUserConflicts(demo.sourceConnectionString,
                                 GetDirectoryUsers(demo.directoryConnectionString));
}

// Every entry below a folder, files with their size and time of change.
QStringList snapshot(const QString& folder)
{
    QStringList entries;
    QDirIterator it(folder, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info = it.nextFileInfo();
        const QDateTime changed = info.isDir() ? QDateTime() : info.lastModified();
        entries << info.filePath() + changed.toString(u" yyyy-MM-dd hh:mm:ss.zzz "_s) +
                       QString::number(info.isDir() ? 0 : info.size());
    }
    entries.sort();
    return entries;
}

} // namespace

class TestDemo : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(mDir.isValid());
        GlobalVariables::gsProgramFolder = mDir.path();
        AppPrompter::setPrompter(std::make_shared<ScriptedPrompter>());
        mDemo = DemoInstallation::Create(mDir.filePath(u"demo/first"_s)); // made
        mContent = DemoData::Generate();
        Components::setFactory(std::make_shared<TargetComponentFactory>(mDemo.configurationPath));
    }

    // The configuration and what the store and template steps read.
    void asTheWizardSeesIt()
    {
        const QString source = mDemo.sourceConnectionString;
        const QString target = mDemo.directoryConnectionString;
        const QDir dir(mDir.filePath(u"demo/first"_s));
        QCOMPARE(ParseConnectionString(source).embeddedFile(), dir.filePath(u"Varnel.sqlite"_s));
        QCOMPARE(ParseConnectionString(target).embeddedFile(), dir.filePath(u"Directory.sqlite"_s));
        QCOMPARE(IniConfiguration(mDemo.configurationPath).GetDirectoryConnectionString(), target);
        // New passwords of the demo's users are encoded at the demo's low cost.
        QCOMPARE(ReferencePasswordEncoder::ConfiguredIterations(mDemo.configurationPath), 10000);
        QCOMPARE(RegistryValueGet(source, u"AuthenticationMethod"_s), u"NTLOGON"_s);

        QStringList servers = GetUserMailHomeServers(source);
        servers.sort();
        QCOMPARE(servers, QStringList({"EXCH55", "MAIL01"}));
        QVERIFY(!StoreExists(servers[0], target) && StoreExists(servers[1], target));

        QCOMPARE(GetTemplateList(target)->collection(u"IDs"_s)->count(), 2);
        const QString body = GetTemplateText(target)->item(u"Body"_s).toString();
        for (const QString& placeholder : DemoTemplates::Placeholders()) {
            QVERIFY2(body.contains(placeholder), qPrintable(placeholder));
        }
        QCOMPARE(GetWizardLinkBase(target),
                 u"http://zephrin.example.com/zephrin/gettingstarted.asp?lang="_s);
    }

    void plantedSettings_data()
    {
        QTest::addColumn<DemoTrait>("trait");
        QTest::addColumn<QString>("field");    // a setting, or "user:" + a column of the user row
        QTest::addColumn<QString>("expected"); // "-": absent; "" must not turn into NULL
        QTest::newRow("missing") << DemoTrait::GraphicsMissing << u"UserViewGraphics"_s << u"-"_s;
        QTest::newRow("invalid") << DemoTrait::EnabledInvalid << u"UserEnabled"_s << u"1"_s;
        QTest::newRow("unknown") << DemoTrait::LanguageUnknown << u"UserLanguage"_s << u"1049"_s;
        QTest::newRow("empty setting") << DemoTrait::EmailFromPrimary << u"UserLogin"_s << u""_s;
        QTest::newRow("empty user field") << DemoTrait::LoginEmpty << u"user:LoginID"_s << u""_s;
    }

    // Read back as the wizard reads the source.
    void plantedSettings()
    {
        QFETCH(DemoTrait, trait);
        QFETCH(QString, field);
        const VarnelSourceUser* user = mContent.firstUserWith(trait);
        QVERIFY(user != nullptr);
        const bool userRow = field.startsWith(u"user:"_s);
        const QString key = userRow ? field.mid(5) : field;
        const CollectionPtr record =
            userRow ? GetUserByID(user->userID, mDemo.sourceConnectionString)
                    : GetUserSettingsByID(user->userID, DemoData::SettingNames(),
                                          mDemo.sourceConnectionString);
        QTEST(record->contains(key) ? describe(record->item(key)) : u"-"_s, "expected");
    }

    void scaled()
    {
        const DemoInstallation big = DemoInstallation::Create(mDir.filePath(u"big"_s), 500);
        QCOMPARE(GetAllUsers(big.sourceConnectionString)->count(), 500);
        QCOMPARE(conflictsOf(big)->collection(u"VaUserID"_s)->count(), 50);
        const int directoryUsers =
            GetDirectoryUsers(big.directoryConnectionString)->collection(u"IDs"_s)->count();
        QCOMPARE(directoryUsers, big.directoryUserCount);
        QVERIFY(directoryUsers > 80 && directoryUsers <= 100);
        const DemoInstallation one = DemoInstallation::Create(mDir.filePath(u"one"_s), 1);
        QVERIFY(CheckExportDatabase(one.sourceConnectionString));
        QCOMPARE(conflictsOf(one)->collection(u"VaUserID"_s)->count(), 0);
    }

    void refusal_data()
    {
        QTest::addColumn<QString>("folder"); // in the test folder
        QTest::addColumn<int>("users");
        QTest::addColumn<QString>("message"); // <path>: the folder's full path
        QTest::newRow("a demo is there")
            << "demo/first" << 50 << "already holds a demo installation";
        QTest::newRow("a configuration is there")
            << "configured" << 50 << "already holds a demo installation (zephrin.ini)";
        QTest::newRow("a file") << "plain.txt" << 50 << "is not a folder";
        QTest::newRow("a ; in the name") << "a;b" << 50 << "contains a ';'";
        QTest::newRow("no users") << "none" << 0 << "from 1 to 1000000 users";
        // A demo that cannot be finished (a file where the mail folder goes) is taken back.
        QTest::newRow("failed write")
            << "blocked" << 50 << "The demo installation could not be written to <path>";
    }

    // Nothing below the test folder changes.
    void refusal()
    {
        QFETCH(QString, folder);
        QFETCH(int, users);
        QFETCH(QString, message);
        const QDir dir(mDir.path());
        QVERIFY(dir.mkpath(u"configured"_s) && dir.mkpath(u"blocked"_s));
        for (const char* name : {"plain.txt", "configured/zephrin.ini", "blocked/mail"}) {
            QFile file(dir.filePath(QString::fromLatin1(name)));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("[global]\nproductname=Mine\n");
        }
        const QStringList before = snapshot(dir.path());
        try {
            DemoInstallation::Create(dir.filePath(folder), users);
            QFAIL("the folder was not refused");
        } catch (const MigrationError& error) {
            message.replace(u"<path>"_s, dir.filePath(folder));
            QVERIFY2(error.description().contains(message), qPrintable(error.description()));
        }
        QCOMPARE(snapshot(dir.path()), before);
    }

    // The program makes a demo without a display, and refuses to make it twice.
    void program()
    {
        const QString folder = mDir.filePath(u"from program"_s);
        QProcess program;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
            environment.remove(QString::fromLatin1(name));
        }
        program.setProcessEnvironment(environment);
        const auto run = [&] {
            program.start(QStringLiteral(VARNEL_MIGRATE_BINARY),
                          {u"--demo"_s, folder, u"--users"_s, u"120"_s, u"--no-wizard"_s});
            return program.waitForFinished(60000) ? program.exitCode() : -1;
        };
        QCOMPARE(run(), 0);
        const QString out = QString::fromLocal8Bit(program.readAllStandardOutput());
        QVERIFY2(out.contains(u"SQL Server Name:  sqlite:"_s + folder + '\n'), qPrintable(out));
        QVERIFY(out.contains(u"Database:         Varnel "_s));
        QCOMPARE(
            GetAllUsers(BuildSqlConnectionString(u"sqlite:"_s + folder, u"Varnel"_s, u"sa"_s, {}))
                ->count(),
            120);
        QCOMPARE(run(), 1);
        QVERIFY(program.readAllStandardError().contains("already holds a demo installation"));
    }

private:
    QTemporaryDir mDir;
    DemoInstallation mDemo;
    DemoData::DemoContent mContent;
};

QTEST_MAIN(TestDemo)
#include "tst_demo.moc"

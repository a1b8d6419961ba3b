#include "db/AdministrativeDBCon.h"
#include "db/ConnectionString.h"
#include "db/UserConflicts.h"
#include "db/VarnelDBCon.h"
#include "demo/DemoInstallation.h"
#include "directory/ZephrinFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "reference/ReferencePasswordEncoder.h"
#include "reference/TargetComponentFactory.h"
#include "support/Golden.h"
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

namespace {

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
        GlobalVariables::gsProgramFolder = mDir.path();
        AppPrompter::setPrompter(std::make_shared<ScriptedPrompter>());
        mDemo = DemoInstallation::Create(mDir.filePath(u"demo/first"_s));
        Components::setFactory(std::make_shared<TargetComponentFactory>(mDemo.configurationPath));
    }

    // What the walk through the wizard on a demo (tst_wizardwalk) does not show, in
    // demo/as-the-wizard-sees-it.txt: the low cost of its new passwords, its
    // authentication method and link base, and demos of other sizes.
    void asTheWizardSeesIt()
    {
        QStringList seen = {
            u"password cost: %1"_s.arg(
                ReferencePasswordEncoder::ConfiguredIterations(mDemo.configurationPath)),
            u"authentication: "_s +
                RegistryValueGet(mDemo.sourceConnectionString, u"AuthenticationMethod"_s),
            u"link base: "_s + GetWizardLinkBase(mDemo.directoryConnectionString)};
        for (const int users : {500, 1}) {
            const DemoInstallation demo =
                DemoInstallation::Create(mDir.filePath(u"size%1"_s.arg(users)), users);
            const CollectionPtr directoryUsers = GetDirectoryUsers(demo.directoryConnectionString);
            seen << u"%1 users: %2 read, %3 conflicts, %4 of %5 Directory users, valid %6"_s
                        .arg(users)
                        .arg(GetAllUsers(demo.sourceConnectionString)->count())
                        .arg(CheckForUserConflicts(demo.sourceConnectionString, directoryUsers)
                                 ->collection(u"VaUserID"_s)
                                 ->count())
                        .arg(directoryUsers->collection(u"IDs"_s)->count())
                        .arg(demo.directoryUserCount)
                        .arg(int(CheckExportDatabase(demo.sourceConnectionString)));
        }
        QCOMPARE_GOLDEN(seen, u"demo/as-the-wizard-sees-it.txt"_s);
    }

    // A folder that is no place for a demo is refused, and nothing below the test
    // folder changes; a demo that cannot be finished (a file where the mail folder
    // goes) is taken back. The messages: demo/refusals.txt.
    void refusal()
    {
        const QDir dir(mDir.path());
        QVERIFY(dir.mkpath(u"configured"_s) && dir.mkpath(u"blocked"_s));
        for (const char* name : {"plain.txt", "configured/zephrin.ini", "blocked/mail"}) {
            QFile file(dir.filePath(QString::fromLatin1(name)));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("[global]\nproductname=Mine\n");
        }
        const QStringList before = snapshot(dir.path());
        QStringList messages;
        for (const auto& [folder, users] : QList<std::pair<QString, int>>{{u"demo/first"_s, 50},
                                                                          {u"configured"_s, 50},
                                                                          {u"plain.txt"_s, 50},
                                                                          {u"a;b"_s, 50},
                                                                          {u"none"_s, 0},
                                                                          {u"blocked"_s, 50}}) {
            try {
                DemoInstallation::Create(dir.filePath(folder), users);
                messages << folder + u": made"_s;
            } catch (const MigrationError& error) {
                messages << folder + u": "_s + error.description();
            }
            QCOMPARE(snapshot(dir.path()), before);
        }
        QCOMPARE_GOLDEN(messages.join(u'\n').replace(dir.path(), u"<folder>"_s) + u'\n',
                        u"demo/refusals.txt"_s);
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
        QStringList runs; // what it says, in demo/program.txt
        for (int run = 0; run < 2; ++run) {
            program.start(QStringLiteral(VARNEL_MIGRATE_BINARY),
                          {u"--demo"_s, folder, u"--users"_s, u"120"_s, u"--no-wizard"_s});
            QVERIFY(program.waitForFinished(60000));
            runs << u"exit code %1"_s.arg(program.exitCode())
                 << QString::fromLocal8Bit(program.readAllStandardOutput() +
                                           program.readAllStandardError());
        }
        QCOMPARE_GOLDEN(runs.join(u'\n').replace(folder, u"<folder>"_s), u"demo/program.txt"_s);
        QCOMPARE(
            GetAllUsers(BuildSqlConnectionString(u"sqlite:"_s + folder, u"Varnel"_s, u"sa"_s, {}))
                ->count(),
            120);
    }

private:
    QTemporaryDir mDir;
    DemoInstallation mDemo;
};

QTEST_MAIN(TestDemo)
#include "tst_demo.moc"

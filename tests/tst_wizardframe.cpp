#include "directory/ComponentFactory.h"
#include "directory/ConfigurationComponent.h"
#include "frame/Clock.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "pages/HelpForm.h"
#include "pages/Introduction.h"
#include "pages/Pages.h"
#include "pages/StartupOptions.h"
#include "target/TargetComponentFactory.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <functional>
#include <memory>

namespace {

// What happened during a hand-over, in order.
QStringList events;

// Stands in for the source database page: records how it was opened and can go
// back to the introduction page the way the real page does.
class RecordingPage : public WizardPage
{
    Q_OBJECT
public:
    static inline bool failRestore = false;

    RecordingPage() : WizardPage(QStringLiteral("SelectVarnel"), QStringLiteral("Source"))
    {
        createNavigationButtons(PreviousButton | NextButton | CancelButton);
    }
    void LoadStateNext() override
    {
        events << QStringLiteral("SelectVarnel LoadStateNext");
        if (failRestore) {
            throw MigrationError(ErrorNumber::InvalidProcedureCall, QStringLiteral("broken state"));
        }
    }
    void LoadStatePrev() override { events << QStringLiteral("SelectVarnel LoadStatePrev"); }
    void goBack()
    {
        handOverTo<Introduction>(QStringLiteral("Introduction"), Restore::None,
                                 [](Introduction& page) { page.setBackedTo(true); });
    }

protected:
    void Form_Load() override { events << QStringLiteral("SelectVarnel Form_Load"); }
    void showEvent(QShowEvent* event) override
    {
        events << QStringLiteral("SelectVarnel shown");
        WizardPage::showEvent(event);
    }
    void PreviousBtn_Click() override { goBack(); }
};

// Records when a watched page is hidden and deleted.
void watch(QWidget* page)
{
    class HideWatcher : public QObject
    {
    public:
        using QObject::QObject;
        bool eventFilter(QObject* watched, QEvent* event) override
        {
            if (event->type() == QEvent::Hide) {
                events << watched->objectName() + QStringLiteral(" hidden");
            }
            return false;
        }
    };
    page->installEventFilter(new HideWatcher(page));
    const QString name = page->objectName();
    QObject::connect(page, &QObject::destroyed,
                     [name] { events << name + QStringLiteral(" deleted"); });
}

class DeniedFactory : public ComponentFactory
{
public:
    std::unique_ptr<ConfigurationComponent> CreateConfiguration() override
    {
        throw MigrationError(ErrorNumber::PermissionDenied, QStringLiteral("Permission denied"));
    }
};

void processDeletions()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

const QString accessDeniedText = QStringLiteral(
    "The account under which you are running this program is not permitted to create "
    "components necessary to the migration tool. Please run the migration tool as the same "
    "user that is running the IIS application.");

} // namespace

class TestWizardFrame : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void introductionPage_data();
    void introductionPage();
    void handOverOrder_data();
    void handOverOrder();
    void returningStartsASecondLog();
    void nextWithoutSourcePageStays();
    void failedRestoreKeepsThePage();
    void cancelClosesOnlyItsPage();
    void helpWindowIsReused();
    void startupOptions_data();
    void startupOptions();
    void programRejectsUnknownOption();

private:
    QByteArray logBytes(const QString& fileName) const;
    Introduction* openIntroduction();
    // Runs the application's event loop as the program does, with steps run once
    // it has started; the exit code, or 99 when the program did not end by itself.
    static int runProgram(const std::function<void()>& steps);

    std::unique_ptr<QTemporaryDir> mFolder;
    std::shared_ptr<ScriptedPrompter> mPrompter;
    std::shared_ptr<ManualClock> mClock;
};

void TestWizardFrame::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void TestWizardFrame::init()
{
    mFolder = std::make_unique<QTemporaryDir>();
    QVERIFY(mFolder->isValid());
    GlobalVariables::gsProgramFolder = mFolder->path();
    mPrompter = std::make_shared<ScriptedPrompter>();
    AppPrompter::setPrompter(mPrompter);
    mClock = std::make_shared<ManualClock>(QDateTime(QDate(2003, 12, 4), QTime(15, 30, 12)));
    AppClock::setClock(mClock);
    Components::setFactory(
        std::make_shared<TargetComponentFactory>(mFolder->filePath(QStringLiteral("zephrin.ini"))));
    Pages::registerAllPages();
    Pages::registerPage(QStringLiteral("SelectVarnel"), [] { return new RecordingPage; });
    RecordingPage::failRestore = false;
    events.clear();
}

void TestWizardFrame::cleanup()
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (qobject_cast<WizardPage*>(widget) != nullptr) {
            delete widget;
        }
    }
    processDeletions();
    AppPrompter::setPrompter(nullptr);
    AppClock::setClock(nullptr);
    Components::setFactory(nullptr);
    mFolder.reset();
}

QByteArray TestWizardFrame::logBytes(const QString& fileName) const
{
    QFile file(mFolder->filePath(fileName));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

Introduction* TestWizardFrame::openIntroduction()
{
    auto* page = qobject_cast<Introduction*>(Pages::create(QStringLiteral("Introduction")));
    if (page != nullptr) {
        page->show();
    }
    return page;
}

int TestWizardFrame::runProgram(const std::function<void()>& steps)
{
    QTimer giveUp;
    giveUp.setSingleShot(true);
    QObject::connect(&giveUp, &QTimer::timeout, [] { QCoreApplication::exit(99); });
    giveUp.start(10000);
    QTimer::singleShot(0, qApp, steps);
    const int exitCode = QApplication::exec();
    giveUp.stop();
    return exitCode;
}

void TestWizardFrame::introductionPage_data()
{
    QTest::addColumn<QString>("configuration");
    QTest::addColumn<QString>("productName");
    QTest::addColumn<bool>("accessDenied");
    QTest::newRow("product name from the configuration") << "[global]\nproductname=Zephrin 5.0\n"
                                                         << "Zephrin 5.0" << false;
    QTest::newRow("a name with a comma, beside other sections")
        << "; installed by setup\n[directory]\nconnectionstring=Data Source=db,1433\n"
           "[Global]\nProductName = \"Zephrin, Inc. 5.0\"\n"
        << "Zephrin, Inc. 5.0" << false;
    QTest::newRow("no configuration file") << "<none>"
                                           << "4.5" << false;
    QTest::newRow("creating the component not permitted") << "<denied>"
                                                          << "4.5" << true;
}

void TestWizardFrame::introductionPage()
{
    QFETCH(QString, configuration);
    QFETCH(QString, productName);
    QFETCH(bool, accessDenied);
    if (configuration == QLatin1String("<denied>")) {
        Components::setFactory(std::make_shared<DeniedFactory>());
    } else if (configuration != QLatin1String("<none>")) {
        QFile ini(mFolder->filePath(QStringLiteral("zephrin.ini")));
        QVERIFY(ini.open(QIODevice::WriteOnly));
        ini.write(configuration.toUtf8());
    }

    Introduction* page = openIntroduction();
    QVERIFY(page != nullptr);
    QCOMPARE(page->windowTitle(), QStringLiteral("Introduction"));
    QCOMPARE(page->objectName(), QStringLiteral("Introduction"));
    QCOMPARE(GlobalVariables::gsImportApp, productName);
    QCOMPARE(GlobalVariables::gsExportApp, QStringLiteral("3.1x"));
    QCOMPARE(page->findChild<QLabel*>(QStringLiteral("IntroductionText")), page->IntroductionText);
    QCOMPARE(page->IntroductionText->text(),
             QStringLiteral("This tool migrates users and Device Provisioning profiles to an ") +
                 productName + QStringLiteral(" Directory database from a 3.1x database."));
    QCOMPARE(page->NextBtn->text(), QStringLiteral("Next >>"));
    QCOMPARE(page->CancelBtn->text(), QStringLiteral("Cancel"));
    QVERIFY(page->PreviousBtn == nullptr);
    QVERIFY(page->findChild<QPushButton*>(QStringLiteral("PreviousBtn")) == nullptr);
    QVERIFY(!page->mbBackedTo);

    if (accessDenied) {
        QCOMPARE(mPrompter->asked.size(), 1);
        QCOMPARE(mPrompter->asked[0].text, accessDeniedText);
        QCOMPARE(mPrompter->asked[0].title, QStringLiteral("Access Denied"));
        QCOMPARE(mPrompter->asked[0].icon, Prompter::Icon::Critical);
    } else {
        QCOMPARE(mPrompter->asked.size(), 0);
    }

    QCOMPARE(GlobalVariables::gsLogFileName, QStringLiteral("MigrationLog20031204153012.log"));
    QCOMPARE(logBytes(GlobalVariables::gsLogFileName),
             QByteArray("Introduction Launched2003-12-04 15:30:12\r\n\r\n"
                        "<EXAPP>=3.1x\r\n\r\n"
                        "<IMAPP>=") +
                 productName.toLatin1() + QByteArray("\r\n\r\n"));
}

void TestWizardFrame::handOverOrder_data()
{
    QTest::addColumn<bool>("backedTo");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("first visit: no restore")
        << false
        << QStringList({"SelectVarnel Form_Load", "SelectVarnel shown", "Introduction hidden",
                        "Introduction deleted"});
    QTest::newRow("back from the source page: restored before shown")
        << true
        << QStringList({"SelectVarnel Form_Load", "SelectVarnel LoadStateNext",
                        "SelectVarnel shown", "Introduction hidden", "Introduction deleted"});
}

void TestWizardFrame::handOverOrder()
{
    QFETCH(bool, backedTo);
    QFETCH(QStringList, expected);
    QPointer<Introduction> page = openIntroduction();
    QVERIFY(page);
    page->setBackedTo(backedTo);
    watch(page);

    QTest::mouseClick(page->NextBtn, Qt::LeftButton);
    processDeletions();

    QCOMPARE(events, expected);
    QVERIFY(page.isNull());
    int visiblePages = 0;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->isVisible()) {
            ++visiblePages;
            QCOMPARE(widget->objectName(), QStringLiteral("SelectVarnel"));
        }
    }
    QCOMPARE(visiblePages, 1);
}

// Previous from the source page loads a new introduction page: a new log file
// with the new time, the first file left as it was, and Next restores the source page.
void TestWizardFrame::returningStartsASecondLog()
{
    QPointer<Introduction> first = openIntroduction();
    QVERIFY(first);
    const QString firstLog = GlobalVariables::gsLogFileName;
    const QByteArray firstBytes = logBytes(firstLog);
    QTest::mouseClick(first->NextBtn, Qt::LeftButton);
    processDeletions();
    QPointer<RecordingPage> sourcePage;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* page = qobject_cast<RecordingPage*>(widget); page && page->isVisible()) {
            sourcePage = page;
        }
    }
    QVERIFY(sourcePage);

    mClock->advanceSeconds(75);
    QTest::mouseClick(sourcePage->PreviousBtn, Qt::LeftButton);
    processDeletions();
    QVERIFY(sourcePage.isNull());

    QPointer<Introduction> second;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* page = qobject_cast<Introduction*>(widget); page && page->isVisible()) {
            second = page;
        }
    }
    QVERIFY(second);
    QVERIFY(second->mbBackedTo);
    QCOMPARE(GlobalVariables::gsLogFileName, QStringLiteral("MigrationLog20031204153127.log"));
    QCOMPARE(logBytes(GlobalVariables::gsLogFileName),
             QByteArray("Introduction Launched2003-12-04 15:31:27\r\n\r\n"
                        "<EXAPP>=3.1x\r\n\r\n"
                        "<IMAPP>=4.5\r\n\r\n"));
    QCOMPARE(logBytes(firstLog), firstBytes);

    events.clear();
    QTest::mouseClick(second->NextBtn, Qt::LeftButton);
    QVERIFY(events.contains(QStringLiteral("SelectVarnel LoadStateNext")));
}

void TestWizardFrame::nextWithoutSourcePageStays()
{
    Pages::unregisterPage(QStringLiteral("SelectVarnel"));
    QPointer<Introduction> page = openIntroduction();
    QVERIFY(page);
    QTest::mouseClick(page->NextBtn, Qt::LeftButton);
    processDeletions();
    QVERIFY(page);
    QVERIFY(page->isVisible());
    QCOMPARE(mPrompter->asked.size(), 1);
    QVERIFY(mPrompter->asked[0].text.contains(QStringLiteral("SelectVarnel")));
    QVERIFY(logBytes(GlobalVariables::gsLogFileName).contains("SelectVarnel"));
}

void TestWizardFrame::failedRestoreKeepsThePage()
{
    RecordingPage::failRestore = true;
    QPointer<Introduction> page = openIntroduction();
    QVERIFY(page);
    page->setBackedTo(true);
    QTest::mouseClick(page->NextBtn, Qt::LeftButton);
    processDeletions();
    QVERIFY(page);
    QVERIFY(page->isVisible());
    QVERIFY(QApplication::topLevelWidgets().size() >= 1);
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        QVERIFY(qobject_cast<RecordingPage*>(widget) == nullptr);
    }
    QCOMPARE(mPrompter->asked.size(), 1);
    QVERIFY(mPrompter->asked[0].text.contains(QStringLiteral("broken state")));
}

// Cancel unloads its own page and nothing else, writes nothing to the log, and
// the program ends only with its last window.
void TestWizardFrame::cancelClosesOnlyItsPage()
{
    QPointer<Introduction> intro = openIntroduction();
    QVERIFY(intro);
    QPointer<WizardPage> other = Pages::create(QStringLiteral("SelectVarnel"));
    QVERIFY(other);
    other->show();
    const QByteArray before = logBytes(GlobalVariables::gsLogFileName);

    bool otherGone = false;
    bool introStayed = false;
    const int exitCode = runProgram([&] {
        QTest::mouseClick(other->CancelBtn, Qt::LeftButton);
        processDeletions();
        otherGone = other.isNull();
        introStayed = !intro.isNull() && intro->isVisible();
        if (intro) {
            QTest::mouseClick(intro->CancelBtn, Qt::LeftButton);
        }
    });
    QVERIFY(otherGone);
    QVERIFY(introStayed);
    QCOMPARE(exitCode, 0);
    processDeletions();
    QVERIFY(intro.isNull());
    QCOMPARE(logBytes(GlobalVariables::gsLogFileName), before);
    QCOMPARE(mPrompter->asked.size(), 0);
}

void TestWizardFrame::helpWindowIsReused()
{
    QPointer<Introduction> intro = openIntroduction();
    QVERIFY(intro);
    GlobalVariables::gsImportApp = QStringLiteral("Zephrin 5.0");

    QStringList shown;
    QList<HelpForm*> windows;
    const auto pressOk = [&] {
        HelpForm* form = HelpForm::loaded();
        QVERIFY(form != nullptr);
        QVERIFY(form->isVisible());
        QVERIFY(form->isModal());
        windows << form;
        shown << form->HelpText->toPlainText();
        QCOMPARE(form->windowTitle(), QStringLiteral("Help"));
        QCOMPARE(form->HelpTextLbl->text(), QStringLiteral("Help Text:"));
        QCOMPARE(form->OKBtn->text(), QStringLiteral("OK"));
        QCOMPARE(form->findChild<QPlainTextEdit*>(QStringLiteral("HelpText")), form->HelpText);
        QTest::mouseClick(form->OKBtn, Qt::LeftButton);
    };

    QTimer::singleShot(0, this, pressOk);
    HelpForm::showHelp(QStringLiteral("Select the <EXAPP> database.\r\n\r\n1) <IMAPP>"));
    QVERIFY(!HelpForm::loaded()->isVisible());
    QTimer::singleShot(0, this, pressOk);
    HelpForm::showHelp(QStringLiteral("Second <imapp>"));

    QCOMPARE(shown, QStringList({"Select the 3.1x database.\n\n1) Zephrin 5.0", "Second <imapp>"}));
    QCOMPARE(windows.size(), 2);
    QCOMPARE(windows[0], windows[1]);
    QVERIFY(!windows[0]->isVisible());

    // The hidden help window does not keep the program running.
    QCOMPARE(runProgram([&] { QTest::mouseClick(intro->CancelBtn, Qt::LeftButton); }), 0);
    QCOMPARE(HelpForm::loaded(), windows[0]);
}

void TestWizardFrame::startupOptions_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("configPath");
    QTest::addColumn<bool>("help");
    QTest::addColumn<bool>("error");
    QTest::newRow("nothing") << QStringList({"varnel-migrate"}) << "" << false << false;
    QTest::newRow("config with a separate value")
        << QStringList({"varnel-migrate", "--config", "/etc/z.ini"}) << "/etc/z.ini" << false
        << false;
    QTest::newRow("config with =") << QStringList({"varnel-migrate", "--config=/tmp/a b.ini"})
                                   << "/tmp/a b.ini" << false << false;
    QTest::newRow("config without a file")
        << QStringList({"varnel-migrate", "--config"}) << "" << false << true;
    QTest::newRow("unknown option")
        << QStringList({"varnel-migrate", "--bogus"}) << "" << false << true;
    QTest::newRow("stray argument")
        << QStringList({"varnel-migrate", "stray"}) << "" << false << true;
    QTest::newRow("help") << QStringList({"varnel-migrate", "--help"}) << "" << true << false;
}

void TestWizardFrame::startupOptions()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, configPath);
    QFETCH(bool, help);
    QFETCH(bool, error);
    const StartupOptions options = StartupOptions::parse(arguments);
    QCOMPARE(options.configPath, configPath);
    QCOMPARE(options.helpRequested, help);
    QCOMPARE(!options.error.isEmpty(), error);
    QVERIFY(options.helpText.contains(QStringLiteral("--config")));
}

void TestWizardFrame::programRejectsUnknownOption()
{
    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    program.setProcessEnvironment(environment);
    program.start(QStringLiteral(VARNEL_MIGRATE_BINARY), {QStringLiteral("--bogus")});
    QVERIFY(program.waitForFinished(30000));
    QCOMPARE(program.exitCode(), 2);
    QVERIFY(program.readAllStandardError().contains("bogus"));

    program.start(QStringLiteral(VARNEL_MIGRATE_BINARY), {QStringLiteral("--help")});
    QVERIFY(program.waitForFinished(30000));
    QCOMPARE(program.exitCode(), 0);
    QVERIFY(program.readAllStandardOutput().contains("--config"));
}

QTEST_MAIN(TestWizardFrame)
#include "tst_wizardframe.moc"

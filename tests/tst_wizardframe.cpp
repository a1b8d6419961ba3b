#include "directory/ComponentFactory.h"
#include "directory/ConfigurationComponent.h"
#include "frame/Clock.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "pages/HelpForm.h"
#include "pages/Introduction.h"
#include "pages/Pages.h"
#include "reference/TargetComponentFactory.h"
#include "support/Golden.h"
#include "support/ManualClock.h"
#include "support/PageFixture.h"
#include "support/ScriptedPrompter.h"
#include "support/WindowText.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <functional>
#include <memory>

using namespace Qt::Literals::StringLiterals;

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

    RecordingPage() : WizardPage(u"SelectVarnel"_s, u"Source"_s)
    {
        createNavigationButtons(PreviousButton | NextButton | CancelButton);
    }
    void LoadStateNext() override
    {
        events << u"SelectVarnel LoadStateNext"_s;
        if (failRestore) {
            throw MigrationError(ErrorNumber::InvalidProcedureCall, u"broken state"_s);
        }
    }
    void LoadStatePrev() override { events << u"SelectVarnel LoadStatePrev"_s; }

protected:
    void Form_Load() override { events << u"SelectVarnel Form_Load"_s; }
    void showEvent(QShowEvent* event) override
    {
        // The page it replaces goes only once this one is on screen.
        events << u"SelectVarnel shown, introduction visible: %1"_s.arg(
            !PageFixture::visibleWindows<Introduction>().isEmpty());
        WizardPage::showEvent(event);
    }
    void PreviousBtn_Click() override
    {
        handOverTo<Introduction>(u"Introduction"_s, Restore::None,
                                 [](Introduction& page) { page.setBackedTo(true); });
    }
};

// A page whose Next handler waits as the verification does, through the program's
// pause, and counts how often it is entered.
class SlowPage : public WizardPage
{
    Q_OBJECT
public:
    SlowPage() : WizardPage(u"Verifier"_s, u"Verifying..."_s)
    {
        createNavigationButtons(NextButton | CancelButton);
    }
    int entered = 0;
    int finished = 0;

protected:
    void NextBtn_Click() override
    {
        ++entered;
        AppClock::clock().pause(300);
        ++finished;
    }
};

// Records when a page is deleted.
void watch(QWidget* page)
{
    QObject::connect(page, &QObject::destroyed, [] { events << u"Introduction deleted"_s; });
}

class DeniedFactory : public ComponentFactory
{
public:
    std::unique_ptr<ConfigurationComponent> CreateConfiguration() override
    {
        throw MigrationError(ErrorNumber::PermissionDenied, u"Permission denied"_s);
    }
};

void processDeletions()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace

class TestWizardFrame : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init()
    {
        mFolder = std::make_unique<QTemporaryDir>();
        QVERIFY(mFolder->isValid());
        GlobalVariables::gsProgramFolder = mFolder->path();
        mPrompter = std::make_shared<ScriptedPrompter>();
        AppPrompter::setPrompter(mPrompter);
        mClock = std::make_shared<ManualClock>(QDateTime(QDate(2003, 12, 4), QTime(15, 30, 12)));
        AppClock::setClock(mClock);
        Components::setFactory(
            std::make_shared<TargetComponentFactory>(mFolder->filePath(u"zephrin.ini"_s)));
        Pages::registerAllPages();
        Pages::registerPage(u"SelectVarnel"_s, [] { return new RecordingPage; });
        RecordingPage::failRestore = false;
        events.clear();
    }

    void cleanup()
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

    void introductionPage_data()
    {
        QTest::addColumn<QString>("configuration");
        QTest::newRow("product name from the configuration")
            << u"[global]\nproductname=Zephrin 5.0\n"_s;
        QTest::newRow("no product named") << u"[global]\nproductname=\n"_s;
        QTest::newRow("no configuration file") << QString();
        QTest::newRow("creating the component not permitted") << u"<denied>"_s;
    }

    void introductionPage()
    {
        QFETCH(QString, configuration);
        const bool denied = configuration == "<denied>"_L1;
        if (denied) {
            Components::setFactory(std::make_shared<DeniedFactory>());
        } else if (!configuration.isEmpty()) {
            QFile ini(mFolder->filePath(u"zephrin.ini"_s));
            QVERIFY(ini.open(QIODevice::WriteOnly));
            ini.write(configuration.toUtf8());
        }

        // The window, the product names, what was asked and the log, as one text.
        Introduction* page = openIntroduction();
        QVERIFY(page != nullptr);
        QStringList seen = {windowText(page), u"<EXAPP>="_s + GlobalVariables::gsExportApp,
                            u"<IMAPP>="_s + GlobalVariables::gsImportApp};
        for (const ScriptedPrompter::Asked& asked : mPrompter->asked) {
            seen << u"asked %1 icon %2: %3"_s.arg(asked.title).arg(int(asked.icon)).arg(asked.text);
        }
        seen << Golden::fromCrlf(
            QString::fromLatin1(logBytes(u"MigrationLog20031204153012.log"_s)));
        QCOMPARE_GOLDEN(seen, Golden::rowFile(u"wizardframe/introduction-"_s));
    }

    // Next hands over to the source page, which is loaded (and restored on a return)
    // before it is shown; only then is the introduction page hidden and deleted. Previous
    // from the source page loads a new introduction page.
    void forthAndBack()
    {
        QPointer<Introduction> first = openIntroduction();
        QVERIFY(first);
        const QStringList after = {"SelectVarnel shown, introduction visible: 1",
                                   "Introduction deleted"};
        watch(first);
        QTest::mouseClick(first->NextBtn, Qt::LeftButton);
        processDeletions();
        QCOMPARE(events, QStringList({"SelectVarnel Form_Load"}) + after);
        QVERIFY(first.isNull());
        QCOMPARE(PageFixture::visibleWindows<QWidget>().size(), 1);
        QPointer<RecordingPage> sourcePage = PageFixture::visibleWindows<RecordingPage>().value(0);
        QVERIFY(sourcePage);

        QTest::mouseClick(sourcePage->PreviousBtn, Qt::LeftButton);
        processDeletions();
        QVERIFY(sourcePage.isNull());
        QCOMPARE(PageFixture::visibleWindows<QWidget>().size(), 1);
        QPointer<Introduction> second = PageFixture::visibleWindows<Introduction>().value(0);
        QVERIFY(second && second->mbBackedTo);

        events.clear();
        watch(second);
        QTest::mouseClick(second->NextBtn, Qt::LeftButton);
        processDeletions();
        QCOMPARE(events,
                 QStringList({"SelectVarnel Form_Load", "SelectVarnel LoadStateNext"}) + after);
        QVERIFY(second.isNull());
    }

    void failedHandOverKeepsThePage_data()
    {
        QTest::addColumn<bool>("unregistered");
        QTest::addColumn<QString>("message"); // what the one message names
        QTest::newRow("no source page") << true << u"SelectVarnel"_s;
        QTest::newRow("restoring the source page fails") << false << u"broken state"_s;
    }

    void failedHandOverKeepsThePage()
    {
        QFETCH(bool, unregistered);
        QFETCH(QString, message);
        if (unregistered) {
            Pages::unregisterPage(u"SelectVarnel"_s);
        }
        RecordingPage::failRestore = true;
        QPointer<Introduction> page = openIntroduction();
        QVERIFY(page);
        page->setBackedTo(true);
        QTest::mouseClick(page->NextBtn, Qt::LeftButton);
        processDeletions();
        QVERIFY(page && page->isVisible());
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            QVERIFY(qobject_cast<RecordingPage*>(widget) == nullptr);
        }
        QCOMPARE(mPrompter->asked.size(), 1);
        QVERIFY2(mPrompter->asked[0].text.contains(message), qPrintable(mPrompter->asked[0].text));
        QVERIFY(logBytes(GlobalVariables::gsLogFileName).contains(message.toLatin1()));
    }

    // Cancel unloads its own page and nothing else, writes nothing to the log, and
    // the program ends only with its last window.
    void cancelClosesOnlyItsPage()
    {
        QPointer<Introduction> intro = openIntroduction();
        QVERIFY(intro);
        QPointer<WizardPage> other = Pages::create(u"SelectVarnel"_s);
        QVERIFY(other);
        other->show();
        const QByteArray before = logBytes(GlobalVariables::gsLogFileName);

        const int exitCode = runProgram([&] {
            QTest::mouseClick(other->CancelBtn, Qt::LeftButton);
            processDeletions();
            QVERIFY(other.isNull() && intro && intro->isVisible());
            QTest::mouseClick(intro->CancelBtn, Qt::LeftButton);
        });
        QCOMPARE(exitCode, 0);
        processDeletions();
        QVERIFY(intro.isNull());
        QCOMPARE(logBytes(GlobalVariables::gsLogFileName), before);
        QCOMPARE(mPrompter->asked.size(), 0);
    }

    // One help window, shown modal with the product names put in; hidden, it does not
    // keep the program running.
    void helpWindowIsReused()
    {
        QPointer<Introduction> intro = openIntroduction();
        QVERIFY(intro);
        GlobalVariables::gsImportApp = u"Zephrin 5.0"_s;
        QStringList shown;
        const auto pressOk = [&] {
            HelpForm* form = HelpForm::loaded();
            QVERIFY(form != nullptr && form->isVisible() && form->isModal());
            shown << form->windowTitle() + '|' + form->HelpTextLbl->text() + '|' +
                         form->OKBtn->text() + '|' + form->HelpText->toPlainText();
            QTest::mouseClick(form->OKBtn, Qt::LeftButton);
        };
        QTimer::singleShot(0, this, pressOk);
        HelpForm::showHelp(u"Select the <EXAPP> database.\r\n\r\n1) <IMAPP>"_s);
        HelpForm* const first = HelpForm::loaded();
        QVERIFY(!first->isVisible());
        QTimer::singleShot(0, this, pressOk);
        HelpForm::showHelp(u"Second <imapp>"_s);
        QCOMPARE(shown,
                 QStringList({"Help|Help Text:|OK|Select the 3.1x database.\n\n1) Zephrin 5.0",
                              "Help|Help Text:|OK|Second <imapp>"}));
        QCOMPARE(runProgram([&] { QTest::mouseClick(intro->CancelBtn, Qt::LeftButton); }), 0);
        QCOMPARE(HelpForm::loaded(), first);
    }

    // The program's pause waits in an event loop: a timer that falls due and a repaint
    // that is asked for run during it, and the wait lasts as long as asked.
    void pauseKeepsTheInterfaceAlive()
    {
        AppClock::setClock(nullptr);
        bool timerRan = false;
        QTimer::singleShot(50, [&] { timerRan = true; });
        QElapsedTimer waited;
        waited.start();
        AppClock::clock().pause(300);
        QVERIFY(timerRan);
        QVERIFY2(waited.elapsed() >= 290, qPrintable(QString::number(waited.elapsed())));

        // A pass of event processing runs what is queued, without waiting.
        bool queued = false;
        QMetaObject::invokeMethod(
            qApp, [&] { queued = true; }, Qt::QueuedConnection);
        AppClock::processEvents();
        QVERIFY(queued);
    }

    // While Next's handler waits, a second click on Next and a click on Cancel are
    // not taken, and the window refuses to close; afterwards Cancel closes it.
    void workingPageTakesNoSecondClick_data()
    {
        QTest::addColumn<bool>("systemClock");
        QTest::newRow("the program's clock, clicks from timers") << true;
        QTest::newRow("a test clock, clicks from its event passes") << false;
    }

    void workingPageTakesNoSecondClick()
    {
        QFETCH(bool, systemClock);
        auto* page = new SlowPage;
        page->load();
        page->show();
        QPointer<SlowPage> alive = page;
        QStringList seen;
        const auto interfere = [&] {
            if (!alive || !seen.isEmpty()) {
                return;
            }
            QTest::mouseClick(page->NextBtn, Qt::LeftButton);
            QTest::mouseClick(page->CancelBtn, Qt::LeftButton);
            seen << u"close accepted: "_s + (page->close() ? u"yes"_s : u"no"_s);
            seen << u"entered %1, working %2"_s.arg(page->entered).arg(int(page->isWorking()));
        };
        if (systemClock) {
            AppClock::setClock(nullptr);
            QTimer::singleShot(50, interfere);
        } else {
            mClock->onEvents = interfere;
        }
        QTest::mouseClick(page->NextBtn, Qt::LeftButton);
        processDeletions();
        QVERIFY(alive && page->isVisible());
        QCOMPARE(seen, QStringList({"close accepted: no", "entered 1, working 1"}));
        QCOMPARE(page->entered * 10 + page->finished, 11);
        QVERIFY(!page->isWorking());

        QTest::mouseClick(page->CancelBtn, Qt::LeftButton);
        processDeletions();
        QVERIFY(alive.isNull());
    }

private:
    QByteArray logBytes(const QString& fileName) const
    {
        QFile file(mFolder->filePath(fileName));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
    }

    Introduction* openIntroduction()
    {
        auto* page = qobject_cast<Introduction*>(Pages::create(u"Introduction"_s));
        if (page != nullptr) {
            page->show();
        }
        return page;
    }

    // Runs the application's event loop as the program does, with steps run once
    // it has started; the exit code, or 99 when the program did not end by itself.
    static int runProgram(const std::function<void()>& steps)
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

    std::unique_ptr<QTemporaryDir> mFolder;
    std::shared_ptr<ScriptedPrompter> mPrompter;
    std::shared_ptr<ManualClock> mClock;
};

QTEST_MAIN(TestWizardFrame)
#include "tst_wizardframe.moc"

#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "pages/HelpForm.h"
#include "pages/Introduction.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "support/Golden.h"
#include "support/Transcript.h"

#include <QDir>
#include <QElapsedTimer>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QTimer>

using namespace Qt::Literals::StringLiterals;

namespace {

// What happened during a hand-over, in order.
QStringList events;

// Stands in for the source database page: records how it was opened and can go
// back to the introduction page the way the real page does. Its Next waits as the
// verification does, through the program's pause.
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
    void NextBtn_Click() override
    {
        events << u"SelectVarnel Next"_s;
        AppClock::clock().pause(300);
        events << u"SelectVarnel Next done"_s;
    }
    void PreviousBtn_Click() override
    {
        handOverTo<Introduction>(u"Introduction"_s, Restore::None,
                                 [](Introduction& page) { page.setBackedTo(true); });
    }
};

// Every page object left, hidden ones too, so that a page not let go shows.
QString pagesLeft()
{
    QStringList pages;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (qobject_cast<WizardPage*>(widget) != nullptr) {
            pages << widget->objectName() + (widget->isVisible() ? u""_s : u" hidden"_s);
        }
    }
    pages.sort();
    return u"; pages: "_s + pages.join(u", "_s);
}

// Runs the application's event loop as the program does, with steps run once it has
// started; the exit code, or 99 when the program did not end by itself.
template <typename Steps> int runProgram(Steps steps)
{
    QTimer giveUp;
    QObject::connect(&giveUp, &QTimer::timeout, [] { QCoreApplication::exit(99); });
    giveUp.start(10000);
    QTimer::singleShot(0, qApp, steps);
    return QApplication::exec();
}

} // namespace

class TestWizardFrame : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        Pages::registerPage(u"SelectVarnel"_s, [] { return new RecordingPage; });
        RecordingPage::failRestore = false;
        events.clear();
    }
    void cleanup() { mFixture.reset(); }

    // The introduction page as the configuration names the product (the log file, the
    // window, what was asked), then the hand-overs a script of clicks makes: "next",
    // "prev"; "fail" lets the source page's restoring fail from then on. The source
    // page is loaded (and restored only on a return) before it is shown; only then is
    // the introduction page hidden and let go. A failed hand-over keeps the page.
    // "busy" and "timers": see working(); "cancel" closes the page shown.
    void scenario_data()
    {
        QTest::addColumn<QByteArray>("configuration");
        QTest::addColumn<QString>("script");
        QTest::addRow("product name from the configuration")
            << "[global]\nproductname=Zephrin 5.0\n"_ba << u""_s;
        QTest::addRow("no product named") << "[global]\nproductname=\n"_ba << u""_s;
        QTest::addRow("no configuration file") << QByteArray() << u""_s;
        QTest::addRow("configuration not permitted") << "<folder>"_ba << u""_s;
        QTest::addRow("forth and back") << QByteArray() << u"next prev next"_s;
        QTest::addRow("no source page") << "<unregistered>"_ba << u"next"_s;
        QTest::addRow("restoring the source page fails")
            << QByteArray() << u"next prev fail next"_s;
        QTest::addRow("working, the program's clock") << QByteArray() << u"next timers cancel"_s;
        QTest::addRow("working, a test clock") << QByteArray() << u"next busy cancel"_s;
    }

    void scenario()
    {
        QFETCH(QByteArray, configuration);
        QFETCH(QString, script);
        if (configuration == "<folder>") { // read as a file that may not be read
            QVERIFY(QDir(mFixture->folder()).mkdir(u"zephrin.ini"_s));
        } else if (configuration == "<unregistered>") {
            Pages::unregisterPage(u"SelectVarnel"_s);
        } else if (!configuration.isEmpty()) {
            mFixture->writeConfiguration(configuration);
        }
        Transcript transcript(*mFixture);
        QVERIFY(mFixture->open<Introduction>(PageNames::Introduction));
        transcript.step(u"opened"_s);
        for (const QString& word : script.split(u' ', Qt::SkipEmptyParts)) {
            QPointer<WizardPage> page = PageFixture::visible();
            QVERIFY(page != nullptr);
            if (word == u"fail"_s) {
                RecordingPage::failRestore = true;
            } else if (word == u"busy"_s || word == u"timers"_s) {
                working(*page, word == u"timers"_s);
            } else {
                PageFixture::click(word == u"next"_s   ? page->NextBtn
                                   : word == u"prev"_s ? page->PreviousBtn
                                                       : page->CancelBtn);
            }
            transcript.step(word);
            transcript.note(u"events: "_s + std::exchange(events, {}).join(u", "_s) + pagesLeft());
        }
        QCOMPARE_GOLDEN(transcript.text(), Golden::rowFile(u"wizardframe/"_s));
    }

    // Cancel unloads its own page and nothing else and writes nothing to the log; the
    // program ends with its last page. The help window is one, shown modal with the
    // product names put in; hidden, it does not keep the program running.
    void cancelAndHelp()
    {
        QPointer<Introduction> intro = mFixture->open<Introduction>(PageNames::Introduction);
        QPointer<WizardPage> other = mFixture->open<WizardPage>(PageNames::SelectVarnel);
        const QByteArray log = mFixture->log();
        GlobalVariables::gsImportApp = u"Zephrin 5.0"_s;
        QStringList shown;
        QList<HelpForm*> forms;
        for (const QString& text :
             {u"Select the <EXAPP> database.\r\n\r\n1) <IMAPP>"_s, u"Second <imapp>"_s}) {
            QTimer::singleShot(0, this, [&] {
                HelpForm* form = HelpForm::loaded();
                QVERIFY(form != nullptr && form->isVisible() && form->isModal());
                shown << form->windowTitle() + '|' + form->HelpTextLbl->text() + '|' +
                             form->OKBtn->text() + '|' + form->HelpText->toPlainText();
                QTest::mouseClick(form->OKBtn, Qt::LeftButton);
            });
            HelpForm::showHelp(text);
            forms << HelpForm::loaded();
        }
        QCOMPARE(shown,
                 QStringList({"Help|Help Text:|OK|Select the 3.1x database.\n\n1) Zephrin 5.0",
                              "Help|Help Text:|OK|Second <imapp>"}));
        QVERIFY(forms[0] == forms[1] && !forms[0]->isVisible());
        QCOMPARE(runProgram([&] {
                     PageFixture::click(other->CancelBtn);
                     QVERIFY(other.isNull() && intro && intro->isVisible());
                     QTest::mouseClick(intro->CancelBtn, Qt::LeftButton);
                 }),
                 0);
        PageFixture::processDeletions();
        QVERIFY(intro.isNull() && mFixture->prompter().asked.isEmpty());
        QCOMPARE(mFixture->log(), log);
    }

    // The program's pause waits in an event loop: a timer that falls due and a repaint
    // that is asked for run during it, and the wait lasts as long as asked. A pass of
    // event processing runs what is queued, without waiting.
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
        bool queued = false;
        QMetaObject::invokeMethod(
            qApp, [&] { queued = true; }, Qt::QueuedConnection);
        AppClock::processEvents();
        QVERIFY(queued);
    }

private:
    // Next on a page whose handler waits, with a second click on Next, a click on
    // Cancel and a close during the wait: none of them is taken.
    void working(WizardPage& page, bool systemClock)
    {
        bool done = false;
        const auto interfere = [&] {
            if (!std::exchange(done, true)) {
                QTest::mouseClick(page.NextBtn, Qt::LeftButton);
                QTest::mouseClick(page.CancelBtn, Qt::LeftButton);
                events << u"working %1, close accepted %2"_s.arg(int(page.isWorking()))
                              .arg(int(page.close()));
            }
        };
        if (systemClock) {
            AppClock::setClock(nullptr);
            QTimer::singleShot(50, interfere);
        } else {
            mFixture->clock().onEvents = interfere;
        }
        PageFixture::click(page.NextBtn);
    }

    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestWizardFrame)
#include "tst_wizardframe.moc"

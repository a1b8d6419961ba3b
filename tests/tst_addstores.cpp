#include "frame/GlobalVariables.h"
#include "frame/StatusHolder.h"
#include "pages/AddStores.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "support/Describe.h"
#include "support/Golden.h"
#include "support/PageFixture.h"
#include "support/StandInPage.h"
#include "support/Transcript.h"

#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

QString items(const QListWidget* list)
{
    QStringList names;
    for (int i = 0; i < list->count(); ++i) {
        names << list->item(i)->text();
    }
    return names.join(u',');
}

} // namespace

// The store page opened as a database page opens it after a verification, then a
// script of clicks: "<button>:<server>" selects the server in the list the button
// takes from (none when empty) and clicks; "Next" and "Previous" click on the window
// shown. After every step the transcript holds the three lists ("detected | Exchange
// 2000/2003 | Exchange 5.5"), the lists kept in the state store, the window shown and
// where, and the log; it is compared whole with tests/data/addstores/<row>.txt.
class TestAddStores : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        mFixture->useDemo(12);
        StandInPage::registerAs(PageNames::SelectUsers, u"Select Users to Migrate"_s);
        mTranscript = std::make_unique<Transcript>(*mFixture);
        mTranscript->mask(mFixture->demo().folder, u"<demo>"_s);
    }
    void cleanup()
    {
        mTranscript.reset();
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    void scripts_data()
    {
        QTest::addColumn<QStringList>("detected");
        QTest::addColumn<bool>("backToVarnel");
        QTest::addColumn<QString>("script");
        const QStringList abc = {u"A"_s, u"B"_s, u"C"_s};
        // The launch line; one name in two letter cases is one server.
        QTest::newRow("two servers") << QStringList{u"EXCH55"_s, u"MAIL02"_s} << true << QString();
        QTest::newRow("one name in two letter cases")
            << QStringList{u"EXCH55"_s, u"exch55"_s} << true << QString();
        QTest::newRow("none") << QStringList() << true << QString();
        // Each button moves the selected server to the end of the other list.
        QTest::newRow("every server typed") << abc << true << u"ToE2kBtn:A ToE55Btn:B ToE2kBtn:C"_s;
        QTest::newRow("moved back to the end") << abc << true << u"ToE2kBtn:A FromE2kBtn:A"_s;
        QTest::newRow("from one type to the other")
            << abc << true << u"ToE55Btn:B FromE55Btn:B ToE2kBtn:B"_s;
        QTest::newRow("nothing selected")
            << abc << true << u"ToE2kBtn: ToE55Btn: FromE2kBtn: FromE55Btn:"_s;
        // Next logs and keeps the typed lists and opens the user selection page where
        // this page stood, telling it where its Previous returns.
        QTest::newRow("next from the source page")
            << abc << true << u"ToE2kBtn:A ToE55Btn:C Next"_s;
        QTest::newRow("next from the target page")
            << abc << false << u"ToE2kBtn:C ToE2kBtn:A ToE2kBtn:B Next"_s;
        // Previous returns to the database page the wizard came from, restored; only
        // Next keeps the typed lists.
        QTest::newRow("previous to the source page") << abc << true << u"ToE2kBtn:A Previous"_s;
        QTest::newRow("previous to the target page") << abc << false << u"ToE2kBtn:A Previous"_s;
        // Entered backwards, the page shows the typed lists as the last Next kept them
        // and, as detected, the servers handed to it last that are typed in neither.
        QTest::newRow("entered backwards")
            << abc + QStringList{u"D"_s} << false
            << u"ToE2kBtn:C ToE55Btn:A ToE2kBtn:B Next Previous FromE2kBtn:C ToE55Btn:D Next "
               "Previous"_s;
    }

    void scripts()
    {
        QFETCH(QStringList, detected);
        QFETCH(bool, backToVarnel);
        QFETCH(QString, script);
        GlobalVariables::gbAddStores = true;
        auto* page = qobject_cast<AddStores*>(Pages::create(PageNames::AddStores));
        QVERIFY(page != nullptr);
        page->setBackToVarnel(backToVarnel);
        page->setDetectedServers(detected);
        page->LoadStateNext();
        page->show();
        page->move(140, 90);
        step(u"opened"_s, true);
        for (const QString& move : script.split(u' ', Qt::SkipEmptyParts)) {
            if (move == "Next"_L1 || move == "Previous"_L1) {
                auto& shown = Transcript::on<WizardPage>();
                PageFixture::click(move == "Next"_L1 ? shown.NextBtn : shown.PreviousBtn);
            } else {
                runMove(Transcript::on<AddStores>(), move);
            }
            step(move, move == "Previous"_L1);
        }
        QCOMPARE_GOLDEN(mTranscript->text(), Golden::rowFile(u"addstores/"_s));
    }

private:
    static void runMove(AddStores& page, const QString& move)
    {
        const QString button = move.section(u':', 0, 0);
        const QString server = move.section(u':', 1);
        QListWidget* from = button.startsWith(u"To"_s)  ? page.ServersDetectedLbx
                            : button == "FromE2kBtn"_L1 ? page.E2kServersLbx
                                                        : page.E55ServersLbx;
        from->clearSelection();
        from->setCurrentItem(nullptr);
        if (!server.isEmpty()) {
            const QList<QListWidgetItem*> found = from->findItems(server, Qt::MatchExactly);
            QVERIFY2(found.size() == 1, qPrintable(move));
            from->setCurrentItem(found.first());
        }
        PageFixture::click(page.findChild<QPushButton*>(button));
    }

    void step(const QString& title, bool windows)
    {
        windows ? mTranscript->step(title) : mTranscript->stepQuiet(title);
        const QList<QWidget*> shown = PageFixture::visibleWindows<QWidget>();
        QString now = u"shown: "_s + Transcript::visibleNames();
        if (shown.size() == 1) {
            now += u" at %1,%2"_s.arg(shown.first()->x()).arg(shown.first()->y());
        }
        if (auto* stores = PageFixture::visible<AddStores>()) {
            now += u" lists: %1 | %2 | %3 back to source: %4"_s
                       .arg(items(stores->ServersDetectedLbx), items(stores->E2kServersLbx),
                            items(stores->E55ServersLbx))
                       .arg(stores->gbBackToVarnel);
        } else if (auto* users = PageFixture::visible<StandInPage>()) {
            now += u" opened: "_s + users->opened.join(u',');
        }
        mTranscript->note(now);
        mTranscript->note(u"kept: "_s + describe(StatusHolder::GetExchangeServers()).join(u' '));
    }

    std::unique_ptr<PageFixture> mFixture;
    std::unique_ptr<Transcript> mTranscript;
};

QTEST_MAIN(TestAddStores)
#include "tst_addstores.moc"

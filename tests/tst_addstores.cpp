#include "frame/GlobalVariables.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/AddStores.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectVarnel.h"
#include "pages/SelectZephrin.h"
#include "support/PageFixture.h"
#include "support/StandInPage.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

QStringList items(const QListWidget* list)
{
    QStringList names;
    for (int i = 0; i < list->count(); ++i) {
        names << list->item(i)->text();
    }
    return names;
}

QStringList names(const CollectionPtr& servers)
{
    QStringList result;
    if (servers) {
        for (const QVariant& name : servers->values()) {
            result << name.toString();
        }
    }
    return result;
}

// The three lists as "detected | Exchange 2000/2003 | Exchange 5.5".
QString lists(const AddStores& page)
{
    return items(page.ServersDetectedLbx).join(u',') + u" | "_s +
           items(page.E2kServersLbx).join(u',') + u" | "_s + items(page.E55ServersLbx).join(u',');
}

// The saved lists in the same form, without the detected one.
QString saved()
{
    const CollectionPtr servers = StatusHolder::GetExchangeServers();
    return names(toCollection(servers->item(StateKeys::E2kServers))).join(u',') + u" | "_s +
           names(toCollection(servers->item(StateKeys::E55Servers))).join(u',');
}

// Runs moves written as "<button>:<server>" ("ToE2kBtn:MAIL02"); an empty server
// clicks with nothing selected.
void runMoves(AddStores& page, const QStringList& moves)
{
    for (const QString& move : moves) {
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
}

} // namespace

class TestAddStores : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        mFixture->useDemo(12);
        StandInPage::registerAs(PageNames::SelectUsers, u"Select Users to Migrate"_s);
    }
    void cleanup()
    {
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    void controlsAndLaunchLine_data()
    {
        QTest::addColumn<QStringList>("detected");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("launched");
        QTest::newRow("two servers")
            << QStringList{u"EXCH55"_s, u"MAIL02"_s} << u"EXCH55,MAIL02 |  | "_s
            << u"AddStores Launched, Servers: EXCH55;MAIL02;"_s;
        QTest::newRow("one name in two letter cases")
            << QStringList{u"EXCH55"_s, u"exch55"_s} << u"EXCH55 |  | "_s
            << u"AddStores Launched, Servers: EXCH55;"_s;
        QTest::newRow("none") << QStringList() << u" |  | "_s << u"AddStores Launched, Servers: "_s;
    }

    void controlsAndLaunchLine()
    {
        QFETCH(QStringList, detected);
        QFETCH(QString, shown);
        QFETCH(QString, launched);
        mFixture->markLog();
        AddStores* page = open(detected, true);
        QVERIFY(page != nullptr);
        QCOMPARE(page->windowTitle(), u"Select Exchange Server Types"_s);
        QCOMPARE(page->DescriptionLbl->text(),
                 u"The stores in the Stores Detected list are those stores used in 3.1x. To be "
                 "able to use them in Zephrin 4.5 you need to specify their type."_s);
        QCOMPARE(page->Label1->text() + u'|' + page->Label2->text() + u'|' + page->Label3->text(),
                 u"Servers Detected:|Exchange 2000/2003 Servers:|Exchange 5.5 Servers:"_s);
        QCOMPARE(lists(*page), shown);
        QCOMPARE(mFixture->newLogEntries(), QStringList{launched + u"2003-12-04 15:30:12"_s});
    }

    void moves_data()
    {
        QTest::addColumn<QStringList>("moves");
        QTest::addColumn<QString>("shown");
        QTest::newRow("every server typed")
            << QStringList{u"ToE2kBtn:A"_s, u"ToE55Btn:B"_s, u"ToE2kBtn:C"_s} << u" | A,C | B"_s;
        QTest::newRow("a server moved back goes to the end")
            << QStringList{u"ToE2kBtn:A"_s, u"FromE2kBtn:A"_s} << u"B,C,A |  | "_s;
        QTest::newRow("from one type to the other")
            << QStringList{u"ToE55Btn:B"_s, u"FromE55Btn:B"_s, u"ToE2kBtn:B"_s} << u"A,C | B | "_s;
        QTest::newRow("nothing selected")
            << QStringList{u"ToE2kBtn:"_s, u"ToE55Btn:"_s, u"FromE2kBtn:"_s, u"FromE55Btn:"_s}
            << u"A,B,C |  | "_s;
    }

    // Each button moves the selected server to the end of the other list.
    void moves()
    {
        QFETCH(QStringList, moves);
        QFETCH(QString, shown);
        AddStores* page = open({u"A"_s, u"B"_s, u"C"_s}, true);
        QVERIFY(page != nullptr);
        mFixture->markLog();
        runMoves(*page, moves);
        QCOMPARE(lists(*page), shown);
        QCOMPARE(mFixture->newLogEntries(), QStringList());
        QCOMPARE(saved(), u" | "_s);
    }

    void next_data()
    {
        QTest::addColumn<QStringList>("moves");
        QTest::addColumn<bool>("backToVarnel");
        QTest::addColumn<QStringList>("log");
        QTest::addColumn<QString>("kept");
        QTest::newRow("one of each, one left, from the source page")
            << QStringList{u"ToE2kBtn:A"_s, u"ToE55Btn:C"_s} << true
            << QStringList{u"AddStores: E2k Servers: A;"_s, u"AddStores: E55 Servers: C;"_s}
            << u"A | C"_s;
        QTest::newRow("all typed Exchange 2000/2003, from the target page")
            << QStringList{u"ToE2kBtn:C"_s, u"ToE2kBtn:A"_s, u"ToE2kBtn:B"_s} << false
            << QStringList{u"AddStores: E2k Servers: C;A;B;"_s, u"AddStores: E55 Servers: "_s}
            << u"C,A,B | "_s;
    }

    // Next logs and keeps the typed lists, and opens the user selection page where this
    // page stood, telling it where its Previous returns.
    void next()
    {
        QFETCH(QStringList, moves);
        QFETCH(bool, backToVarnel);
        QFETCH(QStringList, log);
        QFETCH(QString, kept);
        AddStores* page = open({u"A"_s, u"B"_s, u"C"_s}, backToVarnel);
        QVERIFY(page != nullptr);
        page->move(140, 90);
        runMoves(*page, moves);
        mFixture->markLog();
        PageFixture::click(page->NextBtn);

        QCOMPARE(mFixture->newLogEntries(), log);
        QCOMPARE(saved(), kept);
        auto* users = PageFixture::visible<StandInPage>();
        QVERIFY(users != nullptr);
        QCOMPARE(PageFixture::visibleWindows<QWidget>().size(), 1);
        QCOMPARE(users->opened, QStringList{u"LoadStateNext backToVarnel=%1"_s.arg(
                                    backToVarnel ? "true" : "false")});
        QCOMPARE(users->pos(), QPoint(140, 90));
    }

    void previous_data()
    {
        QTest::addColumn<bool>("backToVarnel");
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("chosen");
        QTest::newRow("from the source page") << true << u"SelectVarnel"_s << u"Varnel"_s;
        QTest::newRow("from the target page") << false << u"SelectZephrin"_s << u"Directory"_s;
    }

    // Previous returns to the database page the wizard came from, restored.
    void previous()
    {
        QFETCH(bool, backToVarnel);
        QFETCH(QString, page);
        QFETCH(QString, chosen);
        AddStores* stores = open({u"A"_s}, backToVarnel);
        QVERIFY(stores != nullptr);
        runMoves(*stores, {u"ToE2kBtn:A"_s});
        PageFixture::click(stores->PreviousBtn);
        auto* database = PageFixture::visible<SelectDatabase>();
        QVERIFY(database != nullptr);
        QCOMPARE(PageFixture::visibleWindows<QWidget>().size(), 1);
        QCOMPARE(database->objectName(), page);
        QCOMPARE(database->DatabaseServerTxt->text(), u"sqlite:"_s + mFixture->demo().folder);
        QCOMPARE(database->DatabaseCbx->currentText(), chosen);
        QVERIFY(database->NextBtn->isEnabled());
        // Only Next keeps the typed lists.
        QCOMPARE(saved(), u" | "_s);
    }

    // Entered backwards, the page shows the typed lists as Next kept them and, as
    // detected, the servers handed to it last that are typed in neither; it still
    // knows which database page its Previous returns to.
    void enteredBackwards()
    {
        GlobalVariables::gbAddStores = true;
        AddStores* page = open({u"A"_s, u"B"_s, u"C"_s, u"D"_s}, false);
        QVERIFY(page != nullptr);
        runMoves(*page, {u"ToE2kBtn:C"_s, u"ToE55Btn:A"_s, u"ToE2kBtn:B"_s});
        PageFixture::click(page->NextBtn);
        auto* users = PageFixture::visible<StandInPage>();
        QVERIFY(users != nullptr);

        mFixture->markLog();
        PageFixture::click(users->PreviousBtn);
        page = PageFixture::visible<AddStores>();
        QVERIFY(page != nullptr);
        QCOMPARE(lists(*page), u"D | C,B | A"_s);
        QVERIFY(!page->gbBackToVarnel);
        QCOMPARE(mFixture->newLogEntries(),
                 QStringList{u"AddStores Launched, Servers: D;2003-12-04 15:30:12"_s});

        // Moves made now are kept only by the next Next.
        runMoves(*page, {u"FromE2kBtn:C"_s, u"ToE55Btn:D"_s});
        QCOMPARE(saved(), u"C,B | A"_s);
        PageFixture::click(page->NextBtn);
        QCOMPARE(saved(), u"B | A,D"_s);
        users = PageFixture::visible<StandInPage>();
        QVERIFY(users != nullptr);
        QCOMPARE(users->opened, QStringList{u"LoadStateNext backToVarnel=false"_s});

        // The previous page takes the lists of the last Next, the new detected servers
        // of a new verification start a new forward entry.
        PageFixture::click(users->PreviousBtn);
        page = PageFixture::visible<AddStores>();
        QVERIFY(page != nullptr);
        QCOMPARE(lists(*page), u"C | B | A,D"_s);
    }

private:
    // Opens the page as a database page does after a verification.
    AddStores* open(const QStringList& detected, bool backToVarnel)
    {
        auto* page = qobject_cast<AddStores*>(Pages::create(PageNames::AddStores));
        if (page == nullptr) {
            return nullptr;
        }
        page->setBackToVarnel(backToVarnel);
        page->setDetectedServers(detected);
        page->LoadStateNext();
        page->show();
        return page;
    }

    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestAddStores)
#include "tst_addstores.moc"

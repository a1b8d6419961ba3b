#include "db/DbConnection.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/PageNames.h"
#include "pages/SelectDPProfiles.h"
#include "pages/UserInputFinished.h"
#include "support/PageFixture.h"
#include "support/StandInPage.h"

#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// The readable profiles of the demo source, in the reader's order; the damaged one is
// left out by the reader.
const QStringList DemoProfiles = {u"Sales WAP dial-in"_s, u"Field engineers SMS"_s,
                                  u"Prepaid USSD"_s,      u"US office TDMA"_s,
                                  u"Company GPRS"_s,      u"Pager gateway"_s};

QStringList lines(const QListWidget* list)
{
    QStringList texts;
    for (int row = 0; row < list->count(); ++row) {
        texts << list->item(row)->text();
    }
    return texts;
}

QStringList names(const CollectionPtr& profiles)
{
    QStringList texts;
    for (const QVariant& profile : profiles->values()) {
        texts << toCollection(profile)->item(RecordKeys::ProfileName).toString();
    }
    return texts;
}

// The log line of the reader for the demo's damaged profile.
const QString Skipped =
    u"VarnelDBCon: Device Provisioning profile \"Old export (damaged)\" skipped: its XML is not "
    "well formed: Premature end of document. (line 1, column 106)"_s;

// Selects a row as a click on it does.
void select(QListWidget* list, int row)
{
    list->setCurrentRow(row);
}

void doubleClick(QListWidget* list, int row)
{
    const QPoint point = list->visualItemRect(list->item(row)).center();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, point);
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, point);
}

// Runs the steps of a script on the page: "o<row>" / "n<row>" select a row of
// "Profiles:" / "Profiles to Migrate:" and press the arrow that moves it out, "o" / "n"
// press the arrow with nothing selected, "O<row>" / "N<row>" double-click a row, "A"
// and "Z" press "Migrate All" and "Migrate None".
void run(SelectDPProfiles& page, const QString& script)
{
    for (const QString& step : script.split(u' ', Qt::SkipEmptyParts)) {
        const QChar what = step.front();
        const bool hasRow = step.size() > 1;
        const int row = hasRow ? step.mid(1).toInt() : -1;
        QListWidget* list = what.toLower() == u'o' ? page.lstOldProfiles : page.lstNewProfiles;
        if (what == u'A') {
            PageFixture::click(page.MigrateAll);
        } else if (what == u'Z') {
            PageFixture::click(page.MigrateNone);
        } else if (what.isUpper()) {
            doubleClick(list, row);
        } else {
            if (hasRow) {
                select(list, row);
            } else {
                list->clearSelection();
                list->setCurrentRow(-1);
            }
            PageFixture::click(what == u'o' ? page.OldToMigrateBtn : page.MigrateToOldBtn);
        }
    }
}

QStringList pick(const QList<int>& positions)
{
    QStringList picked;
    for (int position : positions) {
        picked << DemoProfiles.at(position);
    }
    return picked;
}

} // namespace

class TestSelectDPProfiles : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        mFixture->useDemo(12);
        for (const QLatin1String name : {PageNames::SelectUsers, PageNames::SelectEmailTemplate,
                                         PageNames::EnterConnectData}) {
            StandInPage::registerAs(name);
        }
    }
    void cleanup()
    {
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    // Entered forward: every readable profile of the source in "Profiles:", none chosen,
    // and the launch line.
    void entersWithAllProfilesLeftBehind()
    {
        auto* page = mFixture->open<SelectDPProfiles>(PageNames::SelectDPProfiles,
                                                      WizardPage::Restore::Next);
        QVERIFY(page != nullptr);
        QCOMPARE(page->windowTitle(), u"Select Device Provisioning Profiles to Migrate"_s);
        QCOMPARE(page->SUExpl->text(),
                 u"Select the Device Provisioning profiles you wish to migrate to Zephrin 4.5"_s);
        QCOMPARE(page->Label1->text(), u"Profiles:"_s);
        QCOMPARE(page->Label2->text(), u"Profiles to Migrate:"_s);
        QCOMPARE(page->MigrateAll->text(), u"Migrate All"_s);
        QCOMPARE(page->MigrateNone->text(), u"Migrate None"_s);
        QCOMPARE(lines(page->lstOldProfiles), DemoProfiles);
        QCOMPARE(lines(page->lstNewProfiles), QStringList());
        QCOMPARE(mFixture->logEntries(),
                 QStringList({u"SelectDPProfiles Launched2003-12-04 15:30:12"_s, Skipped}));
    }

    void moves_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QStringList>("left");
        QTest::addColumn<QStringList>("chosen");
        QTest::newRow("two moved, in the order chosen")
            << u"o3 o0"_s << pick({1, 2, 4, 5}) << pick({3, 0});
        QTest::newRow("moved back goes to the end")
            << u"o0 n0"_s << pick({1, 2, 3, 4, 5, 0}) << QStringList();
        QTest::newRow("double-clicks") << u"O2 O0 N1"_s << pick({1, 3, 4, 5, 0}) << pick({2});
        QTest::newRow("no selection, nothing moves")
            << u"o0 o n"_s << pick({1, 2, 3, 4, 5}) << pick({0});
        QTest::newRow("all, then none: the first order")
            << u"A Z"_s << DemoProfiles << QStringList();
        QTest::newRow("all keeps the chosen first")
            << u"o4 A"_s << QStringList() << pick({4, 0, 1, 2, 3, 5});
    }

    // The arrows, double-clicks and Migrate All / None move whole profiles between the
    // two lists; the lists on screen and behind them agree.
    void moves()
    {
        QFETCH(QString, script);
        QFETCH(QStringList, left);
        QFETCH(QStringList, chosen);
        auto* page = mFixture->open<SelectDPProfiles>(PageNames::SelectDPProfiles,
                                                      WizardPage::Restore::Next);
        QVERIFY(page != nullptr);
        run(*page, script);
        QCOMPARE(lines(page->lstOldProfiles), left);
        QCOMPARE(lines(page->lstNewProfiles), chosen);
        QCOMPARE(names(page->cOldProfiles), left);
        QCOMPARE(names(page->cNewProfiles), chosen);
        QCOMPARE(names(page->cAllProfiles), DemoProfiles);
    }

    // Next writes the chosen names under the user page's heading, keeps the three lists
    // and opens the summary, which counts them.
    void nextKeepsTheLists()
    {
        auto* page = mFixture->open<SelectDPProfiles>(PageNames::SelectDPProfiles,
                                                      WizardPage::Restore::Next);
        QVERIFY(page != nullptr);
        run(*page, u"o4 o0"_s);
        const QByteArray before = mFixture->log();
        PageFixture::click(page->NextBtn);

        QVERIFY(mFixture->log().startsWith(before));
        const QByteArray written = mFixture->log().mid(before.size());
        QVERIFY2(written.startsWith("SelectUsers: Exported Profiles: \r\nCompany GPRS\r\nSales WAP "
                                    "dial-in\r\n\r\n\r\nUserInputFinished Launched"),
                 written.constData());
        const CollectionPtr saved = StatusHolder::GetProfileLists();
        QCOMPARE(names(saved->collection(StateKeys::AllProfiles)), DemoProfiles);
        QCOMPARE(names(saved->collection(StateKeys::ExportedProfiles)), pick({4, 0}));
        QCOMPARE(names(saved->collection(StateKeys::OldProfiles)), pick({1, 2, 3, 5}));

        auto* summary = PageFixture::visible<UserInputFinished>();
        QVERIFY(summary != nullptr);
        QVERIFY(summary->BeforeOpInfo->text().contains(
            u"Number of Device Provisioning Profiles to Migrate: 2\n"_s));
    }

    void previous_data()
    {
        QTest::addColumn<int>("backTo");
        QTest::addColumn<QString>("opened");
        QTest::newRow("0: user selection") << 0 << QString(PageNames::SelectUsers);
        QTest::newRow("1: e-mail template") << 1 << QString(PageNames::SelectEmailTemplate);
        QTest::newRow("2: mail logon") << 2 << QString(PageNames::EnterConnectData);
        QTest::newRow("3: nowhere") << 3 << QString();
    }

    // Previous returns to the page giBackTo names, restored; any other value only closes
    // the profile page.
    void previous()
    {
        QFETCH(int, backTo);
        QFETCH(QString, opened);
        auto* page = mFixture->open<SelectDPProfiles>(PageNames::SelectDPProfiles);
        QVERIFY(page != nullptr);
        page->giBackTo = backTo;
        PageFixture::click(page->PreviousBtn);
        auto* shown = PageFixture::visible<WizardPage>();
        if (opened.isEmpty()) {
            QCOMPARE(shown, nullptr);
            QVERIFY(PageFixture::visibleWindows<WizardPage>().isEmpty());
            return;
        }
        QVERIFY(shown != nullptr);
        QCOMPARE(shown->objectName(), opened);
        QCOMPARE(qobject_cast<StandInPage*>(shown)->opened,
                 QStringList{u"LoadStatePrev backToVarnel=false"_s});
        QVERIFY(PageFixture::visibleWindows<SelectDPProfiles>().isEmpty());
    }

    // Back from the summary the page shows the lists as Next left them and still knows
    // which page lies behind it; going forward again starts from the source.
    void restoredFromTheSummary()
    {
        auto* page = mFixture->open<SelectDPProfiles>(PageNames::SelectDPProfiles,
                                                      WizardPage::Restore::Next);
        QVERIFY(page != nullptr);
        page->giBackTo = SelectDPProfiles::BackToConnectData;
        run(*page, u"o5 o1"_s);
        PageFixture::click(page->NextBtn);
        auto* summary = PageFixture::visible<UserInputFinished>();
        QVERIFY(summary != nullptr);
        PageFixture::click(summary->PreviousBtn);

        page = PageFixture::visible<SelectDPProfiles>();
        QVERIFY(page != nullptr);
        QCOMPARE(page->giBackTo, int(SelectDPProfiles::BackToConnectData));
        QCOMPARE(lines(page->lstOldProfiles), pick({0, 2, 3, 4}));
        QCOMPARE(lines(page->lstNewProfiles), pick({5, 1}));
        run(*page, u"n0"_s);
        QCOMPARE(lines(page->lstOldProfiles), pick({0, 2, 3, 4, 5}));
        PageFixture::click(page->PreviousBtn);
        auto* logon = PageFixture::visible<StandInPage>();
        QVERIFY(logon != nullptr);
        QCOMPARE(logon->objectName(), QString(PageNames::EnterConnectData));

        auto* again = mFixture->open<SelectDPProfiles>(PageNames::SelectDPProfiles,
                                                       WizardPage::Restore::Next);
        QVERIFY(again != nullptr);
        QCOMPARE(lines(again->lstOldProfiles), DemoProfiles);
        QCOMPARE(lines(again->lstNewProfiles), QStringList());
    }

    // A source without profiles shows two empty lists, and Next goes on with none.
    void sourceWithoutProfiles()
    {
        {
            DbConnection source(mFixture->demo().sourceConnectionString);
            source.execute(u"DELETE FROM ProvisioningProfiles"_s);
        }
        auto* page = mFixture->open<SelectDPProfiles>(PageNames::SelectDPProfiles,
                                                      WizardPage::Restore::Next);
        QVERIFY(page != nullptr);
        QCOMPARE(page->lstOldProfiles->count(), 0);
        QCOMPARE(page->lstNewProfiles->count(), 0);
        run(*page, u"A o n"_s);
        QVERIFY(page->NextBtn->isEnabled());
        PageFixture::click(page->NextBtn);
        QVERIFY(PageFixture::visible<UserInputFinished>() != nullptr);
        QCOMPARE(StatusHolder::GetProfileLists()->collection(StateKeys::ExportedProfiles)->count(),
                 0);
        QVERIFY(mFixture->log().contains("SelectUsers: Exported Profiles: \r\n\r\n\r\n"));
    }

private:
    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestSelectDPProfiles)
#include "tst_selectdpprofiles.moc"

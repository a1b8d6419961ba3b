#include "db/DbConnection.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/PageNames.h"
#include "pages/SelectDPProfiles.h"
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

QString lines(const QListWidget* list)
{
    QStringList texts;
    for (int row = 0; row < list->count(); ++row) {
        texts << list->item(row)->text();
    }
    return texts.join(u", "_s);
}

QString names(const CollectionPtr& profiles)
{
    QStringList texts;
    for (const QVariant& profile : profiles->values()) {
        texts << toCollection(profile)->item(RecordKeys::ProfileName).toString();
    }
    return texts.join(u", "_s);
}

void doubleClick(QListWidget* list, int row)
{
    const QPoint point = list->visualItemRect(list->item(row)).center();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, point);
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, point);
}

// One step on the page: "o<row>" / "n<row>" select a row of "Profiles:" / "Profiles to
// Migrate:" and press the arrow that moves it out, "o" / "n" press the arrow with
// nothing selected, "O<row>" / "N<row>" double-click a row, "A" and "Z" press "Migrate
// All" and "Migrate None", "back=<n>" sets giBackTo.
void run(SelectDPProfiles& page, const QString& step)
{
    const QChar what = step.front();
    const bool hasRow = step.size() > 1;
    const int row = hasRow ? step.mid(1).toInt() : -1;
    QListWidget* list = what.toLower() == u'o' ? page.lstOldProfiles : page.lstNewProfiles;
    if (step.startsWith(u"back="_s)) {
        page.giBackTo = step.mid(5).toInt();
    } else if (what == u'A' || what == u'Z') {
        PageFixture::click(what == u'A' ? page.MigrateAll : page.MigrateNone);
    } else if (what.isUpper()) {
        doubleClick(list, row);
    } else {
        list->clearSelection();
        list->setCurrentRow(row);
        PageFixture::click(what == u'o' ? page.OldToMigrateBtn : page.MigrateToOldBtn);
    }
}

} // namespace

// The profile page entered forward on the demo, then a script of steps (see run();
// "Next" and "Previous" click on the window shown, "reopen" opens the page forward
// anew). After every step the transcript holds the two lists on screen and behind them,
// where Previous returns, the window shown and the log; on entering and after "Next"
// and "Previous" the whole windows. Compared with tests/data/selectdpprofiles/<row>.txt.
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
        mTranscript = std::make_unique<Transcript>(*mFixture);
    }
    void cleanup()
    {
        mTranscript.reset();
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    void scripts_data()
    {
        QTest::addColumn<bool>("profiles"); // the source has its profiles
        QTest::addColumn<QString>("script");
        // Every readable profile of the source left behind (the damaged one logged).
        QTest::newRow("entered") << true << QString();
        // The arrows, double-clicks and Migrate All / None move whole profiles.
        QTest::newRow("two moved in the order chosen") << true << u"o3 o0"_s;
        QTest::newRow("moved back goes to the end") << true << u"o0 n0"_s;
        QTest::newRow("double-clicks") << true << u"O2 O0 N1"_s;
        QTest::newRow("no selection nothing moves") << true << u"o0 o n"_s;
        QTest::newRow("all then none the first order") << true << u"A Z"_s;
        QTest::newRow("all keeps the chosen first") << true << u"o4 A"_s;
        // Next writes the chosen names under the user page's heading, keeps the three
        // lists and opens the summary, which counts them.
        QTest::newRow("next keeps the lists") << true << u"o4 o0 Next"_s;
        // Previous returns to the page giBackTo names, restored; any other value only
        // closes the page.
        QTest::newRow("previous 0 user selection") << true << u"back=0 Previous"_s;
        QTest::newRow("previous 1 template") << true << u"back=1 Previous"_s;
        QTest::newRow("previous 2 mail logon") << true << u"back=2 Previous"_s;
        QTest::newRow("previous 3 nowhere") << true << u"back=3 Previous"_s;
        // Back from the summary the lists are as Next left them and the page still knows
        // what lies behind it; going forward again starts from the source.
        QTest::newRow("restored from the summary")
            << true << u"back=2 o5 o1 Next Previous n0 Previous reopen"_s;
        QTest::newRow("source without profiles") << false << u"A o n Next"_s;
    }

    void scripts()
    {
        QFETCH(bool, profiles);
        QFETCH(QString, script);
        if (!profiles) {
            DbConnection source(mFixture->demo().sourceConnectionString);
            source.execute(u"DELETE FROM ProvisioningProfiles"_s);
        }
        mFixture->open<SelectDPProfiles>(PageNames::SelectDPProfiles, WizardPage::Restore::Next);
        step(u"entered"_s, true);
        for (const QString& move : script.split(u' ', Qt::SkipEmptyParts)) {
            if (move == "reopen"_L1) {
                mFixture->open<SelectDPProfiles>(PageNames::SelectDPProfiles,
                                                 WizardPage::Restore::Next);
                Transcript::on<StandInPage>().close();
            } else if (move == "Next"_L1 || move == "Previous"_L1) {
                auto& shown = Transcript::on<WizardPage>();
                PageFixture::click(move == "Next"_L1 ? shown.NextBtn : shown.PreviousBtn);
            } else {
                run(Transcript::on<SelectDPProfiles>(), move);
            }
            step(move, move == "Next"_L1 || move == "Previous"_L1);
        }
        QCOMPARE_GOLDEN(mTranscript->text(), Golden::rowFile(u"selectdpprofiles/"_s));
    }

private:
    void step(const QString& title, bool windows)
    {
        windows ? mTranscript->step(title) : mTranscript->stepQuiet(title);
        mTranscript->note(u"shown: "_s + Transcript::visibleNames());
        if (auto* page = PageFixture::visible<SelectDPProfiles>()) {
            mTranscript->note(u"left: "_s + lines(page->lstOldProfiles) + u"\nchosen: "_s +
                              lines(page->lstNewProfiles) + u"\nbehind: "_s +
                              names(page->cOldProfiles) + u" | "_s + names(page->cNewProfiles) +
                              u" | "_s + names(page->cAllProfiles) + u"\nback to: "_s +
                              QString::number(page->giBackTo));
        } else if (auto* other = PageFixture::visible<StandInPage>()) {
            mTranscript->note(u"opened: "_s + other->opened.join(u','));
        }
        const CollectionPtr kept = StatusHolder::GetProfileLists();
        QStringList lists;
        for (const QLatin1String key :
             {StateKeys::AllProfiles, StateKeys::ExportedProfiles, StateKeys::OldProfiles}) {
            const CollectionPtr list = kept->contains(key) ? kept->collection(key) : nullptr;
            lists << key + u": "_s + (list ? names(list) : u"(none)"_s);
        }
        mTranscript->note(u"kept: "_s + lists.join(u" | "_s));
    }

    std::unique_ptr<PageFixture> mFixture;
    std::unique_ptr<Transcript> mTranscript;
};

QTEST_MAIN(TestSelectDPProfiles)
#include "tst_selectdpprofiles.moc"

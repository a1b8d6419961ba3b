#include "frame/Collection.h"
#include "frame/GlobalVariables.h"
#include "frame/StatusHolder.h"
#include "pages/Finish.h"
#include "pages/PageNames.h"
#include "pages/UserInputFinished.h"
#include "support/Golden.h"
#include "support/PageFixture.h"
#include "support/StandInPage.h"
#include "support/Transcript.h"

#include <QDir>
#include <QFile>
#include <QFontMetricsF>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

CollectionPtr listOf(const QStringList& names)
{
    const CollectionPtr list = Collection::create();
    for (const QString& name : names) {
        list->add(name, name);
    }
    return list;
}

// The state store as the pages leave it before the summary: servers to add as stores
// ("EX1 EX2|EXCH55"), users and profiles to migrate, whether mail is sent.
void fillState(const QString& servers, int users, int profiles, bool send)
{
    StatusHolder::SetVarnelDatabase(u"SRV1"_s, u"Mobile"_s, 0, 1, u"sa"_s, u"pw"_s, true, u"a"_s);
    StatusHolder::SetZephrinDatabase(u"SRV2"_s, u"Directory"_s, 0, 1, u"sa"_s, u"pw"_s, true,
                                     u"b"_s);
    const QStringList kinds = servers.split(u'|');
    StatusHolder::SetExchangeServers(listOf(kinds.value(0).split(u' ', Qt::SkipEmptyParts)),
                                     listOf(kinds.value(1).split(u' ', Qt::SkipEmptyParts)));
    const auto count = [](int n) {
        QStringList names;
        for (int i = 1; i <= n; ++i) {
            names << u"item %1"_s.arg(i);
        }
        return listOf(names);
    };
    const CollectionPtr none = Collection::create();
    StatusHolder::SetUserLists(none, none, none, none, none, count(users), none, none, none);
    StatusHolder::SetProfileLists(none, count(profiles), none);
    StatusHolder::SetEmailChoice(send, u"Welcome"_s);
}

const QString Report = u"Status, migrated users:\r\n\r\n2 of 2 user(s) successfully migrated\r\n"
                       "\r\n\r\nUsers with changed Login ID and/or password:\r\n\r\n"
                       "Name                           Login ID                       Password\r\n"
                       "Ann Lee                        ann.lee                        Ab3dE9\r\n"
                       "\r\n2 of 2 Device Provisioning profile(s) were successfully migrated."
                       "\r\n\r\n"_s;

} // namespace

class TestSummaryFinish : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        StandInPage::registerAs(PageNames::SelectDPProfiles);
    }
    void cleanup()
    {
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    // The summary page as shown and logged, one file per row. Product names are put in
    // once: a name that holds a placeholder keeps it. The template line shows only when
    // new passwords are mailed.
    void summary_data()
    {
        QTest::addColumn<QString>("servers");
        QTest::addColumn<int>("users");
        QTest::addColumn<bool>("ntLogon");
        QTest::addColumn<bool>("send");
        QTest::addColumn<QString>("importApp");
        QTest::addColumn<QString>("exportApp");
        QTest::addRow("the example")
            << u"EX1"_s << 12 << false << false << u"Quorix"_s << u"3.1x"_s;
        QTest::addRow("both server lists, joined")
            << u"EX1 EX2|EXCH55 OLD X"_s << 1 << false << false << u"Quorix"_s << u"3.1x"_s;
        QTest::addRow("new passwords, mail sent")
            << QString() << 12 << true << true << u"Quorix"_s << u"3.1x"_s;
        QTest::addRow("mail without new passwords shows no template")
            << QString() << 12 << false << true << u"Quorix"_s << u"3.1x"_s;
        QTest::addRow("names with placeholders")
            << QString() << 1 << false << false << u"Quorix <IMAPP>"_s << u"3.1x <EXAPP>"_s;
    }
    void summary()
    {
        QFETCH(QString, servers);
        QFETCH(int, users);
        QFETCH(bool, ntLogon);
        QFETCH(bool, send);
        QFETCH(QString, importApp);
        QFETCH(QString, exportApp);
        GlobalVariables::gsImportApp = importApp;
        GlobalVariables::gsExportApp = exportApp;
        fillState(servers, users, 3, send);
        GlobalVariables::gbNtLogon = ntLogon;
        Transcript transcript(*mFixture);
        auto* page = mFixture->open<UserInputFinished>(PageNames::UserInputFinished,
                                                       WizardPage::Restore::Next);
        QVERIFY(page != nullptr);
        transcript.step(u"opened"_s);
        QCOMPARE(page->BeforeOpInfo->text(),
                 UserInputFinished::SummaryText().replace(u"\r\n"_s, u"\n"_s));
        QCOMPARE_GOLDEN(transcript.text(), Golden::rowFile(u"summaryfinish/summary-"_s));
    }

    // Going back and forward rebuilds the summary from the state store as it is then;
    // Return starts the run rather than going back; Previous restores the profile page,
    // Cancel only closes.
    void rebuiltOnEveryLoad()
    {
        fillState({}, 4, 1, false);
        auto* page = mFixture->open<UserInputFinished>(PageNames::UserInputFinished);
        QVERIFY(page != nullptr);
        QVERIFY(page->BeforeOpInfo->text().contains(u"Number of Users to Migrate: 4\n"_s));
        QCOMPARE(page->focusWidget(), page->NextBtn);
        PageFixture::click(page->PreviousBtn);
        auto* profiles = PageFixture::visible<StandInPage>();
        QVERIFY(profiles != nullptr);
        QCOMPARE(profiles->objectName(), QString(PageNames::SelectDPProfiles));
        QCOMPARE(profiles->opened, QStringList{u"LoadStatePrev backToVarnel=false"_s});

        fillState(u"EX9"_s, 7, 1, false);
        page = mFixture->open<UserInputFinished>(PageNames::UserInputFinished);
        QVERIFY(page != nullptr);
        QVERIFY(page->BeforeOpInfo->text().contains(
            u"Stores: EX9\n\nNumber of Users to Migrate: 7\n"_s));
        profiles->unload();
        PageFixture::click(page->CancelBtn);
        QVERIFY(PageFixture::visibleWindows<WizardPage>().isEmpty());
    }

    // The finish page shows the report unchanged in a box whose columns line up and
    // writes no log line. "Save" asks for a file with the three filters, text files
    // first, and appends the box's current text to it, CR LF line ends, no line end
    // added, in 8 bits; a cancelled dialog (an empty name) is told and so is a file
    // that cannot be opened, with the system's reason. "Finish" ends the wizard.
    void finishPage()
    {
        Transcript transcript(*mFixture);
        auto* page = mFixture->open<Finish>(PageNames::Finish);
        QVERIFY(page != nullptr);
        page->setReport(Report);
        QCOMPARE(page->reportText(), Report);
        // Narrow, wide and punctuation characters advance alike in the box's font.
        const QFontMetricsF metrics(page->AfterOpInfo->font());
        const qreal narrow = metrics.horizontalAdvance(u"iiii"_s);
        QCOMPARE(metrics.horizontalAdvance(u"WWWW"_s), narrow);
        QCOMPARE(metrics.horizontalAdvance(u"...."_s), narrow);

        transcript.step(u"opened"_s);
        const QString path = QDir(mFixture->folder()).filePath(u"report.txt"_s);
        const auto save = [&](const QString& name, const QString& title) {
            if (!name.isEmpty()) {
                mFixture->prompter().fileNames << name;
            }
            PageFixture::click(page->WriteToFileBtn);
            transcript.stepQuiet(title);
            QFile file(path);
            if (file.open(QIODevice::ReadOnly)) {
                transcript.note(Golden::fromCrlf(QString::fromLatin1(file.readAll())));
            }
        };
        save({}, u"save, no name given"_s);
        save(QDir(mFixture->folder()).filePath(u"no such folder/report.txt"_s),
             u"save into a missing folder"_s);
        save(path, u"save to a new file"_s);
        save(path, u"save again: appended"_s);
        // Typed over the report: a letter beyond ASCII, a line break, a line.
        page->AfterOpInfo->setFocus();
        page->AfterOpInfo->selectAll();
        QTest::keyClicks(page->AfterOpInfo, u"Checked by Zo"_s);
        QTest::sendKeyEvent(QTest::Click, page->AfterOpInfo, Qt::Key_Ediaeresis, u"\u00EB"_s,
                            Qt::NoModifier);
        QTest::keyClick(page->AfterOpInfo, Qt::Key_Return);
        QTest::keyClicks(page->AfterOpInfo, u"ok"_s);
        save(path, u"the box as edited, saved"_s);
        PageFixture::click(page->CancelBtn);
        transcript.step(u"Finish"_s);
        QCOMPARE_GOLDEN(transcript.text(), u"summaryfinish/finish.txt"_s);
    }

private:
    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestSummaryFinish)
#include "tst_summaryfinish.moc"

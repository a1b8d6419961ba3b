#include "frame/Collection.h"
#include "frame/GlobalVariables.h"
#include "frame/StatusHolder.h"
#include "pages/Finish.h"
#include "pages/PageNames.h"
#include "pages/UserInputFinished.h"
#include "support/PageFixture.h"
#include "support/StandInPage.h"

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

CollectionPtr listOf(const QStringList& names, bool keyed = true)
{
    const CollectionPtr list = Collection::create();
    for (const QString& name : names) {
        list->add(name, keyed ? name : QString());
    }
    return list;
}

CollectionPtr count(int n)
{
    QStringList names;
    for (int i = 1; i <= n; ++i) {
        names << u"item %1"_s.arg(i);
    }
    return listOf(names);
}

// The state store as the pages leave it before the summary.
void fillState(const QStringList& e2k, const QStringList& e55, int users, int profiles, bool send,
               const QString& title)
{
    StatusHolder::SetVarnelDatabase(u"SRV1"_s, u"Mobile"_s, 0, 1, u"sa"_s, u"pw"_s, true, u"a"_s);
    StatusHolder::SetZephrinDatabase(u"SRV2"_s, u"Directory"_s, 0, 1, u"sa"_s, u"pw"_s, true,
                                     u"b"_s);
    StatusHolder::SetExchangeServers(listOf(e2k), listOf(e55));
    const CollectionPtr none = Collection::create();
    StatusHolder::SetUserLists(none, none, none, none, none, count(users), none, none, none);
    StatusHolder::SetProfileLists(none, count(profiles), none);
    StatusHolder::SetEmailChoice(send, title);
}

const QString Report = u"Status, migrated users:\r\n\r\n2 of 2 user(s) successfully migrated\r\n"
                       "\r\n\r\nUsers with changed Login ID and/or password:\r\n\r\n"
                       "Name                           Login ID                       Password\r\n"
                       "Ann Lee                        ann.lee                        Ab3dE9\r\n"
                       "\r\n2 of 2 Device Provisioning profile(s) were successfully migrated."
                       "\r\n\r\n"_s;

QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

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

    void summary_data()
    {
        QTest::addColumn<QStringList>("e2k");
        QTest::addColumn<QStringList>("e55");
        QTest::addColumn<int>("users");
        QTest::addColumn<bool>("ntLogon");
        QTest::addColumn<bool>("send");
        QTest::addColumn<QStringList>("lines");
        const QStringList head = {
            u"The 3.1x migration tool has all the information it needs to start the migration."_s,
            QString(),
            u"3.1x Database Server: SRV1"_s,
            u"3.1x Database: Mobile"_s,
            QString(),
            u"Quorix Database Server: SRV2"_s,
            u"Quorix Database: Directory"_s,
            QString()};
        const auto tail = [](int users, const QStringList& mail) {
            return QStringList{u"Number of Users to Migrate: %1"_s.arg(users), QString(),
                               u"Number of Device Provisioning Profiles to Migrate: 3"_s,
                               QString()} +
                   mail + QStringList{u"The migration will start when you press \"Next\"."_s};
        };
        const QStringList templateLine = {u"E-mail template selected: Welcome"_s, QString()};
        QTest::newRow("the example")
            << QStringList{u"EX1"_s} << QStringList() << 12 << false << false
            << head +
                   QStringList{u"Exchange 2000/2003 Servers to Add as Stores: EX1"_s, QString()} +
                   tail(12, {});
        QTest::newRow("both server lists, joined")
            << QStringList{u"EX1"_s, u"EX2"_s} << QStringList{u"EXCH55"_s, u"OLD"_s, u"X"_s} << 1
            << false << false
            << head +
                   QStringList{
                       u"Exchange 2000/2003 Servers to Add as Stores: EX1, EX2"_s, QString(),
                       u"Exchange 5.5 Servers to Add as Stores: EXCH55, OLD, X"_s, QString()} +
                   tail(1, {});
        QTest::newRow("new passwords, mail sent") << QStringList() << QStringList() << 12 << true
                                                  << true << head + tail(12, templateLine);
        QTest::newRow("mail without new passwords shows no template")
            << QStringList() << QStringList() << 12 << false << true << head + tail(12, {});
    }

    // The summary line for line, with the product names Quorix and 3.1x; the summary is
    // logged whole after the launch line.
    void summary()
    {
        QFETCH(QStringList, e2k);
        QFETCH(QStringList, e55);
        QFETCH(int, users);
        QFETCH(bool, ntLogon);
        QFETCH(bool, send);
        QFETCH(QStringList, lines);
        GlobalVariables::gsImportApp = u"Quorix"_s;
        fillState(e2k, e55, users, 3, send, u"Welcome"_s);
        GlobalVariables::gbNtLogon = ntLogon;
        auto* page = mFixture->open<UserInputFinished>(PageNames::UserInputFinished,
                                                       WizardPage::Restore::Next);
        QVERIFY(page != nullptr);
        QCOMPARE(page->windowTitle(), u"Ready to Migrate"_s);
        const QString text = UserInputFinished::SummaryText();
        QCOMPARE(text.split(u"\r\n"_s), lines);
        QCOMPARE(page->BeforeOpInfo->text(), lines.join(u'\n'));
        QCOMPARE(QString::fromLatin1(mFixture->log()),
                 u"UserInputFinished Launched2003-12-04 15:30:12\r\n\r\n"
                 "UserInputFinished: DisplayText: \r\n"_s +
                     text + u"\r\n\r\n"_s);
    }

    // Product names are put in once: a name that holds a placeholder keeps it.
    void namesPutInOnce()
    {
        GlobalVariables::gsImportApp = u"Quorix <IMAPP>"_s;
        GlobalVariables::gsExportApp = u"3.1x <EXAPP>"_s;
        fillState({}, {}, 1, 0, false, QString());
        const QStringList lines = UserInputFinished::SummaryText().split(u"\r\n"_s);
        QCOMPARE(lines.at(0), u"The 3.1x <EXAPP> migration tool has all the information it needs "
                              "to start the migration."_s);
        QCOMPARE(lines.at(5), u"Quorix <IMAPP> Database Server: SRV2"_s);
    }

    // Going back and forward rebuilds the summary from the state store as it is then;
    // Previous restores the profile page, Cancel only closes.
    void rebuiltOnEveryLoad()
    {
        fillState({}, {}, 4, 1, false, QString());
        auto* page = mFixture->open<UserInputFinished>(PageNames::UserInputFinished);
        QVERIFY(page != nullptr);
        QVERIFY(page->BeforeOpInfo->text().contains(u"Number of Users to Migrate: 4\n"_s));
        // Return starts the run rather than going back.
        QCOMPARE(page->focusWidget(), page->NextBtn);
        PageFixture::click(page->PreviousBtn);
        auto* profiles = PageFixture::visible<StandInPage>();
        QVERIFY(profiles != nullptr);
        QCOMPARE(profiles->objectName(), QString(PageNames::SelectDPProfiles));
        QCOMPARE(profiles->opened, QStringList{u"LoadStatePrev backToVarnel=false"_s});

        fillState({u"EX9"_s}, {}, 7, 1, false, QString());
        page = mFixture->open<UserInputFinished>(PageNames::UserInputFinished);
        QVERIFY(page != nullptr);
        QVERIFY(page->BeforeOpInfo->text().contains(u"Number of Users to Migrate: 7\n"_s));
        QVERIFY(page->BeforeOpInfo->text().contains(u"Stores: EX9\n"_s));
        profiles->unload();
        PageFixture::click(page->CancelBtn);
        QVERIFY(PageFixture::visibleWindows<WizardPage>().isEmpty());
    }

    // The finish page shows the report unchanged in a box whose columns line up,
    // writes no log line, and "Finish" ends the wizard.
    void finishPageShowsTheReport()
    {
        auto* page = mFixture->open<Finish>(PageNames::Finish);
        QVERIFY(page != nullptr);
        page->setReport(Report);
        QCOMPARE(page->windowTitle(), u"Migration Completed"_s);
        QCOMPARE(page->Label1->text(), u"Status Report:"_s);
        QCOMPARE(page->WriteToFileBtn->text(), u"Save"_s);
        QCOMPARE(page->CancelBtn->text(), u"Finish"_s);
        QCOMPARE(page->AfterOpInfo->toPlainText(), QString(Report).replace(u"\r\n"_s, u"\n"_s));
        QCOMPARE(page->reportText(), Report);
        // The report's columns line up: narrow, wide and punctuation characters advance
        // alike in the box's font.
        const QFontMetricsF metrics(page->AfterOpInfo->font());
        const qreal narrow = metrics.horizontalAdvance(u"iiii"_s);
        QCOMPARE(metrics.horizontalAdvance(u"WWWW"_s), narrow);
        QCOMPARE(metrics.horizontalAdvance(u"...."_s), narrow);
        QCOMPARE(mFixture->log(), QByteArray());

        PageFixture::click(page->CancelBtn);
        QVERIFY(PageFixture::visibleWindows<WizardPage>().isEmpty());
    }

    void save_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QString>("edit");
        QTest::addColumn<int>("saves");
        QTest::addColumn<QByteArray>("after");
        const QByteArray report = Report.toLatin1();
        QTest::newRow("a new file") << QByteArray() << QString() << 1 << report;
        QTest::newRow("an existing file is extended")
            << QByteArray("earlier run\r\n") << QString() << 1 << "earlier run\r\n" + report;
        QTest::newRow("the box as edited, 8-bit") << QByteArray() << u"Checked by Zoë\nok"_s << 1
                                                  << QByteArray("Checked by Zo\xEB\r\nok");
    }

    // "Save" appends the box's current text to the file chosen, CR LF line ends and no
    // line end added, after asking with the three filters, text files first.
    void save()
    {
        QFETCH(QByteArray, before);
        QFETCH(QString, edit);
        QFETCH(int, saves);
        QFETCH(QByteArray, after);
        const QString path = QDir(mFixture->folder()).filePath(u"report.txt"_s);
        if (!before.isEmpty()) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(before) == before.size());
        }
        auto* page = mFixture->open<Finish>(PageNames::Finish);
        QVERIFY(page != nullptr);
        page->setReport(Report);
        if (!edit.isEmpty()) {
            // Typed over the report: a line with a letter beyond ASCII, a line break, a line.
            page->AfterOpInfo->setFocus();
            page->AfterOpInfo->selectAll();
            QTest::keyClicks(page->AfterOpInfo, u"Checked by Zo"_s);
            QTest::sendKeyEvent(QTest::Click, page->AfterOpInfo, Qt::Key_Ediaeresis, u"\u00EB"_s,
                                Qt::NoModifier);
            QTest::keyClick(page->AfterOpInfo, Qt::Key_Return);
            QTest::keyClicks(page->AfterOpInfo, u"ok"_s);
            QCOMPARE(page->AfterOpInfo->toPlainText(), edit);
        }
        for (int i = 0; i < saves; ++i) {
            mFixture->prompter().fileNames << path;
            PageFixture::click(page->WriteToFileBtn);
        }
        QCOMPARE(fileBytes(path), after);
        QCOMPARE(mFixture->prompter().asked.size(), saves);
        for (const ScriptedPrompter::Asked& asked : mFixture->prompter().asked) {
            QCOMPARE(asked.kind, u"save"_s);
            QCOMPARE(asked.text, u"Text (*.txt);;Log (*.log);;All (*.*)"_s);
            QCOMPARE(asked.parent, QString(PageNames::Finish));
        }
        QCOMPARE(PageFixture::visible<Finish>(), page);
    }

    // A cancelled dialog is told as an empty name; a file that cannot be opened is told
    // with the system's reason. Nothing is written either way and the page stays.
    void saveRefused()
    {
        auto* page = mFixture->open<Finish>(PageNames::Finish);
        QVERIFY(page != nullptr);
        page->setReport(Report);
        PageFixture::click(page->WriteToFileBtn);
        const QString missing = QDir(mFixture->folder()).filePath(u"no such folder/report.txt"_s);
        mFixture->prompter().fileNames << missing;
        PageFixture::click(page->WriteToFileBtn);

        const QList<ScriptedPrompter::Asked> asked = mFixture->prompter().asked;
        QCOMPARE(asked.size(), 4);
        QCOMPARE(asked.at(1).text, u"To save the log file you need to specify a name."_s);
        QCOMPARE(asked.at(1).title, u"Empty Path"_s);
        QCOMPARE(asked.at(1).icon, Prompter::Icon::Information);
        QCOMPARE(asked.at(1).buttons, Prompter::Buttons::Ok);
        QCOMPARE(asked.at(1).parent, QString(PageNames::Finish));
        // The system's reason, with the file named.
        QVERIFY2(asked.at(3).text.startsWith(u"The status report could not be saved.\r\n\r\n"_s +
                                             missing),
                 qPrintable(asked.at(3).text));
        QVERIFY2(asked.at(3).text.contains(u"no such folder"_s), qPrintable(asked.at(3).text));
        QCOMPARE(asked.at(3).icon, Prompter::Icon::Critical);
        QVERIFY(!QFile::exists(missing));
        QCOMPARE(PageFixture::visible<Finish>(), page);
        QCOMPARE(mFixture->log(), QByteArray());
    }

private:
    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestSummaryFinish)
#include "tst_summaryfinish.moc"

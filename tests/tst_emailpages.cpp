#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "directory/ZephrinFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/EnterConnectData.h"
#include "pages/PageNames.h"
#include "pages/SelectDPProfiles.h"
#include "pages/SelectEmailTemplate.h"
#include "support/PageFixture.h"
#include "support/StandInPage.h"

#include <QCheckBox>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

const QStringList DemoTitles = {u"Welcome to your mobile mailbox"_s, u"New password"_s};
const QString StoredAccount = u"MAIL01;svc-migrate;svc-migrate@example.com"_s;
const QString UnableToConnect = u"The migration tool could not connect to the service account "
                                "with the supplied credentials. [Unable to Connect]"_s;

QStringList lines(const QListWidget* list)
{
    QStringList texts;
    for (int row = 0; row < list->count(); ++row) {
        texts << list->item(row)->text();
    }
    return texts;
}

// What the template page shows: the box, the selected title and whether Next can be
// pressed, as "box=1 selected=<title> next=1".
QString shown(const SelectEmailTemplate& page)
{
    const QList<QListWidgetItem*> selected = page.EmailTemplates->selectedItems();
    return u"box=%1 selected=%2 next=%3"_s.arg(int(page.DoNotSend->isChecked()))
        .arg(selected.isEmpty() ? QString() : selected.first()->text())
        .arg(int(page.NextBtn->isEnabled()));
}

void clickTemplate(SelectEmailTemplate& page, int row)
{
    QListWidget* list = page.EmailTemplates;
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                      list->visualItemRect(list->item(row)).center());
}

void clickBox(QCheckBox* box)
{
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(6, box->height() / 2));
}

void type(QLineEdit* box, const QString& text)
{
    box->selectAll();
    QTest::keyClick(box, Qt::Key_Delete);
    QTest::keyClicks(box, text);
}

QString choice()
{
    const CollectionPtr saved = StatusHolder::GetEmailChoice();
    return u"send=%1 title=%2"_s.arg(int(saved->item(StateKeys::Send).toBool()))
        .arg(saved->item(StateKeys::Title).toString());
}

QString connectData()
{
    const CollectionPtr saved = StatusHolder::GetConnectData();
    return saved->item(StateKeys::ServerName).toString() + u';' +
           saved->item(StateKeys::Alias).toString() + u';' +
           saved->item(StateKeys::EmailAddress).toString();
}

QStringList messages(const ScriptedPrompter& prompter)
{
    QStringList texts;
    for (const ScriptedPrompter::Asked& asked : prompter.asked) {
        texts << u"%1 [%2]"_s.arg(asked.text, asked.title);
    }
    return texts;
}

QByteArray fileHash(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly)
               ? QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256)
               : QByteArray();
}

} // namespace

class TestEmailPages : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        mFixture->useDemo(12);
        StandInPage::registerAs(PageNames::SelectUsers);
        mDirectoryFile =
            ParseConnectionString(mFixture->demo().directoryConnectionString).embeddedFile();
    }
    void cleanup()
    {
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    // The template page as it loads: the Directory's templates in their order, nothing
    // chosen and Next disabled; it writes no log line.
    void templatePageLoads()
    {
        auto* page = mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate);
        QVERIFY(page != nullptr);
        QCOMPARE(page->windowTitle(), u"Select E-mail Template"_s);
        QCOMPARE(page->DescriptionLbl->text(),
                 u"Some or all of the users you have selected to migrate will get a new login ID "
                 "and/or a new password. If your 3.1x installation used NT authentication all "
                 "users will get a new password. Select an E-mail template below to use when "
                 "sending the new information to the users. The new login IDs and passwords will "
                 "also be listed in the end report."_s);
        QCOMPARE(page->Label1->text(), u"E-Mail Templates:"_s);
        QCOMPARE(page->DoNotSend->text(), u"Do not send e-mail"_s);
        QCOMPARE(lines(page->EmailTemplates), DemoTitles);
        QCOMPARE(shown(*page), u"box=0 selected= next=0"_s);
        QCOMPARE(mFixture->logEntries(), QStringList());
    }

    void enabling_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("expected");
        QTest::newRow("a template clicked") << u"t1"_s << u"box=0 selected=New password next=1"_s;
        QTest::newRow("the box ticked") << u"b"_s << u"box=1 selected= next=1"_s;
        QTest::newRow("a template, the box ticked and cleared")
            << u"t0 b b"_s << u"box=0 selected= next=0"_s;
        QTest::newRow("the box, then a template")
            << u"b t0"_s << u"box=1 selected=Welcome to your mobile mailbox next=1"_s;
    }

    // Next can be pressed only with a template clicked or "Do not send e-mail" ticked;
    // each click on the box drops the template selection.
    void enabling()
    {
        QFETCH(QString, script);
        QFETCH(QString, expected);
        auto* page = mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate);
        QVERIFY(page != nullptr);
        for (const QString& step : script.split(u' ')) {
            if (step == u"b"_s) {
                clickBox(page->DoNotSend);
            } else {
                clickTemplate(*page, step.mid(1).toInt());
            }
        }
        QCOMPARE(shown(*page), expected);
    }

    void restoring_data()
    {
        QTest::addColumn<bool>("send");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("expected");
        QTest::newRow("no mail") << false << QString() << u"box=1 selected= next=1"_s;
        QTest::newRow("no mail, a title kept")
            << false << u"New password"_s << u"box=1 selected= next=1"_s;
        QTest::newRow("a template")
            << true << u"New password"_s << u"box=0 selected=New password next=1"_s;
        QTest::newRow("a title no longer there")
            << true << u"Old welcome"_s << u"box=0 selected= next=0"_s;
    }

    // Both ways in restore the choice kept in the state store.
    void restoring()
    {
        QFETCH(bool, send);
        QFETCH(QString, title);
        QFETCH(QString, expected);
        StatusHolder::SetEmailChoice(send, title);
        for (const auto restore : {WizardPage::Restore::Next, WizardPage::Restore::Prev}) {
            auto* page =
                mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate, restore);
            QVERIFY(page != nullptr);
            QCOMPARE(shown(*page), expected);
            page->unload();
            PageFixture::processDeletions();
        }
    }

    // Next with a template: it becomes the chosen one (the Directory is not written yet),
    // the choice is kept, the demo's stored service account passes its logon test, and the
    // profile page follows with Previous leading back here. Entered for the first time
    // the page shows the state store's first choice: no mail, the box ticked.
    void nextWithATemplate()
    {
        const QByteArray before = fileHash(mDirectoryFile);
        auto* page = mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate,
                                                         WizardPage::Restore::Next);
        QVERIFY(page != nullptr);
        QCOMPARE(shown(*page), u"box=1 selected= next=1"_s);
        clickBox(page->DoNotSend);
        clickTemplate(*page, 1);
        PageFixture::click(page->NextBtn);

        auto* profiles = PageFixture::visible<SelectDPProfiles>();
        QVERIFY(profiles != nullptr);
        QCOMPARE(profiles->giBackTo, int(SelectDPProfiles::BackToTemplate));
        QCOMPARE(profiles->lstOldProfiles->count(), 6);
        QCOMPARE(choice(), u"send=1 title=New password"_s);
        QCOMPARE(ZephrinFunctions::GetTemplateText(mFixture->demo().directoryConnectionString)
                     ->item(u"Subject"_s)
                     .toString(),
                 u"Your password was changed"_s);
        QCOMPARE(GlobalVariables::gsServiceAccount, StoredAccount);
        QCOMPARE(GlobalVariables::gvLogonHandle.toString(),
                 u"pickup:"_s + mFixture->demo().mailFolder);
        QCOMPARE(fileHash(mDirectoryFile), before);
        QCOMPARE(mFixture->prompter().asked.size(), 0);

        PageFixture::click(profiles->PreviousBtn);
        page = PageFixture::visible<SelectEmailTemplate>();
        QVERIFY(page != nullptr);
        QCOMPARE(shown(*page), u"box=0 selected=New password next=1"_s);
    }

    // Without e-mail the service account is still looked for, and the profile page
    // follows even when none passes.
    void nextWithoutMail_data()
    {
        QTest::addColumn<bool>("mailFolder");
        QTest::newRow("the account passes") << true;
        QTest::newRow("no account passes") << false;
    }

    void nextWithoutMail()
    {
        QFETCH(bool, mailFolder);
        if (!mailFolder) {
            QVERIFY(QDir(mFixture->demo().mailFolder).removeRecursively());
        }
        auto* page = mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate);
        QVERIFY(page != nullptr);
        clickTemplate(*page, 0);
        clickBox(page->DoNotSend);
        PageFixture::click(page->NextBtn);
        auto* profiles = PageFixture::visible<SelectDPProfiles>();
        QVERIFY(profiles != nullptr);
        QCOMPARE(profiles->giBackTo, int(SelectDPProfiles::BackToTemplate));
        QCOMPARE(choice(), u"send=0 title="_s);
        QCOMPARE(GlobalVariables::gsServiceAccount, mailFolder ? StoredAccount : QString());
    }

    // Previous keeps the choice as it stands and returns to the user page, restored.
    void previousKeepsTheChoice()
    {
        auto* page = mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate);
        QVERIFY(page != nullptr);
        clickTemplate(*page, 0);
        PageFixture::click(page->PreviousBtn);
        QCOMPARE(choice(), u"send=1 title=Welcome to your mobile mailbox"_s);
        auto* users = PageFixture::visible<StandInPage>();
        QVERIFY(users != nullptr);
        QCOMPARE(users->objectName(), QString(PageNames::SelectUsers));
        QCOMPARE(users->opened, QStringList{u"LoadStatePrev backToVarnel=false"_s});
        // No template chosen, so none is read yet beyond the Directory's own.
        QCOMPARE(ZephrinFunctions::GetTemplateText(mFixture->demo().directoryConnectionString)
                     ->item(u"Subject"_s)
                     .toString(),
                 u"Your new mobile mailbox account"_s);
    }

    // A Directory without templates: only "Do not send e-mail" lets the page go on.
    void noTemplates()
    {
        {
            DbConnection directory(mFixture->demo().directoryConnectionString);
            directory.execute(u"DELETE FROM fwtTemplate"_s);
        }
        auto* page = mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate,
                                                         WizardPage::Restore::Next);
        QVERIFY(page != nullptr);
        StatusHolder::SetEmailChoice(true, QString());
        page->LoadStatePrev();
        QCOMPARE(lines(page->EmailTemplates), QStringList());
        QCOMPARE(shown(*page), u"box=0 selected= next=0"_s);
        clickBox(page->DoNotSend);
        QCOMPARE(shown(*page), u"box=1 selected= next=1"_s);
    }

    // A Directory whose templates cannot be read: the page says so once it is shown,
    // logs it, and offers "Do not send e-mail" only.
    void templatesUnreadable()
    {
        StatusHolder::SetZephrinDatabase(
            u"sqlite:"_s + mFixture->demo().folder, u"Missing"_s, 0, 0, QString(), QString(), true,
            BuildSqlConnectionString(u"sqlite:"_s + mFixture->demo().folder, u"Missing"_s, u"sa"_s,
                                     QString()));
        auto* page = mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate);
        QVERIFY(page != nullptr);
        QTRY_COMPARE(mFixture->prompter().asked.size(), 1);
        const ScriptedPrompter::Asked asked = mFixture->prompter().asked.first();
        QVERIFY2(
            asked.text.startsWith(u"The e-mail templates could not be read from the Zephrin "
                                  "4.5 Directory database, so none is listed.\r\n\r\nError "_s),
            qPrintable(asked.text));
        QCOMPARE(asked.parent, QString(PageNames::SelectEmailTemplate));
        QCOMPARE(mFixture->logEntries().size(), 1);
        QVERIFY(mFixture->logEntries().first().startsWith(
            u"SelectEmailTemplate: GetTemplateList failed: Error "_s));
        QCOMPARE(page->EmailTemplates->count(), 0);
        QCOMPARE(shown(*page), u"box=0 selected= next=0"_s);
    }

    // When no account passes, the mail logon page asks for one. A failed test is told
    // and the page stays with the values typed; a second Next tests again with what the
    // boxes hold now, and a passed test goes on to the profile page.
    void mailLogonPage()
    {
        QVERIFY(QDir(mFixture->demo().mailFolder).removeRecursively());
        StatusHolder::SetConnectData(u"MAIL09"_s, u"old"_s, u"old@example.com"_s);
        auto* templates = mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate);
        QVERIFY(templates != nullptr);
        clickTemplate(*templates, 0);
        PageFixture::click(templates->NextBtn);

        auto* page = PageFixture::visible<EnterConnectData>();
        QVERIFY(page != nullptr);
        QCOMPARE(page->windowTitle(), u"E-mail Logon Information"_s);
        QCOMPARE(page->DescriptionLbl->text(),
                 u"Since the migration tool will send introduction e-mail to some or all of the "
                 "users being migrated it will need to be able to connect to the service account "
                 "mailbox. Please enter the exchange server name, mail alias and e-mail address "
                 "for the service account."_s);
        QCOMPARE(page->Label1->text(), u"Server Name:"_s);
        QCOMPARE(page->Label2->text(), u"Mail Alias:"_s);
        QCOMPARE(page->Label3->text(), u"E-Mail Address:"_s);
        // Entered forward it shows the values kept.
        QCOMPARE(page->ServerNameTxt->text(), u"MAIL09"_s);
        QCOMPARE(page->AliasTxt->text(), u"old"_s);
        QCOMPARE(page->EmailTxt->text(), u"old@example.com"_s);

        type(page->ServerNameTxt, u"MAIL01"_s);
        type(page->AliasTxt, u"helpdesk"_s);
        type(page->EmailTxt, u"helpdesk@example.com"_s);
        PageFixture::click(page->NextBtn);
        QCOMPARE(PageFixture::visible<EnterConnectData>(), page);
        QCOMPARE(messages(mFixture->prompter()), QStringList{UnableToConnect});
        QCOMPARE(mFixture->prompter().asked.first().buttons, Prompter::Buttons::Ok);
        QCOMPARE(mFixture->prompter().asked.first().parent, QString(PageNames::EnterConnectData));
        QCOMPARE(page->AliasTxt->text(), u"helpdesk"_s);
        // The failed values are the service account, but not kept as the page's state.
        QCOMPARE(GlobalVariables::gsServiceAccount, u"MAIL01;helpdesk;helpdesk@example.com"_s);
        QCOMPARE(connectData(), u"MAIL09;old;old@example.com"_s);

        // The pickup folder is back: the same Next passes with the current boxes.
        QVERIFY(QDir().mkpath(mFixture->demo().mailFolder));
        type(page->AliasTxt, u"svc"_s);
        PageFixture::click(page->NextBtn);
        auto* profiles = PageFixture::visible<SelectDPProfiles>();
        QVERIFY(profiles != nullptr);
        QCOMPARE(profiles->giBackTo, int(SelectDPProfiles::BackToConnectData));
        QCOMPARE(mFixture->prompter().asked.size(), 1);
        QCOMPARE(connectData(), u"MAIL01;svc;helpdesk@example.com"_s);
        QCOMPARE(GlobalVariables::gsServiceAccount, u"MAIL01;svc;helpdesk@example.com"_s);
        QCOMPARE(GlobalVariables::gvLogonHandle.toString(),
                 u"pickup:"_s + mFixture->demo().mailFolder);
        // The template and the logon page write no log line of their own.
        QCOMPARE(mFixture->logEntries().first(), u"SelectDPProfiles Launched2003-12-04 15:30:12"_s);
        QCOMPARE(mFixture->logEntries().size(), 2); // and the reader's damaged profile

        // Back from the profile page: the mail logon page with the values that passed.
        PageFixture::click(profiles->PreviousBtn);
        page = PageFixture::visible<EnterConnectData>();
        QVERIFY(page != nullptr);
        QCOMPARE(page->AliasTxt->text(), u"svc"_s);
    }

    // Empty boxes are not checked before the test: the test fails on them.
    void emptyBoxesFailTheTest()
    {
        auto* page = mFixture->open<EnterConnectData>(PageNames::EnterConnectData,
                                                      WizardPage::Restore::Next);
        QVERIFY(page != nullptr);
        QCOMPARE(page->ServerNameTxt->text(), QString());
        PageFixture::click(page->NextBtn);
        QCOMPARE(messages(mFixture->prompter()), QStringList{UnableToConnect});
        QCOMPARE(PageFixture::visible<EnterConnectData>(), page);
        QCOMPARE(GlobalVariables::gsServiceAccount, u";;"_s);
    }

    // Previous keeps the values and returns to the template page with its choice; on
    // the way forward again the mail logon page shows the values last entered.
    void backAndForthKeepsTheValues()
    {
        QVERIFY(QDir(mFixture->demo().mailFolder).removeRecursively());
        auto* templates = mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate);
        QVERIFY(templates != nullptr);
        clickTemplate(*templates, 1);
        PageFixture::click(templates->NextBtn);
        auto* page = PageFixture::visible<EnterConnectData>();
        QVERIFY(page != nullptr);
        type(page->ServerNameTxt, u"MAIL02"_s);
        type(page->AliasTxt, u"mig"_s);
        type(page->EmailTxt, u"mig@example.com"_s);
        PageFixture::click(page->PreviousBtn);
        QCOMPARE(connectData(), u"MAIL02;mig;mig@example.com"_s);
        QCOMPARE(mFixture->prompter().asked.size(), 0);

        templates = PageFixture::visible<SelectEmailTemplate>();
        QVERIFY(templates != nullptr);
        QCOMPARE(shown(*templates), u"box=0 selected=New password next=1"_s);
        PageFixture::click(templates->NextBtn);
        page = PageFixture::visible<EnterConnectData>();
        QVERIFY(page != nullptr);
        QCOMPARE(page->ServerNameTxt->text() + u';' + page->AliasTxt->text() + u';' +
                     page->EmailTxt->text(),
                 u"MAIL02;mig;mig@example.com"_s);
    }

    // Previous on the profile page follows giBackTo, not the last page seen: after the
    // mail logon page and back, "Do not send e-mail" leads to the profile page, whose
    // Previous returns to the template page.
    void profilesBackToTheTemplatePage()
    {
        QVERIFY(QDir(mFixture->demo().mailFolder).removeRecursively());
        auto* templates = mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate);
        QVERIFY(templates != nullptr);
        clickTemplate(*templates, 0);
        PageFixture::click(templates->NextBtn);
        auto* logon = PageFixture::visible<EnterConnectData>();
        QVERIFY(logon != nullptr);
        PageFixture::click(logon->PreviousBtn);
        templates = PageFixture::visible<SelectEmailTemplate>();
        QVERIFY(templates != nullptr);
        clickBox(templates->DoNotSend);
        PageFixture::click(templates->NextBtn);
        auto* profiles = PageFixture::visible<SelectDPProfiles>();
        QVERIFY(profiles != nullptr);
        PageFixture::click(profiles->NextBtn);
        QVERIFY(PageFixture::visible<SelectDPProfiles>() == nullptr);
        auto* summary = PageFixture::visible<WizardPage>();
        QVERIFY(summary != nullptr);
        PageFixture::click(summary->PreviousBtn);
        profiles = PageFixture::visible<SelectDPProfiles>();
        QVERIFY(profiles != nullptr);
        PageFixture::click(profiles->PreviousBtn);
        templates = PageFixture::visible<SelectEmailTemplate>();
        QVERIFY(templates != nullptr);
        QCOMPARE(shown(*templates), u"box=1 selected= next=1"_s);
    }

private:
    std::unique_ptr<PageFixture> mFixture;
    QString mDirectoryFile;
};

QTEST_MAIN(TestEmailPages)
#include "tst_emailpages.moc"

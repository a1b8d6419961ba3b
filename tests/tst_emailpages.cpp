#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "directory/ZephrinFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/StatusHolder.h"
#include "pages/EnterConnectData.h"
#include "pages/PageNames.h"
#include "pages/SelectDPProfiles.h"
#include "pages/SelectEmailTemplate.h"
#include "support/Describe.h"
#include "support/Golden.h"
#include "support/PageFixture.h"
#include "support/StandInPage.h"
#include "support/Transcript.h"

#include <QCheckBox>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

const auto type = PageFixture::type;

QByteArray fileHash(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly)
               ? QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256)
               : QByteArray();
}

} // namespace

// Each test's steps are written as a transcript (the windows, log entries, messages,
// what the template page has selected, the state store's choices, the service account)
// and compared whole with its file in tests/data/emailpages.
class TestEmailPages : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        mFixture->useDemo(12);
        StandInPage::registerAs(PageNames::SelectUsers);
        mTranscript = std::make_unique<Transcript>(*mFixture);
        mTranscript->mask(mFixture->demo().folder, u"<demo>"_s);
        mTranscript->mask(QRegularExpression(u"(\\r?\\n? *Error )-?\\d+: .*"_s),
                          u"\\1<the database's words>"_s);
    }
    void cleanup()
    {
        mTranscript.reset();
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    // The template page as it loads: the Directory's templates in their order, nothing
    // chosen, Next disabled, no log line. Next can be pressed only with a template
    // clicked or "Do not send e-mail" ticked; each click on the box drops the template
    // selection.
    void templatePageAndEnabling()
    {
        for (const QString& script : {u"t1"_s, u"b"_s, u"t0 b b"_s, u"b t0"_s}) {
            auto& page = *mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate);
            step(script == "t1"_L1 ? u"loaded"_s : u"loaded again"_s, script == "t1"_L1);
            for (const QString& click : script.split(u' ')) {
                click == "b"_L1 ? clickBox(page.DoNotSend)
                                : clickTemplate(page, click.mid(1).toInt());
                step(u"clicked "_s + click);
            }
            page.unload();
            PageFixture::processDeletions();
        }
        QCOMPARE_GOLDEN(mTranscript->text(), u"emailpages/template-page.txt"_s);
    }

    // Both ways in restore the choice kept in the state store.
    void restoring()
    {
        for (const auto& [send, title] :
             QList<std::pair<bool, QString>>{{false, QString()},
                                             {false, u"New password"_s},
                                             {true, u"New password"_s},
                                             {true, u"Old welcome"_s}}) {
            StatusHolder::SetEmailChoice(send, title);
            for (const auto restore : {WizardPage::Restore::Next, WizardPage::Restore::Prev}) {
                auto* page =
                    mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate, restore);
                step(u"send=%1 title=%2 restored %3"_s.arg(send).arg(title).arg(int(restore)));
                page->unload();
                PageFixture::processDeletions();
            }
        }
        QCOMPARE_GOLDEN(mTranscript->text(), u"emailpages/restoring.txt"_s);
    }

    // Next with a template: it becomes the chosen one (the Directory is not written
    // yet), the demo's stored service account passes its logon test, and the profile
    // page follows with Previous leading back here. Entered for the first time the
    // page shows the state store's first choice: no mail, the box ticked. Previous
    // keeps the choice as it stands and returns to the user page, restored.
    void nextAndPrevious()
    {
        const QString file =
            ParseConnectionString(mFixture->demo().directoryConnectionString).embeddedFile();
        const QByteArray before = fileHash(file);
        auto* page = mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate,
                                                         WizardPage::Restore::Next);
        step(u"entered forward the first time"_s);
        clickBox(page->DoNotSend);
        clickTemplate(*page, 1);
        PageFixture::click(page->NextBtn);
        step(u"a template, Next"_s, true);
        QCOMPARE(fileHash(file), before);
        PageFixture::click(Transcript::on<SelectDPProfiles>().PreviousBtn);
        step(u"Previous on the profile page"_s);
        clickTemplate(Transcript::on<SelectEmailTemplate>(), 0);
        PageFixture::click(Transcript::on<SelectEmailTemplate>().PreviousBtn);
        step(u"the other template, Previous"_s);
        mTranscript->note(u"user page opened: "_s +
                          Transcript::on<StandInPage>().opened.join(u','));
        QCOMPARE_GOLDEN(mTranscript->text(), u"emailpages/next-and-previous.txt"_s);
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
        clickTemplate(*page, 0);
        clickBox(page->DoNotSend);
        PageFixture::click(page->NextBtn);
        step(u"a template, the box, Next"_s);
        QCOMPARE_GOLDEN(mTranscript->text(), Golden::rowFile(u"emailpages/without-mail-"_s));
    }

    // A Directory without templates: only "Do not send e-mail" lets the page go on. One
    // whose templates cannot be read: the page says so once it is shown, logs it, and
    // offers "Do not send e-mail" only.
    void noTemplates()
    {
        {
            DbConnection directory(mFixture->demo().directoryConnectionString);
            directory.execute(u"DELETE FROM fwtTemplate"_s);
        }
        auto* page = mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate,
                                                         WizardPage::Restore::Next);
        StatusHolder::SetEmailChoice(true, QString());
        page->LoadStatePrev();
        step(u"no templates, restored to send"_s);
        clickBox(page->DoNotSend);
        step(u"the box"_s);
        page->unload();
        const QString server = u"sqlite:"_s + mFixture->demo().folder;
        StatusHolder::SetZephrinDatabase(
            server, u"Missing"_s, 0, 0, QString(), QString(), true,
            BuildSqlConnectionString(server, u"Missing"_s, u"sa"_s, QString()));
        mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate);
        QTRY_COMPARE(mFixture->prompter().asked.size(), 1);
        step(u"a Directory that cannot be read"_s, true);
        QCOMPARE_GOLDEN(mTranscript->text(), u"emailpages/no-templates.txt"_s);
    }

    // When no account passes, the mail logon page asks for one, showing the values
    // kept. A failed test is told and the page stays with the values typed (they are
    // the service account, but not the page's state); a second Next tests again with
    // what the boxes hold now, and a passed test goes on to the profile page. Back
    // from there the page shows the values that passed. Empty boxes fail the test.
    void mailLogonPage()
    {
        QVERIFY(QDir(mFixture->demo().mailFolder).removeRecursively());
        StatusHolder::SetConnectData(u"MAIL09"_s, u"old"_s, u"old@example.com"_s);
        auto* templates = mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate);
        clickTemplate(*templates, 0);
        PageFixture::click(templates->NextBtn);
        step(u"a template, Next"_s, true);
        auto& page = Transcript::on<EnterConnectData>();
        type(page.ServerNameTxt, u"MAIL01"_s);
        type(page.AliasTxt, u"helpdesk"_s);
        type(page.EmailTxt, u"helpdesk@example.com"_s);
        PageFixture::click(page.NextBtn);
        step(u"typed, Next"_s, true);
        QVERIFY(QDir().mkpath(mFixture->demo().mailFolder));
        type(page.AliasTxt, u"svc"_s);
        PageFixture::click(page.NextBtn);
        step(u"the pickup folder back, another alias, Next"_s);
        PageFixture::click(Transcript::on<SelectDPProfiles>().PreviousBtn);
        step(u"Previous on the profile page"_s, true);
        Transcript::on<EnterConnectData>().close();
        auto* empty = mFixture->open<EnterConnectData>(PageNames::EnterConnectData);
        PageFixture::click(empty->NextBtn);
        step(u"empty boxes, Next"_s, true);
        QCOMPARE_GOLDEN(mTranscript->text(), u"emailpages/mail-logon-page.txt"_s);
    }

    // Previous keeps the values and returns to the template page with its choice; on
    // the way forward again the mail logon page shows the values last entered. After
    // that, "Do not send e-mail" leads to the profile page, whose Previous (also after
    // a visit of the summary) follows giBackTo back to the template page.
    void backAndForth()
    {
        QVERIFY(QDir(mFixture->demo().mailFolder).removeRecursively());
        auto* templates = mFixture->open<SelectEmailTemplate>(PageNames::SelectEmailTemplate);
        clickTemplate(*templates, 1);
        PageFixture::click(templates->NextBtn);
        auto& page = Transcript::on<EnterConnectData>();
        type(page.ServerNameTxt, u"MAIL02"_s);
        type(page.AliasTxt, u"mig"_s);
        type(page.EmailTxt, u"mig@example.com"_s);
        PageFixture::click(page.PreviousBtn);
        step(u"a template, Next, typed, Previous"_s);
        PageFixture::click(Transcript::on<SelectEmailTemplate>().NextBtn);
        step(u"Next"_s, true);
        PageFixture::click(Transcript::on<EnterConnectData>().PreviousBtn);
        clickBox(Transcript::on<SelectEmailTemplate>().DoNotSend);
        PageFixture::click(Transcript::on<SelectEmailTemplate>().NextBtn);
        PageFixture::click(Transcript::on<SelectDPProfiles>().NextBtn);
        step(u"Previous, the box, Next, Next on the profile page"_s);
        PageFixture::click(Transcript::on<WizardPage>().PreviousBtn);
        PageFixture::click(Transcript::on<SelectDPProfiles>().PreviousBtn);
        step(u"Previous on the summary, Previous on the profile page"_s);
        QCOMPARE_GOLDEN(mTranscript->text(), u"emailpages/back-and-forth.txt"_s);
    }

private:
    static void clickTemplate(SelectEmailTemplate& page, int row)
    {
        QListWidget* list = page.EmailTemplates;
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          list->visualItemRect(list->item(row)).center());
    }
    static void clickBox(QCheckBox* box)
    {
        QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(6, box->height() / 2));
    }

    // The step's log and messages (the windows only when asked), then which window is
    // shown, the template page's selection, the state store's choices and the account.
    void step(const QString& title, bool windows = false)
    {
        windows ? mTranscript->step(title) : mTranscript->stepQuiet(title);
        QString now = u"shown: "_s + Transcript::visibleNames();
        if (auto* page = PageFixture::visible<SelectEmailTemplate>()) {
            const auto selected = page->EmailTemplates->selectedItems();
            now += u" box=%1 selected=%2 next=%3"_s.arg(int(page->DoNotSend->isChecked()))
                       .arg(selected.isEmpty() ? QString() : selected.first()->text())
                       .arg(int(page->NextBtn->isEnabled()));
        } else if (auto* profiles = PageFixture::visible<SelectDPProfiles>()) {
            now += u" back to %1, %2 old profiles"_s.arg(profiles->giBackTo)
                       .arg(profiles->lstOldProfiles->count());
        }
        mTranscript->note(now);
        mTranscript->note(u"choice: "_s + describe(StatusHolder::GetEmailChoice()).join(u' ') +
                          u"; connect data: "_s +
                          describe(StatusHolder::GetConnectData()).join(u' '));
        QString subject = u"(none)"_s;
        try {
            subject = ZephrinFunctions::GetTemplateText(mFixture->demo().directoryConnectionString)
                          ->item(u"Subject"_s)
                          .toString();
        } catch (const std::exception&) {
        }
        mTranscript->note(u"account: %1 handle %2 template subject: %3"_s.arg(
            GlobalVariables::gsServiceAccount, GlobalVariables::gvLogonHandle.toString(), subject));
    }

    std::unique_ptr<PageFixture> mFixture;
    std::unique_ptr<Transcript> mTranscript;
};

QTEST_MAIN(TestEmailPages)
#include "tst_emailpages.moc"

#include "db/ConnectionString.h"
#include "frame/StatusHolder.h"
#include "pages/HelpForm.h"
#include "pages/PageNames.h"
#include "pages/SelectVarnel.h"
#include "pages/SelectZephrin.h"
#include "support/Describe.h"
#include "support/EmbeddedDatabase.h"
#include "support/Golden.h"
#include "support/PageFixture.h"
#include "support/Transcript.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFocusEvent>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

const auto type = PageFixture::type;

// The database list receiving the focus, for the given reason.
void enterList(SelectDatabase& page, Qt::FocusReason reason = Qt::TabFocusReason)
{
    QFocusEvent in(QEvent::FocusIn, reason);
    QCoreApplication::sendEvent(page.DatabaseCbx, &in);
}

} // namespace

// The steps of each test are written as a transcript (the page with every control, what
// was logged and asked, the list's loaded flag and count) and compared whole with its
// file in tests/data/selectdatabase.
class TestSelectDatabase : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        mFixture->useDemo(12);
        mServer = u"sqlite:"_s + mFixture->demo().folder;
        QVERIFY(QDir(mFixture->folder()).mkpath(u"empty"_s));
        mTranscript = std::make_unique<Transcript>(*mFixture);
        mTranscript->mask(mFixture->demo().folder, u"<demo>"_s);
        // The driver's own words after ours.
        mTranscript->mask(QRegularExpression(u"(Refresh: Error )-?\\d+: \\[.*"_s),
                          u"\\1<driver's words>"_s);
    }
    void cleanup()
    {
        mTranscript.reset();
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    // Every control with its caption on both pages; a new page has nothing to list and
    // nothing to go on with. A server name enables listing; SQL Server authentication
    // asks for credentials in white boxes, Windows NT authentication greys them out.
    void controlsAndEnabling()
    {
        mFixture->open<SelectDatabase>(PageNames::SelectVarnel);
        mTranscript->step(u"source page"_s);
        mFixture->visible<WizardPage>()->close();
        auto* page = mFixture->open<SelectDatabase>(PageNames::SelectZephrin);
        mTranscript->step(u"target page"_s);
        type(page->DatabaseServerTxt, u"dbhost"_s);
        mTranscript->step(u"a server typed"_s);
        QTest::mouseClick(page->AuthenticationRbn[1], Qt::LeftButton);
        mTranscript->step(u"SQL Server authentication"_s);
        QCOMPARE(page->LoginIDTxt->palette().color(QPalette::Base), QColor(Qt::white));
        QTest::mouseClick(page->AuthenticationRbn[0], Qt::LeftButton);
        QCOMPARE(page->PasswordTxt->palette().color(QPalette::Disabled, QPalette::Base),
                 page->palette().color(QPalette::Window));
        type(page->DatabaseServerTxt, QString());
        mTranscript->step(u"Windows NT authentication, the server emptied"_s);
        QCOMPARE_GOLDEN(mTranscript->text(), u"selectdatabase/controls.txt"_s);
    }

    void refresh_data()
    {
        QTest::addColumn<QString>("server"); // <demo> and <folder> stand for the folders
        QTest::addColumn<int>("authentication");
        QTest::newRow("embedded-nt") << u"<demo>"_s << 0;
        QTest::newRow("embedded-sql") << u"<demo>"_s << 1;
        QTest::newRow("folder-without-databases") << u"sqlite:<folder>/empty"_s << 0;
        QTest::newRow("missing-folder") << u"sqlite:<folder>/missing"_s << 0;
        QTest::newRow("no-sql-server") << EmbeddedDatabase::NoServer << 1;
    }

    // "Refresh" fills the list in the server's order and chooses the first name; a
    // server that cannot be reached is named in a message and the list stays.
    void refresh()
    {
        QFETCH(QString, server);
        QFETCH(int, authentication);
        auto* page = mFixture->open<SelectDatabase>(PageNames::SelectVarnel);
        page->AuthenticationRbn[authentication]->click();
        if (authentication == 1) {
            type(page->LoginIDTxt, u"sa"_s);
            type(page->PasswordTxt, u"secret"_s);
        }
        type(page->DatabaseServerTxt, mServer);
        PageFixture::click(page->LoadDatabasesBtn);
        page->DatabaseCbx->setCurrentIndex(1);
        step(*page, u"demo listed, second chosen"_s);
        type(page->DatabaseServerTxt,
             server.replace(u"<demo>"_s, mServer).replace(u"<folder>"_s, mFixture->folder()));
        PageFixture::click(page->LoadDatabasesBtn);
        step(*page, u"Refresh"_s);
        QCOMPARE_GOLDEN(mTranscript->text(), Golden::rowFile(u"selectdatabase/refresh-"_s));
    }

    void refreshOnSqlServer_data()
    {
        QTest::addColumn<int>("authentication");
        QTest::addColumn<QString>("password"); // "<right>" for the server's own
        QTest::newRow("SQL Server login") << 1 << u"<right>"_s;
        QTest::newRow("wrong password") << 1 << u"not the password"_s;
        QTest::newRow("Windows NT authentication, no domain here") << 0 << QString();
    }

    // On the SQL Server that VARNEL_TEST_SQLSERVER names ("host,port"; the login from
    // VARNEL_TEST_SQLSERVER_LOGIN and _PASSWORD): "Refresh" lists its databases, master
    // among them, or names the server in its message and keeps the list.
    void refreshOnSqlServer()
    {
        QFETCH(int, authentication);
        QFETCH(QString, password);
        const QString server = qEnvironmentVariable("VARNEL_TEST_SQLSERVER");
        if (server.isEmpty()) {
            QSKIP("VARNEL_TEST_SQLSERVER names no SQL Server");
        }
        const bool right = password == "<right>"_L1;
        if (right) {
            password = qEnvironmentVariable("VARNEL_TEST_SQLSERVER_PASSWORD", u"TestPass123"_s);
        }
        auto* page = mFixture->open<SelectDatabase>(PageNames::SelectZephrin);
        type(page->DatabaseServerTxt, mServer);
        PageFixture::click(page->LoadDatabasesBtn);
        page->AuthenticationRbn[authentication]->click();
        if (authentication == 1) {
            type(page->LoginIDTxt,
                 qEnvironmentVariable("VARNEL_TEST_SQLSERVER_LOGIN", u"sa_test"_s));
            type(page->PasswordTxt, password);
        }
        type(page->DatabaseServerTxt, server);
        const auto list = [page] {
            return u"%1 %2 %3"_s.arg(page->DatabaseCbx->count())
                .arg(page->DatabaseCbx->currentIndex())
                .arg(page->mbDatabasesLoaded);
        };
        const QString before = list();
        PageFixture::click(page->LoadDatabasesBtn);
        QCOMPARE(mFixture->prompter().messages(),
                 right ? QStringList()
                       : QStringList{u"Could not connect to database server "_s + server + u'.'});
        if (right) {
            QVERIFY(page->DatabaseCbx->findText(u"master"_s, Qt::MatchFixedString) >= 0);
            QCOMPARE(page->DatabaseCbx->currentIndex(), 0);
            QVERIFY(page->mbDatabasesLoaded);
        } else {
            QCOMPARE(list(), before);
        }
    }

    // Switching the authentication empties the list and the credentials and disables
    // Next, whichever way it goes. Entering the list loads it once and enables Next;
    // the focus coming back to the window loads nothing, so a failed load is reported
    // once.
    void authenticationAndFocus()
    {
        auto* page = mFixture->open<SelectDatabase>(PageNames::SelectZephrin);
        QTest::mouseClick(page->AuthenticationRbn[1], Qt::LeftButton);
        type(page->LoginIDTxt, u"sa"_s);
        type(page->PasswordTxt, u"secret"_s);
        type(page->DatabaseServerTxt, mServer);
        enterList(*page, Qt::ActiveWindowFocusReason);
        step(*page, u"credentials, the window activated"_s);
        enterList(*page);
        step(*page, u"the list entered"_s);
        QTest::mouseClick(page->AuthenticationRbn[0], Qt::LeftButton);
        step(*page, u"Windows NT authentication"_s);
        enterList(*page);
        QTest::mouseClick(page->AuthenticationRbn[1], Qt::LeftButton);
        step(*page, u"the list entered, SQL Server authentication"_s);

        enterList(*page);
        QVERIFY(QFile::copy(mFixture->demo().folder + u"/Varnel.sqlite"_s,
                            mFixture->demo().folder + u"/Archive.sqlite"_s));
        enterList(*page, Qt::MouseFocusReason);
        step(*page, u"a database added, the list entered again"_s);
        PageFixture::click(page->LoadDatabasesBtn);
        step(*page, u"Refresh"_s);
        page->close();

        auto* failing = mFixture->open<SelectDatabase>(PageNames::SelectVarnel);
        type(failing->DatabaseServerTxt, u"sqlite:"_s + mFixture->folder() + u"/missing"_s);
        enterList(*failing);
        enterList(*failing, Qt::ActiveWindowFocusReason);
        step(*failing, u"a missing folder, the list entered, the window activated"_s);
        QCOMPARE_GOLDEN(mTranscript->text(), u"selectdatabase/authentication-and-focus.txt"_s);
    }

    void restore_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("previous"); // LoadStatePrev, else LoadStateNext
        QTest::addColumn<int>("authentication");
        QTest::addColumn<int>("listIndex");
        QTest::addColumn<bool>("loaded");
        QTest::newRow("source-back-nt") << u"SelectVarnel"_s << true << 0 << 1 << true;
        QTest::newRow("source-back-sql") << u"SelectVarnel"_s << true << 1 << 1 << false;
        QTest::newRow("source-back-beyond-the-list") << u"SelectVarnel"_s << true << 0 << 5 << true;
        QTest::newRow("source-forward-loaded") << u"SelectVarnel"_s << false << 1 << 1 << true;
        QTest::newRow("source-forward-not-loaded") << u"SelectVarnel"_s << false << 1 << 1 << false;
        QTest::newRow("target-back") << u"SelectZephrin"_s << true << 1 << 0 << false;
        QTest::newRow("target-forward-list-not-read")
            << u"SelectZephrin"_s << false << 1 << 0 << true;
    }

    // Restoring brings back the server, the authentication and the credentials, and
    // the list where the page reads it.
    void restore()
    {
        QFETCH(QString, name);
        QFETCH(bool, previous);
        QFETCH(int, authentication);
        QFETCH(int, listIndex);
        QFETCH(bool, loaded);
        const bool source = name == "SelectVarnel"_L1;
        const QString database = source ? u"Varnel"_s : u"Directory"_s;
        const QString login = authentication == 1 ? u"sa"_s : QString();
        const QString password = authentication == 1 ? u"pass;word"_s : QString();
        (source ? StatusHolder::SetVarnelDatabase : StatusHolder::SetZephrinDatabase)(
            mServer, database, listIndex, authentication, login, password, loaded,
            BuildSqlConnectionString(mServer, database, login, password));
        auto* page = mFixture->open<SelectDatabase>(QLatin1String(name.toLatin1()),
                                                    previous ? WizardPage::Restore::Prev
                                                             : WizardPage::Restore::Next);
        step(*page, u"restored"_s);
        QCOMPARE_GOLDEN(mTranscript->text(), Golden::rowFile(u"selectdatabase/restore-"_s));
    }

    // Only the exact form is recognised; then the target group holds the server, the
    // database and the whole text, with Windows NT authentication and nothing loaded.
    void parseConfiguredConnection()
    {
        QStringList results;
        for (const QString& configured :
             {u"Provider=SQLOLEDB.1;Data source=SRV;Initial Catalog=Directory;uid=sa;pwd=x"_s,
              u"Data source=db,1433;Initial Catalog=Zephrin Directory;"_s,
              u"Data source=;Initial Catalog=;"_s,
              u"Provider=SQLOLEDB.1;Data Source=SRV;Initial Catalog=Directory;"_s,
              u"Provider=SQLOLEDB.1;Data source=SRV;Initial Catalog=Directory"_s,
              u"Data source=SRV"_s, u"Initial Catalog=Directory;Data source=SRV;"_s,
              u"Data source=SRV;Initial catalog=Directory;"_s, QString()}) {
            StatusHolder::SetZephrinDatabase(u"before"_s, u"before"_s, 3, 1, u"sa"_s, u"pw"_s, true,
                                             u"before"_s);
            const bool recognised = SelectVarnel::ParseConfiguredConnection(configured);
            results << configured
                    << u"  %1: "_s.arg(recognised) +
                           describe(StatusHolder::GetZephrinDatabase()).join(u" | "_s);
        }
        QCOMPARE_GOLDEN(results, u"selectdatabase/configured-connection.txt"_s);
    }

    // Both pages show the same help, the source database named, "Load Database" and all.
    void help()
    {
        for (const QLatin1String name : {PageNames::SelectVarnel, PageNames::SelectZephrin}) {
            auto* page = mFixture->open<SelectDatabase>(name);
            QTimer::singleShot(0, page, [this] {
                mTranscript->note(HelpForm::loaded()->HelpText->toPlainText());
                HelpForm::loaded()->OKBtn->click();
            });
            PageFixture::click(page->HelpBtn);
        }
        QCOMPARE_GOLDEN(mTranscript->text(), u"selectdatabase/help.txt"_s);
    }

private:
    void step(const SelectDatabase& page, const QString& title)
    {
        mTranscript->step(title);
        mTranscript->note(
            u"loaded=%1 count=%2"_s.arg(page.mbDatabasesLoaded).arg(page.mlDatabaseCount));
    }

    std::unique_ptr<PageFixture> mFixture;
    std::unique_ptr<Transcript> mTranscript;
    QString mServer;
};

QTEST_MAIN(TestSelectDatabase)
#include "tst_selectdatabase.moc"

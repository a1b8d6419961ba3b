#include "db/ConnectionString.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/HelpForm.h"
#include "pages/PageNames.h"
#include "pages/SelectVarnel.h"
#include "pages/SelectZephrin.h"
#include "support/EmbeddedDatabase.h"
#include "support/PageFixture.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFocusEvent>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

QStringList items(const QComboBox* list)
{
    QStringList names;
    for (int i = 0; i < list->count(); ++i) {
        names << list->itemText(i);
    }
    return names;
}

// Types into a text box as a person does, replacing what it held.
void type(QLineEdit* box, const QString& text)
{
    box->selectAll();
    QTest::keyClick(box, Qt::Key_Delete);
    QTest::keyClicks(box, text);
}

// The database list receiving the focus, for the given reason.
void enterList(SelectDatabase& page, Qt::FocusReason reason = Qt::TabFocusReason)
{
    QFocusEvent in(QEvent::FocusIn, reason);
    QCoreApplication::sendEvent(page.DatabaseCbx, &in);
}

// The state of the list as one text: names, the chosen one, loaded flag and count.
QString listState(const SelectDatabase& page)
{
    return u"[%1] chosen=%2 loaded=%3 count=%4"_s
        .arg(items(page.DatabaseCbx).join(u','), page.DatabaseCbx->currentText())
        .arg(page.mbDatabasesLoaded)
        .arg(page.mlDatabaseCount);
}

// Which of the page's controls can be used, as one text.
QString enabled(const SelectDatabase& page)
{
    QStringList names;
    for (QWidget* control : std::initializer_list<QWidget*>{
             page.DatabaseServerTxt, page.frmCredentials, page.LoginIDTxt, page.PasswordTxt,
             page.lblLoginID, page.lblPassword, page.DatabaseCbx, page.LoadDatabasesBtn,
             page.PreviousBtn, page.NextBtn, page.CancelBtn, page.HelpBtn}) {
        if (control->isEnabled()) {
            names << control->objectName();
        }
    }
    return names.join(u' ');
}

} // namespace

class TestSelectDatabase : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        mFixture->useDemo(12);
        mServer = u"sqlite:"_s + mFixture->demo().folder;
    }
    void cleanup()
    {
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    void controls_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QString>("text");
        QTest::newRow("source") << u"SelectVarnel"_s << u"Select 3.1x Database"_s
                                << u"Select the 3.1x database you want to migrate from."_s;
        QTest::newRow("target")
            << u"SelectZephrin"_s << u"Select Zephrin 4.5 Directory Database"_s
            << u"Select the Zephrin 4.5 Directory database you want to migrate to."_s;
    }

    // Every control with its name and caption; a new page has nothing to list and
    // nothing to go on with, and asks for no credentials.
    void controls()
    {
        QFETCH(QString, name);
        QFETCH(QString, caption);
        QFETCH(QString, text);
        mFixture->markLog();
        auto* page = mFixture->open<SelectDatabase>(QLatin1String(name.toLatin1()));
        QVERIFY(page != nullptr);
        QCOMPARE(page->objectName(), name);
        QCOMPARE(page->windowTitle(), caption);
        QCOMPARE(page->lblText->text(), text);
        const QList<std::pair<QWidget*, QString>> captions = {
            {page->Label1, u"SQL Server Name:"_s},
            {page->AuthenticationRbn[0], u"Use Windows NT Authentication"_s},
            {page->AuthenticationRbn[1], u"Use SQL Server Authentication"_s},
            {page->frmCredentials, u"Credentials"_s},
            {page->lblLoginID, u"Login ID:"_s},
            {page->lblPassword, u"Password:"_s},
            {page->LoadDatabasesBtn, u"Refresh"_s},
            {page->DatabasesLbl, u"Database:"_s},
            {page->HelpBtn, u"?"_s},
            {page->PreviousBtn, u"<< Previous"_s},
            {page->NextBtn, u"Next >>"_s},
            {page->CancelBtn, u"Cancel"_s},
        };
        for (const auto& [control, expected] : captions) {
            QString shown;
            if (auto* label = qobject_cast<QLabel*>(control)) {
                shown = label->text();
            } else if (auto* button = qobject_cast<QAbstractButton*>(control)) {
                shown = button->text();
            } else if (auto* frame = qobject_cast<QGroupBox*>(control)) {
                shown = frame->title();
            }
            QCOMPARE(control->objectName() + u": "_s + shown,
                     control->objectName() + u": "_s + expected);
            QCOMPARE(page->findChild<QWidget*>(control->objectName()), control);
        }
        QCOMPARE(page->AuthenticationRbn[0]->objectName(), u"AuthenticationRbn_0"_s);
        QCOMPARE(page->DatabaseCbx->placeholderText(), u"Database"_s);
        QCOMPARE(page->PasswordTxt->echoMode(), QLineEdit::Password);
        QVERIFY(page->AuthenticationRbn[0]->isChecked());
        QCOMPARE(enabled(*page), u"DatabaseServerTxt PreviousBtn CancelBtn HelpBtn"_s);
        QCOMPARE(mFixture->newLogEntries(), QStringList{name + u" Launched2003-12-04 15:30:12"_s});
    }

    // A server name enables listing; SQL Server authentication asks for credentials in
    // white boxes, Windows NT authentication greys them out.
    void enablingRules()
    {
        auto* page = mFixture->open<SelectDatabase>(PageNames::SelectZephrin);
        QVERIFY(page != nullptr);
        type(page->DatabaseServerTxt, u"dbhost"_s);
        QCOMPARE(enabled(*page),
                 u"DatabaseServerTxt DatabaseCbx LoadDatabasesBtn PreviousBtn CancelBtn HelpBtn"_s);
        QTest::mouseClick(page->AuthenticationRbn[1], Qt::LeftButton);
        QCOMPARE(enabled(*page),
                 u"DatabaseServerTxt frmCredentials LoginIDTxt PasswordTxt lblLoginID lblPassword "
                 "DatabaseCbx LoadDatabasesBtn PreviousBtn CancelBtn HelpBtn"_s);
        QCOMPARE(page->LoginIDTxt->palette().color(QPalette::Base), QColor(Qt::white));
        QTest::mouseClick(page->AuthenticationRbn[0], Qt::LeftButton);
        QCOMPARE(page->PasswordTxt->palette().color(QPalette::Disabled, QPalette::Base),
                 page->palette().color(QPalette::Window));
        type(page->DatabaseServerTxt, QString());
        QCOMPARE(enabled(*page), u"DatabaseServerTxt PreviousBtn CancelBtn HelpBtn"_s);
    }

    void refresh_data()
    {
        QTest::addColumn<QString>("server"); // <demo> and <folder> stand for the folders
        QTest::addColumn<int>("authentication");
        QTest::addColumn<QString>("list");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("logLine"); // the start of the one line written
        const QString demoList = u"[Directory,Varnel] chosen=Directory loaded=1 count=2"_s;
        const QString keptList = u"[Directory,Varnel] chosen=Varnel loaded=1 count=2"_s;
        QTest::newRow("embedded folder, Windows NT authentication")
            << u"<demo>"_s << 0 << demoList << QString() << QString();
        QTest::newRow("embedded folder, SQL Server authentication")
            << u"<demo>"_s << 1 << demoList << QString() << QString();
        QTest::newRow("folder without databases")
            << u"sqlite:<folder>/empty"_s << 0 << u"[] chosen= loaded=1 count=0"_s << QString()
            << QString();
        QTest::newRow("missing folder")
            << u"sqlite:<folder>/missing"_s << 0 << keptList
            << u"Could not connect to database server sqlite:<folder>/missing."_s
            << u"SelectVarnel: Refresh: Error -2147467259: The database folder "
               "\"<folder>/missing\" does not exist"_s;
        QTest::newRow("no SQL Server listening")
            << EmbeddedDatabase::NoServer << 1 << keptList
            << u"Could not connect to database server 127.0.0.1,1."_s
            << u"SelectVarnel: Refresh: Error "_s;
    }

    // "Refresh" fills the list in the server's order and chooses the first name; a
    // server that cannot be reached is named in a message and the list stays as it was.
    void refresh()
    {
        QFETCH(QString, server);
        QFETCH(int, authentication);
        QFETCH(QString, list);
        QFETCH(QString, message);
        QFETCH(QString, logLine);
        const QString folder = mFixture->folder();
        QVERIFY(QDir(folder).mkpath(u"empty"_s));
        const auto fill = [&](QString text) {
            return text.replace(u"<demo>"_s, mServer).replace(u"<folder>"_s, folder);
        };
        server = fill(server);

        auto* page = mFixture->open<SelectDatabase>(PageNames::SelectVarnel);
        QVERIFY(page != nullptr);
        page->AuthenticationRbn[authentication]->click();
        if (authentication == 1) {
            type(page->LoginIDTxt, u"sa"_s);
            type(page->PasswordTxt, u"secret"_s);
        }
        type(page->DatabaseServerTxt, mServer);
        PageFixture::click(page->LoadDatabasesBtn);
        page->DatabaseCbx->setCurrentIndex(1);
        QCOMPARE(listState(*page), u"[Directory,Varnel] chosen=Varnel loaded=1 count=2"_s);

        mFixture->markLog();
        type(page->DatabaseServerTxt, server);
        PageFixture::click(page->LoadDatabasesBtn);

        QCOMPARE(listState(*page), list);
        QCOMPARE(mFixture->prompter().messages(),
                 message.isEmpty() ? QStringList() : QStringList{fill(message)});
        if (!message.isEmpty()) {
            const ScriptedPrompter::Asked& asked = mFixture->prompter().asked.first();
            QCOMPARE(asked.title, u"Error"_s);
            QCOMPARE(asked.icon, Prompter::Icon::Critical);
            QCOMPARE(asked.parent, u"SelectVarnel"_s);
        }
        const QStringList written = mFixture->newLogEntries();
        if (logLine.isEmpty()) {
            QCOMPARE(written, QStringList());
        } else if (logLine.endsWith(u"Error "_s)) {
            // The driver's own words follow; only their start is ours.
            QCOMPARE(written.size(), 1);
            QVERIFY2(written.first().startsWith(logLine), qPrintable(written.first()));
        } else {
            QCOMPARE(written, QStringList{fill(logLine)});
        }
    }

    void refreshOnSqlServer_data()
    {
        QTest::addColumn<int>("authentication");
        QTest::addColumn<QString>("password"); // "<right>" for the server's own
        QTest::addColumn<bool>("listed");
        QTest::newRow("SQL Server login") << 1 << u"<right>"_s << true;
        QTest::newRow("wrong password") << 1 << u"not the password"_s << false;
        QTest::newRow("Windows NT authentication, no domain here") << 0 << QString() << false;
    }

    // On the SQL Server that VARNEL_TEST_SQLSERVER names ("host,port"; the login from
    // VARNEL_TEST_SQLSERVER_LOGIN and _PASSWORD): "Refresh" lists its databases, master
    // among them, or names the server in its message and keeps the list.
    void refreshOnSqlServer()
    {
        QFETCH(int, authentication);
        QFETCH(QString, password);
        QFETCH(bool, listed);
        const QString server = qEnvironmentVariable("VARNEL_TEST_SQLSERVER");
        if (server.isEmpty()) {
            QSKIP("VARNEL_TEST_SQLSERVER names no SQL Server");
        }
        const QString login = qEnvironmentVariable("VARNEL_TEST_SQLSERVER_LOGIN", u"sa_test"_s);
        if (password == "<right>"_L1) {
            password = qEnvironmentVariable("VARNEL_TEST_SQLSERVER_PASSWORD", u"TestPass123"_s);
        }
        auto* page = mFixture->open<SelectDatabase>(PageNames::SelectZephrin);
        QVERIFY(page != nullptr);
        type(page->DatabaseServerTxt, mServer);
        PageFixture::click(page->LoadDatabasesBtn);
        page->AuthenticationRbn[authentication]->click();
        if (authentication == 1) {
            type(page->LoginIDTxt, login);
            type(page->PasswordTxt, password);
        }
        type(page->DatabaseServerTxt, server);
        const QString before = listState(*page);
        PageFixture::click(page->LoadDatabasesBtn);
        if (listed) {
            QCOMPARE(mFixture->prompter().messages(), QStringList());
            QVERIFY2(items(page->DatabaseCbx).contains(u"master"_s, Qt::CaseInsensitive),
                     qPrintable(listState(*page)));
            QCOMPARE(page->DatabaseCbx->currentIndex(), 0);
            QVERIFY(page->mbDatabasesLoaded);
        } else {
            QCOMPARE(mFixture->prompter().messages(),
                     QStringList{u"Could not connect to database server "_s + server + u'.'});
            QCOMPARE(listState(*page), before);
        }
    }

    // Switching the authentication empties the list and the credentials and disables
    // Next, whichever way it goes.
    void authenticationSwitchClears()
    {
        auto* page = mFixture->open<SelectDatabase>(PageNames::SelectZephrin);
        QVERIFY(page != nullptr);
        QTest::mouseClick(page->AuthenticationRbn[1], Qt::LeftButton);
        type(page->LoginIDTxt, u"sa"_s);
        type(page->PasswordTxt, u"secret"_s);
        type(page->DatabaseServerTxt, mServer);
        enterList(*page);
        QVERIFY(page->NextBtn->isEnabled());
        QCOMPARE(listState(*page), u"[Directory,Varnel] chosen=Directory loaded=1 count=2"_s);

        QTest::mouseClick(page->AuthenticationRbn[0], Qt::LeftButton);
        QCOMPARE(listState(*page), u"[] chosen= loaded=0 count=0"_s);
        QCOMPARE(page->LoginIDTxt->text() + page->PasswordTxt->text(), QString());
        QVERIFY(!page->NextBtn->isEnabled());
        QCOMPARE(page->DatabaseServerTxt->text(), mServer);

        enterList(*page);
        QTest::mouseClick(page->AuthenticationRbn[1], Qt::LeftButton);
        QCOMPARE(listState(*page), u"[] chosen= loaded=0 count=0"_s);
        QVERIFY(!page->NextBtn->isEnabled());
    }

    // Entering the list loads it once and enables Next; the focus coming back to the
    // window loads nothing, so a failed load is reported once.
    void focusLoadsOnce()
    {
        auto* page = mFixture->open<SelectDatabase>(PageNames::SelectVarnel);
        QVERIFY(page != nullptr);
        type(page->DatabaseServerTxt, mServer);
        enterList(*page, Qt::ActiveWindowFocusReason);
        QCOMPARE(listState(*page), u"[] chosen= loaded=0 count=0"_s);
        QVERIFY(!page->NextBtn->isEnabled());

        enterList(*page);
        QCOMPARE(listState(*page), u"[Directory,Varnel] chosen=Directory loaded=1 count=2"_s);
        QVERIFY(page->NextBtn->isEnabled());
        QVERIFY(QFile::copy(mFixture->demo().folder + u"/Varnel.sqlite"_s,
                            mFixture->demo().folder + u"/Archive.sqlite"_s));
        enterList(*page, Qt::MouseFocusReason);
        QCOMPARE(items(page->DatabaseCbx), QStringList({u"Directory"_s, u"Varnel"_s}));
        PageFixture::click(page->LoadDatabasesBtn);
        QCOMPARE(items(page->DatabaseCbx),
                 QStringList({u"Archive"_s, u"Directory"_s, u"Varnel"_s}));

        auto* failing = mFixture->open<SelectDatabase>(PageNames::SelectZephrin);
        QVERIFY(failing != nullptr);
        type(failing->DatabaseServerTxt, u"sqlite:"_s + mFixture->folder() + u"/missing"_s);
        enterList(*failing);
        enterList(*failing, Qt::ActiveWindowFocusReason);
        QCOMPARE(mFixture->prompter().messages().size(), 1);
        QCOMPARE(listState(*failing), u"[] chosen= loaded=0 count=0"_s);
        QVERIFY(failing->NextBtn->isEnabled());
    }

    void restore_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("previous"); // LoadStatePrev, else LoadStateNext
        QTest::addColumn<int>("authentication");
        QTest::addColumn<int>("listIndex");
        QTest::addColumn<bool>("loaded");
        QTest::addColumn<QString>("list"); // what the list shows afterwards
        QTest::addColumn<bool>("next");
        const QString both = u"[Directory,Varnel] chosen=%1 loaded=1 count=2"_s;
        const QString none = u"[] chosen= loaded=0 count=0"_s;
        QTest::newRow("source, back, Windows NT authentication")
            << u"SelectVarnel"_s << true << 0 << 1 << true << both.arg(u"Varnel"_s) << true;
        QTest::newRow("source, back, SQL Server authentication")
            << u"SelectVarnel"_s << true << 1 << 1 << false << both.arg(u"Varnel"_s) << true;
        QTest::newRow("source, back, saved position beyond the list")
            << u"SelectVarnel"_s << true << 0 << 5 << true << both.arg(QString()) << true;
        QTest::newRow("source, forward, list had been loaded")
            << u"SelectVarnel"_s << false << 1 << 1 << true << both.arg(u"Varnel"_s) << true;
        QTest::newRow("source, forward, list not loaded")
            << u"SelectVarnel"_s << false << 1 << 1 << false << none << false;
        QTest::newRow("target, back")
            << u"SelectZephrin"_s << true << 1 << 0 << false << both.arg(u"Directory"_s) << true;
        QTest::newRow("target, forward: the list is not read")
            << u"SelectZephrin"_s << false << 1 << 0 << true << none << false;
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
        QFETCH(QString, list);
        QFETCH(bool, next);
        const bool source = name == "SelectVarnel"_L1;
        const QString database = source ? u"Varnel"_s : u"Directory"_s;
        const QString login = authentication == 1 ? u"sa"_s : QString();
        const QString password = authentication == 1 ? u"pass;word"_s : QString();
        (source ? StatusHolder::SetVarnelDatabase : StatusHolder::SetZephrinDatabase)(
            mServer, database, listIndex, authentication, login, password, loaded,
            BuildSqlConnectionString(mServer, database, login, password));
        mFixture->markLog();

        auto* page = mFixture->open<SelectDatabase>(QLatin1String(name.toLatin1()),
                                                    previous ? WizardPage::Restore::Prev
                                                             : WizardPage::Restore::Next);
        QVERIFY(page != nullptr);
        QCOMPARE(page->DatabaseServerTxt->text(), mServer);
        QCOMPARE(page->AuthenticationRbn[authentication]->isChecked(), true);
        QCOMPARE(page->LoginIDTxt->text() + u'|' + page->PasswordTxt->text(),
                 login + u'|' + password);
        QCOMPARE(page->LoginIDTxt->isEnabled(), authentication == 1);
        QCOMPARE(listState(*page), list);
        QCOMPARE(page->NextBtn->isEnabled(), next);
        QCOMPARE(mFixture->newLogEntries(), QStringList{name + u" Launched2003-12-04 15:30:12"_s});
        QCOMPARE(mFixture->prompter().messages(), QStringList());
    }

    void parseConfiguredConnection_data()
    {
        QTest::addColumn<QString>("configured");
        QTest::addColumn<QString>("server"); // empty with database: not recognised
        QTest::addColumn<QString>("database");
        QTest::newRow("both ended by ;")
            << u"Provider=SQLOLEDB.1;Data source=SRV;Initial Catalog=Directory;uid=sa;pwd=x"_s
            << u"SRV"_s << u"Directory"_s;
        QTest::newRow("nothing after the database")
            << u"Data source=db,1433;Initial Catalog=Zephrin Directory;"_s << u"db,1433"_s
            << u"Zephrin Directory"_s;
        QTest::newRow("empty names")
            << u"Data source=;Initial Catalog=;"_s << QString() << QString();
        QTest::newRow("Data Source with a capital S")
            << u"Provider=SQLOLEDB.1;Data Source=SRV;Initial Catalog=Directory;"_s << u"-"_s
            << u"-"_s;
        QTest::newRow("no ; after the database")
            << u"Provider=SQLOLEDB.1;Data source=SRV;Initial Catalog=Directory"_s << u"-"_s
            << u"-"_s;
        QTest::newRow("no ; after the server") << u"Data source=SRV"_s << u"-"_s << u"-"_s;
        QTest::newRow("database named before the server")
            << u"Initial Catalog=Directory;Data source=SRV;"_s << u"-"_s << u"-"_s;
        QTest::newRow("Initial catalog in other case")
            << u"Data source=SRV;Initial catalog=Directory;"_s << u"-"_s << u"-"_s;
        QTest::newRow("empty") << QString() << u"-"_s << u"-"_s;
    }

    // Only the exact form is recognised; then the target group holds the server, the
    // database and the whole text, with Windows NT authentication and nothing loaded.
    void parseConfiguredConnection()
    {
        QFETCH(QString, configured);
        QFETCH(QString, server);
        QFETCH(QString, database);
        const bool recognised = server != "-"_L1;
        StatusHolder::SetZephrinDatabase(u"before"_s, u"before"_s, 3, 1, u"sa"_s, u"pw"_s, true,
                                         u"before"_s);
        QCOMPARE(SelectVarnel::ParseConfiguredConnection(configured), recognised);
        const CollectionPtr group = StatusHolder::GetZephrinDatabase();
        QStringList values;
        for (const QVariant& value : group->values()) {
            values << value.toString();
        }
        if (recognised) {
            QCOMPARE(values, QStringList({server, database, u"0"_s, u"-1"_s, QString(), QString(),
                                          u"false"_s, configured}));
        } else {
            QCOMPARE(values, QStringList({u"before"_s, u"before"_s, u"1"_s, u"3"_s, u"sa"_s,
                                          u"pw"_s, u"true"_s, u"before"_s}));
        }
    }

    // Both pages show the same help, the source database named, "Load Database" and all.
    void help()
    {
        for (const QLatin1String name : {PageNames::SelectVarnel, PageNames::SelectZephrin}) {
            auto* page = mFixture->open<SelectDatabase>(name);
            QVERIFY(page != nullptr);
            QString shown;
            QTimer::singleShot(0, page, [&shown] {
                shown = HelpForm::loaded()->HelpText->toPlainText();
                HelpForm::loaded()->OKBtn->click();
            });
            PageFixture::click(page->HelpBtn);
            QCOMPARE(shown,
                     u"Select the 3.1x database from which to export users.\n\n1) Enter "
                     "the name of the database server manually.\n2) Select authentication "
                     "method, enter login ID and password if you selected SQL "
                     "authentication.\n3) Press \"Load Database\".\n4) Select a database."_s);
        }
    }

private:
    std::unique_ptr<PageFixture> mFixture;
    QString mServer;
};

QTEST_MAIN(TestSelectDatabase)
#include "tst_selectdatabase.moc"

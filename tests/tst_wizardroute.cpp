#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "directory/ZephrinFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/AddStores.h"
#include "pages/Introduction.h"
#include "pages/PageNames.h"
#include "pages/SelectVarnel.h"
#include "pages/SelectZephrin.h"
#include "pages/Verifier.h"
#include "support/PageFixture.h"
#include "support/StandInPage.h"

#include <QComboBox>
#include <QFile>
#include <QFocusEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString IncorrectSource =
    u"The database you selected as a an 3.1x database was either corrupt or not an 3.1x "
    "database. Please select another database."_s;
const QString IncorrectTarget =
    u"The database you selected as a an Zephrin 4.5 directory database was either corrupt or "
    "not an Zephrin 4.5 Directory database. Please select another database."_s;

// The verification's log lines when both databases pass.
QStringList verified(const QString& storesLine = u"Verifier: CheckStores: True"_s)
{
    return {u"Verifier Launched2003-12-04 15:30:12"_s,
            u"Verifier: AdministrativeDBCon.CheckExportDatabase True"_s,
            u"Verifier: AdministrativeDBCon.CheckImportDatabase True"_s,
            u"Verifier: Calling AdministrativeDBCon.CheckForUserConflicts"_s,
            u"Verifier: Authentication Method: NTLOGON"_s,
            storesLine};
}

void type(QLineEdit* box, const QString& text)
{
    box->selectAll();
    QTest::keyClick(box, Qt::Key_Delete);
    QTest::keyClicks(box, text);
}

// Fills a database page as the administrator does: server, authentication with its
// credentials, Refresh, then the database chosen from the list, which enables Next.
void fill(SelectDatabase& page, const QString& server, const QString& database,
          const QString& login = QString(), const QString& password = QString())
{
    type(page.DatabaseServerTxt, server);
    QTest::mouseClick(page.AuthenticationRbn[login.isEmpty() ? 0 : 1], Qt::LeftButton);
    type(page.LoginIDTxt, login);
    type(page.PasswordTxt, password);
    PageFixture::click(page.LoadDatabasesBtn);
    QFocusEvent in(QEvent::FocusIn, Qt::MouseFocusReason);
    QCoreApplication::sendEvent(page.DatabaseCbx, &in);
    page.DatabaseCbx->setCurrentIndex(page.DatabaseCbx->findText(database));
}

// A database page as one text: server, authentication, credentials, list, Next.
QString shown(const SelectDatabase& page)
{
    QStringList names;
    for (int i = 0; i < page.DatabaseCbx->count(); ++i) {
        names << page.DatabaseCbx->itemText(i);
    }
    return u"%1 auth=%2 %3/%4 [%5] chosen=%6 next=%7"_s.arg(page.DatabaseServerTxt->text())
        .arg(page.authentication())
        .arg(page.LoginIDTxt->text(), page.PasswordTxt->text(), names.join(u','),
             page.DatabaseCbx->currentText())
        .arg(page.NextBtn->isEnabled());
}

// A state store group as one list of texts, in key order.
QStringList group(const CollectionPtr& values)
{
    QStringList texts;
    for (const QVariant& value : values->values()) {
        texts << value.toString();
    }
    return texts;
}

QString typedLists()
{
    const CollectionPtr servers = StatusHolder::GetExchangeServers();
    QStringList lists;
    for (const QLatin1String key : {StateKeys::E2kServers, StateKeys::E55Servers}) {
        const CollectionPtr list = toCollection(servers->item(key));
        lists << (list ? group(list).join(u',') : u"(none)"_s);
    }
    return lists.join(u" | "_s);
}

// The titles and parents of every message, beside their texts.
QStringList boxes(const ScriptedPrompter& prompter)
{
    QStringList shown;
    for (const ScriptedPrompter::Asked& asked : prompter.asked) {
        shown << u"%1 [%2, over %3]"_s.arg(asked.text, asked.title, asked.parent);
    }
    return shown;
}

// The one visible window, by its name, or the names of all visible windows.
QString visibleName()
{
    QStringList names;
    for (QWidget* window : PageFixture::visibleWindows<QWidget>()) {
        names << window->objectName();
    }
    return names.join(u',');
}

} // namespace

class TestWizardRoute : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        mFixture->useDemo(12);
        StatusHolder::Reset();
        StandInPage::registerAs(PageNames::SelectUsers, u"Select Users to Migrate"_s);
        mServer = u"sqlite:"_s + mFixture->demo().folder;
        mConfigured = mFixture->demo().directoryConnectionString;
        mSource = BuildTrustedConnectionString(mServer, u"Varnel"_s);
    }
    void cleanup()
    {
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    // From the introduction to the user selection page on the demo: the Directory is
    // taken from the configuration, EXCH55 is typed, and every step is logged. Going
    // back restores every page; back at the introduction a new log file starts, and Next
    // brings the source page back as it was.
    void throughTheStorePageAndBack()
    {
        auto* intro = mFixture->open<Introduction>(PageNames::Introduction);
        QVERIFY(intro != nullptr);
        PageFixture::click(intro->NextBtn);
        auto* source = PageFixture::visible<SelectVarnel>();
        QVERIFY(source != nullptr);
        QCOMPARE(shown(*source), u" auth=0 / [] chosen= next=0"_s);
        fill(*source, mServer, u"Varnel"_s);
        PageFixture::click(source->NextBtn);

        auto* stores = PageFixture::visible<AddStores>();
        QVERIFY2(stores != nullptr, qPrintable(visibleName()));
        QVERIFY(stores->gbBackToVarnel);
        QVERIFY(GlobalVariables::gbAddStores);
        stores->ServersDetectedLbx->setCurrentRow(0);
        PageFixture::click(stores->ToE55Btn);
        PageFixture::click(stores->NextBtn);
        auto* users = PageFixture::visible<StandInPage>();
        QVERIFY2(users != nullptr, qPrintable(visibleName()));
        QCOMPARE(users->opened, QStringList{u"LoadStateNext backToVarnel=true"_s});

        const QStringList expected =
            QStringList{u"Introduction Launched2003-12-04 15:30:12"_s,
                        u"<EXAPP>=3.1x"_s,
                        u"<IMAPP>=Zephrin 4.5"_s,
                        u"SelectVarnel Launched2003-12-04 15:30:12"_s,
                        u"SelectVarnel: Connection string: "_s + mSource,
                        u"SelectVarnel: GetZeCS: "_s + mConfigured,
                        u"SelectVarnel: bInsertResult=True"_s} +
            verified() +
            QStringList{u"SelectVarnel: Next to AddStores"_s,
                        u"AddStores Launched, Servers: EXCH55;2003-12-04 15:30:13"_s,
                        u"AddStores: E2k Servers: "_s, u"AddStores: E55 Servers: EXCH55;"_s};
        QCOMPARE(mFixture->logEntries(), expected);
        QCOMPARE(mFixture->prompter().asked.size(), 0);
        QCOMPARE(mFixture->clock().pauses(), QList<int>(4, 300));
        QCOMPARE(group(StatusHolder::GetVarnelDatabase()),
                 QStringList({mServer, u"Varnel"_s, u"0"_s, u"1"_s, QString(), QString(), u"true"_s,
                              mSource}));
        QCOMPARE(group(StatusHolder::GetZephrinDatabase()),
                 QStringList({mServer, u"Directory"_s, u"0"_s, u"-1"_s, QString(), QString(),
                              u"false"_s, mConfigured}));
        QCOMPARE(typedLists(), u" | EXCH55"_s);

        // Back through every page.
        mFixture->markLog();
        PageFixture::click(users->PreviousBtn);
        stores = PageFixture::visible<AddStores>();
        QVERIFY2(stores != nullptr, qPrintable(visibleName()));
        QCOMPARE(stores->E55ServersLbx->count(), 1);
        QCOMPARE(stores->ServersDetectedLbx->count() + stores->E2kServersLbx->count(), 0);
        PageFixture::click(stores->PreviousBtn);
        source = PageFixture::visible<SelectVarnel>();
        QVERIFY2(source != nullptr, qPrintable(visibleName()));
        const QString sourceShown =
            mServer + u" auth=0 / [Directory,Varnel] chosen=Varnel next=1"_s;
        QCOMPARE(shown(*source), sourceShown);
        QCOMPARE(mFixture->newLogEntries(),
                 QStringList({u"AddStores Launched, Servers: 2003-12-04 15:30:13"_s,
                              u"SelectVarnel Launched2003-12-04 15:30:13"_s}));

        const QString firstLog = GlobalVariables::gsLogFileName;
        const QByteArray firstBytes = mFixture->log();
        mFixture->clock().advanceSeconds(60);
        PageFixture::click(source->PreviousBtn);
        intro = PageFixture::visible<Introduction>();
        QVERIFY2(intro != nullptr, qPrintable(visibleName()));
        QCOMPARE(GlobalVariables::gsLogFileName, u"MigrationLog20031204153113.log"_s);
        QFile first(mFixture->folder() + u'/' + firstLog);
        QVERIFY(first.open(QIODevice::ReadOnly));
        QCOMPARE(first.readAll(), firstBytes);

        PageFixture::click(intro->NextBtn);
        source = PageFixture::visible<SelectVarnel>();
        QVERIFY2(source != nullptr, qPrintable(visibleName()));
        QCOMPARE(shown(*source), sourceShown);
        QCOMPARE(
            mFixture->logEntries(),
            QStringList({u"Introduction Launched2003-12-04 15:31:13"_s, u"<EXAPP>=3.1x"_s,
                         u"<IMAPP>=Zephrin 4.5"_s, u"SelectVarnel Launched2003-12-04 15:31:13"_s}));
    }

    void sourcePageRoutes_data()
    {
        QTest::addColumn<QString>("configured"); // "<demo>": as the demo writes it
        QTest::addColumn<QString>("database");
        QTest::addColumn<bool>("allStores"); // every mail server is a store already
        QTest::addColumn<QString>("opened");
        QTest::addColumn<QStringList>("messages");
        QTest::addColumn<QStringList>("log"); // after the connection string line

        const QString demo = u"<demo>"_s;
        const auto target = [](const QString& configured) {
            return QStringList{u"SelectVarnel: GetZeCS: "_s + configured,
                               u"SelectVarnel: bInsertResult=False"_s,
                               u"SelectZephrin Launched2003-12-04 15:30:12"_s};
        };
        const QStringList recognised = {u"SelectVarnel: GetZeCS: <demo>"_s,
                                        u"SelectVarnel: bInsertResult=True"_s};

        QTest::newRow("a mail server not yet a store")
            << demo << u"Varnel"_s << false << u"AddStores"_s << QStringList()
            << recognised + verified() +
                   QStringList{u"SelectVarnel: Next to AddStores"_s,
                               u"AddStores Launched, Servers: EXCH55;2003-12-04 15:30:13"_s};
        QTest::newRow("every mail server a store")
            << demo << u"Varnel"_s << true << u"SelectUsers LoadStateNext backToVarnel=true"_s
            << QStringList()
            << recognised + verified() + QStringList{u"SelectVarnel: next to SelectUsers"_s};
        QTest::newRow("a Directory chosen as source")
            << demo << u"Directory"_s << false << u"SelectVarnel"_s << QStringList{IncorrectSource}
            << recognised +
                   QStringList{u"Verifier Launched2003-12-04 15:30:12"_s,
                               u"Verifier: AdministrativeDBCon.CheckExportDatabase False"_s,
                               u"SelectVarnel: Next to me"_s};
        const QString notDirectory = u"Provider=SQLOLEDB.1;Data source=<server>;Initial "
                                     "Catalog=Varnel;"_s;
        QTest::newRow("the configured database is no Directory")
            << notDirectory << u"Varnel"_s << false
            << u"SelectZephrin <server> auth=0 / [] chosen= next=0"_s
            << QStringList{IncorrectTarget}
            << QStringList{u"SelectVarnel: GetZeCS: "_s + notDirectory,
                           u"SelectVarnel: bInsertResult=True"_s,
                           u"Verifier Launched2003-12-04 15:30:12"_s,
                           u"Verifier: AdministrativeDBCon.CheckExportDatabase True"_s,
                           u"Verifier: AdministrativeDBCon.CheckImportDatabase False"_s,
                           u"SelectVarnel: next to SelectZephrin"_s,
                           u"SelectZephrin Launched2003-12-04 15:30:12"_s};
        const QString capitalS =
            u"Provider=SQLOLEDB.1;Data Source=<server>;Initial Catalog=Directory;"_s;
        QTest::newRow("Data Source with a capital S")
            << capitalS << u"Varnel"_s << false
            << u"SelectZephrin <server> auth=0 / [] chosen= next=0"_s << QStringList()
            << target(capitalS);
        const QString unended = u"Provider=SQLOLEDB.1;Data source=<server>;Initial "
                                "Catalog=Directory"_s;
        QTest::newRow("no ; after the database")
            << unended << u"Varnel"_s << false
            << u"SelectZephrin <server> auth=0 / [] chosen= next=0"_s << QStringList()
            << target(unended);
        QTest::newRow("no Directory configured")
            << QString() << u"Varnel"_s << false
            << u"SelectZephrin <server> auth=0 / [] chosen= next=0"_s << QStringList()
            << target(QString());
        QTest::newRow("no configuration") << u"<none>"_s << u"Varnel"_s << false
                                          << u"SelectZephrin <server> auth=0 / [] chosen= next=0"_s
                                          << QStringList() << target(QString());
    }

    // Next on the source page, with the Directory configured or not, each database right
    // or wrong: where the wizard goes, what it says and logs.
    void sourcePageRoutes()
    {
        QFETCH(QString, configured);
        QFETCH(QString, database);
        QFETCH(bool, allStores);
        QFETCH(QString, opened);
        QFETCH(QStringList, messages);
        QFETCH(QStringList, log);
        const auto place = [this](QString text) {
            return text.replace(u"<demo>"_s, mConfigured).replace(u"<server>"_s, mServer);
        };
        if (configured == "<none>"_L1) {
            QVERIFY(QFile::remove(mFixture->demo().configurationPath));
        } else if (configured != "<demo>"_L1) {
            configure(place(configured));
        }
        if (allStores) {
            ZephrinFunctions::AddStore(u"EXCH55"_s, 1, u"test"_s,
                                       mFixture->demo().directoryConnectionString);
        }
        GlobalVariables::gbAddStores = allStores;
        auto* source = mFixture->open<SelectVarnel>(PageNames::SelectVarnel);
        QVERIFY(source != nullptr);
        fill(*source, mServer, database);
        mFixture->markLog();
        PageFixture::click(source->NextBtn);

        QString now = visibleName();
        if (auto* users = PageFixture::visible<StandInPage>()) {
            now += u' ' + users->opened.join(u',');
        } else if (auto* target = PageFixture::visible<SelectZephrin>()) {
            now += u' ' + shown(*target);
        }
        QCOMPARE(now, place(opened));
        QStringList boxesShown;
        for (const QString& message : messages) {
            boxesShown << message + u" [Incorrect database selection, over SelectVarnel]"_s;
        }
        QCOMPARE(boxes(mFixture->prompter()), boxesShown);
        const QString connection = BuildTrustedConnectionString(mServer, database);
        QStringList expected = {u"SelectVarnel: Connection string: "_s + connection};
        for (const QString& line : log) {
            expected << place(line);
        }
        QCOMPARE(mFixture->newLogEntries(), expected);
        QCOMPARE(group(StatusHolder::GetVarnelDatabase()).last(), connection);
        if (opened == "AddStores"_L1 || opened.startsWith(u"SelectUsers"_s)) {
            QCOMPARE(GlobalVariables::gbAddStores, !allStores);
        }
        if (opened.startsWith(u"SelectZephrin"_s) && messages.isEmpty()) {
            // The target page starts from this page's server and credentials.
            QCOMPARE(group(StatusHolder::GetZephrinDatabase()),
                     QStringList({mServer, database, u"0"_s, u"-1"_s, QString(), QString(),
                                  u"true"_s, connection}));
        }
        QCOMPARE(PageFixture::visibleWindows<Verifier>().size(), 0);
    }

    void targetPageRoutes_data()
    {
        QTest::addColumn<QString>("database");
        QTest::addColumn<QString>("login");
        QTest::addColumn<QString>("change"); // "stores", "source" or none
        QTest::addColumn<QString>("opened");
        QTest::addColumn<QStringList>("messages");
        QTest::addColumn<QStringList>("log"); // after the connection string line

        QTest::newRow("a mail server not yet a store, SQL Server authentication")
            << u"Directory"_s << u"sa"_s << QString() << u"AddStores backToVarnel=0"_s
            << QStringList()
            << verified() +
                   QStringList{u"AddStores Launched, Servers: EXCH55;2003-12-04 15:30:13"_s};
        QTest::newRow("every mail server a store")
            << u"Directory"_s << QString() << u"stores"_s
            << u"SelectUsers LoadStateNext backToVarnel=false"_s << QStringList() << verified();
        QTest::newRow("a source database chosen as Directory")
            << u"Varnel"_s << QString() << QString() << u"SelectZephrin"_s
            << QStringList{IncorrectTarget}
            << QStringList{u"Verifier Launched2003-12-04 15:30:12"_s,
                           u"Verifier: AdministrativeDBCon.CheckExportDatabase True"_s,
                           u"Verifier: AdministrativeDBCon.CheckImportDatabase False"_s};
        QTest::newRow("the source no longer a source database")
            << u"Directory"_s << QString() << u"source"_s
            << u"SelectVarnel  auth=0 / [] chosen= next=0"_s << QStringList{IncorrectSource}
            << QStringList{u"Verifier Launched2003-12-04 15:30:12"_s,
                           u"Verifier: AdministrativeDBCon.CheckExportDatabase False"_s,
                           u"SelectVarnel Launched2003-12-04 15:30:12"_s};
    }

    // Next on the target page: where the wizard goes, what it says and logs.
    void targetPageRoutes()
    {
        QFETCH(QString, database);
        QFETCH(QString, login);
        QFETCH(QString, change);
        QFETCH(QString, opened);
        QFETCH(QStringList, messages);
        QFETCH(QStringList, log);
        const QString password = login.isEmpty() ? QString() : u"pw;x"_s;
        const QString sourceConnection =
            change == "source"_L1 ? mFixture->demo().directoryConnectionString : mSource;
        StatusHolder::SetVarnelDatabase(mServer, u"Varnel"_s, 1, 0, {}, {}, true, sourceConnection);
        if (change == "stores"_L1) {
            ZephrinFunctions::AddStore(u"EXCH55"_s, 2, u"test"_s,
                                       mFixture->demo().directoryConnectionString);
        }
        auto* target = mFixture->open<SelectZephrin>(PageNames::SelectZephrin);
        QVERIFY(target != nullptr);
        fill(*target, mServer, database, login, password);
        mFixture->markLog();
        PageFixture::click(target->NextBtn);

        QString now = visibleName();
        if (auto* users = PageFixture::visible<StandInPage>()) {
            now += u' ' + users->opened.join(u',');
        } else if (auto* stores = PageFixture::visible<AddStores>()) {
            now += u" backToVarnel="_s + QString::number(stores->gbBackToVarnel);
        } else if (auto* source = PageFixture::visible<SelectVarnel>()) {
            now += u' ' + shown(*source);
        }
        QCOMPARE(now, opened);
        QStringList boxesShown;
        for (const QString& message : messages) {
            boxesShown << message + u" [Incorrect database selection, over SelectZephrin]"_s;
        }
        QCOMPARE(boxes(mFixture->prompter()), boxesShown);
        const QString connection =
            login.isEmpty() ? BuildTrustedConnectionString(mServer, database)
                            : BuildSqlConnectionString(mServer, database, login, password);
        QCOMPARE(mFixture->newLogEntries(),
                 QStringList{u"SelectZephrin: Connection String: "_s + connection} + log);
        QCOMPARE(group(StatusHolder::GetZephrinDatabase()),
                 QStringList({mServer, database, QString::number(login.isEmpty() ? 0 : 1),
                              database == "Directory"_L1 ? u"0"_s : u"1"_s, login, password,
                              u"true"_s, connection}));
        // The source page's group is kept, even when the page comes back empty.
        QCOMPARE(group(StatusHolder::GetVarnelDatabase()).last(), sourceConnection);
        QCOMPARE(PageFixture::visibleWindows<Verifier>().size(), 0);
    }

    void previousRestores_data()
    {
        QTest::addColumn<QString>("login");
        QTest::newRow("Windows NT authentication") << QString();
        QTest::newRow("SQL Server authentication") << u"sa"_s;
    }

    // Without a configured Directory: the target page starts with the source's server
    // and credentials; Previous on it saves it and restores the source page; from the
    // user selection page Previous restores the target page as it was left.
    void previousRestores()
    {
        QFETCH(QString, login);
        const QString password = login.isEmpty() ? QString() : u"secret"_s;
        configure(QString());
        ZephrinFunctions::AddStore(u"EXCH55"_s, 1, u"test"_s,
                                   mFixture->demo().directoryConnectionString);
        auto* source = mFixture->open<SelectVarnel>(PageNames::SelectVarnel);
        QVERIFY(source != nullptr);
        fill(*source, mServer, u"Varnel"_s, login, password);
        const QString sourceShown = shown(*source);
        PageFixture::click(source->NextBtn);
        auto* target = PageFixture::visible<SelectZephrin>();
        QVERIFY2(target != nullptr, qPrintable(visibleName()));
        const int authentication = login.isEmpty() ? 0 : 1;
        QCOMPARE(shown(*target), u"%1 auth=%2 %3/%4 [] chosen= next=0"_s.arg(mServer)
                                     .arg(authentication)
                                     .arg(login, password));

        PageFixture::click(target->PreviousBtn);
        source = PageFixture::visible<SelectVarnel>();
        QVERIFY2(source != nullptr, qPrintable(visibleName()));
        QCOMPARE(shown(*source), sourceShown);
        QCOMPARE(group(StatusHolder::GetZephrinDatabase()),
                 QStringList({mServer, QString(), QString::number(authentication), u"-1"_s, login,
                              password, u"false"_s,
                              login.isEmpty() ? BuildTrustedConnectionString(mServer, QString())
                                              : BuildSqlConnectionString(mServer, QString(), login,
                                                                         password)}));

        PageFixture::click(source->NextBtn);
        target = PageFixture::visible<SelectZephrin>();
        QVERIFY2(target != nullptr, qPrintable(visibleName()));
        fill(*target, mServer, u"Directory"_s, login, password);
        const QString targetShown = shown(*target);
        PageFixture::click(target->NextBtn);
        auto* users = PageFixture::visible<StandInPage>();
        QVERIFY2(users != nullptr, qPrintable(visibleName()));
        QVERIFY(!GlobalVariables::gbAddStores);
        PageFixture::click(users->PreviousBtn);
        target = PageFixture::visible<SelectZephrin>();
        QVERIFY2(target != nullptr, qPrintable(visibleName()));
        QCOMPARE(shown(*target), targetShown);
    }

    void verificationFailureStays_data()
    {
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("sql"); // run on the Directory
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("logLine");
        const QString conflicts =
            u"Checking for conflicting users failed.\r\n\r\nError 1: no such table: fwtUser"_s;
        const QString stores = u"Checking stores failed.\r\n\r\nError 1: "
                               "VarnelMigrationTool.ZephrinFunctions.StoreExists - no such table: "
                               "fwtStore"_s;
        QTest::newRow("source page, conflict check")
            << u"SelectVarnel"_s << u"DROP TABLE fwtUser"_s << conflicts
            << u"SelectVarnel: Checking for conflicting users failed with error 1: no such table: "
               "fwtUser"_s;
        QTest::newRow("target page, conflict check")
            << u"SelectZephrin"_s << u"DROP TABLE fwtUser"_s << conflicts
            << u"SelectZephrin: Checking for conflicting users failed with error 1: no such "
               "table: fwtUser"_s;
        QTest::newRow("source page, store check")
            << u"SelectVarnel"_s << u"DROP TABLE fwtStore"_s << stores
            << u"SelectVarnel: Checking stores failed with error 1: "
               "VarnelMigrationTool.ZephrinFunctions.StoreExists - no such table: fwtStore"_s;
    }

    // A failure inside the verification is told with the database's own words; the
    // page stays as it was and the verification window goes.
    void verificationFailureStays()
    {
        QFETCH(QString, page);
        QFETCH(QString, sql);
        QFETCH(QString, message);
        QFETCH(QString, logLine);
        {
            DbConnection directory(mFixture->demo().directoryConnectionString);
            directory.execute(u"PRAGMA foreign_keys = OFF"_s);
            directory.execute(sql);
        }
        StatusHolder::SetVarnelDatabase(mServer, u"Varnel"_s, 1, 0, {}, {}, true, mSource);
        auto* current = mFixture->open<SelectDatabase>(QLatin1String(page.toLatin1()));
        QVERIFY(current != nullptr);
        fill(*current, mServer, page == "SelectVarnel"_L1 ? u"Varnel"_s : u"Directory"_s);
        const QString before = shown(*current);
        PageFixture::click(current->NextBtn);

        QCOMPARE(visibleName(), page);
        QCOMPARE(shown(*current), before);
        QVERIFY(current->isEnabled());
        QCOMPARE(boxes(mFixture->prompter()),
                 QStringList{message + u" [Verification failed, over "_s + page + u']'});
        QCOMPARE(mFixture->prompter().asked.first().icon, Prompter::Icon::Critical);
        QCOMPARE(mFixture->logEntries().last(), logLine);
        PageFixture::processDeletions();
        QCOMPARE(PageFixture::visibleWindows<Verifier>().size(), 0);
        for (QWidget* window : QApplication::topLevelWidgets()) {
            QVERIFY(qobject_cast<Verifier*>(window) == nullptr);
        }
    }

private:
    // Writes the demo's configuration with another Directory connection string.
    void configure(const QString& connectionString)
    {
        QFile file(mFixture->demo().configurationPath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
        file.close();
        for (QString& line : lines) {
            if (line.startsWith(u"connectionstring="_s)) {
                line = u"connectionstring="_s + connectionString;
            }
        }
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(lines.join(u'\n').toUtf8());
    }

    std::unique_ptr<PageFixture> mFixture;
    QString mServer;
    QString mConfigured;
    QString mSource;
};

QTEST_MAIN(TestWizardRoute)
#include "tst_wizardroute.moc"

#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "directory/ZephrinFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/StatusHolder.h"
#include "pages/AddStores.h"
#include "pages/Introduction.h"
#include "pages/PageNames.h"
#include "pages/SelectVarnel.h"
#include "pages/SelectZephrin.h"
#include "pages/Verifier.h"
#include "support/Describe.h"
#include "support/Golden.h"
#include "support/PageFixture.h"
#include "support/StandInPage.h"
#include "support/Transcript.h"

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

const auto type = PageFixture::type;

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

} // namespace

// Each route is written as a transcript (the windows, log entries and messages after
// every step, the state store's database groups) and compared whole with its file
// in tests/data/wizardroute.
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
        mSource = BuildTrustedConnectionString(mServer, u"Varnel"_s);
        mTranscript = std::make_unique<Transcript>(*mFixture);
        mTranscript->mask(mFixture->demo().directoryConnectionString, u"<configured>"_s);
        mTranscript->mask(mFixture->demo().folder, u"<demo>"_s);
    }
    void cleanup()
    {
        mTranscript.reset();
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    // From the introduction to the user selection page on the demo: the Directory is
    // taken from the configuration, EXCH55 is typed, and every step is logged. Going
    // back restores every page; back at the introduction a new log file starts, and
    // Next brings the source page back as it was.
    void throughTheStorePageAndBack()
    {
        auto* intro = mFixture->open<Introduction>(PageNames::Introduction);
        QVERIFY(intro != nullptr);
        PageFixture::click(intro->NextBtn);
        mTranscript->step(u"introduction, Next"_s);
        fill(*PageFixture::visible<SelectVarnel>(), mServer, u"Varnel"_s);
        PageFixture::click(PageFixture::visible<SelectVarnel>()->NextBtn);
        mTranscript->step(u"source page filled, Next"_s);
        noteState();
        auto* stores = &Transcript::on<AddStores>();
        mTranscript->note(
            u"store page back to source: %1, add stores: %2"_s.arg(stores->gbBackToVarnel)
                .arg(GlobalVariables::gbAddStores));
        stores->ServersDetectedLbx->setCurrentRow(0);
        PageFixture::click(stores->ToE55Btn);
        PageFixture::click(stores->NextBtn);
        mTranscript->step(u"EXCH55 typed, Next"_s);
        mTranscript->note(u"user selection opened: "_s +
                          Transcript::on<StandInPage>().opened.join(u','));
        noteState();
        PageFixture::click(PageFixture::visible<StandInPage>()->PreviousBtn);
        mTranscript->step(u"Previous on the user selection page"_s);
        PageFixture::click(PageFixture::visible<AddStores>()->PreviousBtn);
        mTranscript->step(u"Previous on the store page"_s);

        const QString firstLog = GlobalVariables::gsLogFileName;
        const QByteArray firstBytes = mFixture->log();
        mFixture->clock().advanceSeconds(60);
        PageFixture::click(PageFixture::visible<SelectVarnel>()->PreviousBtn);
        QFile first(mFixture->folder() + u'/' + firstLog);
        QVERIFY(first.open(QIODevice::ReadOnly));
        QCOMPARE(first.readAll(), firstBytes);
        PageFixture::click(PageFixture::visible<Introduction>()->NextBtn);
        mTranscript->step(u"a minute later Previous on the source page, Next"_s);
        QCOMPARE_GOLDEN(mTranscript->text(), u"wizardroute/through-the-store-page.txt"_s);
    }

    void sourcePageRoutes_data()
    {
        QTest::addColumn<QString>("configured"); // "<demo>": as the demo writes it
        QTest::addColumn<QString>("database");
        QTest::addColumn<bool>("allStores"); // every mail server is a store already
        const QString server = u"Provider=SQLOLEDB.1;Data source=<server>;"_s;
        QTest::newRow("mail-server-not-a-store") << u"<demo>"_s << u"Varnel"_s << false;
        QTest::newRow("every-mail-server-a-store") << u"<demo>"_s << u"Varnel"_s << true;
        QTest::newRow("directory-as-source") << u"<demo>"_s << u"Directory"_s << false;
        QTest::newRow("configured-no-directory")
            << server + u"Initial Catalog=Varnel;"_s << u"Varnel"_s << false;
        QTest::newRow("data-source-capital-s")
            << u"Provider=SQLOLEDB.1;Data Source=<server>;Initial Catalog=Directory;"_s
            << u"Varnel"_s << false;
        QTest::newRow("no-semicolon-after-database")
            << server + u"Initial Catalog=Directory"_s << u"Varnel"_s << false;
        QTest::newRow("no-directory-configured") << QString() << u"Varnel"_s << false;
        QTest::newRow("no-configuration") << u"<none>"_s << u"Varnel"_s << false;
    }

    // Next on the source page, with the Directory configured or not, each database
    // right or wrong: where the wizard goes, what it says and logs.
    void sourcePageRoutes()
    {
        QFETCH(QString, configured);
        QFETCH(QString, database);
        QFETCH(bool, allStores);
        if (configured == "<none>"_L1) {
            QVERIFY(QFile::remove(mFixture->demo().configurationPath));
        } else if (configured != "<demo>"_L1) {
            configure(QString(configured).replace(u"<server>"_s, mServer));
        }
        if (allStores) {
            ZephrinFunctions::AddStore(u"EXCH55"_s, 1, u"test"_s,
                                       mFixture->demo().directoryConnectionString);
        }
        GlobalVariables::gbAddStores = allStores;
        auto* source = mFixture->open<SelectVarnel>(PageNames::SelectVarnel);
        QVERIFY(source != nullptr);
        fill(*source, mServer, database);
        mTranscript->stepQuiet(u"source page filled"_s);
        PageFixture::click(source->NextBtn);
        expectRoute(u"wizardroute/source-"_s);
    }

    void targetPageRoutes_data()
    {
        QTest::addColumn<QString>("database");
        QTest::addColumn<QString>("login");
        QTest::addColumn<QString>("change"); // "stores", "source" or none
        QTest::newRow("mail-server-not-a-store-sql-login")
            << u"Directory"_s << u"sa"_s << QString();
        QTest::newRow("every-mail-server-a-store") << u"Directory"_s << QString() << u"stores"_s;
        QTest::newRow("source-as-directory") << u"Varnel"_s << QString() << QString();
        QTest::newRow("source-no-longer-a-source") << u"Directory"_s << QString() << u"source"_s;
    }

    // Next on the target page: where the wizard goes, what it says and logs; the
    // source page's group is kept, even when that page comes back empty.
    void targetPageRoutes()
    {
        QFETCH(QString, database);
        QFETCH(QString, login);
        QFETCH(QString, change);
        StatusHolder::SetVarnelDatabase(
            mServer, u"Varnel"_s, 1, 0, {}, {}, true,
            change == "source"_L1 ? mFixture->demo().directoryConnectionString : mSource);
        if (change == "stores"_L1) {
            ZephrinFunctions::AddStore(u"EXCH55"_s, 2, u"test"_s,
                                       mFixture->demo().directoryConnectionString);
        }
        auto* target = mFixture->open<SelectZephrin>(PageNames::SelectZephrin);
        QVERIFY(target != nullptr);
        fill(*target, mServer, database, login, login.isEmpty() ? QString() : u"pw;x"_s);
        mTranscript->stepQuiet(u"target page filled"_s);
        PageFixture::click(target->NextBtn);
        expectRoute(u"wizardroute/target-"_s);
    }

    void previousRestores_data()
    {
        QTest::addColumn<QString>("login");
        QTest::newRow("windows-nt-authentication") << QString();
        QTest::newRow("sql-server-authentication") << u"sa"_s;
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
        PageFixture::click(source->NextBtn);
        mTranscript->step(u"source page filled, Next"_s);
        PageFixture::click(PageFixture::visible<SelectZephrin>()->PreviousBtn);
        mTranscript->step(u"Previous on the target page"_s);
        noteState();
        PageFixture::click(PageFixture::visible<SelectVarnel>()->NextBtn);
        auto* target = PageFixture::visible<SelectZephrin>();
        QVERIFY(target != nullptr);
        fill(*target, mServer, u"Directory"_s, login, password);
        PageFixture::click(target->NextBtn);
        mTranscript->note(u"add stores: "_s + QString::number(GlobalVariables::gbAddStores));
        PageFixture::click(PageFixture::visible<StandInPage>()->PreviousBtn);
        mTranscript->step(u"target page filled, Next, Previous on the user selection page"_s);
        QCOMPARE_GOLDEN(mTranscript->text(), Golden::rowFile(u"wizardroute/previous-"_s));
    }

    void verificationFailureStays_data()
    {
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("sql"); // run on the Directory
        QTest::newRow("source-conflict-check") << u"SelectVarnel"_s << u"DROP TABLE fwtUser"_s;
        QTest::newRow("target-conflict-check") << u"SelectZephrin"_s << u"DROP TABLE fwtUser"_s;
        QTest::newRow("source-store-check") << u"SelectVarnel"_s << u"DROP TABLE fwtStore"_s;
    }

    // A failure inside the verification is told with the database's own words; the
    // page stays as it was and the verification window goes.
    void verificationFailureStays()
    {
        QFETCH(QString, page);
        QFETCH(QString, sql);
        {
            DbConnection directory(mFixture->demo().directoryConnectionString);
            directory.execute(u"PRAGMA foreign_keys = OFF"_s);
            directory.execute(sql);
        }
        StatusHolder::SetVarnelDatabase(mServer, u"Varnel"_s, 1, 0, {}, {}, true, mSource);
        auto* current = mFixture->open<SelectDatabase>(QLatin1String(page.toLatin1()));
        QVERIFY(current != nullptr);
        fill(*current, mServer, page == "SelectVarnel"_L1 ? u"Varnel"_s : u"Directory"_s);
        mTranscript->stepQuiet(u"page filled"_s);
        PageFixture::click(current->NextBtn);
        mTranscript->step(u"Next"_s);
        QCOMPARE_GOLDEN(mTranscript->text(), Golden::rowFile(u"wizardroute/failure-"_s));
        PageFixture::processDeletions();
        for (QWidget* window : QApplication::topLevelWidgets()) {
            QVERIFY(qobject_cast<Verifier*>(window) == nullptr);
        }
    }

private:
    // Where the wizard went (the stand-in says how it was opened), what it showed,
    // said and logged, and the state store's groups.
    void expectRoute(const QString& prefix)
    {
        mTranscript->step(u"Next"_s);
        if (auto* users = PageFixture::visible<StandInPage>()) {
            mTranscript->note(u"user selection opened: "_s + users->opened.join(u',') +
                              u", add stores: "_s + QString::number(GlobalVariables::gbAddStores));
        } else if (auto* stores = PageFixture::visible<AddStores>()) {
            mTranscript->note(u"store page back to source: "_s +
                              QString::number(stores->gbBackToVarnel) + u", add stores: "_s +
                              QString::number(GlobalVariables::gbAddStores));
        }
        noteState();
        QCOMPARE(PageFixture::visibleWindows<Verifier>().size(), 0);
        QCOMPARE_GOLDEN(mTranscript->text(), Golden::rowFile(prefix));
    }

    void noteState()
    {
        mTranscript->note(u"source group: "_s +
                          describe(StatusHolder::GetVarnelDatabase()).join(u" | "_s));
        mTranscript->note(u"target group: "_s +
                          describe(StatusHolder::GetZephrinDatabase()).join(u" | "_s));
        mTranscript->note(u"typed stores: "_s +
                          describe(StatusHolder::GetExchangeServers()).join(u" | "_s));
        QStringList pauses;
        for (const int pause : mFixture->clock().pauses()) {
            pauses << QString::number(pause);
        }
        mTranscript->note(u"pauses: "_s + pauses.join(u' '));
    }

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
    std::unique_ptr<Transcript> mTranscript;
    QString mServer;
    QString mSource;
};

QTEST_MAIN(TestWizardRoute)
#include "tst_wizardroute.moc"

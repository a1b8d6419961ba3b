#include "frame/StatusHolder.h"
#include "pages/AddStores.h"
#include "pages/ConflictDecision.h"
#include "pages/Finish.h"
#include "pages/MigrateUsers.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectVarnel.h"
#include "pages/Verifier.h"
#include "support/LayoutCheck.h"
#include "support/PageFixture.h"
#include "support/StandInPage.h"

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <functional>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// The conflict dialog, by this name in the tables, offering "apply to all".
const QString ConflictDialog = u"ConflictDecision"_s;

// Opens a page of this build as the wizard shows it, with content in its lists; the
// conflict dialog into the given holder.
QWidget* openFilled(PageFixture& fixture, const QString& name,
                    std::unique_ptr<ConflictDecision>& dialog)
{
    if (name == ConflictDialog) {
        dialog = std::make_unique<ConflictDecision>();
        dialog->offerApplyToAll(true);
        dialog->show();
        return dialog.get();
    }
    if (name == PageNames::SelectUsers) {
        return fixture.open<WizardPage>(PageNames::SelectUsers, WizardPage::Restore::Next);
    }
    if (name == PageNames::AddStores) {
        auto* page = qobject_cast<AddStores*>(Pages::create(PageNames::AddStores));
        if (page != nullptr) {
            page->setDetectedServers(
                {u"EXCH55"_s, u"mailserver-with-a-long-name.corp.example.com"_s});
            page->LoadStateNext();
            page->show();
        }
        return page;
    }
    if (name == PageNames::Verifier) {
        auto* page = fixture.open<Verifier>(PageNames::Verifier);
        if (page != nullptr) {
            page->Verify();
        }
        return page;
    }
    if (name == PageNames::SelectDPProfiles) {
        return fixture.open<WizardPage>(PageNames::SelectDPProfiles, WizardPage::Restore::Next);
    }
    if (name == PageNames::Finish) {
        auto* page = fixture.open<Finish>(PageNames::Finish);
        if (page != nullptr) {
            QString report = u"Status, migrated users:\r\n\r\n"_s;
            for (int row = 0; row < 40; ++row) {
                report += u"%1 %2 Not Changed\r\n"_s.arg(u"A user with a long name"_s, 30)
                              .arg(u"a.login.id"_s, 30);
            }
            page->setReport(report);
        }
        return page;
    }
    if (name == PageNames::MigrateUsers) {
        auto* page = fixture.open<MigrateUsers>(PageNames::MigrateUsers);
        if (page != nullptr) {
            // Its longest caption, during the profile phase.
            page->setDescription(u"Migrating Device Provisioning profiles, please wait."_s);
        }
        return page;
    }
    return fixture.open<WizardPage>(QLatin1String(name.toLatin1()), WizardPage::Restore::Prev);
}

// The application's font, larger by a factor, for as long as it lives.
class ScaledFont
{
public:
    explicit ScaledFont(double factor) : mFont(QApplication::font())
    {
        QFont larger = mFont;
        larger.setPointSizeF(mFont.pointSizeF() * factor);
        QApplication::setFont(larger);
    }
    ~ScaledFont() { QApplication::setFont(mFont); }
    ScaledFont(const ScaledFont&) = delete;
    ScaledFont& operator=(const ScaledFont&) = delete;

private:
    QFont mFont;
};

} // namespace

class TestPageLayout : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        mFixture->useDemo(12);
    }
    void cleanup()
    {
        mDialog.reset();
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    void fitsItsContent_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<double>("fontScale");
        for (const QLatin1String name :
             {PageNames::SelectVarnel, PageNames::SelectZephrin, PageNames::Verifier,
              PageNames::AddStores, PageNames::SelectUsers, QLatin1String("ConflictDecision"),
              PageNames::SelectEmailTemplate, PageNames::EnterConnectData,
              PageNames::SelectDPProfiles, PageNames::UserInputFinished, PageNames::Finish,
              PageNames::MigrateUsers}) {
            for (const double scale : {1.0, 1.5}) {
                QTest::addRow("%s at %d %%", name.data(), int(scale * 100))
                    << QString(name) << scale;
            }
        }
    }

    // Every control shows whole, at the usual text size and at half as large again (a
    // display set to 150 %); the ctest run under QT_SCALE_FACTOR=1.5 repeats it scaled.
    // The window stays within a 1920 x 1080 screen at 150 % (1280 x 720).
    void fitsItsContent()
    {
        QFETCH(QString, name);
        QFETCH(double, fontScale);
        const ScaledFont font(fontScale);
        QWidget* page = openFilled(*mFixture, name, mDialog);
        QVERIFY(page != nullptr);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
        QCOMPARE(LayoutCheck::clippedControls(*page).join(u"; "_s), QString());
        QVERIFY(page->width() >= page->minimumSizeHint().width());
        QVERIFY2(page->width() <= 1280 && page->height() <= 720,
                 qPrintable(u"%1x%2"_s.arg(page->width()).arg(page->height())));
    }

    void tabOrder_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("chain");
        const QStringList database = {u"DatabaseServerTxt"_s,
                                      u"AuthenticationRbn_0"_s,
                                      u"AuthenticationRbn_1"_s,
                                      u"LoginIDTxt"_s,
                                      u"PasswordTxt"_s,
                                      u"DatabaseCbx"_s,
                                      u"LoadDatabasesBtn"_s,
                                      u"HelpBtn"_s,
                                      u"PreviousBtn"_s,
                                      u"NextBtn"_s,
                                      u"CancelBtn"_s};
        QTest::newRow("SelectVarnel") << u"SelectVarnel"_s << database;
        QTest::newRow("SelectZephrin") << u"SelectZephrin"_s << database;
        QTest::newRow("AddStores")
            << u"AddStores"_s
            << QStringList{u"ServersDetectedLbx"_s, u"ToE2kBtn"_s,    u"FromE2kBtn"_s,
                           u"E2kServersLbx"_s,      u"ToE55Btn"_s,    u"FromE55Btn"_s,
                           u"E55ServersLbx"_s,      u"PreviousBtn"_s, u"NextBtn"_s,
                           u"CancelBtn"_s};
        QTest::newRow("Verifier: nothing to visit") << u"Verifier"_s << QStringList();
        QTest::newRow("SelectUsers")
            << u"SelectUsers"_s
            << QStringList{u"OldUsersLbx"_s, u"OldToMigrateBtn"_s, u"MigrateToOldBtn"_s,
                           u"MigrateAll"_s,  u"MigrateNone"_s,     u"Migrate"_s,
                           u"PreviousBtn"_s, u"NextBtn"_s,         u"CancelBtn"_s};
        QTest::newRow("SelectEmailTemplate")
            << u"SelectEmailTemplate"_s
            << QStringList{u"EmailTemplates"_s, u"DoNotSend"_s, u"PreviousBtn"_s, u"NextBtn"_s,
                           u"CancelBtn"_s};
        QTest::newRow("EnterConnectData")
            << u"EnterConnectData"_s
            << QStringList{u"ServerNameTxt"_s, u"AliasTxt"_s, u"EmailTxt"_s,
                           u"PreviousBtn"_s,   u"NextBtn"_s,  u"CancelBtn"_s};
        QTest::newRow("SelectDPProfiles")
            << u"SelectDPProfiles"_s
            << QStringList{u"lstOldProfiles"_s, u"OldToMigrateBtn"_s, u"MigrateToOldBtn"_s,
                           u"MigrateAll"_s,     u"MigrateNone"_s,     u"lstNewProfiles"_s,
                           u"PreviousBtn"_s,    u"NextBtn"_s,         u"CancelBtn"_s};
        QTest::newRow("UserInputFinished")
            << u"UserInputFinished"_s
            << QStringList{u"PreviousBtn"_s, u"NextBtn"_s, u"CancelBtn"_s};
        QTest::newRow("Finish") << u"Finish"_s
                                << QStringList{u"AfterOpInfo"_s, u"WriteToFileBtn"_s,
                                               u"CancelBtn"_s};
        QTest::newRow("MigrateUsers: nothing to visit") << u"MigrateUsers"_s << QStringList();
    }

    // Tab goes through the controls as they are laid out, top to bottom and left to
    // right, ending with the buttons of the bottom row.
    void tabOrder()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, chain);
        QWidget* page = openFilled(*mFixture, name, mDialog);
        QVERIFY(page != nullptr);
        QCOMPARE(LayoutCheck::tabChain(*page), chain);
    }

    // Next is the default button: Return in a text box or a list presses it when it is
    // enabled, and only then; Return on another button presses that button.
    void returnPressesNext()
    {
        mFixture->prompter().answers.clear();
        auto* source = mFixture->open<SelectVarnel>(PageNames::SelectVarnel);
        QVERIFY(source != nullptr);
        QVERIFY(source->NextBtn->isDefault());
        QTest::keyClicks(source->DatabaseServerTxt, u"sqlite:"_s + mFixture->demo().folder);
        QTest::keyClick(source->DatabaseServerTxt, Qt::Key_Return);
        QCOMPARE(PageFixture::visible<WizardPage>(), source);
        QCOMPARE(mFixture->logEntries().size(), 1); // its launch line only

        source->LoadDatabasesBtn->setFocus();
        QTest::keyClick(source->LoadDatabasesBtn, Qt::Key_Return);
        PageFixture::processDeletions();
        QCOMPARE(source->DatabaseCbx->count(), 2);
        QCOMPARE(PageFixture::visible<WizardPage>(), source);

        StandInPage::registerAs(PageNames::SelectUsers, u"Select Users to Migrate"_s);
        auto* stores = qobject_cast<AddStores*>(Pages::create(PageNames::AddStores));
        QVERIFY(stores != nullptr);
        stores->setDetectedServers({u"EXCH55"_s});
        stores->LoadStateNext();
        stores->show();
        QVERIFY(stores->NextBtn->isDefault());
        stores->ServersDetectedLbx->setFocus();
        QTest::keyClick(stores->ServersDetectedLbx, Qt::Key_Enter, Qt::KeypadModifier);
        PageFixture::processDeletions();
        QVERIFY(PageFixture::visible<StandInPage>() != nullptr);
    }

private:
    std::unique_ptr<PageFixture> mFixture;
    std::unique_ptr<ConflictDecision> mDialog;
};

QTEST_MAIN(TestPageLayout)
#include "tst_pagelayout.moc"

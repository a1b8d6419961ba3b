#include "frame/StatusHolder.h"
#include "pages/AddStores.h"
#include "pages/ConflictDecision.h"
#include "pages/Finish.h"
#include "pages/MigrateUsers.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectVarnel.h"
#include "pages/Verifier.h"
#include "support/Golden.h"
#include "support/LayoutCheck.h"
#include "support/PageFixture.h"
#include "support/StandInPage.h"

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScopeGuard>
#include <QTest>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// Opens a window of this build as the wizard shows it, with content in its lists; the
// conflict dialog, offering "apply to all", into the given holder.
QWidget* openFilled(PageFixture& fixture, const QString& name,
                    std::unique_ptr<ConflictDecision>& dialog)
{
    if (name == u"ConflictDecision"_s) {
        dialog = std::make_unique<ConflictDecision>();
        dialog->offerApplyToAll(true);
        dialog->show();
        return dialog.get();
    }
    if (name == PageNames::AddStores) {
        auto* page = qobject_cast<AddStores*>(Pages::create(name));
        if (page != nullptr) {
            page->setDetectedServers(
                {u"EXCH55"_s, u"mailserver-with-a-long-name.corp.example.com"_s});
            page->LoadStateNext();
            page->show();
        }
        return page;
    }
    using Restore = WizardPage::Restore;
    const Restore restore = name == PageNames::SelectUsers || name == PageNames::SelectDPProfiles
                                ? Restore::Next
                            : name == PageNames::Verifier || name == PageNames::Finish ||
                                    name == PageNames::MigrateUsers
                                ? Restore::None
                                : Restore::Prev;
    WizardPage* page = fixture.open<WizardPage>(QLatin1String(name.toLatin1()), restore);
    if (auto* verifier = qobject_cast<Verifier*>(page)) {
        verifier->Verify();
    } else if (auto* finish = qobject_cast<Finish*>(page)) {
        QString report = u"Status, migrated users:\r\n\r\n"_s;
        for (int row = 0; row < 40; ++row) {
            report += u"%1 %2 Not Changed\r\n"_s.arg(u"A user with a long name"_s, 30)
                          .arg(u"a.login.id"_s, 30);
        }
        finish->setReport(report);
    } else if (auto* migrate = qobject_cast<MigrateUsers*>(page)) {
        // Its longest caption, during the profile phase.
        migrate->setDescription(u"Migrating Device Provisioning profiles, please wait."_s);
    }
    return page;
}

// Every window of the wizard, the conflict dialog among them.
const QList<QLatin1String> Windows = {
    PageNames::SelectVarnel,        PageNames::SelectZephrin,    PageNames::Verifier,
    PageNames::AddStores,           PageNames::SelectUsers,      QLatin1String("ConflictDecision"),
    PageNames::SelectEmailTemplate, PageNames::EnterConnectData, PageNames::SelectDPProfiles,
    PageNames::UserInputFinished,   PageNames::Finish,           PageNames::MigrateUsers};

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
        for (const QLatin1String name : Windows) {
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
        // The application's font, larger by the factor, for this row.
        const QFont usual = QApplication::font();
        const auto restore = qScopeGuard([usual] { QApplication::setFont(usual); });
        QFont larger = usual;
        larger.setPointSizeF(usual.pointSizeF() * fontScale);
        QApplication::setFont(larger);
        QWidget* page = openFilled(*mFixture, name, mDialog);
        QVERIFY(page != nullptr);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
        QCOMPARE(LayoutCheck::clippedControls(*page).join(u"; "_s), QString());
        QVERIFY(page->width() >= page->minimumSizeHint().width());
        QVERIFY2(page->width() <= 1280 && page->height() <= 720,
                 qPrintable(u"%1x%2"_s.arg(page->width()).arg(page->height())));
    }

    // Tab goes through the controls as they are laid out, top to bottom and left to
    // right, ending with the buttons of the bottom row: one line per window, compared
    // whole (empty for the windows that have nothing to visit).
    void tabOrder()
    {
        QStringList chains;
        for (const QLatin1String name : Windows) {
            QWidget* page = openFilled(*mFixture, name, mDialog);
            QVERIFY2(page != nullptr, name.data());
            chains << name + u": "_s + LayoutCheck::tabChain(*page).join(u' ');
            page->close();
            PageFixture::processDeletions();
        }
        QCOMPARE_GOLDEN(chains, u"pagelayout/taborder.txt"_s);
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

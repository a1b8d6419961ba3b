// The whole wizard walked on a demo installation with real widgets, as an
// administrator walks it: from the introduction page on, every page filled and left
// with its own buttons.

#include "db/ConnectionString.h"
#include "frame/GlobalVariables.h"
#include "pages/AddStores.h"
#include "pages/ConflictDecision.h"
#include "pages/EnterConnectData.h"
#include "pages/Introduction.h"
#include "pages/PageNames.h"
#include "pages/SelectDPProfiles.h"
#include "pages/SelectEmailTemplate.h"
#include "pages/SelectUsers.h"
#include "pages/SelectVarnel.h"
#include "pages/UserInputFinished.h"
#include "support/PageFixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFocusEvent>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// The files of the Directory (with any journal beside it) and a hash of each.
QStringList directoryFiles(const QString& folder)
{
    QStringList files;
    const QDir dir(folder);
    for (const QString& name : dir.entryList({u"Directory.sqlite*"_s}, QDir::Files, QDir::Name)) {
        QFile file(dir.filePath(name));
        const QByteArray hash =
            file.open(QIODevice::ReadOnly)
                ? QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256).toHex()
                : QByteArray("unreadable");
        files << name + u' ' + QString::fromLatin1(hash);
    }
    return files;
}

void type(QLineEdit* box, const QString& text)
{
    box->selectAll();
    QTest::keyClick(box, Qt::Key_Delete);
    QTest::keyClicks(box, text);
}

void clickRow(QAbstractItemView* list, int row)
{
    const QModelIndex index = list->model()->index(row, 0);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualRect(index).center());
}

void clickBox(QAbstractButton* box)
{
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(6, box->height() / 2));
}

int rowOf(QListWidget* list, const QString& text)
{
    const QList<QListWidgetItem*> found = list->findItems(text, Qt::MatchExactly);
    return found.isEmpty() ? -1 : list->row(found.first());
}

// Answers every conflict dialog that opens with the next option of the cycle "new
// login ID", "update", "replace", by clicking its option and OK.
class ConflictAnswers
{
public:
    ConflictAnswers()
    {
        QObject::connect(&mTimer, &QTimer::timeout, [this] { answer(); });
        mTimer.start(0);
    }
    // The conflicts decided: "<source user ID> <option>" each, in order.
    QStringList decided;

private:
    void answer()
    {
        auto* dialog = qobject_cast<ConflictDecision*>(QApplication::activeModalWidget());
        if (dialog == nullptr || !dialog->isVisible()) {
            return;
        }
        const int option = static_cast<int>(decided.size() % 3);
        decided << u"%1 %2"_s.arg(dialog->mlVaUserID).arg(option);
        clickBox(dialog->ConflictDesicionRbn[option]);
        QTest::mouseClick(dialog->OKBtn, Qt::LeftButton);
    }
    QTimer mTimer;
};

// Walks the wizard page by page; each step leaves the page it is on with Next.
class Walk
{
public:
    explicit Walk(PageFixture& fixture) : mFixture(fixture) {}

    // Opens the introduction page as the program does.
    void start() { mFixture.open<Introduction>(PageNames::Introduction); }

    WizardPage* current() const { return PageFixture::visible<WizardPage>(); }
    QString currentName() const { return current() ? current()->objectName() : QString(); }

    // Does what the administrator does on the page shown, then presses Next.
    bool step()
    {
        const QString name = currentName();
        if (name == PageNames::Introduction) {
            next();
        } else if (name == PageNames::SelectVarnel) {
            auto* page = PageFixture::visible<SelectVarnel>();
            type(page->DatabaseServerTxt, u"sqlite:"_s + mFixture.demo().folder);
            QTest::mouseClick(page->AuthenticationRbn[0], Qt::LeftButton);
            PageFixture::click(page->LoadDatabasesBtn);
            QFocusEvent in(QEvent::FocusIn, Qt::MouseFocusReason);
            QCoreApplication::sendEvent(page->DatabaseCbx, &in);
            page->DatabaseCbx->setCurrentIndex(page->DatabaseCbx->findText(u"Varnel"_s));
            next();
        } else if (name == PageNames::AddStores) {
            // The new store is typed as Exchange 5.5.
            auto* page = PageFixture::visible<AddStores>();
            page->ServersDetectedLbx->setCurrentRow(rowOf(page->ServersDetectedLbx, u"EXCH55"_s));
            PageFixture::click(page->ToE55Btn);
            next();
        } else if (name == PageNames::SelectUsers) {
            auto* page = PageFixture::visible<SelectUsers>();
            PageFixture::click(page->MigrateAll);
            next();
        } else if (name == PageNames::SelectEmailTemplate) {
            // The first visit shows "Do not send e-mail" ticked: cleared, then the
            // template other than the Directory's own choice.
            auto* page = PageFixture::visible<SelectEmailTemplate>();
            if (page->DoNotSend->isChecked()) {
                clickBox(page->DoNotSend);
            }
            clickRow(page->EmailTemplates, 1);
            next();
        } else if (name == PageNames::EnterConnectData) {
            auto* page = PageFixture::visible<EnterConnectData>();
            type(page->ServerNameTxt, u"MAIL01"_s);
            type(page->AliasTxt, u"helpdesk"_s);
            type(page->EmailTxt, u"helpdesk@example.com"_s);
            if (!QDir().mkpath(mFixture.demo().mailFolder)) {
                return false;
            }
            next();
        } else if (name == PageNames::SelectDPProfiles) {
            auto* page = PageFixture::visible<SelectDPProfiles>();
            clickRow(page->lstOldProfiles, 4);
            PageFixture::click(page->OldToMigrateBtn);
            clickRow(page->lstOldProfiles, 0);
            PageFixture::click(page->OldToMigrateBtn);
            next();
        } else {
            return false;
        }
        return true;
    }

    // Steps on until the named page is shown; false when the walk stops elsewhere.
    bool walkTo(const QString& page)
    {
        for (int steps = 0; steps < 20; ++steps) {
            if (currentName() == page) {
                return true;
            }
            if (!step()) {
                return false;
            }
        }
        return false;
    }

    ConflictAnswers answers;

private:
    void next()
    {
        WizardPage* page = current();
        PageFixture::click(page->NextBtn);
    }

    PageFixture& mFixture;
};

} // namespace

class TestWizardWalk : public QObject
{
    Q_OBJECT
private slots:
    void init() { mFixture = std::make_unique<PageFixture>(); }
    void cleanup()
    {
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    void cancelLeavesTheDirectory_data()
    {
        QTest::addColumn<QString>("page");
        QTest::addColumn<bool>("mailLogon");
        for (const QLatin1String page :
             {PageNames::Introduction, PageNames::SelectVarnel, PageNames::AddStores,
              PageNames::SelectUsers, PageNames::SelectEmailTemplate, PageNames::SelectDPProfiles,
              PageNames::UserInputFinished}) {
            QTest::newRow(page.data()) << QString(page) << false;
        }
        QTest::newRow("EnterConnectData") << QString(PageNames::EnterConnectData) << true;
        QTest::newRow("SelectDPProfiles after the mail logon page")
            << QString(PageNames::SelectDPProfiles) << true;
        QTest::newRow("UserInputFinished after the mail logon page")
            << QString(PageNames::UserInputFinished) << true;
    }

    // Cancel on any page before the run ends the wizard and leaves the Directory as it
    // was, byte for byte, however far the administrator got: conflicts decided, a store
    // typed, a template chosen, a service account tested.
    void cancelLeavesTheDirectory()
    {
        QFETCH(QString, page);
        QFETCH(bool, mailLogon);
        const DemoInstallation& demo = mFixture->useDemo(12);
        if (mailLogon) {
            // No account passes its logon test until the pickup folder is there again.
            QVERIFY(QDir(demo.mailFolder).removeRecursively());
        }
        const QStringList before = directoryFiles(demo.folder);
        QCOMPARE(before.size(), 1);

        Walk walk(*mFixture);
        walk.start();
        QVERIFY2(walk.walkTo(page), qPrintable(walk.currentName()));
        const QStringList afterUsers = {PageNames::SelectEmailTemplate, PageNames::EnterConnectData,
                                        PageNames::SelectDPProfiles, PageNames::UserInputFinished};
        QCOMPARE(!walk.answers.decided.isEmpty(), afterUsers.contains(page));
        PageFixture::click(walk.current()->CancelBtn);
        QVERIFY(PageFixture::visibleWindows<QWidget>().isEmpty());
        QCOMPARE(directoryFiles(demo.folder), before);
        QCOMPARE(mFixture->prompter().messages(), QStringList());
    }

private:
    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestWizardWalk)
#include "tst_wizardwalk.moc"

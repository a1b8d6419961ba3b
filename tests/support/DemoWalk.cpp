#include "DemoWalk.h"

#include "pages/AddStores.h"
#include "pages/ConflictDecision.h"
#include "pages/EnterConnectData.h"
#include "pages/SelectDPProfiles.h"
#include "pages/SelectEmailTemplate.h"
#include "pages/SelectUsers.h"
#include "pages/SelectVarnel.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFocusEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

QStringList directoryFileHashes(const QString& folder)
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

namespace Clicks {

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

} // namespace Clicks

void ConflictAnswers::answer()
{
    auto* dialog = qobject_cast<ConflictDecision*>(QApplication::activeModalWidget());
    if (dialog == nullptr || !dialog->isVisible()) {
        return;
    }
    const int option = static_cast<int>(decided.size() % 3);
    decided << u"%1 %2"_s.arg(dialog->mlVaUserID).arg(option);
    Clicks::clickBox(dialog->ConflictDesicionRbn[option]);
    QTest::mouseClick(dialog->OKBtn, Qt::LeftButton);
}

bool DemoWalk::step()
{
    using namespace Clicks;
    const QString name = currentName();
    if (name == PageNames::Introduction) {
        // Next only.
    } else if (name == PageNames::SelectVarnel) {
        auto* page = PageFixture::visible<SelectVarnel>();
        type(page->DatabaseServerTxt,
             u"sqlite:"_s + (mDemoFolder.isEmpty() ? mFixture.demo().folder : mDemoFolder));
        QTest::mouseClick(page->AuthenticationRbn[0], Qt::LeftButton);
        PageFixture::click(page->LoadDatabasesBtn);
        QFocusEvent in(QEvent::FocusIn, Qt::MouseFocusReason);
        QCoreApplication::sendEvent(page->DatabaseCbx, &in);
        page->DatabaseCbx->setCurrentIndex(page->DatabaseCbx->findText(u"Varnel"_s));
    } else if (name == PageNames::AddStores) {
        // The new store is typed as Exchange 5.5.
        auto* page = PageFixture::visible<AddStores>();
        page->ServersDetectedLbx->setCurrentItem(
            page->ServersDetectedLbx->findItems(u"EXCH55"_s, Qt::MatchExactly).value(0));
        PageFixture::click(page->ToE55Btn);
    } else if (name == PageNames::SelectUsers) {
        PageFixture::click(PageFixture::visible<SelectUsers>()->MigrateAll);
    } else if (name == PageNames::SelectEmailTemplate) {
        // The first visit shows "Do not send e-mail" ticked: cleared, then the
        // template other than the Directory's own choice.
        auto* page = PageFixture::visible<SelectEmailTemplate>();
        if (page->DoNotSend->isChecked()) {
            clickBox(page->DoNotSend);
        }
        clickRow(page->EmailTemplates, 1);
    } else if (name == PageNames::EnterConnectData) {
        auto* page = PageFixture::visible<EnterConnectData>();
        type(page->ServerNameTxt, u"MAIL01"_s);
        type(page->AliasTxt, u"helpdesk"_s);
        type(page->EmailTxt, u"helpdesk@example.com"_s);
        if (!QDir().mkpath(mFixture.demo().mailFolder)) {
            return false;
        }
    } else if (name == PageNames::SelectDPProfiles) {
        auto* page = PageFixture::visible<SelectDPProfiles>();
        clickRow(page->lstOldProfiles, 4);
        PageFixture::click(page->OldToMigrateBtn);
        clickRow(page->lstOldProfiles, 0);
        PageFixture::click(page->OldToMigrateBtn);
    } else {
        return false;
    }
    PageFixture::click(current()->NextBtn);
    return true;
}

bool DemoWalk::walkTo(const QString& page)
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

#include "PageFixture.h"

#include "directory/ComponentFactory.h"
#include "frame/GlobalVariables.h"
#include "frame/StatusHolder.h"
#include "pages/Pages.h"
#include "pages/SelectDPProfiles.h"
#include "pages/SelectUsers.h"
#include "reference/TargetComponentFactory.h"

#include <QAbstractButton>
#include <QFile>
#include <QLineEdit>
#include <QStandardPaths>
#include <QTest>

namespace {
const QDateTime StartTime(QDate(2003, 12, 4), QTime(15, 30, 12));
}

PageFixture::PageFixture()
    : mPrompter(std::make_shared<ScriptedPrompter>()),
      mClock(std::make_shared<ManualClock>(StartTime))
{
    QStandardPaths::setTestModeEnabled(true);
    StatusHolder::Reset();
    GlobalVariables::Reset();
    SelectUsers::savedBackToVarnel = false;
    SelectUsers::emailTemplateEntered = false;
    SelectDPProfiles::savedBackTo = SelectDPProfiles::BackToUsers;
    GlobalVariables::gsProgramFolder = mFolder.path();
    GlobalVariables::gsImportApp = QStringLiteral("Zephrin 4.5");
    GlobalVariables::gsExportApp = QStringLiteral("3.1x");
    GlobalVariables::gsLogFileName = QStringLiteral("MigrationLog20031204153012.log");
    AppPrompter::setPrompter(mPrompter);
    AppClock::setClock(mClock);
    Components::setFactory(
        std::make_shared<TargetComponentFactory>(mFolder.filePath(QStringLiteral("zephrin.ini"))));
    Pages::registerAllPages();
}

PageFixture::~PageFixture()
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* page = qobject_cast<WizardPage*>(widget)) {
            page->unload();
        }
    }
    processDeletions();
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (qobject_cast<WizardPage*>(widget) != nullptr) {
            delete widget;
        }
    }
    AppPrompter::setPrompter(nullptr);
    AppClock::setClock(nullptr);
    Components::setFactory(nullptr);
    Pages::registerAllPages();
}

void PageFixture::writeConfiguration(const QByteArray& text)
{
    QFile file(mFolder.filePath(QStringLiteral("zephrin.ini")));
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
        QTest::qFail("zephrin.ini could not be written", __FILE__, __LINE__);
    }
}

const DemoInstallation& PageFixture::useDemo(int userCount)
{
    mDemo = DemoInstallation::Create(mFolder.filePath(QStringLiteral("demo")), userCount);
    Components::setFactory(std::make_shared<TargetComponentFactory>(mDemo.configurationPath));
    const QString server = QStringLiteral("sqlite:") + mDemo.folder;
    StatusHolder::SetVarnelDatabase(server, QStringLiteral("Varnel"), 1,
                                    StatusHolder::WindowsNtAuthentication, QString(), QString(),
                                    true, mDemo.sourceConnectionString);
    StatusHolder::SetZephrinDatabase(server, QStringLiteral("Directory"), 0,
                                     StatusHolder::WindowsNtAuthentication, QString(), QString(),
                                     true, mDemo.directoryConnectionString);
    return mDemo;
}

WizardPage* PageFixture::openPage(QLatin1String name, WizardPage::Restore restore)
{
    WizardPage* page = Pages::create(name);
    if (page == nullptr) {
        return nullptr;
    }
    if (restore == WizardPage::Restore::Next) {
        page->LoadStateNext();
    } else if (restore == WizardPage::Restore::Prev) {
        page->LoadStatePrev();
    }
    page->show();
    return page;
}

void PageFixture::click(QAbstractButton* button)
{
    if (button == nullptr) {
        QTest::qFail("no such button", __FILE__, __LINE__);
        return;
    }
    QTest::mouseClick(button, Qt::LeftButton);
    processDeletions();
}

void PageFixture::type(QLineEdit* box, const QString& text)
{
    box->selectAll();
    QTest::keyClick(box, Qt::Key_Delete);
    QTest::keyClicks(box, text);
}

QByteArray PageFixture::log() const
{
    QFile file(mFolder.filePath(GlobalVariables::gsLogFileName));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList PageFixture::logEntries() const
{
    QString text = QString::fromLatin1(log());
    if (text.endsWith(QLatin1String("\r\n\r\n"))) {
        text.chop(4);
    }
    return text.isEmpty() ? QStringList() : text.split(QStringLiteral("\r\n\r\n"));
}

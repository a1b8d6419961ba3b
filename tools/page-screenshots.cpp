// Draws the wizard's pages for the documentation: every page of this build, opened on
// a new demo installation as the wizard shows it, is grabbed from the screen with its
// window frame and written to <folder>/<Page>.png. scripts/screenshots runs it under a
// virtual display with a window manager.
//
//   page-screenshots FOLDER [PAGE...]
//
// A page added later gets its picture from one more line in shots() below; a page
// that this build does not register is left out.

#include "db/ConnectionString.h"
#include "db/VarnelDBCon.h"
#include "demo/DemoInstallation.h"
#include "directory/ComponentFactory.h"
#include "directory/ZephrinFunctions.h"
#include "frame/Clock.h"
#include "frame/Collection.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/AddStores.h"
#include "pages/EnterConnectData.h"
#include "pages/Finish.h"
#include "pages/MigrateUsers.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectDPProfiles.h"
#include "pages/SelectEmailTemplate.h"
#include "pages/SelectUsers.h"
#include "pages/Verifier.h"
#include "pages/WizardPage.h"
#include "reference/TargetComponentFactory.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPixmap>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QWindow>
#include <cstdio>
#include <functional>
#include <memory>

namespace {

// Message boxes would wait for a person: each is written to the console and answered
// OK.
class ConsolePrompter : public Prompter
{
public:
    Answer message(const QString& text, const QString& title, Icon, Buttons buttons,
                   QWidget*) override
    {
        std::fprintf(stderr, "message \"%s\": %s\n", qPrintable(title), qPrintable(text));
        return buttons == Buttons::YesNo ? Answer::Yes : Answer::Ok;
    }
    QString saveFileName(const QString&, const QString&, const QString&, QWidget*) override
    {
        return QString();
    }
};

// How a page is opened for its picture: restored as the wizard restores it, then
// prepared (lists filled, a choice made) where the page needs it.
struct Shot
{
    QLatin1String page;
    WizardPage::Restore restore = WizardPage::Restore::None;
    std::function<void(WizardPage&)> prepare;
};

void prepareRun();

QList<Shot> shots()
{
    using Restore = WizardPage::Restore;
    return {
        {PageNames::Introduction, Restore::None, {}},
        {PageNames::SelectVarnel, Restore::Prev, {}},
        {PageNames::SelectZephrin, Restore::Prev, {}},
        {PageNames::Verifier, Restore::None,
         [](WizardPage& page) {
             if (auto* verifier = qobject_cast<Verifier*>(&page)) {
                 verifier->Verify();
             }
         }},
        {PageNames::AddStores, Restore::None,
         [](WizardPage& page) {
             if (auto* stores = qobject_cast<AddStores*>(&page)) {
                 stores->setDetectedServers({QStringLiteral("EXCH55"), QStringLiteral("MAIL02"),
                                             QStringLiteral("MAIL03")});
                 stores->LoadStateNext();
                 stores->ServersDetectedLbx->setCurrentRow(1);
                 stores->ToE2kBtn->click();
                 stores->ServersDetectedLbx->setCurrentRow(0);
             }
         }},
        {PageNames::SelectUsers, Restore::Next,
         [](WizardPage& page) {
             // Three users chosen that need no decision.
             if (auto* users = qobject_cast<SelectUsers*>(&page)) {
                 for (int moved = 0, row = 0; moved < 3 && row < 20; ++row) {
                     const QModelIndex line = users->OldUsersLbx->model()->index(row, 0);
                     if (line.data().toString().startsWith(QStringLiteral("* "))) {
                         continue;
                     }
                     users->OldUsersLbx->setCurrentIndex(line);
                     users->OldToMigrateBtn->click();
                     ++moved;
                     --row;
                 }
             }
         }},
        {PageNames::SelectEmailTemplate, Restore::None,
         [](WizardPage& page) {
             if (auto* templates = qobject_cast<SelectEmailTemplate*>(&page)) {
                 templates->EmailTemplates->setCurrentRow(0);
             }
         }},
        {PageNames::EnterConnectData, Restore::None,
         [](WizardPage& page) {
             if (auto* logon = qobject_cast<EnterConnectData*>(&page)) {
                 logon->ServerNameTxt->setText(QStringLiteral("MAIL01"));
                 logon->AliasTxt->setText(QStringLiteral("svc-migrate"));
                 logon->EmailTxt->setText(QStringLiteral("svc-migrate@example.com"));
             }
         }},
        {PageNames::SelectDPProfiles, Restore::Next,
         [](WizardPage& page) {
             if (auto* profiles = qobject_cast<SelectDPProfiles*>(&page)) {
                 for (const int row : {4, 0}) {
                     profiles->lstOldProfiles->setCurrentRow(row);
                     profiles->OldToMigrateBtn->click();
                 }
             }
         }},
        {PageNames::UserInputFinished, Restore::None, {}},
        {PageNames::MigrateUsers, Restore::None,
         [](WizardPage& page) {
             // Halfway through the users of the demo.
             if (auto* run = qobject_cast<MigrateUsers*>(&page)) {
                 run->setDescription(QStringLiteral("Migrating Users, please wait."));
                 run->setValue(0);
                 run->setMinimum(0);
                 run->setMaximum(50);
                 run->setValue(23);
             }
         }},
        {PageNames::Finish, Restore::None,
         [](WizardPage& page) {
             // The report of a real run over every user of the demo.
             if (auto* finish = qobject_cast<Finish*>(&page)) {
                 prepareRun();
                 finish->setReport(MigrateUsers::Migrate());
             }
         }},
    };
}

// Lets the window system catch up: the window mapped, framed and painted.
void settle(int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds) {
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    }
}

// The window with the frame the window manager gave it.
QPixmap grab(WizardPage& page)
{
    QScreen* screen = page.screen();
    const QRect frame = page.frameGeometry();
    return screen->grabWindow(0, frame.x(), frame.y(), frame.width(), frame.height());
}

// The wizard's state as the administrator leaves the database pages on the demo: the
// source with Windows NT authentication, the Directory with a SQL Server login.
void fillState(const DemoInstallation& demo)
{
    const QString server = QStringLiteral("sqlite:") + demo.folder;
    StatusHolder::SetVarnelDatabase(server, QStringLiteral("Varnel"), 1,
                                    StatusHolder::WindowsNtAuthentication, QString(), QString(),
                                    true, demo.sourceConnectionString);
    StatusHolder::SetZephrinDatabase(
        server, QStringLiteral("Directory"), 0, StatusHolder::SqlServerAuthentication,
        QStringLiteral("sa"), QStringLiteral("secret"), true,
        BuildSqlConnectionString(server, QStringLiteral("Directory"), QStringLiteral("sa"),
                                 QStringLiteral("secret")));
}

// The wizard's state for a run over every user of the demo, as the pages leave it:
// conflicting users created under new login IDs, EXCH55 added as an Exchange 5.5
// server, new passwords, two profiles.
void prepareRun()
{
    const QString source =
        StatusHolder::GetVarnelDatabase()->item(StateKeys::ConnectionString).toString();
    const CollectionPtr users = VarnelDBCon::GetAllUsers(source);
    const CollectionPtr ids = Collection::create();
    const CollectionPtr actions = Collection::create();
    for (const QVariant& user : users->values()) {
        const int id = toCollection(user)->item(RecordKeys::UserID).toInt();
        ids->add(id);
        actions->add(0, QString::number(id));
    }
    const CollectionPtr migrationList = Collection::create();
    migrationList->add(toVariant(ids), StateKeys::VaUserIDs);
    migrationList->add(toVariant(actions), StateKeys::Actions);
    migrationList->add(toVariant(Collection::create()), StateKeys::ZeUserIDs);
    const CollectionPtr none = Collection::create();
    StatusHolder::SetUserLists(none, none, none, none, users, none, none, migrationList, none);

    const CollectionPtr all = VarnelDBCon::GetProvisioningProfiles(source);
    const CollectionPtr chosen = Collection::create();
    for (int position = 1; position <= all->count() && chosen->count() < 2; ++position) {
        chosen->add(all->item(position), all->key(position));
    }
    StatusHolder::SetProfileLists(all, chosen, none);

    // New passwords mailed with the first template from the service account the
    // template page finds, as the demo walked by hand does.
    const QString directory =
        StatusHolder::GetZephrinDatabase()->item(StateKeys::ConnectionString).toString();
    const CollectionPtr templates = ZephrinFunctions::GetTemplateList(directory);
    ZephrinFunctions::ChooseTemplate(templates->collection(RecordKeys::IDs)->item(1).toInt(),
                                     directory);
    const CollectionPtr servers = Collection::create();
    for (const QString& server : VarnelDBCon::GetUserMailHomeServers(source)) {
        servers->add(server);
    }
    ZephrinFunctions::FindServiceAccount(directory, servers);
    GlobalVariables::gbAddStores = true;
    GlobalVariables::gbNewPasswords = true;
}

// What the pages before the summary leave, as the summary's picture shows it: EXCH55
// typed as an Exchange 5.5 server, 46 users and two profiles chosen, new passwords
// sent with the first template.
void fillChoices()
{
    const auto list = [](int count, const QString& prefix) {
        CollectionPtr items = Collection::create();
        for (int i = 1; i <= count; ++i) {
            items->add(prefix + QString::number(i), prefix + QString::number(i));
        }
        return items;
    };
    const CollectionPtr none = Collection::create();
    CollectionPtr e55 = Collection::create();
    e55->add(QStringLiteral("EXCH55"), QStringLiteral("EXCH55"));
    StatusHolder::SetExchangeServers(Collection::create(), e55);
    StatusHolder::SetUserLists(none, none, none, none, none, list(46, QStringLiteral("user ")),
                               list(4, QStringLiteral("user ")), none, none);
    StatusHolder::SetProfileLists(none, list(2, QStringLiteral("profile ")), none);
    StatusHolder::SetEmailChoice(true, QStringLiteral("Welcome to your mobile mailbox"));
    GlobalVariables::gbNtLogon = true;
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("varnel-migrate"));
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.isEmpty()) {
        std::fputs("usage: page-screenshots FOLDER [PAGE...]\n", stderr);
        return 2;
    }
    const QDir output(arguments.first());
    const QStringList wanted = arguments.mid(1);
    if (!QDir().mkpath(output.path())) {
        std::fprintf(stderr, "%s cannot be made\n", qPrintable(output.path()));
        return 1;
    }

    QTemporaryDir work;
    DemoInstallation demo;
    try {
        demo = DemoInstallation::Create(work.filePath(QStringLiteral("demo")));
    } catch (const MigrationError& error) {
        std::fprintf(stderr, "%s\n", qPrintable(error.description()));
        return 1;
    }
    // The log of these pages goes to the temporary folder, not beside the program.
    GlobalVariables::gsProgramFolder = work.path();
    GlobalVariables::gsLogFileName = QStringLiteral("MigrationLog.log");
    Components::setFactory(std::make_shared<TargetComponentFactory>(demo.configurationPath));
    AppPrompter::setPrompter(std::make_shared<ConsolePrompter>());
    GlobalVariables::gsImportApp = ZephrinFunctions::GetProductName();
    GlobalVariables::gsExportApp = QStringLiteral("3.1x");
    fillState(demo);
    fillChoices();
    Pages::registerAllPages();
    const QStringList registered = Pages::registeredNames();

    int written = 0;
    for (const Shot& shot : shots()) {
        const QString name(shot.page);
        if (!registered.contains(name) || (!wanted.isEmpty() && !wanted.contains(name))) {
            continue;
        }
        WizardPage* page = Pages::create(name);
        if (page == nullptr) {
            return 1;
        }
        if (shot.restore == WizardPage::Restore::Next) {
            page->LoadStateNext();
        } else if (shot.restore == WizardPage::Restore::Prev) {
            page->LoadStatePrev();
        }
        page->move(40, 40);
        page->show();
        settle(400);
        if (shot.prepare) {
            shot.prepare(*page);
        }
        page->activateWindow();
        settle(600);
        const QString path = output.filePath(name + QStringLiteral(".png"));
        if (!grab(*page).save(path)) {
            std::fprintf(stderr, "%s could not be written\n", qPrintable(path));
            return 1;
        }
        std::printf("%s\n", qPrintable(path));
        ++written;
        delete page;
        settle(100);
    }
    return written > 0 ? 0 : 1;
}

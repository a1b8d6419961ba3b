// The migration window: what it shows, that it shows the run as it goes, that it
// cannot be closed while the run goes, and the summary page's calling order.
#include "frame/GlobalVariables.h"
#include "frame/StatusHolder.h"
#include "pages/MigrateUsers.h"
#include "pages/PageNames.h"
#include "support/PageFixture.h"
#include "support/RunState.h"
#include "support/WindowText.h"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

class MigrateUsersTest : public QObject
{
    Q_OBJECT
private slots:
    void init() { fixture = std::make_unique<PageFixture>(); }
    void cleanup()
    {
        fixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    void theWindowAsItLoads()
    {
        auto* window = fixture->open<MigrateUsers>(PageNames::MigrateUsers);
        QVERIFY(window);
        QCOMPARE(windowText(window),
                 u"MigrateUsers \"Migrating\"\n  Description QLabel \"Migrating "
                 "users, please wait...\"\n  ProgressBar QProgressBar -1 of 0..100\n"_s);
        QCOMPARE(window->findChildren<QPushButton*>().size(), 0);
        // The outcome lists are there from the start; the server lists only when the
        // route went through the store page.
        QVERIFY(window->engine().cUserResults && window->engine().cStoreResults &&
                window->engine().cUserWarnings);
        QVERIFY(!window->engine().cE2kServers);
        QVERIFY(!window->engine().cProfileResults);
    }

    // The server lists are the state store's own objects, not copies.
    void takesTheServerListsOfTheStorePage()
    {
        const CollectionPtr e2k = Collection::create();
        const CollectionPtr e55 = Collection::create();
        StatusHolder::SetExchangeServers(e2k, e55);
        GlobalVariables::gbAddStores = true;
        auto* window = fixture->open<MigrateUsers>(PageNames::MigrateUsers);
        QCOMPARE(window->engine().cE2kServers, e2k);
        QCOMPARE(window->engine().cE55Servers, e55);
        const CollectionPtr other = Collection::create();
        window->SetServers(other, e2k);
        QCOMPARE(window->engine().cE2kServers, other);
        QCOMPARE(window->engine().cE55Servers, e2k);
    }

    // Between the items the window shows the phase and the bar as they stand, and a
    // close (the window's own close button) is refused; afterwards the report comes
    // back and the window is gone.
    void showsTheRunAndCannotBeClosed()
    {
        RunState::Fill(fixture->useDemo(),
                       {.users = {1, 2, 28}, .profiles = {u"Sales WAP dial-in"_s}});

        QStringList seen;
        int refused = 0;
        fixture->clock().onEvents = [&] {
            auto* window = PageFixture::visible<MigrateUsers>();
            if (!window) {
                return;
            }
            seen << u"%1 %2/%3"_s.arg(window->Description->text())
                        .arg(window->ProgressBar->value())
                        .arg(window->ProgressBar->maximum());
            if (window->isWorking() && !window->close()) {
                ++refused;
            }
        };
        const QString report = MigrateUsers::Migrate();
        fixture->clock().onEvents = {};
        PageFixture::processDeletions();

        QVERIFY(report.startsWith(u"\r\nStatus, migrated users:\r\n\r\n"
                                  "2 of 3 user(s) successfully migrated\r\n\r\n"_s));
        QCOMPARE(PageFixture::visibleWindows<MigrateUsers>().size(), 0);
        QVERIFY(refused > 0);
        QCOMPARE(refused, seen.size());
        QVERIFY2(seen.contains(u"Migrating Users, please wait. 2/3"_s), qPrintable(seen.join('|')));
        QVERIFY(seen.contains(u"Migrating Device Provisioning profiles, please wait. 1/1"_s));
        QVERIFY(seen.first().startsWith(u"Migrating stores, please wait. "_s));
    }

    // The run's questions are shown over the window.
    void asksOverTheWindow()
    {
        RunState::Fill(fixture->useDemo(), {.addStores = true, .e55Servers = {u"EXCH55"_s}});
        fixture->prompter().answers = {Prompter::Answer::Cancel};
        QVERIFY(MigrateUsers::Migrate().contains(u"No users migrated due to interrupt."_s));
        QCOMPARE(fixture->prompter().asked.size(), 1);
        QCOMPARE(fixture->prompter().asked.first().title, u"Could not Add Store"_s);
        QCOMPARE(fixture->prompter().asked.first().parent, u"MigrateUsers"_s);
    }

private:
    std::unique_ptr<PageFixture> fixture;
};

QTEST_MAIN(MigrateUsersTest)
#include "tst_migrateusers.moc"

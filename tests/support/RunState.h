#pragma once

#include "demo/DemoInstallation.h"
#include "engine/RunProgress.h"
#include "frame/Collection.h"
#include "support/Engines.h"

#include <QHash>
#include <functional>

class MigrationEngine;

// What the administrator chose on the pages before the run: the users in the order they
// were moved into "Users to Migrate:" with the conflict dialog's decision per
// conflicting user (0 where none was made), new passwords for every user (NT logon),
// the servers typed on the store page, the e-mail template or "Do not send e-mail",
// the service account typed on the mail logon page (alias, address, server; when
// empty, the one the template page finds), the profiles moved, by name.
struct RunChoices
{
    QList<int> users{};
    QHash<int, int> actions{};
    bool newPasswords = true;
    bool addStores = false;
    QStringList e2kServers{};
    QStringList e55Servers{};
    bool sendEmail = true;
    int templateID = 1;
    QStringList serviceAccount{};
    QStringList profiles{};
};

// The wizard state as the pages leave it for the run, filled without the pages (the two
// database groups must be filled already, as PageFixture::useDemo does): the user lists
// with the conflicts and decisions, the servers, the e-mail choice and service account,
// the profile lists and the route's flags.
namespace RunState {

void Fill(const DemoInstallation& demo, const RunChoices& choices);

// Every source user by ascending ID; every profile the source reader can read.
QList<int> AllUsers(const DemoInstallation& demo);
QStringList AllProfiles(const DemoInstallation& demo);

// Runs the four procedures in the summary page's order on a loaded engine.
void Run(MigrationEngine& engine);

// The texts of the mails in a pickup folder, which are taken out of it.
QStringList TakeMails(const QString& folder);
// The text with each new password named by its user's login: "<password of jsmith>"
// when the Directory holds its encoding, it has six letters and (for a user migrated
// by a run that sends e-mail) one of the mails told it; "<wrong password of jsmith>"
// when not.
QString NamePasswords(const MigrationEngine& engine, QString text, const QStringList& mails);

} // namespace RunState

// The demo's source and Directory written on an engine, with the state store's two
// database groups pointing at them; the installation given lends its configuration
// and pickup folder.
struct EngineDemo
{
    EngineDemo(const QString& engine, const DemoInstallation& base);
    // Fills the state with the choices and runs them: the report (NamePasswords), the
    // number of mails taken, then each query of the Directory with its rows.
    QStringList run(RunProgress& progress, const RunChoices& choices,
                    const QStringList& queries) const;

    TestDatabase source;
    TestDatabase target;
    DemoInstallation installation;
    RunChoices everything; // every user and every profile
};

// A progress display that writes down every call, in order: "description <text>",
// "value <n>", "minimum <n>", "maximum <n>", "repaint", "events".
class RecordingProgress : public RunProgress
{
public:
    void setDescription(const QString& text) override { calls << u"description "_qs + text; }
    void setMinimum(int minimum) override { calls << QStringLiteral("minimum %1").arg(minimum); }
    void setMaximum(int maximum) override { calls << QStringLiteral("maximum %1").arg(maximum); }
    void setValue(int value) override { calls << QStringLiteral("value %1").arg(value); }
    void repaint() override { calls << QStringLiteral("repaint"); }
    void processEvents() override
    {
        calls << QStringLiteral("events");
        if (onEvents) {
            onEvents();
        }
    }

    QStringList calls;
    // Runs in every pass of events, so a test can act in the middle of the run.
    std::function<void()> onEvents;
};

#pragma once

#include "demo/DemoInstallation.h"
#include "engine/RunProgress.h"
#include "frame/Collection.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <functional>

class MigrationEngine;

// What the administrator chose on the pages before the run.
struct RunChoices
{
    // Source users to migrate, in the order they were moved into "Users to Migrate:".
    QList<int> users;
    // The conflict dialog's decision per conflicting user; 0 where none was made.
    QHash<int, int> actions;
    // The verification found NT logon: every user gets a new password.
    bool newPasswords = true;
    // The route went through the store page with these servers typed.
    bool addStores = false;
    QStringList e2kServers;
    QStringList e55Servers;
    // The e-mail template page: a template chosen, or "Do not send e-mail".
    bool sendEmail = true;
    int templateID = 1;
    // The service account entered on the mail logon page (alias, address, server);
    // when empty, the one the e-mail template page finds by itself.
    QStringList serviceAccount;
    // Profiles moved into "Profiles to Migrate:", by name, in that order.
    QStringList profiles;
};

// The wizard state as the pages leave it for the run, filled without the pages: the
// user lists with the conflict check's result and the decisions, the Exchange
// servers, the e-mail choice with the chosen template and the service account found,
// the profile lists and the route's flags. The two database groups must be filled
// already (PageFixture::useDemo does).
namespace RunState {

void Fill(const DemoInstallation& demo, const RunChoices& choices);

// Every source user of the installation, by ascending ID.
QList<int> AllUsers(const DemoInstallation& demo);
// The names of every profile the source reader can read, in its order.
QStringList AllProfiles(const DemoInstallation& demo);

// Runs the four procedures in the summary page's order on a loaded engine.
void Run(MigrationEngine& engine);

} // namespace RunState

// A progress display that writes down every call, in order: "description <text>",
// "value <n>", "minimum <n>", "maximum <n>", "repaint", "events".
class RecordingProgress : public RunProgress
{
public:
    void setDescription(const QString& text) override;
    void setMinimum(int minimum) override;
    void setMaximum(int maximum) override;
    void setValue(int value) override;
    void repaint() override;
    void processEvents() override;

    QStringList calls;
    // Runs in every pass of events, so a test can act in the middle of the run.
    std::function<void()> onEvents;
};

#include "db/ConnectionReuse.h"
#include "engine/MigrationEngine.h"
#include "engine/RunObserver.h"
#include "engine/RunProgress.h"
#include "frame/Clock.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "frame/StopRequest.h"

using CommonFunctions::WriteLog;

MigrationEngine::MigrationEngine(RunProgress& progress) : mProgress(progress) {}

void MigrationEngine::Load()
{
    cUserResults = Collection::create();
    cStoreResults = Collection::create();
    cUserWarnings = Collection::create();
    if (GlobalVariables::gbAddStores) {
        const CollectionPtr servers = StatusHolder::GetExchangeServers();
        cE2kServers = servers->collection(StateKeys::E2kServers);
        cE55Servers = servers->collection(StateKeys::E55Servers);
    }
}

void MigrationEngine::SetServers(const CollectionPtr& e2kServers, const CollectionPtr& e55Servers)
{
    cE2kServers = e2kServers;
    cE55Servers = e55Servers;
}

void MigrationEngine::MigrateUsers()
{
    // The run's many small operations each open and close their own connection;
    // embedded connections are kept between them until the procedure ends.
    const ConnectionReuse::Scope reuse;
    StopRequest::setRunActive(true);
    if (observer != nullptr) {
        observer->runStarted(*this);
    }
    WriteLog(QStringLiteral("Starting migration ") + AppClock::logTime());
    describe(QStringLiteral("Migrating stores, please wait."));

    WriteLog(QStringLiteral("Getting connection strings"));
    msZeConnectionString =
        StatusHolder::GetZephrinDatabase()->value(StateKeys::ConnectionString).toString();
    WriteLog(QStringLiteral("Ze Connection String: ") + msZeConnectionString);
    sVaConnectionString =
        StatusHolder::GetVarnelDatabase()->value(StateKeys::ConnectionString).toString();
    WriteLog(QStringLiteral("Va Connection String: ") + sVaConnectionString);
    beginJournal();

    if (!GlobalVariables::gbAddStores) {
        WriteLog(QStringLiteral("No need to add stores"));
    } else {
        MigrateStores();
        if (bInterrupted || mStopped) {
            return;
        }
    }
    MigrateUserList();
}

// The bar starts over for every phase: position 0, then the bounds.
void MigrationEngine::startPhase(int count, int maximumWhenEmpty)
{
    mProgress.setValue(0);
    mProgress.setMinimum(0);
    mProgress.setMaximum(count > 0 ? count : maximumWhenEmpty);
}

// After every item, whatever became of it, the bar moves on, is painted at once and
// the window gets one pass of its pending events.
void MigrationEngine::finishItem(int position)
{
    mProgress.setValue(position);
    mProgress.repaint();
    mProgress.processEvents();
}

void MigrationEngine::describe(const QString& text)
{
    mProgress.setDescription(text);
    mProgress.processEvents();
}

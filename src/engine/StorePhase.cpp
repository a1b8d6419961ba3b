#include "directory/ZephrinFunctions.h"
#include "engine/MigrationEngine.h"
#include "engine/RunProgress.h"
#include "frame/Clock.h"
#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "frame/RecordKeys.h"

using CommonFunctions::ReplaceAppNames;
using CommonFunctions::WriteLog;

namespace {

// Store kinds as AddStore takes them, and the "Type" of a store outcome record.
constexpr int Exchange2000Kind = 2;
constexpr int Exchange55Kind = 1;
constexpr int Exchange2000Type = 2;
constexpr int Exchange55Type = 5;

// "This Exchange 2000/2003 store was manually added at 12-04-2003 15:30:12 while ..."
QString storeDescription(const QString& kindName)
{
    const QDateTime now = AppClock::clock().now();
    return ReplaceAppNames(QStringLiteral("This Exchange ") + kindName +
                           QStringLiteral(" store was manually added at ") +
                           now.toString(QStringLiteral("MM-dd-yyyy")) + QLatin1Char(' ') +
                           now.toString(QStringLiteral("hh:mm:ss")) +
                           QStringLiteral(" while migrating users from <EXAPP> to <IMAPP>."));
}

} // namespace

void MigrationEngine::RecordStoreOutcome(const QString& server, bool status, int type)
{
    const CollectionPtr record = Collection::create();
    record->add(server, RecordKeys::Server);
    record->add(status, RecordKeys::Status);
    record->add(QVariant::fromValue<qint16>(static_cast<qint16>(type)), RecordKeys::Type);
    cStoreResults->add(toVariant(record));
}

void MigrationEngine::MigrateStores()
{
    WriteLog(QStringLiteral("Adding stores ") + AppClock::logTime());
    // Exchange 5.5 stores are registered through the source database's connection
    // string, the others through the Directory's.
    if (!migrateStoreList(cE2kServers, QStringLiteral("2000/2003"), Exchange2000Kind,
                          Exchange2000Type, directoryConnectionString()) ||
        (!mStopped && !migrateStoreList(cE55Servers, QStringLiteral("5.5"), Exchange55Kind,
                                        Exchange55Type, sVaConnectionString))) {
        bInterrupted = true;
        return;
    }
    if (mStopped) {
        return;
    }
    WriteLog(QStringLiteral("Finished adding stores ") + AppClock::logTime());
}

// False when the administrator chose to stop after a failed store.
bool MigrationEngine::migrateStoreList(const CollectionPtr& servers, const QString& kindName,
                                       int storeKind, int type, const QString& connectionString)
{
    const QString description = storeDescription(kindName);
    const int count = servers ? servers->count() : 0;
    WriteLog((type == Exchange2000Type ? QStringLiteral("Number of E2k servers: ")
                                       : QStringLiteral("Number of E55 servers: ")) +
             QString::number(count));
    if (count > 0) {
        startPhase(count, count);
    }
    // The journal numbers the stores of both lists in one run of positions.
    const int first = type == Exchange2000Type ? 0 : (cE2kServers ? cE2kServers->count() : 0);
    for (int position = 1; position <= count; ++position) {
        const QString name = servers->item(position).toString();
        WriteLog(QStringLiteral("Adding ") + name);
        const RunJournal::Item done =
            mJournal && mResumed ? mJournal->stores().value(first + position) : RunJournal::Item();
        if (done.hasOutcome) {
            // Registered (or refused) before the interruption; the answer given then
            // holds.
            WriteLog(name + QStringLiteral(" was tried before the interruption (the journal "
                                           "says so); it is not added again"));
            RecordStoreOutcome(name, done.status, type);
            if (!done.status && mJournal->value(QStringLiteral("interrupted by a store")) == name) {
                return false;
            }
            finishItem(position);
            continue;
        }
        bool added = true;
        QString failure;
        try {
            ZephrinFunctions::AddStore(name, storeKind, description, connectionString);
        } catch (const std::exception& error) {
            added = false;
            const auto* known = dynamic_cast<const MigrationError*>(&error);
            failure = known ? QStringLiteral("Error Number: %1 Error Description: %2")
                                  .arg(known->number())
                                  .arg(known->description())
                            : QString::fromLocal8Bit(error.what());
        }
        RecordStoreOutcome(name, added, type);
        journalStore(first + position, name, type, added);
        if (!added) {
            WriteLog(QStringLiteral("AddStore failed for ") + name + QLatin1Char(' ') + failure);
            const Prompter::Answer answer = AppPrompter::prompter().message(
                ReplaceAppNames(QStringLiteral("Failed to add ") + name +
                                QStringLiteral(" as a store for <EXAPP>, some of the users might "
                                               "not migrate successfully. You can add the store "
                                               "manually and then run the migration tool again. Do "
                                               "you want to continue with the migration process?")),
                QStringLiteral("Could not Add Store"), Prompter::Icon::Question,
                Prompter::Buttons::OkCancel, mProgress.questionParent());
            if (answer != Prompter::Answer::Ok) {
                journalValue(QStringLiteral("interrupted by a store"), name);
                return false;
            }
        }
        finishItem(position);
        if (stopNow()) {
            return true;
        }
    }
    return true;
}

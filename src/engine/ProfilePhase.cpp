#include "db/ConnectionReuse.h"
#include "directory/ZephrinFunctions.h"
#include "engine/MigrationEngine.h"
#include "frame/Clock.h"
#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"

using CommonFunctions::WriteLog;

void MigrationEngine::RecordProfileOutcome(const CollectionPtr& profile, bool status)
{
    if (!cProfileResults) {
        cProfileResults = Collection::create();
    }
    const CollectionPtr record = Collection::create();
    record->add(toVariant(profile), RecordKeys::Profile);
    record->add(status, RecordKeys::Status);
    cProfileResults->add(toVariant(record));
}

void MigrationEngine::MigrateDPProfiles()
{
    // The run's many small operations each open and close their own connection;
    // embedded connections are kept between them until the procedure ends.
    const ConnectionReuse::Scope reuse;
    if (mStopped) {
        WriteLog(QStringLiteral("The run was stopped: no Device Provisioning profile is "
                                "migrated before it is resumed"));
        return;
    }
    WriteLog(QStringLiteral("Starting migration of Device Provisioning profiles ") +
             AppClock::logTime());
    // The profile phase shows the store caption first, as it always has.
    describe(QStringLiteral("Migrating stores, please wait."));

    WriteLog(QStringLiteral("Getting connection string"));
    msZeConnectionString =
        StatusHolder::GetZephrinDatabase()->value(StateKeys::ConnectionString).toString();
    WriteLog(QStringLiteral("Ze Connection String: ") + msZeConnectionString);

    WriteLog(QStringLiteral("Migrating Decice Provisioning profiles ") + AppClock::logTime());
    describe(QStringLiteral("Migrating Device Provisioning profiles, please wait."));

    const CollectionPtr profiles =
        StatusHolder::GetProfileLists()->collection(StateKeys::ExportedProfiles);
    const int count = profiles ? profiles->count() : 0;
    WriteLog(QStringLiteral("Number of Device Provisioning profiles to migrate: ") +
             QString::number(count));
    startPhase(count, 1);

    for (int position = 1; position <= count; ++position) {
        const CollectionPtr profile = profiles->collection(position);
        const QString name =
            profile ? profile->value(RecordKeys::ProfileName).toString() : QString();
        WriteLog(QStringLiteral("Migrating Device Provisioning profile ") + name);
        bool doneBefore = false;
        if (profileDoneBefore(position, name, doneBefore)) {
            WriteLog(name + QStringLiteral(" was migrated before the interruption (the journal "
                                           "says so); it is not written again"));
            RecordProfileOutcome(profile, doneBefore);
            finishItem(position);
            continue;
        }
        journalProfilePlan(position, name);
        WriteLog(QStringLiteral("Calling AddDPProfileToDirectory"));
        bool added = true;
        QString failure;
        try {
            ZephrinFunctions::AddDPProfileToDirectory(msZeConnectionString, profile);
        } catch (const MigrationError& error) {
            added = false;
            failure = QStringLiteral("Error Number: %1 Error Description: %2")
                          .arg(error.number())
                          .arg(error.description());
        } catch (const std::exception& error) {
            added = false;
            failure = QStringLiteral("Error Description: ") + QString::fromLocal8Bit(error.what());
        }
        RecordProfileOutcome(profile, added);
        journalProfile(position, added);
        if (!added) {
            // The failure is no part of the report; the log keeps it.
            WriteLog(QStringLiteral("AddDPProfileToDirectory failed for ") + name +
                     QLatin1Char(' ') + failure);
        }
        finishItem(position);
        if (stopNow()) {
            break;
        }
    }

    WriteLog(QStringLiteral("Finished migrating Device Provisioning profiles ") +
             AppClock::logTime());
    WriteLog(QStringLiteral("Finished migration ") + AppClock::logTime());
}

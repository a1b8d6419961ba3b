#include "RunState.h"

#include "db/UserConflicts.h"
#include "db/VarnelDBCon.h"
#include "directory/ZephrinFunctions.h"
#include "engine/MigrationEngine.h"
#include "frame/GlobalVariables.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"

#include <QSet>

namespace {

CollectionPtr textList(const QStringList& texts)
{
    const CollectionPtr list = Collection::create();
    for (const QString& text : texts) {
        list->add(text, text);
    }
    return list;
}

// "* " for a conflicting user, then "FirstName LastName (ID)"; a user without a name
// is listed as "Unnamed".
QString displayText(const CollectionPtr& user, bool conflicting)
{
    QString first = user->value(RecordKeys::FirstName).toString();
    const QString last = user->value(RecordKeys::LastName).toString();
    if (first.isEmpty() && last.isEmpty()) {
        first = QStringLiteral("Unnamed");
    }
    return (conflicting ? QStringLiteral("* ") : QString()) + first + QLatin1Char(' ') + last +
           QStringLiteral(" (") + user->value(RecordKeys::UserID).toString() + QLatin1Char(')');
}

} // namespace

void RunState::Fill(const DemoInstallation& demo, const RunChoices& choices)
{
    const QString source = demo.sourceConnectionString;
    const QString directory = demo.directoryConnectionString;

    // The verification: conflicts, and whether users get new passwords.
    const CollectionPtr conflicts = AdministrativeDBCon::CheckForUserConflicts(
        source, ZephrinFunctions::GetDirectoryUsers(directory));
    const CollectionPtr conflictUsers = conflicts->collection(RecordKeys::VaUserID);
    GlobalVariables::gbNewPasswords = choices.newPasswords;
    GlobalVariables::gbAddStores = choices.addStores;

    // The user selection page.
    const CollectionPtr allUsers = VarnelDBCon::GetAllUsers(source);
    const CollectionPtr link = Collection::create();
    const CollectionPtr conflictUserNames = Collection::create();
    const CollectionPtr exportedUsers = Collection::create();
    const CollectionPtr oldUsers = Collection::create();
    const CollectionPtr conflictDecisions = Collection::create();
    const CollectionPtr needEmail = Collection::create();
    QHash<int, QString> texts;
    for (int position = 1; position <= allUsers->count(); ++position) {
        const CollectionPtr user = allUsers->collection(position);
        const int id = user->value(RecordKeys::UserID).toInt();
        const bool conflicting = conflictUsers->contains(QString::number(id));
        const QString text = displayText(user, conflicting);
        texts.insert(id, text);
        link->add(id, text);
        if (conflicting) {
            conflictUserNames->add(text, text);
        }
    }
    const QSet<int> chosen(choices.users.begin(), choices.users.end());
    for (int position = 1; position <= allUsers->count(); ++position) {
        const int id = allUsers->collection(position)->value(RecordKeys::UserID).toInt();
        if (!chosen.contains(id)) {
            oldUsers->add(texts.value(id), texts.value(id));
        }
    }

    const CollectionPtr vaUserIDs = Collection::create();
    const CollectionPtr actions = Collection::create();
    for (const int id : choices.users) {
        const QString key = QString::number(id);
        const QString text = texts.value(id, key);
        exportedUsers->add(text, text);
        vaUserIDs->add(id);
        const int action = choices.actions.value(id, 0);
        actions->add(action, key);
        if (conflictUsers->contains(key)) {
            const CollectionPtr decision = Collection::create();
            decision->add(id, RecordKeys::VaUserID);
            decision->add(action, RecordKeys::Action);
            conflictDecisions->add(toVariant(decision), key);
            if (action == 0) {
                needEmail->add(id, key);
            }
        }
    }
    const CollectionPtr migrationList = Collection::create();
    migrationList->add(toVariant(vaUserIDs), StateKeys::VaUserIDs);
    migrationList->add(toVariant(actions), StateKeys::Actions);
    migrationList->add(toVariant(conflicts->collection(RecordKeys::ZeUserID)),
                       StateKeys::ZeUserIDs);
    StatusHolder::SetUserLists(conflictDecisions, conflictUsers, conflictUserNames, link, allUsers,
                               exportedUsers, oldUsers, migrationList, needEmail);
    GlobalVariables::gbNtLogon = !needEmail->isEmpty();

    // The store page.
    StatusHolder::SetExchangeServers(textList(choices.e2kServers), textList(choices.e55Servers));

    // The e-mail template page: the template chosen, then the service account found.
    QString title;
    if (choices.sendEmail) {
        ZephrinFunctions::ChooseTemplate(choices.templateID, directory);
        const CollectionPtr templates = ZephrinFunctions::GetTemplateList(directory);
        const CollectionPtr ids = templates->collection(QStringLiteral("IDs"));
        for (int position = 1; position <= ids->count(); ++position) {
            if (ids->item(position).toInt() == choices.templateID) {
                title = templates->collection(QStringLiteral("Titles"))->item(position).toString();
            }
        }
    }
    StatusHolder::SetEmailChoice(choices.sendEmail, title);
    if (choices.serviceAccount.size() == 3) {
        ZephrinFunctions::SetServiceAccount(choices.serviceAccount.at(0),
                                            choices.serviceAccount.at(1),
                                            choices.serviceAccount.at(2));
        ZephrinFunctions::TestServiceAccount();
    } else {
        const CollectionPtr servers = Collection::create();
        for (const QString& server : VarnelDBCon::GetUserMailHomeServers(source)) {
            servers->add(server);
        }
        ZephrinFunctions::FindServiceAccount(directory, servers);
    }

    // The profile page.
    const CollectionPtr allProfiles = VarnelDBCon::GetProvisioningProfiles(source);
    const CollectionPtr exportedProfiles = Collection::create();
    const CollectionPtr oldProfiles = Collection::create();
    for (const QString& name : choices.profiles) {
        for (int position = 1; position <= allProfiles->count(); ++position) {
            const CollectionPtr profile = allProfiles->collection(position);
            if (profile->value(RecordKeys::ProfileName).toString() == name) {
                exportedProfiles->add(toVariant(profile), allProfiles->key(position));
            }
        }
    }
    for (int position = 1; position <= allProfiles->count(); ++position) {
        if (!exportedProfiles->contains(allProfiles->key(position))) {
            oldProfiles->add(allProfiles->item(position), allProfiles->key(position));
        }
    }
    StatusHolder::SetProfileLists(allProfiles, exportedProfiles, oldProfiles);
}

QList<int> RunState::AllUsers(const DemoInstallation& demo)
{
    QList<int> ids;
    const CollectionPtr users = VarnelDBCon::GetAllUsers(demo.sourceConnectionString);
    for (int position = 1; position <= users->count(); ++position) {
        ids << users->collection(position)->value(RecordKeys::UserID).toInt();
    }
    return ids;
}

QStringList RunState::AllProfiles(const DemoInstallation& demo)
{
    QStringList names;
    const CollectionPtr profiles =
        VarnelDBCon::GetProvisioningProfiles(demo.sourceConnectionString);
    for (int position = 1; position <= profiles->count(); ++position) {
        names << profiles->collection(position)->value(RecordKeys::ProfileName).toString();
    }
    return names;
}

void RunState::Run(MigrationEngine& engine)
{
    engine.MigrateUsers();
    engine.MigrateDPProfiles();
    engine.GenerateReport();
}

void RecordingProgress::setDescription(const QString& text)
{
    calls << QStringLiteral("description ") + text;
}

void RecordingProgress::setMinimum(int minimum)
{
    calls << QStringLiteral("minimum ") + QString::number(minimum);
}

void RecordingProgress::setMaximum(int maximum)
{
    calls << QStringLiteral("maximum ") + QString::number(maximum);
}

void RecordingProgress::setValue(int value)
{
    calls << QStringLiteral("value ") + QString::number(value);
}

void RecordingProgress::repaint()
{
    calls << QStringLiteral("repaint");
}

void RecordingProgress::processEvents()
{
    calls << QStringLiteral("events");
    if (onEvents) {
        onEvents();
    }
}

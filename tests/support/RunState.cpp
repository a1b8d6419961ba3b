#include "RunState.h"

#include "db/DbConnection.h"
#include "db/UserConflicts.h"
#include "db/VarnelBuilder.h"
#include "db/VarnelDBCon.h"
#include "demo/DemoData.h"
#include "directory/ZephrinFunctions.h"
#include "engine/MigrationEngine.h"
#include "frame/GlobalVariables.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "reference/DirectoryBuilder.h"
#include "reference/ReferencePasswordEncoder.h"
#include "support/Describe.h"
#include "support/Golden.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

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
        if (!choices.users.contains(id)) {
            oldUsers->add(text, text);
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
        const int position =
            templates->collection(QStringLiteral("IDs"))->values().indexOf(choices.templateID);
        title = templates->collection(QStringLiteral("Titles"))->item(position + 1).toString();
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

QStringList RunState::TakeMails(const QString& folder)
{
    QStringList mails;
    for (const QFileInfo& found : QDir(folder).entryInfoList({QStringLiteral("*.eml")})) {
        QFile file(found.filePath());
        mails << (file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString());
        file.remove();
    }
    return mails;
}

QString RunState::NamePasswords(const MigrationEngine& engine, QString text,
                                const QStringList& mails)
{
    const QString directory =
        StatusHolder::GetZephrinDatabase()->value(StateKeys::ConnectionString).toString();
    const bool send = StatusHolder::GetEmailChoice()->value(StateKeys::Send).toBool();
    for (int position = 1; position <= engine.cUserResults->count(); ++position) {
        const CollectionPtr user = engine.cUserResults->collection(position);
        const QString clear = user->value(RecordKeys::PasswordClear).toString();
        if (clear.isEmpty()) {
            continue;
        }
        const QString login =
            user->value(RecordKeys::LoginIDChanged, user->value(RecordKeys::LoginID)).toString();
        const auto stored = DbConnection(directory).select(
            QStringLiteral("SELECT Password FROM fwtUser WHERE LoginID = ?"), {login});
        const bool right =
            (!send || !user->value(RecordKeys::Status).toBool() ||
             mails.join(QString()).contains(QStringLiteral("Password: %1\r\n").arg(clear))) &&
            stored.size() == 1 && clear.size() == 6 &&
            ReferencePasswordEncoder::VerifyPassword(clear, stored.first().value(0).toString());
        text.replace(clear, QStringLiteral("<%1password of %2>")
                                .arg(right ? QString() : QStringLiteral("wrong "), login));
    }
    return text;
}

EngineDemo::EngineDemo(const QString& engine, const DemoInstallation& base)
    : source(engine, QStringLiteral("Varnel")), target(engine, QStringLiteral("Directory")),
      installation(base)
{
    const DemoData::DemoContent content = DemoData::Generate(DemoData::DefaultUserCount);
    VarnelBuilder::WriteTo(source.connectionString(), content.source);
    DirectoryBuilder::Build(target.connectionString(), content.directory);
    installation.sourceConnectionString = source.connectionString();
    installation.directoryConnectionString = target.connectionString();
    StatusHolder::SetVarnelDatabase(QStringLiteral("server"), QStringLiteral("Varnel"), 1,
                                    StatusHolder::SqlServerAuthentication, QStringLiteral("sa"),
                                    QString(), true, source.connectionString());
    StatusHolder::SetZephrinDatabase(QStringLiteral("server"), QStringLiteral("Directory"), 0,
                                     StatusHolder::SqlServerAuthentication, QStringLiteral("sa"),
                                     QString(), true, target.connectionString());
    everything.users = RunState::AllUsers(installation);
    everything.profiles = RunState::AllProfiles(installation);
}

QStringList EngineDemo::run(RunProgress& progress, const RunChoices& choices,
                            const QStringList& queries) const
{
    RunState::Fill(installation, choices);
    MigrationEngine engine(progress);
    engine.Load();
    RunState::Run(engine);
    const QStringList mails = RunState::TakeMails(installation.mailFolder);
    QStringList text = {Golden::fromCrlf(RunState::NamePasswords(engine, engine.gsReport, mails)),
                        QStringLiteral("%1 mails").arg(mails.size())};
    DbConnection directory(target.connectionString());
    for (const QString& sql : queries) {
        text << QStringLiteral("## ") + sql << describe(directory.select(sql));
    }
    return text;
}

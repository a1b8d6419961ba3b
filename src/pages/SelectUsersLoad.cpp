// Filling the user selection page's two lists: forward from the source database and
// the conflict result, backwards from the lists that Next saved in the state store.
#include "pages/SelectUsers.h"

#include "db/UserConflicts.h"
#include "db/VarnelDBCon.h"
#include "directory/ZephrinFunctions.h"
#include "frame/Clock.h"
#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/BusyCursor.h"
#include "pages/TextListModel.h"

namespace {

// "Error <number>: <description>" of a failure, as the database or component gave it.
QString errorText(const std::exception& failure)
{
    if (const auto* error = dynamic_cast<const MigrationError*>(&failure)) {
        return QStringLiteral("Error %1: %2").arg(error->number()).arg(error->description());
    }
    return QStringLiteral("Error 0: ") + QString::fromLocal8Bit(failure.what());
}

QStringList textsOf(const CollectionPtr& collection)
{
    QStringList texts;
    texts.reserve(collection->count());
    for (const QVariant& value : collection->values()) {
        texts.append(value.toString());
    }
    return texts;
}

} // namespace

void SelectUsers::setConflictResult(const CollectionPtr& conflictResult)
{
    mHandedConflicts = conflictResult;
}

QString SelectUsers::DisplayText(const CollectionPtr& user, bool conflicting)
{
    return (conflicting ? QStringLiteral("* ") : QString()) +
           user->value(RecordKeys::FirstName).toString() + QLatin1Char(' ') +
           user->value(RecordKeys::LastName).toString() + QStringLiteral(" (") +
           QString::number(user->item(RecordKeys::UserID).toInt()) + QLatin1Char(')');
}

// Empty lists and collections, as before the users are read.
void SelectUsers::startLists()
{
    cConflictDecisions = Collection::create();
    cConflictUsers = Collection::create();
    cConflictUserNames = Collection::create();
    cLink = Collection::create();
    cAllUsers = Collection::create();
    cExportedUsers = Collection::create();
    cOldUsers = Collection::create();
    cMigrationList = Collection::create();
    cNeedEmail = Collection::create();
    mOldModel->setTexts({});
    mMigrateModel->setTexts({});
}

void SelectUsers::LoadStateNext()
{
    logLaunched();
    emailTemplateEntered = false;
    startLists();
    const QString source =
        StatusHolder::GetVarnelDatabase()->item(StateKeys::ConnectionString).toString();

    // A source that cannot be read leaves both lists empty.
    CollectionPtr users;
    try {
        const BusyCursor busy;
        users = VarnelDBCon::GetAllUsers(source);
    } catch (const std::exception& failure) {
        CommonFunctions::WriteLog(QStringLiteral("SelectUsers: GetAllUsers failed: ") +
                                  errorText(failure));
        return;
    }

    AppClock::processEvents();
    // Without a conflict result the users cannot be marked, so none is listed.
    CollectionPtr conflicts = mHandedConflicts;
    if (!conflicts) {
        try {
            const BusyCursor busy;
            const QString target =
                StatusHolder::GetZephrinDatabase()->item(StateKeys::ConnectionString).toString();
            const CollectionPtr directoryUsers = ZephrinFunctions::GetDirectoryUsers(target);
            AppClock::processEvents();
            conflicts = AdministrativeDBCon::CheckForUserConflicts(source, directoryUsers);
        } catch (const std::exception& failure) {
            CommonFunctions::WriteLog(
                QStringLiteral("SelectUsers: CheckForUserConflicts failed: ") + errorText(failure));
            tellWhenShown(CommonFunctions::ReplaceAppNames(QStringLiteral(
                              "The login IDs of the <EXAPP> users could not be compared with "
                              "the <IMAPP> Directory database, so no user is listed.")) +
                          QStringLiteral("\r\n\r\n") + errorText(failure));
            return;
        }
    }
    const CollectionPtr conflicting = conflicts->collection(RecordKeys::VaUserID);

    QStringList texts;
    texts.reserve(users->count());
    for (const QVariant& value : users->values()) {
        const CollectionPtr user = toCollection(value);
        const int id = user->item(RecordKeys::UserID).toInt();
        const QString key = QString::number(id);
        if (user->value(RecordKeys::FirstName).toString().isEmpty() &&
            user->value(RecordKeys::LastName).toString().isEmpty()) {
            if (user->contains(RecordKeys::FirstName)) {
                user->remove(RecordKeys::FirstName);
            }
            user->add(QStringLiteral("Unnamed"), RecordKeys::FirstName);
        }
        const bool isConflict = conflicting->contains(key);
        const QString text = DisplayText(user, isConflict);
        cLink->add(id, text);
        if (isConflict) {
            cConflictUserNames->add(id, text);
        }
        cOldUsers->add(text, text);
        texts.append(text);
        mPump.tick();
    }
    cAllUsers = users;
    cConflictUsers = conflicts;
    mOldModel->setTexts(texts);
}

void SelectUsers::LoadStatePrev()
{
    const CollectionPtr lists = StatusHolder::GetUserLists();
    const auto saved = [&lists](QLatin1String key) { return lists->collection(key); };
    // The lists were never saved: the page starts as when entered forward.
    if (!saved(StateKeys::OldUsers) || !saved(StateKeys::ExportedUsers) ||
        !saved(StateKeys::Link) || !saved(StateKeys::ConflictUsers)) {
        LoadStateNext();
        return;
    }
    const auto orEmpty = [](const CollectionPtr& collection) {
        return collection ? collection : Collection::create();
    };
    cConflictDecisions = orEmpty(saved(StateKeys::ConflictDecisions));
    cConflictUsers = saved(StateKeys::ConflictUsers);
    cConflictUserNames = orEmpty(saved(StateKeys::ConflictUserNames));
    cLink = saved(StateKeys::Link);
    cAllUsers = orEmpty(saved(StateKeys::AllUsers));
    cExportedUsers = saved(StateKeys::ExportedUsers);
    cOldUsers = saved(StateKeys::OldUsers);
    cMigrationList = orEmpty(saved(StateKeys::MigrationList));
    cNeedEmail = orEmpty(saved(StateKeys::NeedEmail));
    gbBackToVarnel = savedBackToVarnel;
    mOldModel->setTexts(textsOf(cOldUsers));
    mMigrateModel->setTexts(textsOf(cExportedUsers));
}

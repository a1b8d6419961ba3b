#include "pages/SelectUsers.h"

#include "db/UserConflicts.h"
#include "db/VarnelDBCon.h"
#include "directory/ZephrinFunctions.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/BusyCursor.h"
#include "pages/ConflictDecision.h"
#include "pages/EventPump.h"
#include "pages/PageNames.h"
#include "pages/SelectDPProfiles.h"
#include "pages/TextListModel.h"
#include "pages/TwoListLayout.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QSet>
#include <QStyle>
#include <QVBoxLayout>
#include <algorithm>

namespace {

QListView* makeList(QWidget* page, const char* name, TextListModel* model)
{
    auto* list = new QListView(page);
    list->setObjectName(QLatin1String(name));
    list->setModel(model);
    list->setSelectionMode(QAbstractItemView::SingleSelection);
    list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    // Tens of thousands of lines: every line is as high as the first, and the view
    // lays them out in batches while it stays on screen.
    list->setUniformItemSizes(true);
    list->setLayoutMode(QListView::Batched);
    list->setBatchSize(2000);
    return list;
}

// The row selected in a list, or -1.
int selectedRow(const QListView* list)
{
    const QModelIndexList selected = list->selectionModel()->selectedIndexes();
    return selected.isEmpty() ? -1 : selected.first().row();
}

void selectRow(QListView* list, int row)
{
    const QModelIndex index = list->model()->index(row, 0);
    if (index.isValid()) {
        list->setCurrentIndex(index);
    }
}

// Removes the items under the given keys from a collection, in one pass.
void removeKeys(const CollectionPtr& collection, const QSet<QString>& keys, EventPump& pump)
{
    Collection kept;
    for (int position = 1; position <= collection->count(); ++position) {
        const QString key = collection->key(position);
        if (!keys.contains(key)) {
            kept.add(collection->item(position), key);
        }
        pump.tick();
    }
    *collection = std::move(kept);
}

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

SelectUsers::SelectUsers(QWidget* parent)
    : WizardPage(PageNames::SelectUsers, QStringLiteral("Select Users to Migrate"), parent)
{
    SUExpl = new QLabel(this);
    SUExpl->setObjectName(QStringLiteral("SUExpl"));
    SUExpl->setWordWrap(true);

    mOldModel = new TextListModel(this);
    mMigrateModel = new TextListModel(this);
    Label1 = new QLabel(QStringLiteral("Users:"), this);
    Label1->setObjectName(QStringLiteral("Label1"));
    OldUsersLbx = makeList(this, "OldUsersLbx", mOldModel);
    Label1->setBuddy(OldUsersLbx);
    Label2 = new QLabel(QStringLiteral("Users to Migrate:"), this);
    Label2->setObjectName(QStringLiteral("Label2"));
    Migrate = makeList(this, "Migrate", mMigrateModel);
    Label2->setBuddy(Migrate);

    OldToMigrateBtn = new QPushButton(this);
    OldToMigrateBtn->setObjectName(QStringLiteral("OldToMigrateBtn"));
    OldToMigrateBtn->setIcon(style()->standardIcon(QStyle::SP_ArrowRight));
    OldToMigrateBtn->setToolTip(QStringLiteral("Move the selected user to Users to Migrate"));
    OldToMigrateBtn->setAccessibleName(OldToMigrateBtn->toolTip());
    MigrateToOldBtn = new QPushButton(this);
    MigrateToOldBtn->setObjectName(QStringLiteral("MigrateToOldBtn"));
    MigrateToOldBtn->setIcon(style()->standardIcon(QStyle::SP_ArrowLeft));
    MigrateToOldBtn->setToolTip(QStringLiteral("Move the selected user back to Users"));
    MigrateToOldBtn->setAccessibleName(MigrateToOldBtn->toolTip());
    MigrateAll = new QPushButton(QStringLiteral("Migrate All"), this);
    MigrateAll->setObjectName(QStringLiteral("MigrateAll"));
    MigrateNone = new QPushButton(QStringLiteral("Migrate None"), this);
    MigrateNone->setObjectName(QStringLiteral("MigrateNone"));

    connectHandler(OldToMigrateBtn, "OldToMigrateBtn", &SelectUsers::OldToMigrateBtn_Click);
    connectHandler(MigrateToOldBtn, "MigrateToOldBtn", &SelectUsers::MigrateToOldBtn_Click);
    connectHandler(MigrateAll, "MigrateAll", &SelectUsers::MigrateAll_Click);
    connectHandler(MigrateNone, "MigrateNone", &SelectUsers::MigrateNone_Click);
    connect(OldUsersLbx, &QListView::doubleClicked, this, [this] {
        runHandler(QStringLiteral("OldUsersLbx_DblClick"), [this] { OldToMigrateBtn_Click(); });
    });
    connect(Migrate, &QListView::doubleClicked, this, [this] {
        runHandler(QStringLiteral("Migrate_DblClick"), [this] { MigrateToOldBtn_Click(); });
    });

    QGridLayout* lists = twoListLayout(Label1, OldUsersLbx, Label2, Migrate, OldToMigrateBtn,
                                       MigrateToOldBtn, MigrateAll, MigrateNone);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(SUExpl);
    layout->addLayout(lists, 1);
    layout->addLayout(createNavigationButtons(PreviousButton | NextButton | CancelButton));

    // A focused button takes Enter itself; anywhere else Enter presses Next.
    for (QPushButton* button : findChildren<QPushButton*>()) {
        button->setAutoDefault(true);
    }
    NextBtn->setDefault(true);
    setTabOrder(OldUsersLbx, OldToMigrateBtn);
    setTabOrder(OldToMigrateBtn, MigrateToOldBtn);
    setTabOrder(MigrateToOldBtn, MigrateAll);
    setTabOrder(MigrateAll, MigrateNone);
    setTabOrder(MigrateNone, Migrate);
    setTabOrder(Migrate, PreviousBtn);
    setTabOrder(PreviousBtn, NextBtn);
    setTabOrder(NextBtn, CancelBtn);

    const int em = fontMetrics().averageCharWidth();
    resize(std::max(minimumSizeHint().width(), em * 96),
           std::max(minimumSizeHint().height(), fontMetrics().height() * 24));
    startLists();
}

void SelectUsers::connectHandler(QPushButton* button, const char* name,
                                 void (SelectUsers::*handler)())
{
    connect(button, &QPushButton::clicked, this, [this, name, handler] {
        runHandler(QLatin1String(name) + QStringLiteral("_Click"),
                   [this, handler] { (this->*handler)(); });
    });
}

void SelectUsers::Form_Load()
{
    SUExpl->setText(CommonFunctions::ReplaceAppNames(QStringLiteral(
        "Select the users to migrate to <IMAPP>. Any user with an asterisk (*) appended to the "
        "name conflicts with an already existing user in the <IMAPP> Directory database. You "
        "can choose to migrate such a user anyhow but must then choose whether to update or "
        "overwrite the already existing user or to create a new user with a new login name.")));
}

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

QString SelectUsers::userKey(const QString& text) const
{
    return QString::number(cLink->item(text).toInt());
}

bool SelectUsers::needsEmail(std::optional<int> action) const
{
    return GlobalVariables::gbNewPasswords ||
           (action.has_value() && *action == ConflictDecision::CreateNewUser);
}

SelectUsers::Decision SelectUsers::askDecision(const QString& text, bool offerApplyToAll)
{
    const QString key = userKey(text);
    const auto entry = [this, &key](QLatin1String list) {
        return cConflictUsers->collection(list)->item(key);
    };
    const CollectionPtr conflict = Collection::create();
    conflict->add(entry(RecordKeys::VaName), RecordKeys::VaUserName);
    conflict->add(entry(RecordKeys::ZeName), RecordKeys::ZeUserName);
    conflict->add(entry(RecordKeys::LoginID), RecordKeys::LoginID);
    conflict->add(entry(RecordKeys::VaUserID), RecordKeys::VaUserID);
    conflict->add(entry(RecordKeys::ZeUserID), RecordKeys::ZeUserID);

    ConflictDecision dialog(this);
    dialog.SetUser(conflict);
    dialog.offerApplyToAll(offerApplyToAll);
    dialog.exec();
    return {GlobalVariables::gbCancel, GlobalVariables::glSelectAction, dialog.applyToAll()};
}

void SelectUsers::recordMovedIn(const QString& text, std::optional<int> action)
{
    const QString key = userKey(text);
    if (action.has_value()) {
        cConflictDecisions->add(*action, key);
    }
    if (needsEmail(action)) {
        cNeedEmail->add(cLink->item(text), key);
    }
}

void SelectUsers::recordMovedOut(const QString& text)
{
    const QString key = userKey(text);
    if (cConflictDecisions->contains(key)) {
        cConflictDecisions->remove(key);
    }
    if (cNeedEmail->contains(key)) {
        cNeedEmail->remove(key);
    }
}

void SelectUsers::OldToMigrateBtn_Click()
{
    const int row = selectedRow(OldUsersLbx);
    if (row < 0) {
        return;
    }
    const QString text = mOldModel->text(row);
    std::optional<int> action;
    if (cConflictUserNames->contains(text)) {
        const Decision decision = askDecision(text, false);
        if (decision.cancelled) {
            return;
        }
        action = decision.action;
    }
    mOldModel->removeLine(row);
    cOldUsers->remove(text);
    mMigrateModel->append(text);
    cExportedUsers->add(text, text);
    recordMovedIn(text, action);
    selectRow(OldUsersLbx, std::min(row, mOldModel->rowCount() - 1));
}

void SelectUsers::MigrateToOldBtn_Click()
{
    const int row = selectedRow(Migrate);
    if (row < 0) {
        return;
    }
    const QString text = mMigrateModel->text(row);
    mMigrateModel->removeLine(row);
    cExportedUsers->remove(text);
    recordMovedOut(text);
    mOldModel->append(text);
    cOldUsers->add(text, text);
    selectRow(Migrate, std::min(row, mMigrateModel->rowCount() - 1));
}

// Moves the lines taken out of "Users:" so far, with their decisions, in one pass
// over each list.
void SelectUsers::applyMoves(QList<PendingMove>& moves)
{
    if (moves.isEmpty()) {
        return;
    }
    QList<bool> marked(mOldModel->rowCount(), false);
    QSet<QString> texts;
    QStringList moved;
    texts.reserve(moves.size());
    moved.reserve(moves.size());
    for (const PendingMove& move : moves) {
        marked[move.row] = true;
        texts.insert(move.text);
        moved.append(move.text);
        mPump.tick();
    }
    mOldModel->removeMarked(marked);
    removeKeys(cOldUsers, texts, mPump);
    mMigrateModel->append(moved);
    for (const PendingMove& move : moves) {
        cExportedUsers->add(move.text, move.text);
        recordMovedIn(move.text, move.action);
        mPump.tick();
    }
    moves.clear();
}

// Every line of "Users:" moves, each conflicting user after its decision. A user
// whose dialog is cancelled stays. With "Apply this choice to all remaining
// conflicting users" ticked, that answer (a decision, or Cancel) holds for every
// further conflicting user without a dialog.
void SelectUsers::MigrateAll_Click()
{
    const QStringList lines = mOldModel->texts();
    int conflictsLeft = 0;
    for (const QString& text : lines) {
        conflictsLeft += cConflictUserNames->contains(text) ? 1 : 0;
    }
    std::optional<Decision> forAll;
    QList<PendingMove> moves;
    int movedBefore = 0;
    for (int line = 0; line < lines.size(); ++line) {
        const QString& text = lines.at(line);
        mPump.tick();
        std::optional<int> action;
        if (cConflictUserNames->contains(text)) {
            --conflictsLeft;
            Decision decision;
            if (forAll.has_value()) {
                decision = *forAll;
            } else {
                // The lists show what has moved so far while the dialog asks.
                movedBefore += static_cast<int>(moves.size());
                applyMoves(moves);
                decision = askDecision(text, conflictsLeft > 0);
                if (decision.applyToAll) {
                    forAll = decision;
                }
            }
            if (decision.cancelled) {
                continue;
            }
            action = decision.action;
        }
        moves.append({line - movedBefore, text, action});
    }
    applyMoves(moves);
}

void SelectUsers::MigrateNone_Click()
{
    const QStringList texts = mMigrateModel->texts();
    mMigrateModel->setTexts({});
    *cExportedUsers = Collection();
    *cConflictDecisions = Collection();
    *cNeedEmail = Collection();
    for (const QString& text : texts) {
        cOldUsers->add(text, text);
        mPump.tick();
    }
    mOldModel->append(texts);
}

// "VaUserIDs": the source user IDs of "Users to Migrate:" in its order; "Actions": the
// decision of each, 0 for a user without conflict, keyed by the decimal source user
// ID; "ZeUserIDs": the Directory user IDs of the conflict result, keyed as there.
// A conflicting user decided to be created as a new user is listed with 6, so that
// the run tells it its new login ID even when no new passwords are made.
CollectionPtr SelectUsers::buildMigrationList()
{
    const CollectionPtr vaUserIDs = Collection::create();
    const CollectionPtr actions = Collection::create();
    for (const QVariant& value : cExportedUsers->values()) {
        const int id = cLink->item(value.toString()).toInt();
        const QString key = QString::number(id);
        vaUserIDs->add(id);
        int action = cConflictDecisions->value(key, ConflictDecision::CreateNewUser).toInt();
        if (action == ConflictDecision::CreateNewUser && cConflictDecisions->contains(key)) {
            action = ConflictDecision::CreateNewUserAndMail;
        }
        actions->add(action, key);
        mPump.tick();
    }
    const CollectionPtr zeUserIDs = cConflictUsers->contains(RecordKeys::ZeUserID)
                                        ? cConflictUsers->collection(RecordKeys::ZeUserID)
                                        : Collection::create();
    const CollectionPtr migrationList = Collection::create();
    migrationList->add(toVariant(vaUserIDs), StateKeys::VaUserIDs);
    migrationList->add(toVariant(actions), StateKeys::Actions);
    migrationList->add(toVariant(zeUserIDs), StateKeys::ZeUserIDs);
    return migrationList;
}

void SelectUsers::NextBtn_Click()
{
    cMigrationList = buildMigrationList();
    // The same form as the profile page's list: one line per user.
    QString exported = QStringLiteral("SelectUsers: Exported Users: \r\n");
    for (const QVariant& value : cExportedUsers->values()) {
        exported += value.toString() + QStringLiteral("\r\n");
        mPump.tick();
    }
    CommonFunctions::WriteLog(exported);
    StatusHolder::SetUserLists(cConflictDecisions, cConflictUsers, cConflictUserNames, cLink,
                               cAllUsers, cExportedUsers, cOldUsers, cMigrationList, cNeedEmail);
    savedBackToVarnel = gbBackToVarnel;

    GlobalVariables::gbNtLogon = !cNeedEmail->isEmpty();
    if (!cNeedEmail->isEmpty() || GlobalVariables::gbNtLogon != GlobalVariables::gbNewPasswords) {
        const Restore restore = emailTemplateEntered ? Restore::None : Restore::Next;
        if (handOver(PageNames::SelectEmailTemplate, restore) != nullptr) {
            emailTemplateEntered = true;
        }
    } else {
        handOverTo<SelectDPProfiles>(
            PageNames::SelectDPProfiles, Restore::Next,
            [](SelectDPProfiles& profiles) { profiles.giBackTo = SelectDPProfiles::BackToUsers; });
    }
}

// Back to the store page when the route went through it, else to the database page
// that opened this one; the store page learns which of the two lies behind it.
void SelectUsers::PreviousBtn_Click()
{
    if (GlobalVariables::gbAddStores) {
        handOverBackTo(*this, PageNames::AddStores, Restore::Prev, gbBackToVarnel);
    } else if (gbBackToVarnel) {
        handOver(PageNames::SelectVarnel, Restore::Prev);
    } else {
        handOver(PageNames::SelectZephrin, Restore::Prev);
    }
}

// Moving users between "Users:" and "Users to Migrate:" on the user selection page,
// with the conflict dialog's decision for every conflicting user moved in.
#include "pages/SelectUsers.h"

#include "frame/GlobalVariables.h"
#include "frame/RecordKeys.h"
#include "pages/ConflictDecision.h"
#include "pages/TextListModel.h"

#include <QListView>
#include <QSet>
#include <algorithm>

namespace {

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

} // namespace

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

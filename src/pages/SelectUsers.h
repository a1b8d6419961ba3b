#pragma once

#include "frame/Collection.h"
#include "pages/BackToVarnelPage.h"
#include "pages/EventPump.h"
#include "pages/WizardPage.h"

#include <QStringList>
#include <optional>

class QLabel;
class QListView;
class TextListModel;

// The page on which the administrator picks the source users to migrate. Users whose
// login ID exists in the Directory are marked with "* " and get a decision in the
// conflict dialog when they are moved into "Users to Migrate:". Next saves the lists
// and the migration list in the state store.
//
// What the page keeps, all saved and restored with the state store's user lists:
// - ConflictDecisions: the action code of every conflicting user in "Users to
//   Migrate:", keyed by the decimal source user ID;
// - ConflictUsers: the conflict result (five parallel lists keyed by the source user
//   ID);
// - ConflictUserNames: the source user ID keyed by the display text of every
//   conflicting user;
// - Link: the source user ID keyed by every display text;
// - AllUsers: the source users as read;
// - ExportedUsers / OldUsers: the display texts of "Users to Migrate:" / "Users:", in
//   list order, each keyed by itself;
// - MigrationList: "VaUserIDs", "Actions", "ZeUserIDs", built by Next;
// - NeedEmail: the source user ID, keyed by its decimal text, of every user in "Users
//   to Migrate:" who gets a new login ID (decision 0: the Directory gives the new user
//   another login ID) or a new password (every user when new passwords are made).
//   Decisions 1 and 2 keep the login ID: 1 updates the Directory user that holds it,
//   2 deletes that user and creates the source user under the freed login ID.
class SelectUsers : public WizardPage, public BackToVarnelPage
{
    Q_OBJECT
public:
    explicit SelectUsers(QWidget* parent = nullptr);

    // Entering forward: reads the source users and the conflict result (the one
    // handed over, or its own check of the two databases), lists every user in
    // "Users:" and leaves "Users to Migrate:" empty.
    void LoadStateNext() override;
    // Entering backwards: the lists and decisions as Next saved them.
    void LoadStatePrev() override;

    // True when this page was opened from the source database page (directly or
    // through the store page): Previous then returns there instead of to the target
    // database page. A freshly loaded page starts with false.
    bool gbBackToVarnel = false;
    void setBackToVarnel(bool backToVarnel) override { gbBackToVarnel = backToVarnel; }

    // The conflict result of the verification, handed over by the page that opens
    // this one before LoadStateNext, so the two databases are not compared twice.
    void setConflictResult(const CollectionPtr& conflictResult);

    // What outlives the page on this route, as the state store keeps its lists:
    // gbBackToVarnel as Next left it (LoadStatePrev restores it), and whether Next
    // has opened the e-mail template page since LoadStateNext began the route (only
    // the first entry restores that page's choice).
    static inline bool savedBackToVarnel = false;
    static inline bool emailTemplateEntered = false;

    // One line of the lists: "* " for a conflicting user, first name, " ", last name,
    // " (", the source user ID, ")".
    static QString DisplayText(const CollectionPtr& user, bool conflicting);

    QLabel* SUExpl = nullptr;
    QLabel* Label1 = nullptr;
    QListView* OldUsersLbx = nullptr;
    QLabel* Label2 = nullptr;
    QListView* Migrate = nullptr;
    QPushButton* OldToMigrateBtn = nullptr;
    QPushButton* MigrateToOldBtn = nullptr;
    QPushButton* MigrateAll = nullptr;
    QPushButton* MigrateNone = nullptr;

    CollectionPtr cConflictDecisions;
    CollectionPtr cConflictUsers;
    CollectionPtr cConflictUserNames;
    CollectionPtr cLink;
    CollectionPtr cAllUsers;
    CollectionPtr cExportedUsers;
    CollectionPtr cOldUsers;
    CollectionPtr cMigrationList;
    CollectionPtr cNeedEmail;

protected:
    void Form_Load() override;
    void NextBtn_Click() override;
    void PreviousBtn_Click() override;
    void OldToMigrateBtn_Click();
    void MigrateToOldBtn_Click();
    void MigrateAll_Click();
    void MigrateNone_Click();

private:
    // The administrator's answer in the conflict dialog.
    struct Decision
    {
        bool cancelled = false;
        int action = 0;
        bool applyToAll = false;
    };
    // A line taken out of "Users:" by "Migrate All", not yet moved.
    struct PendingMove
    {
        int row = 0;
        QString text;
        std::optional<int> action;
    };

    void startLists();
    void fillListsFromState();
    QString userKey(const QString& text) const;
    Decision askDecision(const QString& text, bool offerApplyToAll);
    void recordMovedIn(const QString& text, std::optional<int> action);
    void recordMovedOut(const QString& text);
    bool needsEmail(std::optional<int> action) const;
    void applyMoves(QList<PendingMove>& moves);
    CollectionPtr buildMigrationList();
    void connectHandler(QPushButton* button, const char* name, void (SelectUsers::*handler)());

    TextListModel* mOldModel = nullptr;
    TextListModel* mMigrateModel = nullptr;
    CollectionPtr mHandedConflicts;
    // Lets the window handle its events during the loops over every user.
    EventPump mPump;
};

// The user selection page's window (its controls, their order and handlers) and its
// way on: Next saves the lists and the migration list, Previous goes back. Filling the
// lists is in SelectUsersLoad.cpp, moving users between them in SelectUsersMoves.cpp.
#include "pages/SelectUsers.h"
#include "pages/ListLabel.h"

#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/ConflictDecision.h"
#include "pages/PageNames.h"
#include "pages/SelectDPProfiles.h"
#include "pages/TextListModel.h"
#include "pages/TwoListLayout.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QPushButton>
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
    labelList(Label1, OldUsersLbx);
    Label2 = new QLabel(QStringLiteral("Users to Migrate:"), this);
    Label2->setObjectName(QStringLiteral("Label2"));
    Migrate = makeList(this, "Migrate", mMigrateModel);
    labelList(Label2, Migrate);

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

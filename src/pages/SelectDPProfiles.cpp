#include "pages/SelectDPProfiles.h"
#include "pages/ListLabel.h"

#include "db/VarnelDBCon.h"
#include "frame/CommonFunctions.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/BusyCursor.h"
#include "pages/PageNames.h"
#include "pages/TwoListLayout.h"

#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace {

template <typename Widget> Widget* named(Widget* widget, const char* name)
{
    widget->setObjectName(QLatin1String(name));
    return widget;
}

QString profileName(const QVariant& profile)
{
    const CollectionPtr record = toCollection(profile);
    return record ? record->value(RecordKeys::ProfileName).toString() : QString();
}

// A saved list, or an empty one when none was saved.
CollectionPtr orEmpty(const CollectionPtr& saved)
{
    return saved ? saved : Collection::create();
}

} // namespace

SelectDPProfiles::SelectDPProfiles(QWidget* parent)
    : WizardPage(PageNames::SelectDPProfiles,
                 QStringLiteral("Select Device Provisioning Profiles to Migrate"), parent),
      cAllProfiles(Collection::create()), cOldProfiles(Collection::create()),
      cNewProfiles(Collection::create())
{
    SUExpl = named(new QLabel(this), "SUExpl");
    SUExpl->setWordWrap(true);
    Label1 = named(new QLabel(QStringLiteral("Profiles:"), this), "Label1");
    lstOldProfiles = named(new QListWidget(this), "lstOldProfiles");
    labelList(Label1, lstOldProfiles);
    Label2 = named(new QLabel(QStringLiteral("Profiles to Migrate:"), this), "Label2");
    lstNewProfiles = named(new QListWidget(this), "lstNewProfiles");
    labelList(Label2, lstNewProfiles);

    OldToMigrateBtn = named(new QPushButton(this), "OldToMigrateBtn");
    OldToMigrateBtn->setIcon(style()->standardIcon(QStyle::SP_ArrowRight));
    OldToMigrateBtn->setToolTip(QStringLiteral("Move the selected profile to Profiles to Migrate"));
    OldToMigrateBtn->setAccessibleName(OldToMigrateBtn->toolTip());
    MigrateToOldBtn = named(new QPushButton(this), "MigrateToOldBtn");
    MigrateToOldBtn->setIcon(style()->standardIcon(QStyle::SP_ArrowLeft));
    MigrateToOldBtn->setToolTip(QStringLiteral("Move the selected profile back to Profiles"));
    MigrateToOldBtn->setAccessibleName(MigrateToOldBtn->toolTip());
    MigrateAll = named(new QPushButton(QStringLiteral("Migrate All"), this), "MigrateAll");
    MigrateNone = named(new QPushButton(QStringLiteral("Migrate None"), this), "MigrateNone");

    const auto onClick = [this](QPushButton* button, const char* handler,
                                const std::function<void()>& work) {
        connect(button, &QPushButton::clicked, this,
                [this, handler, work] { runHandler(QLatin1String(handler), work); });
    };
    onClick(OldToMigrateBtn, "OldToMigrateBtn_Click",
            [this] { moveSelected(lstOldProfiles, cOldProfiles, cNewProfiles); });
    onClick(MigrateToOldBtn, "MigrateToOldBtn_Click",
            [this] { moveSelected(lstNewProfiles, cNewProfiles, cOldProfiles); });
    onClick(MigrateAll, "MigrateAll_Click", [this] { moveAll(cOldProfiles, cNewProfiles); });
    onClick(MigrateNone, "MigrateNone_Click", [this] { moveAll(cNewProfiles, cOldProfiles); });
    connect(lstOldProfiles, &QListWidget::itemDoubleClicked, this, [this] {
        runHandler(QStringLiteral("lstOldProfiles_DblClick"),
                   [this] { moveSelected(lstOldProfiles, cOldProfiles, cNewProfiles); });
    });
    connect(lstNewProfiles, &QListWidget::itemDoubleClicked, this, [this] {
        runHandler(QStringLiteral("lstNewProfiles_DblClick"),
                   [this] { moveSelected(lstNewProfiles, cNewProfiles, cOldProfiles); });
    });

    QGridLayout* lists = twoListLayout(Label1, lstOldProfiles, Label2, lstNewProfiles,
                                       OldToMigrateBtn, MigrateToOldBtn, MigrateAll, MigrateNone);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(SUExpl);
    layout->addSpacing(8);
    layout->addLayout(lists, 1);
    layout->addLayout(createNavigationButtons(PreviousButton | NextButton | CancelButton));

    // A focused button takes Enter itself; anywhere else Enter presses Next.
    for (QPushButton* button : findChildren<QPushButton*>()) {
        button->setAutoDefault(true);
    }
    NextBtn->setDefault(true);
    const QList<QWidget*> order = {lstOldProfiles, OldToMigrateBtn, MigrateToOldBtn,
                                   MigrateAll,     MigrateNone,     lstNewProfiles,
                                   PreviousBtn,    NextBtn,         CancelBtn};
    for (qsizetype i = 1; i < order.size(); ++i) {
        setTabOrder(order[i - 1], order[i]);
    }
    const int em = fontMetrics().averageCharWidth();
    resize(std::max(minimumSizeHint().width(), em * 80),
           std::max(minimumSizeHint().height(), fontMetrics().height() * 20));
}

void SelectDPProfiles::Form_Load()
{
    SUExpl->setText(CommonFunctions::ReplaceAppNames(
        QStringLiteral("Select the Device Provisioning profiles you wish to migrate to <IMAPP>")));
    logLaunched();
}

void SelectDPProfiles::LoadStateNext()
{
    const QString source =
        StatusHolder::GetVarnelDatabase()->item(StateKeys::ConnectionString).toString();
    {
        const BusyCursor busy;
        // The reader skips what it cannot read and keeps what it read before a failure.
        cAllProfiles = VarnelDBCon::GetProvisioningProfiles(source);
    }
    cOldProfiles = Collection::create();
    cNewProfiles = Collection::create();
    for (int position = 1; position <= cAllProfiles->count(); ++position) {
        const QVariant profile = cAllProfiles->item(position);
        cOldProfiles->add(profile, toCollection(profile)->item(RecordKeys::ProfileID).toString());
    }
    fillLists();
}

void SelectDPProfiles::LoadStatePrev()
{
    const CollectionPtr lists = StatusHolder::GetProfileLists();
    cAllProfiles = orEmpty(lists->collection(StateKeys::AllProfiles));
    cNewProfiles = orEmpty(lists->collection(StateKeys::ExportedProfiles));
    cOldProfiles = orEmpty(lists->collection(StateKeys::OldProfiles));
    giBackTo = savedBackTo;
    fillLists();
}

void SelectDPProfiles::fillLists()
{
    const auto fill = [](QListWidget* list, const CollectionPtr& profiles) {
        list->clear();
        for (const QVariant& profile : profiles->values()) {
            list->addItem(profileName(profile));
        }
    };
    fill(lstOldProfiles, cOldProfiles);
    fill(lstNewProfiles, cNewProfiles);
}

void SelectDPProfiles::moveSelected(QListWidget* fromList, const CollectionPtr& from,
                                    const CollectionPtr& to)
{
    const int row = fromList->currentRow();
    const QListWidgetItem* item = fromList->currentItem();
    if (row < 0 || item == nullptr || !item->isSelected() || row >= from->count()) {
        return;
    }
    const QVariant profile = from->item(row + 1);
    const QString key = from->key(row + 1);
    from->remove(key);
    to->add(profile, key);
    fillLists();
}

void SelectDPProfiles::moveAll(const CollectionPtr& from, const CollectionPtr& to)
{
    for (int position = 1; position <= from->count(); ++position) {
        to->add(from->item(position), from->key(position));
    }
    *from = Collection();
    fillLists();
}

void SelectDPProfiles::NextBtn_Click()
{
    // The entry carries the user page's name, as the wizard has always written it.
    QString exported = QStringLiteral("SelectUsers: Exported Profiles: \r\n");
    for (const QVariant& profile : cNewProfiles->values()) {
        exported += profileName(profile) + QStringLiteral("\r\n");
    }
    CommonFunctions::WriteLog(exported);
    StatusHolder::SetProfileLists(cAllProfiles, cNewProfiles, cOldProfiles);
    savedBackTo = giBackTo;
    handOver(PageNames::UserInputFinished, Restore::Next);
}

void SelectDPProfiles::PreviousBtn_Click()
{
    switch (giBackTo) {
    case BackToUsers:
        handOver(PageNames::SelectUsers, Restore::Prev);
        break;
    case BackToTemplate:
        handOver(PageNames::SelectEmailTemplate, Restore::Prev);
        break;
    case BackToConnectData:
        handOver(PageNames::EnterConnectData, Restore::Prev);
        break;
    default:
        unload();
        break;
    }
}

#include "pages/SelectEmailTemplate.h"
#include "pages/ListLabel.h"

#include "db/VarnelDBCon.h"
#include "directory/ZephrinFunctions.h"
#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/BusyCursor.h"
#include "pages/PageNames.h"
#include "pages/SelectDPProfiles.h"

#include <QCheckBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

template <typename Widget> Widget* named(Widget* widget, const char* name)
{
    widget->setObjectName(QLatin1String(name));
    return widget;
}

QString errorText(const std::exception& failure)
{
    if (const auto* error = dynamic_cast<const MigrationError*>(&failure)) {
        return QStringLiteral("Error %1: %2").arg(error->number()).arg(error->description());
    }
    return QStringLiteral("Error 0: ") + QString::fromLocal8Bit(failure.what());
}

} // namespace

SelectEmailTemplate::SelectEmailTemplate(QWidget* parent)
    : WizardPage(PageNames::SelectEmailTemplate, QStringLiteral("Select E-mail Template"), parent)
{
    DescriptionLbl = named(new QLabel(this), "DescriptionLbl");
    DescriptionLbl->setWordWrap(true);
    Label1 = named(new QLabel(QStringLiteral("E-Mail Templates:"), this), "Label1");
    EmailTemplates = named(new QListWidget(this), "EmailTemplates");
    labelList(Label1, EmailTemplates);
    DoNotSend = named(new QCheckBox(QStringLiteral("Do not send e-mail"), this), "DoNotSend");

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(DescriptionLbl);
    layout->addSpacing(8);
    layout->addWidget(Label1);
    layout->addWidget(EmailTemplates, 1);
    layout->addWidget(DoNotSend);
    layout->addLayout(createNavigationButtons(PreviousButton | NextButton | CancelButton));
    NextBtn->setEnabled(false);

    // Clicking a template, or choosing one with the keys, enables Next.
    connect(EmailTemplates, &QListWidget::itemSelectionChanged, this, [this] {
        runHandler(QStringLiteral("EmailTemplates_Click"), [this] { EmailTemplates_Click(); });
    });
    connect(DoNotSend, &QCheckBox::clicked, this, [this] {
        runHandler(QStringLiteral("DoNotSend_Click"), [this] { DoNotSend_Click(); });
    });

    setTabOrder(EmailTemplates, DoNotSend);
    setTabOrder(DoNotSend, PreviousBtn);
    setTabOrder(PreviousBtn, NextBtn);
    setTabOrder(NextBtn, CancelBtn);
}

void SelectEmailTemplate::Form_Load()
{
    msZeConnectionString =
        StatusHolder::GetZephrinDatabase()->item(StateKeys::ConnectionString).toString();
    msVaConnectionString =
        StatusHolder::GetVarnelDatabase()->item(StateKeys::ConnectionString).toString();
    DescriptionLbl->setText(CommonFunctions::ReplaceAppNames(QStringLiteral(
        "Some or all of the users you have selected to migrate will get a new login ID and/or a "
        "new password. If your <EXAPP> installation used NT authentication all users will get a "
        "new password. Select an E-mail template below to use when sending the new information "
        "to the users. The new login IDs and passwords will also be listed in the end report.")));
    try {
        const BusyCursor busy;
        TemplateList = ZephrinFunctions::GetTemplateList(msZeConnectionString);
    } catch (const std::exception& failure) {
        // Without templates only "Do not send e-mail" is left to choose.
        CommonFunctions::WriteLog(QStringLiteral("SelectEmailTemplate: GetTemplateList failed: ") +
                                  errorText(failure));
        tellWhenShown(CommonFunctions::ReplaceAppNames(
                          QStringLiteral("The e-mail templates could not be read from the <IMAPP> "
                                         "Directory database, so none is listed.")) +
                      QStringLiteral("\r\n\r\n") + errorText(failure));
        TemplateList = Collection::create();
        TemplateList->add(toVariant(Collection::create()), RecordKeys::IDs);
        TemplateList->add(toVariant(Collection::create()), RecordKeys::Titles);
    }
    fillTemplates();

    const int em = fontMetrics().averageCharWidth();
    const int width = std::max(minimumSizeHint().width(), em * 72);
    resize(width, std::max(layout()->totalHeightForWidth(width), fontMetrics().height() * 22));
}

void SelectEmailTemplate::fillTemplates()
{
    const QSignalBlocker quiet(EmailTemplates);
    EmailTemplates->clear();
    for (const QVariant& title : TemplateList->collection(RecordKeys::Titles)->values()) {
        EmailTemplates->addItem(title.toString());
    }
}

void SelectEmailTemplate::LoadStateNext()
{
    restoreChoice();
}

void SelectEmailTemplate::LoadStatePrev()
{
    restoreChoice();
}

// The box follows the choice as a click on it would, so Next and the list follow the
// box; then the title kept is selected, as a click on it would.
void SelectEmailTemplate::restoreChoice()
{
    const CollectionPtr choice = StatusHolder::GetEmailChoice();
    const bool send = choice->item(StateKeys::Send).toBool();
    const QString title = choice->item(StateKeys::Title).toString();
    if (!send || DoNotSend->isChecked()) {
        DoNotSend->setChecked(!send);
        DoNotSend_Click();
    }
    if (!send || title.isEmpty()) {
        return;
    }
    const QList<QListWidgetItem*> found = EmailTemplates->findItems(title, Qt::MatchExactly);
    if (!found.isEmpty()) {
        EmailTemplates->setCurrentItem(found.first());
        EmailTemplates_Click();
    }
}

void SelectEmailTemplate::EmailTemplates_Click()
{
    if (!EmailTemplates->selectedItems().isEmpty()) {
        NextBtn->setEnabled(true);
    }
}

// Ticking the box allows Next without a template; either way the list starts again
// without a selection.
void SelectEmailTemplate::DoNotSend_Click()
{
    NextBtn->setEnabled(DoNotSend->isChecked());
    fillTemplates();
}

void SelectEmailTemplate::saveChoice()
{
    const QListWidgetItem* selected = EmailTemplates->currentItem();
    const QString title =
        selected != nullptr && selected->isSelected() ? selected->text() : QString();
    StatusHolder::SetEmailChoice(!DoNotSend->isChecked(), title);
}

void SelectEmailTemplate::NextBtn_Click()
{
    if (!DoNotSend->isChecked()) {
        const int row = EmailTemplates->currentRow();
        const CollectionPtr ids = TemplateList->collection(RecordKeys::IDs);
        if (row < 0 || row >= ids->count() || !EmailTemplates->currentItem()->isSelected()) {
            return;
        }
        const BusyCursor busy;
        ZephrinFunctions::ChooseTemplate(ids->item(row + 1).toInt(), msZeConnectionString);
    }
    saveChoice();

    // The service account is looked for even when no mail is sent.
    const CollectionPtr servers = Collection::create();
    bool found = false;
    {
        const BusyCursor busy;
        try {
            for (const QString& server :
                 VarnelDBCon::GetUserMailHomeServers(msVaConnectionString)) {
                servers->add(server);
            }
        } catch (const std::exception& failure) {
            // The stored and the named account are still tried.
            CommonFunctions::WriteLog(
                QStringLiteral("SelectEmailTemplate: GetUserMailHomeServers failed: ") +
                errorText(failure));
        }
        found = ZephrinFunctions::FindServiceAccount(msZeConnectionString, servers);
    }

    if (found || DoNotSend->isChecked()) {
        handOverTo<SelectDPProfiles>(PageNames::SelectDPProfiles, Restore::Next,
                                     [](SelectDPProfiles& profiles) {
                                         profiles.giBackTo = SelectDPProfiles::BackToTemplate;
                                     });
    } else {
        handOver(PageNames::EnterConnectData, Restore::Next);
    }
}

void SelectEmailTemplate::PreviousBtn_Click()
{
    saveChoice();
    handOver(PageNames::SelectUsers, Restore::Prev);
}

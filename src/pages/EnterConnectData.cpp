#include "pages/EnterConnectData.h"

#include "directory/ZephrinFunctions.h"
#include "frame/Prompter.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/BusyCursor.h"
#include "pages/PageNames.h"
#include "pages/SelectDPProfiles.h"

#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

template <typename Widget> Widget* named(Widget* widget, const char* name)
{
    widget->setObjectName(QLatin1String(name));
    return widget;
}

} // namespace

EnterConnectData::EnterConnectData(QWidget* parent)
    : WizardPage(PageNames::EnterConnectData, QStringLiteral("E-mail Logon Information"), parent)
{
    DescriptionLbl = named(
        new QLabel(QStringLiteral(
                       "Since the migration tool will send introduction e-mail to some or all of "
                       "the users being migrated it will need to be able to connect to the "
                       "service account mailbox. Please enter the exchange server name, mail "
                       "alias and e-mail address for the service account."),
                   this),
        "DescriptionLbl");
    DescriptionLbl->setWordWrap(true);
    Label1 = named(new QLabel(QStringLiteral("Server Name:"), this), "Label1");
    ServerNameTxt = named(new QLineEdit(this), "ServerNameTxt");
    Label2 = named(new QLabel(QStringLiteral("Mail Alias:"), this), "Label2");
    AliasTxt = named(new QLineEdit(this), "AliasTxt");
    Label3 = named(new QLabel(QStringLiteral("E-Mail Address:"), this), "Label3");
    EmailTxt = named(new QLineEdit(this), "EmailTxt");
    Label1->setBuddy(ServerNameTxt);
    Label2->setBuddy(AliasTxt);
    Label3->setBuddy(EmailTxt);

    auto* fields = new QFormLayout;
    fields->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    fields->addRow(Label1, ServerNameTxt);
    fields->addRow(Label2, AliasTxt);
    fields->addRow(Label3, EmailTxt);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(DescriptionLbl);
    layout->addSpacing(8);
    layout->addLayout(fields);
    layout->addStretch(1);
    layout->addLayout(createNavigationButtons(PreviousButton | NextButton | CancelButton));

    setTabOrder(ServerNameTxt, AliasTxt);
    setTabOrder(AliasTxt, EmailTxt);
    setTabOrder(EmailTxt, PreviousBtn);
    setTabOrder(PreviousBtn, NextBtn);
    setTabOrder(NextBtn, CancelBtn);

    const int em = fontMetrics().averageCharWidth();
    const int width = std::max(minimumSizeHint().width(), em * 64);
    resize(width, std::max(layout->totalHeightForWidth(width), fontMetrics().height() * 14));
}

void EnterConnectData::LoadStateNext()
{
    restore();
}

void EnterConnectData::LoadStatePrev()
{
    restore();
}

void EnterConnectData::restore()
{
    const CollectionPtr saved = StatusHolder::GetConnectData();
    ServerNameTxt->setText(saved->item(StateKeys::ServerName).toString());
    AliasTxt->setText(saved->item(StateKeys::Alias).toString());
    EmailTxt->setText(saved->item(StateKeys::EmailAddress).toString());
}

void EnterConnectData::save()
{
    StatusHolder::SetConnectData(ServerNameTxt->text(), AliasTxt->text(), EmailTxt->text());
}

// The values typed become the service account, passed or not; only a passed logon
// test keeps them in the state store and goes on.
void EnterConnectData::NextBtn_Click()
{
    ZephrinFunctions::SetServiceAccount(AliasTxt->text(), EmailTxt->text(), ServerNameTxt->text());
    bool passed = false;
    {
        const BusyCursor busy;
        passed = ZephrinFunctions::TestServiceAccount();
    }
    if (!passed) {
        AppPrompter::prompter().message(
            QStringLiteral("The migration tool could not connect to the service account with the "
                           "supplied credentials."),
            QStringLiteral("Unable to Connect"), Prompter::Icon::None, Prompter::Buttons::Ok, this);
        return;
    }
    save();
    handOverTo<SelectDPProfiles>(PageNames::SelectDPProfiles, Restore::Next,
                                 [](SelectDPProfiles& profiles) {
                                     profiles.giBackTo = SelectDPProfiles::BackToConnectData;
                                 });
}

void EnterConnectData::PreviousBtn_Click()
{
    save();
    handOver(PageNames::SelectEmailTemplate, Restore::Prev);
}

#include "pages/ConflictDecision.h"

#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/RecordKeys.h"
#include "pages/PageNames.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

ConflictDecision::ConflictDecision(QWidget* parent) : QDialog(parent)
{
    setObjectName(PageNames::ConflictDecision);
    setWindowTitle(QStringLiteral("User Login ID Conflict"));
    setModal(true);

    OrientationLbl = new QLabel(this);
    OrientationLbl->setObjectName(QStringLiteral("OrientationLbl"));
    OrientationLbl->setWordWrap(true);
    OrientationLbl->setTextFormat(Qt::PlainText);
    OrientationLbl->setTextInteractionFlags(Qt::TextSelectableByMouse);
    OrientationLbl->setMinimumWidth(OrientationLbl->fontMetrics().averageCharWidth() * 72);

    mOptions = new QButtonGroup(this);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(OrientationLbl);
    layout->addSpacing(OrientationLbl->fontMetrics().height() / 2);
    for (int index = 0; index < static_cast<int>(ConflictDesicionRbn.size()); ++index) {
        auto* option = new QRadioButton(this);
        option->setObjectName(QStringLiteral("ConflictDesicionRbn"));
        option->setProperty("index", index);
        mOptions->addButton(option, index);
        layout->addWidget(option);
        ConflictDesicionRbn[index] = option;
    }

    ApplyToAllCbx =
        new QCheckBox(QStringLiteral("Apply this choice to all remaining conflicting users"), this);
    ApplyToAllCbx->setObjectName(QStringLiteral("ApplyToAllCbx"));
    ApplyToAllCbx->setVisible(false);
    layout->addSpacing(OrientationLbl->fontMetrics().height() / 2);
    layout->addWidget(ApplyToAllCbx);

    OKBtn = new QPushButton(QStringLiteral("OK"), this);
    OKBtn->setObjectName(QStringLiteral("OKBtn"));
    OKBtn->setDefault(true);
    CancelBtn = new QPushButton(QStringLiteral("Cancel"), this);
    CancelBtn->setObjectName(QStringLiteral("CancelBtn"));
    connect(OKBtn, &QPushButton::clicked, this, &ConflictDecision::OKBtn_Click);
    connect(CancelBtn, &QPushButton::clicked, this, &ConflictDecision::CancelBtn_Click);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(OKBtn);
    buttons->addWidget(CancelBtn);
    layout->addStretch(1);
    layout->addLayout(buttons);

    Form_Load();
}

void ConflictDecision::Form_Load()
{
    ConflictDesicionRbn[CreateNewUser]->setText(
        QStringLiteral("Create this user as a new user with a new login ID"));
    ConflictDesicionRbn[UpdateExistingUser]->setText(CommonFunctions::ReplaceAppNames(
        QStringLiteral("Update the <IMAPP> user with the <EXAPP> user settings")));
    ConflictDesicionRbn[ReplaceExistingUser]->setText(CommonFunctions::ReplaceAppNames(
        QStringLiteral("Delete the <IMAPP> user and migrate the <EXAPP> user.")));
    ConflictDesicionRbn[CreateNewUser]->setChecked(true);
    GlobalVariables::glSelectAction = CreateNewUser;
}

void ConflictDecision::SetUser(const CollectionPtr& conflict)
{
    msVaUserName = conflict->item(RecordKeys::VaUserName).toString();
    msZeUserName = conflict->item(RecordKeys::ZeUserName).toString();
    msLoginID = conflict->item(RecordKeys::LoginID).toString();
    mlVaUserID = conflict->item(RecordKeys::VaUserID).toInt();
    mlZeUserID = conflict->item(RecordKeys::ZeUserID).toInt();

    // "chose" as the wizard has always written it.
    QString text = CommonFunctions::ReplaceAppNames(
        QStringLiteral("The login ID <LoginID> already exists in the <IMAPP> Directory "
                       "database.\r\nName of <EXAPP> user: <VaUserName>\r\nName of <IMAPP> "
                       "user: <ZeUserName>\r\n<EXAPP> user ID: <VaUserID>\r\n<IMAPP> user ID: "
                       "<ZeUserID>\r\n\r\nPlease chose how to handle this conflict."));
    text.replace(QStringLiteral("<VaUserName>"), msVaUserName, Qt::CaseSensitive);
    text.replace(QStringLiteral("<ZeUserName>"), msZeUserName, Qt::CaseSensitive);
    text.replace(QStringLiteral("<LoginID>"), msLoginID, Qt::CaseSensitive);
    text.replace(QStringLiteral("<VaUserID>"), QString::number(mlVaUserID), Qt::CaseSensitive);
    text.replace(QStringLiteral("<ZeUserID>"), QString::number(mlZeUserID), Qt::CaseSensitive);
    // The label breaks its lines at LF.
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    OrientationLbl->setText(text);
}

void ConflictDecision::offerApplyToAll(bool offer)
{
    ApplyToAllCbx->setChecked(false);
    ApplyToAllCbx->setVisible(offer);
    adjustSize();
}

bool ConflictDecision::applyToAll() const
{
    return ApplyToAllCbx->isVisibleTo(this) && ApplyToAllCbx->isChecked();
}

void ConflictDecision::OKBtn_Click()
{
    GlobalVariables::gbCancel = false;
    for (int index = 0; index < static_cast<int>(ConflictDesicionRbn.size()); ++index) {
        if (ConflictDesicionRbn[index]->isChecked()) {
            GlobalVariables::glSelectAction = index;
            break;
        }
    }
    accept();
}

void ConflictDecision::CancelBtn_Click()
{
    GlobalVariables::gbCancel = true;
    QDialog::reject();
}

void ConflictDecision::reject()
{
    CancelBtn_Click();
}

#include "pages/UserInputFinished.h"

#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/Finish.h"
#include "pages/MigrateUsers.h"
#include "pages/PageNames.h"
#include "pages/ResumeRun.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

const QString CrLf = QStringLiteral("\r\n");

// The names of a list joined by ", ": each name with ", " after it, the last two
// characters cut.
QString joined(const CollectionPtr& names)
{
    QString text;
    for (const QVariant& name : names->values()) {
        text += name.toString() + QStringLiteral(", ");
    }
    text.chop(2);
    return text;
}

int countOf(const CollectionPtr& list)
{
    return list ? list->count() : 0;
}

} // namespace

UserInputFinished::UserInputFinished(QWidget* parent)
    : WizardPage(PageNames::UserInputFinished, QStringLiteral("Ready to Migrate"), parent)
{
    BeforeOpInfo = new QLabel(QStringLiteral("Click Next to start the migration."), this);
    BeforeOpInfo->setObjectName(QStringLiteral("BeforeOpInfo"));
    BeforeOpInfo->setWordWrap(true);
    BeforeOpInfo->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    BeforeOpInfo->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(BeforeOpInfo, 1);
    layout->addLayout(createNavigationButtons(PreviousButton | NextButton | CancelButton));
    setTabOrder(PreviousBtn, NextBtn);
    setTabOrder(NextBtn, CancelBtn);
    // Nothing else on the page takes the focus: Return starts the run, as Next does,
    // rather than going back.
    NextBtn->setFocus();
}

QString UserInputFinished::SummaryText()
{
    QString text = QStringLiteral("The <EXAPP> migration tool has all the information it needs "
                                  "to start the migration.") +
                   CrLf + CrLf;

    const CollectionPtr source = StatusHolder::GetVarnelDatabase();
    text += QStringLiteral("<EXAPP> Database Server: ") +
            source->item(StateKeys::DatabaseServer).toString() + CrLf +
            QStringLiteral("<EXAPP> Database: ") + source->item(StateKeys::Database).toString() +
            CrLf + CrLf;
    const CollectionPtr target = StatusHolder::GetZephrinDatabase();
    text += QStringLiteral("<IMAPP> Database Server: ") +
            target->item(StateKeys::DatabaseServer).toString() + CrLf +
            QStringLiteral("<IMAPP> Database: ") + target->item(StateKeys::Database).toString() +
            CrLf + CrLf;

    const CollectionPtr servers = StatusHolder::GetExchangeServers();
    const CollectionPtr e2k = servers->collection(StateKeys::E2kServers);
    if (countOf(e2k) > 0) {
        text += QStringLiteral("Exchange 2000/2003 Servers to Add as Stores: ") + joined(e2k) +
                CrLf + CrLf;
    }
    const CollectionPtr e55 = servers->collection(StateKeys::E55Servers);
    if (countOf(e55) > 0) {
        text +=
            QStringLiteral("Exchange 5.5 Servers to Add as Stores: ") + joined(e55) + CrLf + CrLf;
    }

    text += QStringLiteral("Number of Users to Migrate: ") +
            QString::number(
                countOf(StatusHolder::GetUserLists()->collection(StateKeys::ExportedUsers))) +
            CrLf + CrLf;
    text += QStringLiteral("Number of Device Provisioning Profiles to Migrate: ") +
            QString::number(
                countOf(StatusHolder::GetProfileLists()->collection(StateKeys::ExportedProfiles))) +
            CrLf + CrLf;

    if (GlobalVariables::gbNtLogon) {
        const CollectionPtr choice = StatusHolder::GetEmailChoice();
        if (choice->item(StateKeys::Send).toBool()) {
            text += QStringLiteral("E-mail template selected: ") +
                    choice->item(StateKeys::Title).toString() + CrLf + CrLf;
        }
    }
    text += QStringLiteral("The migration will start when you press \"Next\".");
    return CommonFunctions::ReplaceAppNames(text);
}

void UserInputFinished::Form_Load()
{
    logLaunched();
    const QString text = SummaryText();
    // The label keeps line breaks of its own.
    BeforeOpInfo->setText(QString(text).replace(CrLf, QStringLiteral("\n")));
    CommonFunctions::WriteLog(QStringLiteral("UserInputFinished: DisplayText: ") + CrLf + text);

    const int em = fontMetrics().averageCharWidth();
    const int width = std::max(minimumSizeHint().width(), em * 84);
    resize(width, std::max(layout()->totalHeightForWidth(width), fontMetrics().height() * 20));
}

void UserInputFinished::PreviousBtn_Click()
{
    handOver(PageNames::SelectDPProfiles, Restore::Prev);
}

// Runs the migration on its window and opens the finish page with the report. No
// question is asked: Next is the start.
void UserInputFinished::NextBtn_Click()
{
    // The same choices as an unfinished run that already wrote users would write
    // them again: the administrator is offered that run's resume instead.
    switch (ResumeRun::CheckForDuplicateRun(this)) {
    case ResumeRun::Duplicate::Declined:
        return;
    case ResumeRun::Duplicate::Resumed:
        unload();
        return;
    case ResumeRun::Duplicate::None:
        break;
    }
    hide();
    const QString report = MigrateUsers::Migrate();
    if (report.isEmpty()) {
        // The migration window did not open (the administrator has been told): nothing
        // ran, so the summary is offered again.
        show();
        return;
    }
    const Finish* finish = handOverTo<Finish>(PageNames::Finish, Restore::None,
                                              [&report](Finish& page) { page.setReport(report); });
    if (finish == nullptr) {
        // The run is over: the summary comes back only to be closed.
        PreviousBtn->setEnabled(false);
        NextBtn->setEnabled(false);
        show();
    }
}

#include "unattended/UnattendedRun.h"

#include "db/VarnelDBCon.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/AddStores.h"
#include "pages/ConflictDecision.h"
#include "pages/EnterConnectData.h"
#include "pages/Finish.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectDPProfiles.h"
#include "pages/SelectDatabase.h"
#include "pages/SelectEmailTemplate.h"
#include "pages/SelectUsers.h"
#include "unattended/OutcomeWatch.h"
#include "unattended/UnattendedWalk.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFocusEvent>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <algorithm>
using namespace UnattendedWalk;

// The template, mail logon, profile, summary and finish pages.

void UnattendedRun::answerTemplate(WizardPage* page)
{
    auto* email = qobject_cast<SelectEmailTemplate*>(page);
    const AnswersFile::Answer& answer = mAnswers.emailTemplate;
    if (!answer.given()) {
        stop(mAnswers.where(0) +
             QStringLiteral(": the e-mail template page asks which template tells the migrated "
                            "users their new login ID or password, and there is no [email] "
                            "template= (a title, or none)"));
        return;
    }
    if (mAnswers.sendNoEmail) {
        if (!email->DoNotSend->isChecked()) {
            email->DoNotSend->click();
        }
        next(page);
        return;
    }
    if (email->DoNotSend->isChecked()) {
        email->DoNotSend->click();
    }
    const QStringList titles = itemsOf(email->EmailTemplates);
    int row = titles.indexOf(answer.value);
    for (int i = 0; i < titles.size() && row < 0; ++i) {
        if (titles.at(i).compare(answer.value, Qt::CaseInsensitive) == 0) {
            row = i;
        }
    }
    if (row < 0) {
        stop(mAnswers.where(answer.line) +
             QStringLiteral(": [email] template: the Directory has no e-mail template \"%1\"; "
                            "it has: %2")
                 .arg(answer.value, listed(titles)));
        return;
    }
    email->EmailTemplates->setCurrentItem(email->EmailTemplates->item(row));
    next(page);
}

void UnattendedRun::answerServiceAccount(WizardPage* page)
{
    auto* logon = qobject_cast<EnterConnectData*>(page);
    if (!mAnswers.serviceServer.given()) {
        stop(mAnswers.where(0) +
             QStringLiteral(": the mail logon page asks for the service account that sends the "
                            "e-mails (the Directory names none that passes its logon test), and "
                            "there is no [service-account] section"));
        return;
    }
    logon->ServerNameTxt->setText(mAnswers.serviceServer.value);
    logon->AliasTxt->setText(mAnswers.serviceAlias.value);
    logon->EmailTxt->setText(mAnswers.serviceAddress.value);
    next(page);
}

void UnattendedRun::answerProfiles(WizardPage* page)
{
    auto* profiles = qobject_cast<SelectDPProfiles*>(page);
    if (mAnswers.profiles == AnswersFile::Choice::All) {
        profiles->MigrateAll->click();
    } else if (mAnswers.profiles == AnswersFile::Choice::Listed) {
        for (const QString& name : mAnswers.profileNames) {
            const int row = rowOf(profiles->lstOldProfiles, name);
            if (row < 0) {
                const bool chosenTwice = rowOf(profiles->lstNewProfiles, name) >= 0 &&
                                         mAnswers.profileNames.count(name) > 1;
                QStringList all = itemsOf(profiles->lstOldProfiles);
                all << itemsOf(profiles->lstNewProfiles);
                stop(mAnswers.where(mAnswers.profilesAnswer.line) +
                     (chosenTwice
                          ? QStringLiteral(": [profiles] names: \"%1\" is named more often than "
                                           "the source has such profiles")
                                .arg(name)
                          : QStringLiteral(": [profiles] names: the source has no readable "
                                           "profile \"%1\"; it has: %2")
                                .arg(name, listed(all))));
                return;
            }
            profiles->lstOldProfiles->setCurrentRow(row);
            profiles->OldToMigrateBtn->click();
        }
    }
    next(page);
}

void UnattendedRun::answerSummary(WizardPage* page)
{
    if (mAnswers.target.given) {
        const CollectionPtr target = StatusHolder::GetZephrinDatabase();
        const QString server = target->value(StateKeys::DatabaseServer).toString();
        const QString database = target->value(StateKeys::Database).toString();
        if (server.compare(mAnswers.target.server.value, Qt::CaseInsensitive) != 0 ||
            database.compare(mAnswers.target.database.value, Qt::CaseInsensitive) != 0) {
            stop(mAnswers.where(mAnswers.target.server.line) +
                 QStringLiteral(": [target] names the database %1 on %2, but the wizard "
                                "migrates into %3 on %4, which zephrin.ini names")
                     .arg(mAnswers.target.database.value, mAnswers.target.server.value, database,
                          server));
            return;
        }
    }
    if (!checkStoresExist()) {
        return;
    }
    mPhase = Phase::Run;
    next(page);
}

void UnattendedRun::answerFinish(WizardPage* page)
{
    mPhase = Phase::Finish;
    auto* finishPage = qobject_cast<Finish*>(page);
    if (!mAnswers.reportPath.isEmpty()) {
        finishPage->WriteToFileBtn->click();
    }
    finishPage->CancelBtn->click();
    closeAll();
}

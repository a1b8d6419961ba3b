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

// The two database pages and the store page.

void UnattendedRun::answerDatabase(SelectDatabase* page, AnswersFile::Database& database,
                                   const QString& section)
{
    page->DatabaseServerTxt->setText(database.server.value);
    page->AuthenticationRbn[database.authenticationCode]->click();
    if (database.authenticationCode == StatusHolder::SqlServerAuthentication) {
        page->LoginIDTxt->setText(database.login.value);
        page->PasswordTxt->setText(database.passwordValue);
    }
    page->LoadDatabasesBtn->click();
    if (mStopped) {
        return;
    }
    // Entering the list, as a person does with the mouse or Tab, lets Next be pressed.
    QFocusEvent entered(QEvent::FocusIn, Qt::TabFocusReason);
    QCoreApplication::sendEvent(page->DatabaseCbx, &entered);
    if (mStopped) {
        return;
    }
    const int index = page->DatabaseCbx->findText(database.database.value, Qt::MatchFixedString);
    if (index < 0) {
        QStringList names;
        for (int i = 0; i < page->DatabaseCbx->count(); ++i) {
            names << page->DatabaseCbx->itemText(i);
        }
        stop(mAnswers.where(database.database.line) +
             QStringLiteral(": %1 database: the server %2 has no database \"%3\"; it has: %4")
                 .arg(section, database.server.value, database.database.value, listed(names)));
        return;
    }
    page->DatabaseCbx->setCurrentIndex(index);
    next(page);
}

bool UnattendedRun::checkStoresExist()
{
    if (mStoresChecked || (mAnswers.e2kServerList.isEmpty() && mAnswers.e55ServerList.isEmpty())) {
        return true;
    }
    mStoresChecked = true;
    QStringList servers;
    try {
        servers = VarnelDBCon::GetUserMailHomeServers(sourceConnectionString());
    } catch (const MigrationError& error) {
        stop(QStringLiteral("The mail servers of the source users could not be read: Error %1: %2")
                 .arg(error.number())
                 .arg(error.description()));
        return false;
    }
    const auto check = [&](const QStringList& named, const AnswersFile::Answer& answer,
                           const QString& key) {
        for (const QString& server : named) {
            if (!servers.contains(server, Qt::CaseInsensitive)) {
                stop(mAnswers.where(answer.line) +
                     QStringLiteral(": [stores] %1: no source user lives on a mail server \"%2\"; "
                                    "their servers are: %3")
                         .arg(key, server, listed(servers)));
                return false;
            }
        }
        return true;
    };
    return check(mAnswers.e2kServerList, mAnswers.e2kServers, QStringLiteral("exchange2000")) &&
           check(mAnswers.e55ServerList, mAnswers.e55Servers, QStringLiteral("exchange55"));
}

void UnattendedRun::answerStores(WizardPage* page)
{
    auto* stores = qobject_cast<AddStores*>(page);
    if (!checkStoresExist()) {
        return;
    }
    QStringList detected;
    for (const QVariant& server : stores->mcDetected->values()) {
        detected << server.toString();
    }
    for (const QString& server : detected) {
        const bool e2k = mAnswers.e2kServerList.contains(server, Qt::CaseInsensitive);
        const bool e55 = mAnswers.e55ServerList.contains(server, Qt::CaseInsensitive);
        if (!e2k && !e55) {
            stop(mAnswers.where(0) +
                 QStringLiteral(": the Exchange server type page asks what kind of server %1 "
                                "is, and [stores] names it neither in exchange2000= nor in "
                                "exchange55=")
                     .arg(server));
            return;
        }
        stores->ServersDetectedLbx->setCurrentRow(rowOf(stores->ServersDetectedLbx, server));
        (e2k ? stores->ToE2kBtn : stores->ToE55Btn)->click();
    }
    next(page);
}

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

// The user selection page and the conflict dialog.

void UnattendedRun::answerUsers(WizardPage* page)
{
    auto* users = qobject_cast<SelectUsers*>(page);
    QAbstractItemModel* model = users->OldUsersLbx->model();

    // Every listed user: its line and its login ID, by source user ID.
    QHash<int, QString> lineOf;
    QList<int> listOrder;
    for (int row = 0; row < model->rowCount(); ++row) {
        const QString text = model->index(row, 0).data().toString();
        const int id = users->cLink->value(text).toInt();
        lineOf.insert(id, text);
        listOrder << id;
    }
    QHash<int, QString> loginOf;
    QHash<QString, QList<int>> usersOfLogin;
    for (const QVariant& value : users->cAllUsers->values()) {
        const CollectionPtr user = toCollection(value);
        const int id = user->value(RecordKeys::UserID).toInt();
        const QString login = user->value(RecordKeys::LoginID).toString();
        loginOf.insert(id, login);
        usersOfLogin[login.trimmed().toLower()] << id;
    }
    const AnswersFile::Answer& usersAnswer = mAnswers.usersAnswer;

    QList<int> chosen;
    switch (mAnswers.users) {
    case AnswersFile::Choice::All:
        chosen = listOrder;
        break;
    case AnswersFile::Choice::Listed:
        for (const int id : mAnswers.userIDs) {
            if (!lineOf.contains(id)) {
                stop(mAnswers.where(usersAnswer.line) +
                     QStringLiteral(": [users] ids: there is no source user %1").arg(id));
                return;
            }
            chosen << id;
        }
        for (const QString& login : mAnswers.userLogins) {
            const QList<int> holders = usersOfLogin.value(login.trimmed().toLower());
            if (holders.isEmpty()) {
                stop(mAnswers.where(usersAnswer.line) +
                     QStringLiteral(": [users] logins: no source user has the login ID \"%1\"")
                         .arg(login));
                return;
            }
            if (holders.size() > 1) {
                QStringList ids;
                for (const int id : holders) {
                    ids << QString::number(id);
                }
                stop(mAnswers.where(usersAnswer.line) +
                     QStringLiteral(": [users] logins: the login ID \"%1\" belongs to the source "
                                    "users %2; name the one meant in ids=")
                         .arg(login, ids.join(QStringLiteral(", "))));
                return;
            }
            chosen << holders.first();
        }
        break;
    default:
        break;
    }

    // A decision names a user that is there; every conflicting user chosen has one.
    for (auto it = mAnswers.decisionsByID.cbegin(); it != mAnswers.decisionsByID.cend(); ++it) {
        if (!lineOf.contains(it.key())) {
            stop(mAnswers.where(it.value().line) +
                 QStringLiteral(": [conflicts] %1: there is no source user %1").arg(it.key()));
            return;
        }
    }
    for (auto it = mAnswers.decisionsByLogin.cbegin(); it != mAnswers.decisionsByLogin.cend();
         ++it) {
        if (!usersOfLogin.contains(it.key())) {
            stop(mAnswers.where(it.value().line) +
                 QStringLiteral(": [conflicts] login:%1: no source user has this login ID")
                     .arg(mAnswers.decisionLogins.value(it.key())));
            return;
        }
    }
    const CollectionPtr conflicts = users->cConflictUsers;
    mDecisions.clear();
    mConflictOrder.clear();
    for (const int id : listOrder) {
        if (chosen.contains(id) && users->cConflictUserNames->contains(lineOf.value(id))) {
            mConflictOrder << id;
        }
    }
    for (const int id : chosen) {
        const QString text = lineOf.value(id);
        if (!users->cConflictUserNames->contains(text)) {
            continue;
        }
        const QString login = loginOf.value(id).trimmed().toLower();
        if (mAnswers.decisionsByID.contains(id)) {
            mDecisions.insert(id, mAnswers.decisionsByID.value(id).decision);
        } else if (mAnswers.decisionsByLogin.contains(login)) {
            mDecisions.insert(id, mAnswers.decisionsByLogin.value(login).decision);
        } else if (mAnswers.hasDefaultDecision) {
            mDecisions.insert(id, mAnswers.defaultDecision.decision);
        } else {
            const QString key = QString::number(id);
            const auto entry = [&conflicts, &key](QLatin1String list) {
                const CollectionPtr values = conflicts->collection(list);
                return values ? values->value(key).toString() : QString();
            };
            stop(mAnswers.where(0) +
                 QStringLiteral(": the source user %1 \"%2\" (login ID %3) conflicts with the "
                                "Directory user %4 \"%5\", and [conflicts] does not decide it: "
                                "add %1=new-login, update, replace or skip, or a default=")
                     .arg(key, entry(RecordKeys::VaName), loginOf.value(id),
                          entry(RecordKeys::ZeUserID), entry(RecordKeys::ZeName)));
            return;
        }
    }

    if (mAnswers.users == AnswersFile::Choice::All) {
        users->MigrateAll->click();
    } else {
        for (const int id : chosen) {
            const QString text = lineOf.value(id);
            QModelIndex found;
            for (int row = 0; row < model->rowCount() && !found.isValid(); ++row) {
                if (model->index(row, 0).data().toString() == text) {
                    found = model->index(row, 0);
                }
            }
            users->OldUsersLbx->setCurrentIndex(found);
            users->OldToMigrateBtn->click();
            if (mStopped) {
                return;
            }
        }
    }
    if (!mStopped) {
        next(page);
    }
}

void UnattendedRun::answerConflict(ConflictDecision* dialog)
{
    const int id = dialog->mlVaUserID;
    if (!mDecisions.contains(id)) {
        stop(QStringLiteral("The conflict dialog asks about the source user %1, which the "
                            "answers file does not decide")
                 .arg(id));
        dialog->CancelBtn->click();
        return;
    }
    const int decision = mDecisions.value(id);
    // During "Migrate All" the dialog offers to apply the answer to every conflicting
    // user after this one; taken when the file decides them all alike, it spares a
    // dialog per user and leaves the same lists.
    if (dialog->ApplyToAllCbx->isVisible()) {
        const qsizetype at = mConflictOrder.indexOf(id);
        bool alike = at >= 0;
        for (qsizetype i = at + 1; alike && i < mConflictOrder.size(); ++i) {
            alike = mDecisions.value(mConflictOrder.at(i)) == decision;
        }
        if (alike && !dialog->ApplyToAllCbx->isChecked()) {
            dialog->ApplyToAllCbx->click();
        }
    }
    if (decision == AnswersFile::Skip) {
        dialog->CancelBtn->click();
        return;
    }
    dialog->ConflictDesicionRbn[decision]->click();
    dialog->OKBtn->click();
}

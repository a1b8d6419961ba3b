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

namespace {

const QString StoreQuestionTitle = QStringLiteral("Could not Add Store");
// How long a window that is busy with its own work waits before it is answered.
constexpr int BusyRetry = 20;
// How often the walk is checked for standing still.
constexpr int WatchdogInterval = 2000;

// A message of the wizard on one line: its own line breaks become blanks.
QString oneLine(const QString& text)
{
    return QString(text).replace(QStringLiteral("\r\n"), QStringLiteral(" ")).simplified();
}

int rowOf(const QListWidget* list, const QString& text, int from = 0)
{
    for (int row = from; row < list->count(); ++row) {
        if (list->item(row)->text() == text) {
            return row;
        }
    }
    return -1;
}

QStringList itemsOf(const QListWidget* list)
{
    QStringList texts;
    for (int row = 0; row < list->count(); ++row) {
        texts << list->item(row)->text();
    }
    return texts;
}

QString listed(const QStringList& names)
{
    return names.isEmpty() ? QStringLiteral("none") : names.join(QStringLiteral(", "));
}

QString sourceConnectionString()
{
    return StatusHolder::GetVarnelDatabase()->value(StateKeys::ConnectionString).toString();
}

} // namespace

// Answers every message box and save dialog of the wizard from the answers file,
// through the run that walks the pages.
class AnswersPrompter : public Prompter
{
public:
    explicit AnswersPrompter(UnattendedRun& run) : mRun(run) {}

    Answer message(const QString& text, const QString& title, Icon, Buttons buttons,
                   QWidget*) override
    {
        return static_cast<Answer>(mRun.message(text, title, static_cast<int>(buttons)));
    }
    QString saveFileName(const QString&, const QString&, const QString&, QWidget*) override
    {
        return mRun.saveFileName();
    }

private:
    UnattendedRun& mRun;
};

UnattendedRun::UnattendedRun(AnswersFile answers, OutcomeWatch& watch, QObject* parent)
    : QObject(parent), mAnswers(std::move(answers)), mWatch(watch)
{
    mWatchdog.setInterval(WatchdogInterval);
    connect(&mWatchdog, &QTimer::timeout, this, &UnattendedRun::checkProgress);
}

UnattendedRun::~UnattendedRun()
{
    if (qApp != nullptr) {
        qApp->removeEventFilter(this);
    }
}

void UnattendedRun::prepare()
{
    mPrompter = std::make_shared<AnswersPrompter>(*this);
    AppPrompter::setPrompter(mPrompter);
    qApp->installEventFilter(this);
}

void UnattendedRun::start()
{
    if (mStopped) {
        closeAll();
        return;
    }
    WizardPage* introduction = Pages::create(PageNames::Introduction);
    if (introduction == nullptr) {
        stop(QStringLiteral("The introduction page could not be opened"));
        closeAll();
        return;
    }
    introduction->show();
    mWatchdog.start();
}

void UnattendedRun::checkProgress()
{
    if (mDone) {
        mWatchdog.stop();
        return;
    }
    QList<QObject*> shown;
    QStringList titles;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        const auto* page = qobject_cast<WizardPage*>(window);
        if (!window->isVisible() ||
            (page == nullptr && qobject_cast<ConflictDecision*>(window) == nullptr)) {
            continue;
        }
        if (page != nullptr && page->isWorking()) {
            mIdleWindows.clear();
            return;
        }
        shown << window;
        titles << window->windowTitle();
    }
    std::sort(shown.begin(), shown.end());
    if (shown != mIdleWindows) {
        mIdleWindows = shown;
        return;
    }
    stop(QStringLiteral("The wizard stands still at \"%1\"")
             .arg(titles.join(QStringLiteral("\", \""))));
}

int UnattendedRun::exitStatus() const
{
    if (mStopped && !mWatch.started()) {
        return 2;
    }
    const int status = mWatch.exitStatus();
    return (mStopped || mReportFailed) ? std::max(status, 1) : status;
}

bool UnattendedRun::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Show && watched->isWidgetType()) {
        auto* window = static_cast<QWidget*>(watched);
        if (window->isWindow() && (qobject_cast<WizardPage*>(window) != nullptr ||
                                   qobject_cast<ConflictDecision*>(window) != nullptr)) {
            // Acted on once the window is on screen and the handler that showed it has
            // returned, as a person would, and after what the window itself tells once
            // it is shown (a page that could not read its lists says so then).
            const QPointer<QWidget> shown(window);
            QTimer::singleShot(0, this, [this, shown] {
                QTimer::singleShot(0, this, [this, shown] {
                    if (shown) {
                        act(shown);
                    }
                });
            });
        }
    }
    return QObject::eventFilter(watched, event);
}

void UnattendedRun::act(QWidget* window)
{
    if (mDone) {
        return;
    }
    if (mStopped) {
        closeAll();
        return;
    }
    if (!window->isVisible()) {
        return;
    }
    auto* page = qobject_cast<WizardPage*>(window);
    if (page != nullptr && page->isWorking()) {
        const QPointer<QWidget> busy(window);
        QTimer::singleShot(BusyRetry, this, [this, busy] {
            if (busy) {
                act(busy);
            }
        });
        return;
    }
    const QString name = window->objectName();
    // These two are driven by the page that shows them.
    if (name == PageNames::Verifier || name == PageNames::MigrateUsers) {
        return;
    }
    if (mAnswered.contains(window)) {
        stop(QStringLiteral("The page \"%1\" came back instead of going on")
                 .arg(window->windowTitle()));
        return;
    }
    mAnswered.insert(window);
    connect(window, &QObject::destroyed, this, [this](QObject* gone) { mAnswered.remove(gone); });
    if (auto* dialog = qobject_cast<ConflictDecision*>(window)) {
        answerConflict(dialog);
    } else if (page != nullptr) {
        answerPage(page);
    }
}

void UnattendedRun::answerPage(WizardPage* page)
{
    const QString name = page->objectName();
    if (name == PageNames::Introduction) {
        next(page);
    } else if (name == PageNames::SelectVarnel) {
        answerDatabase(qobject_cast<SelectDatabase*>(page), mAnswers.source,
                       QStringLiteral("[source]"));
    } else if (name == PageNames::SelectZephrin) {
        if (!mAnswers.target.given) {
            stop(mAnswers.where(0) +
                 QStringLiteral(": the target database page asks for the Directory database "
                                "(zephrin.ini names none the wizard can use), and there is no "
                                "[target] section"));
            return;
        }
        answerDatabase(qobject_cast<SelectDatabase*>(page), mAnswers.target,
                       QStringLiteral("[target]"));
    } else if (name == PageNames::AddStores) {
        answerStores(page);
    } else if (name == PageNames::SelectUsers) {
        answerUsers(page);
    } else if (name == PageNames::SelectEmailTemplate) {
        answerTemplate(page);
    } else if (name == PageNames::EnterConnectData) {
        answerServiceAccount(page);
    } else if (name == PageNames::SelectDPProfiles) {
        answerProfiles(page);
    } else if (name == PageNames::UserInputFinished) {
        answerSummary(page);
    } else if (name == PageNames::Finish) {
        answerFinish(page);
    } else {
        stop(QStringLiteral("The page \"%1\" is not one the answers file can answer")
                 .arg(page->windowTitle()));
    }
}

bool UnattendedRun::next(WizardPage* page)
{
    const QPointer<WizardPage> guard(page);
    const QString title = page->windowTitle();
    if (!page->NextBtn->isEnabled()) {
        stop(QStringLiteral("The page \"%1\" does not let the wizard go on (Next is not enabled)")
                 .arg(title));
        return false;
    }
    page->NextBtn->click();
    if (mStopped) {
        return false;
    }
    if (guard && guard->isVisible()) {
        stop(QStringLiteral("The page \"%1\" stayed after Next").arg(title));
        return false;
    }
    return true;
}

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

int UnattendedRun::message(const QString& text, const QString& title, int buttons)
{
    const auto refusal = [buttons] {
        switch (static_cast<Prompter::Buttons>(buttons)) {
        case Prompter::Buttons::OkCancel:
            return static_cast<int>(Prompter::Answer::Cancel);
        case Prompter::Buttons::YesNo:
            return static_cast<int>(Prompter::Answer::No);
        default:
            return static_cast<int>(Prompter::Answer::Ok);
        }
    };
    switch (mPhase) {
    case Phase::Walk:
        // Before the run every message tells of something the walk cannot get past.
        stop(QStringLiteral("The wizard says \"%1\" (%2)").arg(oneLine(text), title));
        return refusal();
    case Phase::Run:
        if (title == StoreQuestionTitle) {
            mNotes << QStringLiteral("%1: %2 Answered %3 (%4)")
                          .arg(title, oneLine(text),
                               mAnswers.continueAfterFailedStore ? QStringLiteral("continue")
                                                                 : QStringLiteral("stop"),
                               mAnswers.where(mAnswers.couldNotAddStore.line));
            return static_cast<int>(mAnswers.continueAfterFailedStore ? Prompter::Answer::Ok
                                                                      : Prompter::Answer::Cancel);
        }
        mNotes << QStringLiteral("%1: %2").arg(title, oneLine(text));
        if (static_cast<Prompter::Buttons>(buttons) != Prompter::Buttons::Ok) {
            mNotes.last() += QStringLiteral(" Not answered by the answers file: refused");
            mReportFailed = true;
        }
        return refusal();
    case Phase::Finish:
        mNotes << QStringLiteral("%1: %2").arg(title, oneLine(text));
        mReportFailed = true;
        return refusal();
    }
    return refusal();
}

QString UnattendedRun::saveFileName()
{
    if (mPhase == Phase::Walk) {
        stop(QStringLiteral("The wizard asks for a file name before the migration"));
    }
    return mPhase == Phase::Finish ? mAnswers.reportPath : QString();
}

void UnattendedRun::stop(const QString& reason)
{
    if (mStopped || mDone) {
        return;
    }
    mStopped = true;
    mStopReason = reason;
    if (!GlobalVariables::gsLogFileName.isEmpty()) {
        CommonFunctions::WriteLog(QStringLiteral("Answers file: the wizard stopped: ") + reason);
    }
    // The handler that is running finishes first; then every window goes.
    QTimer::singleShot(0, this, &UnattendedRun::closeAll);
}

void UnattendedRun::closeAll()
{
    if (mDone) {
        return;
    }
    bool left = false;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (auto* dialog = qobject_cast<ConflictDecision*>(window);
            dialog != nullptr && dialog->isVisible()) {
            dialog->reject();
            left = true;
        } else if (auto* page = qobject_cast<WizardPage*>(window);
                   page != nullptr && page->isVisible()) {
            // A page whose work is running is closed when the work is done.
            if (!page->isWorking()) {
                page->unload();
            }
            left = left || page->isVisible();
        }
    }
    if (left) {
        // A window that is working refuses to close until its work is done.
        QTimer::singleShot(BusyRetry, this, &UnattendedRun::closeAll);
        return;
    }
    finish();
}

void UnattendedRun::finish()
{
    if (mDone) {
        return;
    }
    mDone = true;
    mWatchdog.stop();
    qApp->removeEventFilter(this);
    emit finished(exitStatus());
}

#include "unattended/AnswersRecorder.h"

#include "directory/ZephrinFunctions.h"
#include "frame/Clock.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/SelectUsers.h"
#include "unattended/AnswersFile.h"

#include <QSaveFile>

namespace {

const QString StoreQuestionTitle = QStringLiteral("Could not Add Store");

QString line(const QString& key, const QString& value)
{
    return key + QLatin1Char('=') + AnswersFile::Quoted(value) + QLatin1Char('\n');
}

QString listLine(const QString& key, const QStringList& items)
{
    QStringList quoted;
    for (const QString& item : items) {
        quoted << AnswersFile::QuotedItem(item);
    }
    return key + QLatin1Char('=') + quoted.join(QStringLiteral(", ")) + QLatin1Char('\n');
}

QStringList textsOf(const CollectionPtr& list)
{
    QStringList texts;
    if (list) {
        for (const QVariant& value : list->values()) {
            texts << value.toString();
        }
    }
    return texts;
}

QString database(const QString& section, const CollectionPtr& group, const QString& variable)
{
    QString text =
        QLatin1Char('[') + section + QStringLiteral("]\n") +
        line(QStringLiteral("server"), group->value(StateKeys::DatabaseServer).toString());
    if (group->value(StateKeys::Authentication).toInt() == StatusHolder::SqlServerAuthentication) {
        text += QStringLiteral("authentication=sql\n") +
                line(QStringLiteral("login"), group->value(StateKeys::LoginID).toString()) +
                QStringLiteral("; the password is not written: set %1 to it before the run\n")
                    .arg(variable) +
                QStringLiteral("password-env=") + variable + QLatin1Char('\n');
    } else {
        text += QStringLiteral("authentication=windows\n");
    }
    return text + line(QStringLiteral("database"), group->value(StateKeys::Database).toString()) +
           QLatin1Char('\n');
}

QString stores()
{
    if (!GlobalVariables::gbAddStores) {
        return QStringLiteral("; [stores]: the Exchange server type page was not shown.\n\n");
    }
    const CollectionPtr servers = StatusHolder::GetExchangeServers();
    return QStringLiteral("[stores]\n") +
           listLine(QStringLiteral("exchange2000"),
                    textsOf(servers->collection(StateKeys::E2kServers))) +
           listLine(QStringLiteral("exchange55"),
                    textsOf(servers->collection(StateKeys::E55Servers)));
}

QString users()
{
    const CollectionPtr lists = StatusHolder::GetUserLists();
    const CollectionPtr link = lists->collection(StateKeys::Link);
    QList<int> chosen;
    for (const QString& text : textsOf(lists->collection(StateKeys::ExportedUsers))) {
        chosen << (link ? link->value(text).toInt() : 0);
    }
    QList<int> all;
    QHash<int, QString> names;
    QHash<int, QString> logins;
    if (const CollectionPtr users = lists->collection(StateKeys::AllUsers)) {
        for (const QVariant& value : users->values()) {
            const CollectionPtr user = toCollection(value);
            const int id = user->value(RecordKeys::UserID).toInt();
            all << id;
            names.insert(id, user->value(RecordKeys::FirstName).toString() + QLatin1Char(' ') +
                                 user->value(RecordKeys::LastName).toString());
            logins.insert(id, user->value(RecordKeys::LoginID).toString());
        }
    }
    QString text = QStringLiteral("[users]\n");
    if (chosen.isEmpty()) {
        text += QStringLiteral("migrate=none\n");
    } else if (chosen == all) {
        text += QStringLiteral("migrate=all\n");
    } else {
        QStringList ids;
        for (const int id : chosen) {
            ids << QString::number(id);
        }
        text += QStringLiteral("; in the order they were moved to \"Users to Migrate:\"\n") +
                listLine(QStringLiteral("ids"), ids);
    }
    text += QStringLiteral("\n[conflicts]\n");
    const CollectionPtr decisions = lists->collection(StateKeys::ConflictDecisions);
    if (!decisions || decisions->isEmpty()) {
        text += QStringLiteral("; no user to migrate conflicts with a Directory user\n");
    }
    for (int position = 1; decisions && position <= decisions->count(); ++position) {
        const int id = decisions->key(position).toInt();
        text += QStringLiteral("%1=%2 ; %3 (login ID %4)\n")
                    .arg(id)
                    .arg(AnswersFile::DecisionName(decisions->item(position).toInt()),
                         QString(names.value(id)).replace(QLatin1Char('\n'), QLatin1Char(' ')),
                         logins.value(id));
    }
    return text + QLatin1Char('\n');
}

QString email()
{
    if (!SelectUsers::emailTemplateEntered) {
        return QStringLiteral("; [email]: the e-mail template page was not shown.\n\n");
    }
    const CollectionPtr choice = StatusHolder::GetEmailChoice();
    if (!choice->value(StateKeys::Send).toBool()) {
        return QStringLiteral("[email]\ntemplate=none\n\n");
    }
    const QString title = choice->value(StateKeys::Title).toString();
    // A template called "none" is a title only in quotes.
    return QStringLiteral("[email]\ntemplate=") +
           (title.compare(QLatin1String("none"), Qt::CaseInsensitive) == 0
                ? QStringLiteral("\"") + title + QStringLiteral("\"")
                : AnswersFile::Quoted(title)) +
           QStringLiteral("\n\n");
}

QString serviceAccount()
{
    const CollectionPtr account = StatusHolder::GetConnectData();
    if (account->value(StateKeys::ServerName).toString().isEmpty()) {
        return QStringLiteral("; [service-account]: the mail logon page was not used.\n\n");
    }
    return QStringLiteral("[service-account]\n") +
           line(QStringLiteral("server"), account->value(StateKeys::ServerName).toString()) +
           line(QStringLiteral("alias"), account->value(StateKeys::Alias).toString()) +
           line(QStringLiteral("address"), account->value(StateKeys::EmailAddress).toString()) +
           QLatin1Char('\n');
}

QString profiles()
{
    const CollectionPtr lists = StatusHolder::GetProfileLists();
    const CollectionPtr chosen = lists->collection(StateKeys::ExportedProfiles);
    const CollectionPtr all = lists->collection(StateKeys::AllProfiles);
    QStringList chosenIDs;
    QStringList names;
    for (int position = 1; chosen && position <= chosen->count(); ++position) {
        chosenIDs << chosen->key(position);
        names << chosen->collection(position)->value(RecordKeys::ProfileName).toString();
    }
    QStringList allIDs;
    for (int position = 1; all && position <= all->count(); ++position) {
        allIDs << all->collection(position)->value(RecordKeys::ProfileID).toString();
    }
    QString text = QStringLiteral("[profiles]\n");
    if (chosenIDs.isEmpty()) {
        return text + QStringLiteral("migrate=none\n\n");
    }
    if (chosenIDs == allIDs) {
        return text + QStringLiteral("migrate=all\n\n");
    }
    return text + QStringLiteral("; in the order they were moved to \"Profiles to Migrate:\"\n") +
           listLine(QStringLiteral("names"), names) + QLatin1Char('\n');
}

} // namespace

AnswersRecorder::AnswersRecorder(std::shared_ptr<Prompter> asks) : mAsks(std::move(asks)) {}

Prompter::Answer AnswersRecorder::message(const QString& text, const QString& title, Icon icon,
                                          Buttons buttons, QWidget* parent)
{
    const Answer answer = mAsks->message(text, title, icon, buttons, parent);
    if (title == StoreQuestionTitle && buttons == Buttons::OkCancel) {
        // The first answer is the one that counts: a stop ends the store phase.
        if (!continueAfterFailedStore.has_value() || *continueAfterFailedStore) {
            continueAfterFailedStore = answer == Answer::Ok;
        }
    }
    return answer;
}

QString AnswersRecorder::saveFileName(const QString& title, const QString& filter,
                                      const QString& suggestedName, QWidget* parent)
{
    const QString path = mAsks->saveFileName(title, filter, suggestedName, parent);
    if (!path.isEmpty()) {
        savedReports << path;
    }
    return path;
}

QString AnswersRecorder::answersText() const
{
    QString text = QStringLiteral("; The answers given on the wizard's pages, %1, for\n"
                                  ";   varnel-migrate --answers FILE\n"
                                  "; (docs/answers-file.md says what each answer means).\n\n")
                       .arg(AppClock::logTime());
    text += database(QStringLiteral("source"), StatusHolder::GetVarnelDatabase(),
                     SourcePasswordVariable);
    const CollectionPtr target = StatusHolder::GetZephrinDatabase();
    const QString configured = ZephrinFunctions::GetZeCS();
    if (!configured.isEmpty() &&
        target->value(StateKeys::ConnectionString).toString() == configured) {
        text += QStringLiteral("; [target]: zephrin.ini names the Directory database.\n\n");
    } else {
        text += database(QStringLiteral("target"), target, TargetPasswordVariable);
    }
    text += stores();
    if (GlobalVariables::gbAddStores) {
        if (continueAfterFailedStore.has_value()) {
            text +=
                QStringLiteral("could-not-add-store=") +
                (*continueAfterFailedStore ? QStringLiteral("continue") : QStringLiteral("stop")) +
                QStringLiteral("\n\n");
        } else {
            text += QStringLiteral("; every store was added, so \"Could not Add Store\" was not "
                                   "asked\ncould-not-add-store=stop\n\n");
        }
    }
    text += users() + email() + serviceAccount() + profiles();
    if (savedReports.isEmpty()) {
        text += QStringLiteral("; [report]: the report was not saved.\n");
    } else {
        text += QStringLiteral("[report]\n") + line(QStringLiteral("save"), savedReports.last());
    }
    return text;
}

void AnswersRecorder::write(const QString& path) const
{
    QSaveFile file(path);
    const QByteArray bytes = answersText().toUtf8();
    if (!file.open(QIODevice::WriteOnly) ||
        !file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner) ||
        file.write(bytes) != bytes.size() || !file.commit()) {
        throw MigrationError(ErrorNumber::PermissionDenied,
                             QStringLiteral("The answers file %1 could not be written: %2")
                                 .arg(path, file.errorString()),
                             QStringLiteral("AnswersRecorder"));
    }
}

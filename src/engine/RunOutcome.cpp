#include "engine/RunOutcome.h"

#include "engine/MigrationEngine.h"
#include "engine/OutcomeCodes.h"
#include "engine/UserValidation.h"
#include "frame/GlobalVariables.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"

#include <QHash>
#include <QSet>

using namespace RecordKeys;

namespace {

const QString Yes = QStringLiteral("yes");
const QString No = QStringLiteral("no");

QString actionText(int action)
{
    switch (action) {
    case ActionCode::Create:
        return QStringLiteral("Created");
    case ActionCode::Update:
        return QStringLiteral("Updated the Directory user with the same login ID");
    case ActionCode::DeleteAndReinsert:
        return QStringLiteral("Replaced the Directory user with the same login ID");
    case ActionCode::CreateAndMail:
        return QStringLiteral("Created as a new user under a new login ID");
    default:
        return QStringLiteral("Migrated");
    }
}

QString joinedName(const QVariant& first, const QVariant& last)
{
    return (first.toString() + QLatin1Char(' ') + last.toString()).trimmed();
}

// The lines of a grade record's warnings, each problem and its action on one line.
QString warningsOf(const CollectionPtr& grades)
{
    if (!grades) {
        return QString();
    }
    QStringList lines;
    for (const QString& line : UserValidation::WarningText(grades).split(QStringLiteral("\r\n"))) {
        if (!line.trimmed().isEmpty()) {
            lines << line.trimmed();
        }
    }
    return lines.join(QStringLiteral("; "));
}

CollectionPtr listOf(const CollectionPtr& group, QLatin1String key)
{
    return group ? toCollection(group->value(key)) : CollectionPtr();
}

void addUsers(const MigrationEngine& run, QList<OutcomeRow>& rows)
{
    const CollectionPtr lists = StatusHolder::GetUserLists();
    const CollectionPtr migrationList = lists->collection(StateKeys::MigrationList);
    const CollectionPtr ids = listOf(migrationList, StateKeys::VaUserIDs);
    const CollectionPtr actions = listOf(migrationList, StateKeys::Actions);
    const bool mailChosen = StatusHolder::GetEmailChoice()->value(StateKeys::Send).toBool();

    // The source's summary of every user, for those the run never read.
    QHash<int, CollectionPtr> summaries;
    if (const CollectionPtr all = lists->collection(StateKeys::AllUsers)) {
        for (const QVariant& value : all->values()) {
            if (const CollectionPtr user = toCollection(value)) {
                summaries.insert(user->value(UserID).toInt(), user);
            }
        }
    }

    QSet<int> done;
    const int count = ids ? ids->count() : 0;
    for (int position = 1; position <= count; ++position) {
        const int id = ids->item(position).toInt();
        if (done.contains(id)) {
            continue;
        }
        done.insert(id);
        const QString key = QString::number(id);
        const CollectionPtr summary = summaries.value(id);
        const CollectionPtr record = run.cUserResults && run.cUserResults->contains(key)
                                         ? run.cUserResults->collection(key)
                                         : CollectionPtr();
        const CollectionPtr grades = run.cUserWarnings && run.cUserWarnings->contains(key)
                                         ? run.cUserWarnings->collection(key)
                                         : CollectionPtr();

        OutcomeRow row;
        row.kind = QStringLiteral("user");
        row.id = key;
        if (record && (record->contains(Firstname) || record->contains(Lastname))) {
            row.name = joinedName(record->value(Firstname), record->value(Lastname));
        } else if (summary) {
            row.name = joinedName(summary->value(FirstName), summary->value(LastName));
        }
        row.loginBefore = record && record->contains(LoginID) ? record->value(LoginID).toString()
                          : summary                           ? summary->value(LoginID).toString()
                                                              : QString();
        row.warnings = warningsOf(grades);
        row.newPassword = No;
        row.email = QStringLiteral("not sent");
        if (!record) {
            row.outcomeClass = QStringLiteral("error");
            row.text = run.bInterrupted
                           ? QStringLiteral("Not migrated: the run stopped when a store could "
                                            "not be added")
                           : QStringLiteral("Not migrated");
            rows << row;
            continue;
        }

        const bool status = record->value(Status).toBool();
        const int code = record->value(Action, OutcomeCode::NoText).toInt();
        // Only a user queued for the introduction e-mail carries the mail's code; such
        // a user is in the Directory whether the e-mail went out or not.
        const bool queued = code == OutcomeCode::MailFailed;
        const bool written = status || queued;
        if (status) {
            const int action =
                actions ? actions->value(key, ActionCode::Create).toInt() : ActionCode::Create;
            row.outcomeClass = grades && grades->value(Total).toInt() != Grade::Good
                                   ? QStringLiteral("warning")
                                   : QStringLiteral("success");
            row.code = QString::number(action);
            row.text = actionText(action);
        } else {
            row.outcomeClass = QStringLiteral("error");
            row.code = code < 0 ? QString() : QString::number(code);
            row.text = OutcomeCode::Text(code);
            if (row.text.isEmpty()) {
                row.text = QStringLiteral("Not migrated (the log says why)");
            }
        }
        if (written) {
            row.loginAfter = record->contains(LoginIDChanged)
                                 ? record->value(LoginIDChanged).toString()
                                 : record->value(LoginID).toString();
            row.newPassword = record->contains(PasswordClear) ? Yes : No;
        }
        if (queued) {
            row.email = !status      ? QStringLiteral("failed")
                        : mailChosen ? QStringLiteral("sent")
                                     : QStringLiteral("not sent");
        }
        rows << row;
    }
}

void addStores(const MigrationEngine& run, QList<OutcomeRow>& rows)
{
    if (!GlobalVariables::gbAddStores) {
        return;
    }
    const auto add = [&](const CollectionPtr& servers, int type, const QString& kind) {
        const int count = servers ? servers->count() : 0;
        for (int position = 1; position <= count; ++position) {
            OutcomeRow row;
            row.kind = QStringLiteral("store");
            row.name = servers->item(position).toString();
            row.code = QString::number(type);
            CollectionPtr result;
            const int results = run.cStoreResults ? run.cStoreResults->count() : 0;
            for (int i = 1; i <= results && !result; ++i) {
                const CollectionPtr candidate = run.cStoreResults->collection(i);
                if (candidate->value(Server).toString() == row.name &&
                    candidate->value(Type).toInt() == type) {
                    result = candidate;
                }
            }
            if (!result) {
                row.outcomeClass = QStringLiteral("error");
                row.text = kind + QStringLiteral(" store not tried: the run stopped at an "
                                                 "earlier store");
            } else if (result->value(Status).toBool()) {
                row.outcomeClass = QStringLiteral("success");
                row.text = kind + QStringLiteral(" store added");
            } else {
                row.outcomeClass = QStringLiteral("error");
                row.text = kind + QStringLiteral(" store could not be added (the log says why)");
            }
            rows << row;
        }
    };
    add(run.cE2kServers, 2, QStringLiteral("Exchange 2000/2003"));
    add(run.cE55Servers, 5, QStringLiteral("Exchange 5.5"));
}

void addProfiles(const MigrationEngine& run, QList<OutcomeRow>& rows)
{
    const int count = run.cProfileResults ? run.cProfileResults->count() : 0;
    for (int position = 1; position <= count; ++position) {
        const CollectionPtr result = run.cProfileResults->collection(position);
        const CollectionPtr profile =
            result->contains(Profile) ? result->collection(Profile) : CollectionPtr();
        OutcomeRow row;
        row.kind = QStringLiteral("profile");
        // The reader gives a profile a new ID every time it reads it, so no ID is
        // written: the name is what names a profile from one run to the next.
        if (profile) {
            row.name = profile->value(ProfileName).toString();
        }
        if (result->value(Status).toBool()) {
            row.outcomeClass = QStringLiteral("success");
            row.text = QStringLiteral("Migrated");
        } else {
            row.outcomeClass = QStringLiteral("error");
            row.text = QStringLiteral("Not migrated (the log says why)");
        }
        rows << row;
    }
}

} // namespace

RunOutcome RunOutcome::Of(const MigrationEngine& run)
{
    RunOutcome outcome;
    addUsers(run, outcome.rows);
    addStores(run, outcome.rows);
    addProfiles(run, outcome.rows);
    return outcome;
}

bool RunOutcome::allMigrated() const
{
    for (const OutcomeRow& row : rows) {
        if (row.outcomeClass == QLatin1String("error")) {
            return false;
        }
    }
    return true;
}

int RunOutcome::count(const QString& kind, const QString& outcomeClass) const
{
    int found = 0;
    for (const OutcomeRow& row : rows) {
        found += row.kind == kind && row.outcomeClass == outcomeClass ? 1 : 0;
    }
    return found;
}

QStringList RunOutcome::Header()
{
    return {QStringLiteral("kind"),         QStringLiteral("id"),
            QStringLiteral("name"),         QStringLiteral("class"),
            QStringLiteral("code"),         QStringLiteral("text"),
            QStringLiteral("login before"), QStringLiteral("login after"),
            QStringLiteral("new password"), QStringLiteral("e-mail"),
            QStringLiteral("warnings")};
}

QByteArray RunOutcome::toCsv() const
{
    QString text = Csv::Line(Header());
    for (const OutcomeRow& row : rows) {
        text +=
            Csv::Line({row.kind, row.id, row.name, row.outcomeClass, row.code, row.text,
                       row.loginBefore, row.loginAfter, row.newPassword, row.email, row.warnings});
    }
    return text.toUtf8();
}

QString Csv::Field(const QString& text)
{
    const bool quoted = text.contains(QLatin1Char('"')) || text.contains(QLatin1Char(',')) ||
                        text.contains(QLatin1Char('\r')) || text.contains(QLatin1Char('\n'));
    if (!quoted) {
        return text;
    }
    QString field = text;
    field.replace(QStringLiteral("\""), QStringLiteral("\"\""));
    return QLatin1Char('"') + field + QLatin1Char('"');
}

QString Csv::Line(const QStringList& fields)
{
    QStringList quoted;
    quoted.reserve(fields.size());
    for (const QString& field : fields) {
        quoted << Field(field);
    }
    return quoted.join(QLatin1Char(',')) + QStringLiteral("\r\n");
}

#include "pages/ResumeRun.h"

#include "directory/ZephrinFunctions.h"
#include "engine/JournalInput.h"
#include "engine/MigrationEngine.h"
#include "engine/RunJournal.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/Finish.h"
#include "pages/MigrateUsers.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <algorithm>

namespace {

ResumeRun::Unfinished summaryOf(const QString& path, const RunJournal& journal)
{
    ResumeRun::Unfinished found;
    found.path = path;
    found.started = journal.value(QStringLiteral("started"));
    found.state = journal.state();
    found.source = journal.value(QStringLiteral("source"));
    found.target = journal.value(QStringLiteral("target"));
    for (const RunJournal::User& user : journal.users()) {
        found.done += user.hasOutcome ? 1 : 0;
    }
    found.total = JournalInput::UsersToMigrate(journal.value(QStringLiteral("input")).toUtf8());
    return found;
}

QString databaseName(const CollectionPtr& group)
{
    return group->value(StateKeys::DatabaseServer).toString() + QLatin1Char('/') +
           group->value(StateKeys::Database).toString();
}

// The e-mail material as the pages had left it: the template chosen by its title and
// the service account's logon, which the Directory and the mail component keep only
// in this process.
void restoreMailChoice()
{
    const CollectionPtr choice = StatusHolder::GetEmailChoice();
    if (!choice->value(StateKeys::Send).toBool()) {
        return;
    }
    const QString directory =
        StatusHolder::GetZephrinDatabase()->value(StateKeys::ConnectionString).toString();
    const QString title = choice->value(StateKeys::Title).toString();
    try {
        const CollectionPtr templates = ZephrinFunctions::GetTemplateList(directory);
        const CollectionPtr titles = templates->collection(RecordKeys::Titles);
        const CollectionPtr ids = templates->collection(RecordKeys::IDs);
        for (int i = 1; titles && ids && i <= titles->count(); ++i) {
            if (titles->item(i).toString() == title) {
                ZephrinFunctions::ChooseTemplate(ids->item(i).toInt(), directory);
                break;
            }
        }
    } catch (const std::exception&) {
        // The e-mail pass reads the template and reports what is wrong for every user.
    }
    ZephrinFunctions::TestServiceAccount();
}

} // namespace

QList<ResumeRun::Unfinished> ResumeRun::FindUnfinished()
{
    QList<Unfinished> found;
    QStringList folders{CommonFunctions::ProgramFolder()};
    const QString fallback = CommonFunctions::FallbackLogFolder();
    if (!fallback.isEmpty() &&
        QDir(fallback).absolutePath() != QDir(folders.first()).absolutePath()) {
        folders << fallback;
    }
    for (const QString& folder : folders) {
        const QFileInfoList files =
            QDir(folder).entryInfoList({QStringLiteral("MigrationLog*-Journal*.sqlite")},
                                       QDir::Files, QDir::Name | QDir::Reversed);
        for (const QFileInfo& file : files) {
            try {
                const auto journal = RunJournal::Open(file.absoluteFilePath());
                if (journal->state() != QLatin1String("finished")) {
                    found << summaryOf(file.absoluteFilePath(), *journal);
                }
            } catch (const std::exception&) {
                // Not a journal of this program, or one that cannot be read.
            }
        }
    }
    return found;
}

QString ResumeRun::Resume(const QString& journalPath)
{
    std::unique_ptr<RunJournal> journal;
    try {
        journal = RunJournal::Open(journalPath);
        JournalInput::Restore(journal->value(QStringLiteral("input")).toUtf8());
    } catch (const MigrationError& error) {
        return error.description();
    }
    // The resumed run writes on in the interrupted run's log.
    const QString log = journal->value(QStringLiteral("log"));
    if (!log.isEmpty()) {
        GlobalVariables::gsLogFileName = QFileInfo(log).fileName();
    }
    CommonFunctions::WriteLog(QStringLiteral("Resume of the interrupted run ") +
                              QDir::toNativeSeparators(journalPath));
    restoreMailChoice();

    const QString report = MigrateUsers::Migrate(
        [&journal](MigrationEngine& engine) { engine.resumeFrom(std::move(journal)); });
    if (report.isEmpty()) {
        return QStringLiteral("The migration window could not be opened");
    }
    auto* finish = qobject_cast<Finish*>(Pages::create(PageNames::Finish));
    if (finish == nullptr) {
        return QStringLiteral("The finish page could not be opened");
    }
    finish->setReport(report);
    finish->show();
    return QString();
}

bool ResumeRun::OfferAtStart()
{
    const QList<Unfinished> found = FindUnfinished();
    if (found.isEmpty()) {
        return false;
    }
    const Unfinished& last = found.first();
    const QString text =
        QStringLiteral("A migration that was started at %1 from %2 into %3 did not finish "
                       "(%4 of %5 users done). Its journal is %6.\r\n\r\nDo you want to resume "
                       "it now? What was done is not done again. Choose No to start the wizard "
                       "as usual; the journal is kept.")
            .arg(last.started, last.source, last.target)
            .arg(last.done)
            .arg(last.total)
            .arg(QDir::toNativeSeparators(last.path));
    if (AppPrompter::prompter().message(text, QStringLiteral("Interrupted migration"),
                                        Prompter::Icon::Question,
                                        Prompter::Buttons::YesNo) != Prompter::Answer::Yes) {
        return false;
    }
    const QString error = Resume(last.path);
    if (error.isEmpty()) {
        return true;
    }
    AppPrompter::prompter().message(error, QStringLiteral("Interrupted migration"),
                                    Prompter::Icon::Exclamation, Prompter::Buttons::Ok);
    return false;
}

ResumeRun::Duplicate ResumeRun::CheckForDuplicateRun(QWidget* parent)
{
    const QString source = databaseName(StatusHolder::GetVarnelDatabase());
    const QString target = databaseName(StatusHolder::GetZephrinDatabase());
    const QString directory =
        StatusHolder::GetZephrinDatabase()->value(StateKeys::ConnectionString).toString();
    QSet<int> present;
    bool listed = false;
    for (const Unfinished& candidate : FindUnfinished()) {
        if (candidate.source.compare(source, Qt::CaseInsensitive) != 0 ||
            candidate.target.compare(target, Qt::CaseInsensitive) != 0) {
            continue;
        }
        std::unique_ptr<RunJournal> journal;
        try {
            journal = RunJournal::Open(candidate.path);
            if (!listed) {
                const CollectionPtr users = ZephrinFunctions::GetDirectoryUsers(directory);
                for (const QVariant& id : users->collection(RecordKeys::IDs)->values()) {
                    present.insert(id.toInt());
                }
                listed = true;
            }
        } catch (const std::exception&) {
            continue;
        }
        int made = 0;
        for (const RunJournal::User& user : journal->users()) {
            const bool written = user.hasOutcome && (user.status || user.queued);
            made += written && present.contains(user.zeUserID) ? 1 : 0;
        }
        if (made == 0) {
            continue;
        }
        journal.reset();
        const QString text =
            QStringLiteral("The Directory already holds %1 users that the migration started at "
                           "%2 from the same database wrote, and that run did not finish (its "
                           "journal is %3). Running the same choices again would write them a "
                           "second time.\r\n\r\nDo you want to resume that run instead? Choose "
                           "No to stay on this page; to start a new run anyway, move the "
                           "journal away first.")
                .arg(made)
                .arg(candidate.started, QDir::toNativeSeparators(candidate.path));
        CommonFunctions::WriteLog(QStringLiteral("UserInputFinished: ") + text);
        if (AppPrompter::prompter().message(text, QStringLiteral("Interrupted migration"),
                                            Prompter::Icon::Question, Prompter::Buttons::YesNo,
                                            parent) != Prompter::Answer::Yes) {
            return Duplicate::Declined;
        }
        const QString error = Resume(candidate.path);
        if (!error.isEmpty()) {
            AppPrompter::prompter().message(error, QStringLiteral("Interrupted migration"),
                                            Prompter::Icon::Exclamation, Prompter::Buttons::Ok,
                                            parent);
            return Duplicate::Declined;
        }
        return Duplicate::Resumed;
    }
    return Duplicate::None;
}

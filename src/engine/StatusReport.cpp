#include "engine/StatusReport.h"
#include "db/ConnectionReuse.h"
#include "db/UserConflicts.h"
#include "engine/MigrationEngine.h"
#include "engine/OutcomeCodes.h"
#include "engine/RunObserver.h"
#include "engine/RunProgress.h"
#include "engine/UserValidation.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/RecordKeys.h"

using CommonFunctions::IndentLines;
using namespace RecordKeys;

namespace {

const QString CRLF = QStringLiteral("\r\n");
const QString Dashes(70, QLatin1Char('-'));

QString displayName(const CollectionPtr& record)
{
    return record->value(Firstname).toString() + QLatin1Char(' ') +
           record->value(Lastname).toString();
}

// "Migrated MAIL01 successfully" / "Failed to migrate MAIL01", one line each.
QString storeLine(const CollectionPtr& record)
{
    const QString server = record->value(Server).toString();
    return record->value(Status).toBool()
               ? QStringLiteral("Migrated ") + server + QStringLiteral(" successfully") + CRLF
               : QStringLiteral("Failed to migrate ") + server + CRLF;
}

} // namespace

QString OutcomeCode::Text(int code)
{
    switch (code) {
    case CreateFailed:
        return QStringLiteral("Failed to create account for user.");
    case UpdateFailed:
        return QStringLiteral("Failed to update user.");
    case DeleteFailed:
        return QStringLiteral("Failed to delete user before reinsertion, reinsertion aborted");
    case ReinsertFailed:
        return QStringLiteral("Deleted user but failed to reinsert.");
    case ReadFailed:
        return QStringLiteral("Failed to retrieve user information.");
    case Corrupt:
        return QStringLiteral("User information was corrupt (See Warnings for details)");
    case 6:
        return QStringLiteral("Failed to create account for user");
    case MailFailed:
        return QStringLiteral("Failed to send introduction E-mail to user");
    case NothingDeleted:
        return QStringLiteral("Failed to prepare user for reinsertion, nothing was deleted.");
    case UnknownAction:
        return QStringLiteral("Unknown action for user, nothing was written.");
    default:
        return QString();
    }
}

QString StatusReport::PadRight(const QString& text, int width)
{
    return text.size() >= width ? text : text + QString(width - text.size(), QLatin1Char(' '));
}

QString StatusReport::ChangeTable(const CollectionPtr& sortedRecords)
{
    QString table = PadRight(QStringLiteral("Name"), 31) +
                    PadRight(QStringLiteral("Login ID"), 31) + QStringLiteral("Password") + CRLF +
                    Dashes + CRLF;
    for (int position = 1; position <= sortedRecords->count(); ++position) {
        const CollectionPtr record = sortedRecords->collection(position);
        const QString login = record->contains(LoginIDChanged)
                                  ? record->value(LoginIDChanged).toString()
                                  : QStringLiteral("Not Changed");
        const QString password = record->contains(PasswordClear)
                                     ? record->value(PasswordClear).toString()
                                     : QStringLiteral("Not Changed");
        table += PadRight(record->value(FullName).toString(), 30) + QLatin1Char(' ') +
                 PadRight(login, 30) + QLatin1Char(' ') + password + CRLF;
    }
    return table;
}

void MigrationEngine::GenerateReport()
{
    // The run's many small operations each open and close their own connection;
    // embedded connections are kept between them until the procedure ends.
    const ConnectionReuse::Scope reuse;
    QString report;

    // Stores. The status of the last store gone through decides below whether failed
    // users are listed with their error text: after a run whose last store was
    // registered they are listed without it.
    bool storeStatus = false;
    if (GlobalVariables::gbAddStores) {
        QString exchange2000;
        QString exchange55;
        const int stores = cStoreResults ? cStoreResults->count() : 0;
        for (int position = 1; position <= stores; ++position) {
            const CollectionPtr record = cStoreResults->collection(position);
            storeStatus = record->value(Status).toBool();
            const int type = record->value(Type).toInt();
            if (type == 2) {
                exchange2000 += storeLine(record);
            } else if (type == 5) {
                exchange55 += storeLine(record);
            }
        }
        report = QStringLiteral("Status, migrated stores: ") + CRLF + CRLF;
        if (!exchange2000.isEmpty()) {
            report +=
                QStringLiteral("Exchange 2000/2003: ") + CRLF + IndentLines(exchange2000, 4) + CRLF;
        }
        if (!exchange55.isEmpty()) {
            report += QStringLiteral("Exchange 5.5: ") + CRLF + IndentLines(exchange55, 4) + CRLF;
        }
    }

    // The users by outcome, in the order of cUserResults.
    struct Entry
    {
        QString id;
        CollectionPtr record;
        CollectionPtr grades;
    };
    QList<Entry> succeeded;
    QList<Entry> warned;
    QList<Entry> failed;
    const int users = cUserResults ? cUserResults->count() : 0;
    for (int position = 1; position <= users; ++position) {
        Entry entry;
        entry.id = cUserResults->key(position);
        entry.record = cUserResults->collection(position);
        entry.grades =
            cUserWarnings ? toCollection(cUserWarnings->value(entry.id)) : CollectionPtr();
        if (!entry.record->value(Status).toBool()) {
            failed << entry;
        } else if (entry.grades && entry.grades->value(Total).toInt() != 0) {
            warned << entry;
        } else {
            succeeded << entry;
        }
    }
    const QString total = QString::number(succeeded.size() + warned.size() + failed.size());

    report += CRLF + QStringLiteral("Status, migrated users:") + CRLF + CRLF;
    if (bInterrupted) {
        report += QStringLiteral("No users migrated due to interrupt.") + CRLF + CRLF;
    } else {
        report += QString::number(succeeded.size()) + QStringLiteral(" of ") + total +
                  QStringLiteral(" user(s) successfully migrated") + CRLF + CRLF;
        if (!warned.isEmpty()) {
            report += QString::number(warned.size()) + QStringLiteral(" of ") + total +
                      QStringLiteral(" user(s) migrated with warning(s)") + CRLF + CRLF;
            for (const Entry& entry : warned) {
                report += IndentLines(displayName(entry.record) + CRLF, 4) +
                          IndentLines(QStringLiteral("Warning(s):") + CRLF + CRLF +
                                          UserValidation::WarningText(entry.grades),
                                      8);
            }
        }
        if (!failed.isEmpty()) {
            report += QString::number(failed.size()) + QStringLiteral(" of ") + total +
                      QStringLiteral(" user(s) not migrated due to error") + CRLF + CRLF;
            for (const Entry& entry : failed) {
                // A user that could not be read has no name and no warnings.
                const QString name = entry.grades
                                         ? displayName(entry.record)
                                         : entry.id + QStringLiteral(" No firstname No Surname");
                const QString warnings =
                    entry.grades ? UserValidation::WarningText(entry.grades) : QString();
                const int code = entry.record->value(Action, OutcomeCode::NoText).toInt();
                const QString error = !storeStatus ? OutcomeCode::Text(code) : QString();
                report +=
                    IndentLines(name + CRLF, 4) +
                    IndentLines(QStringLiteral("Warning(s):") + CRLF + warnings +
                                    QStringLiteral("Error:") + CRLF + CRLF + error + CRLF + CRLF,
                                8);
            }
        }
        if (cMailQueue && cMailQueue->count() > 0) {
            // The sort is one round through the source database; the window gets its
            // events before and after it.
            mProgress.processEvents();
            const CollectionPtr sorted = sortedMailQueue();
            mProgress.processEvents();
            report += CRLF + QStringLiteral("Users with changed Login ID and/or password:") + CRLF +
                      CRLF + StatusReport::ChangeTable(sorted);
        }
    }

    const int profiles = cProfileResults ? cProfileResults->count() : 0;
    int migrated = 0;
    for (int position = 1; position <= profiles; ++position) {
        if (cProfileResults->collection(position)->value(Status).toBool()) {
            ++migrated;
        }
    }
    report += Dashes + CRLF + CRLF + QString::number(migrated) + QStringLiteral(" of ") +
              QString::number(profiles) + QStringLiteral(" Device Provisioning profile(s) ") +
              QStringLiteral("were successfully migrated.") + CRLF + CRLF;

    gsReport = report;
    if (observer != nullptr) {
        observer->reportGenerated(*this);
    }
}

// The queued users in name order, sorted by the source database as the change table
// has always been. When the sort fails (the source cannot be reached), the users keep
// the order they were queued in, named "Lastname, Firstname" alike, and the log says
// why: the report never fails.
CollectionPtr MigrationEngine::sortedMailQueue()
{
    for (int position = 1; position <= cMailQueue->count(); ++position) {
        const CollectionPtr record = cMailQueue->collection(position);
        if (record->contains(FullName)) {
            record->remove(FullName);
        }
    }
    try {
        return AdministrativeDBCon::SortUsersByName(cMailQueue, sVaConnectionString);
    } catch (const std::exception& error) {
        const auto* known = dynamic_cast<const MigrationError*>(&error);
        CommonFunctions::WriteLog(
            QStringLiteral("The users with changed login ID and/or password could not be sorted "
                           "by name: Error Number: %1 Error Description: %2")
                .arg(known ? known->number() : ErrorNumber::InvalidProcedureCall)
                .arg(known ? known->description() : QString::fromLocal8Bit(error.what())));
    }
    const CollectionPtr unsorted = Collection::create();
    for (int position = 1; position <= cMailQueue->count(); ++position) {
        const CollectionPtr record = cMailQueue->collection(position);
        if (record->contains(FullName)) {
            record->remove(FullName);
        }
        record->add(record->value(Lastname).toString() + QStringLiteral(", ") +
                        record->value(Firstname).toString(),
                    FullName);
        unsorted->add(toVariant(record), QString::number(position));
    }
    return unsorted;
}

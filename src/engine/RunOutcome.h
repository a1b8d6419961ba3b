#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

class MigrationEngine;

// What became of every chosen user, every typed store and every chosen profile of one
// run, one row each, for the next wave, a ticket system or a spreadsheet. Built from
// the run's outcome lists once the report is generated. A new user's clear password
// is never taken over: a row says only whether one was made.
struct OutcomeRow
{
    // "user", "store" or "profile".
    QString kind;
    // The source user ID; empty for a store and a profile.
    QString id;
    // "First Last", the server name or the profile name.
    QString name;
    // "success", "warning" (migrated, with repairs) or "error".
    QString outcomeClass;
    // For a migrated user its action (0 create, 1 update, 2 replace, 6 create under a
    // new login ID), for a failed one the report's failure code; for a store its
    // type (2 Exchange 2000/2003, 5 Exchange 5.5); empty for a profile.
    QString code;
    QString text;
    // The source's login ID, and the one the user has in the Directory afterwards
    // (empty when the user is not there).
    QString loginBefore;
    QString loginAfter;
    // "yes" or "no"; empty for stores and profiles.
    QString newPassword;
    // "sent", "failed" or "not sent"; empty for stores and profiles.
    QString email;
    // What was repaired, or why the user could not be migrated, one "; " between two.
    QString warnings;
};

class RunOutcome
{
public:
    // The rows of a run whose report has been generated: users in the order of the
    // migration list, then stores in the order they were typed, then profiles in the
    // order they were chosen.
    static RunOutcome Of(const MigrationEngine& run);

    QList<OutcomeRow> rows;

    // Every row migrated (with or without warnings).
    bool allMigrated() const;
    int count(const QString& kind, const QString& outcomeClass) const;

    static QStringList Header();
    // A header line and one line per row, as RFC 4180 has it: CR LF after every
    // line, a field with a quote, a comma or a line break in double quotes and its
    // quotes doubled. UTF-8.
    QByteArray toCsv() const;
};

namespace Csv {
// One field, quoted when it must be.
QString Field(const QString& text);
// One line of fields, with its CR LF.
QString Line(const QStringList& fields);
} // namespace Csv

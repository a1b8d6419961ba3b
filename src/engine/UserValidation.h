#pragma once

#include "frame/Collection.h"

#include <QString>
#include <QStringList>

// Reading a source user into a record under the target's field names, grading every
// field, repairing what is not essential, and the warnings that explain each grade.
namespace UserValidation {

// The settings read for every user, in the order they are asked for.
QStringList SettingNames();

// The record of one source user: "Firstname", "Lastname", "LoginID", "Domain",
// "Password", then the settings under the target's names ("Exchange Server", ...,
// "deaultstartpoint"). A setting the user has no row for is left out. A user that is
// not in the source database, and every failure of the reads, is raised.
CollectionPtr GetUserInformation(int vaUserID, const QString& connectionString);

// The grade of every graded field under the record's key, and "Total", the largest.
// languageIDs are the language IDs the Directory knows, keyed by their decimal text.
CollectionPtr ValidateUser(const CollectionPtr& record, bool newPasswords,
                           const CollectionPtr& languageIDs);

// Puts defaults in for the fields graded 1 or 2 that are not essential; a replaced
// member moves to the end of the record. Returns the same record.
CollectionPtr RepairUser(const CollectionPtr& record, const CollectionPtr& grades);

int MaxGrade(int current, int grade);

// "PROBLEM: " + problem + CR LF + "ACTION: " + action + CR LF + CR LF.
QString FormatWarning(const QString& problem, const QString& action);

// The warnings of one user, from its grade record: the reasons it was not migrated
// when its Total is 3, else what was repaired.
QString WarningText(const CollectionPtr& grades);

} // namespace UserValidation

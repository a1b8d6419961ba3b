#pragma once

#include "frame/Collection.h"

#include <QString>
#include <QVariant>

#include <exception>

// Reading and writing the members of the run's user records, and the failure of one
// step of a user, as the user loop and the Directory write share them.
namespace UserRecord {

// The source text of the errors the user steps raise.
extern const QString Source;

// A member as text; empty for a null record or a missing member.
QString text(const CollectionPtr& record, const QString& key);
// Sets a member, taking out an earlier value under the same key first.
void put(const CollectionPtr& record, const QString& key, const QVariant& value);
// "TRUE" in any letter case, or a flag that the repair put in.
bool flag(const QVariant& value);
// A whole number written as text; a text that is no number raises.
int wholeNumber(const QVariant& value, const QString& what);
// The logon failure counter is not graded: an absent or unreadable one counts as 0.
int failureCounter(const CollectionPtr& record);

struct Failure
{
    long number = 0;
    QString description;
};

// The number and text of a MigrationError, or of any other exception as an invalid
// procedure call.
Failure failureOf(const std::exception& error);

} // namespace UserRecord

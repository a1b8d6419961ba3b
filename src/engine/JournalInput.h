#pragma once

#include "frame/Collection.h"

#include <QByteArray>
#include <QString>

// The run's whole input as the pages leave it, as one JSON text for the journal: the
// seven groups of the state store and the process-wide values the run reads (the
// product names, the route's flags, the service account). Restored, a resumed run
// needs no page again.
namespace JournalInput {

QByteArray Capture();
// Puts the groups and values back; raises MigrationError on a text that is not a
// capture.
void Restore(const QByteArray& json);

// The number of users on the captured migration list; 0 for a text that is no capture.
int UsersToMigrate(const QByteArray& json);

// A collection with its keys, its order and its values' types, and back.
QByteArray CollectionToJson(const CollectionPtr& collection);
CollectionPtr CollectionFromJson(const QByteArray& json);

} // namespace JournalInput

#pragma once

#include <QString>
#include <QStringList>

class QListWidget;

// What the answerers of the unattended walk share: the list lookups and the texts of
// its stop messages.
namespace UnattendedWalk {

extern const QString StoreQuestionTitle;

// A message of the wizard on one line: its own line breaks become blanks.
QString oneLine(const QString& text);
// The first row at or after from that shows text; -1 when none does.
int rowOf(const QListWidget* list, const QString& text, int from = 0);
QStringList itemsOf(const QListWidget* list);
// The names joined with commas, or "none".
QString listed(const QStringList& names);
// The source database's connection string as the pages left it.
QString sourceConnectionString();

} // namespace UnattendedWalk

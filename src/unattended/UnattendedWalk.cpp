#include "unattended/UnattendedWalk.h"

#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"

#include <QListWidget>

namespace UnattendedWalk {

const QString StoreQuestionTitle = QStringLiteral("Could not Add Store");

QString oneLine(const QString& text)
{
    return QString(text).replace(QStringLiteral("\r\n"), QStringLiteral(" ")).simplified();
}

int rowOf(const QListWidget* list, const QString& text, int from)
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

} // namespace UnattendedWalk

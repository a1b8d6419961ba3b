#include "support/Describe.h"

QString describe(const QVariant& value)
{
    if (value.metaType() == QMetaType::fromType<CollectionPtr>()) {
        const CollectionPtr nested = value.value<CollectionPtr>();
        return nested
                   ? QLatin1Char('[') + describe(nested).join(QLatin1Char('|')) + QLatin1Char(']')
                   : QStringLiteral("(null)");
    }
    return value.isNull() ? QStringLiteral("(null)") : value.toString();
}

QStringList describe(const CollectionPtr& collection)
{
    QStringList items;
    for (int position = 1; collection && position <= collection->count(); ++position) {
        const QString key = collection->key(position);
        const QString value = describe(collection->item(position));
        items << (key.isEmpty() ? value : key + QLatin1Char('=') + value);
    }
    return items;
}

QStringList describe(const QList<QSqlRecord>& rows)
{
    QStringList texts;
    for (const QSqlRecord& row : rows) {
        QStringList columns;
        for (int column = 0; column < row.count(); ++column) {
            // A flag reads as a Boolean from SQL Server and as a number from the
            // embedded engine; both show as 1 or 0.
            const QVariant value = row.value(column);
            columns << (value.typeId() == QMetaType::Bool && !value.isNull()
                            ? QString::number(value.toBool() ? 1 : 0)
                            : describe(value));
        }
        texts << columns.join(QLatin1Char('/'));
    }
    return texts;
}

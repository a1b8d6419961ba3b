#include "reference/RowTable.h"

#include <limits>

namespace {

QVariant plainCell(int /*field*/, const QVariant& value)
{
    if (value.typeId() == QMetaType::LongLong) {
        const qlonglong number = value.toLongLong();
        if (number >= std::numeric_limits<int>::min() &&
            number <= std::numeric_limits<int>::max()) {
            return static_cast<int>(number);
        }
    }
    return value;
}

} // namespace

VariantTable RowTable(const QList<QSqlRecord>& rows, const CellFunction& cell)
{
    if (rows.isEmpty()) {
        return VariantTable();
    }
    const int fields = rows.first().count();
    VariantTable table(0, fields - 1, static_cast<int>(rows.size()));
    for (int record = 0; record < rows.size(); ++record) {
        const QSqlRecord& row = rows.at(record);
        for (int field = 0; field < fields; ++field) {
            table.set(field, record,
                      cell ? cell(field, row.value(field)) : plainCell(field, row.value(field)));
        }
    }
    return table;
}

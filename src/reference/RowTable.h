#pragma once

#include "directory/VariantTable.h"

#include <QList>
#include <QSqlRecord>
#include <functional>

// The rows of a result as a component hands them out: field i of record r is column
// i of row r. Whole numbers come out as 32-bit integers where they fit; a cell
// function, when given, makes the value of each cell instead. No rows give a table
// without bounds, as the components return for an empty list.
using CellFunction = std::function<QVariant(int field, const QVariant& value)>;
VariantTable RowTable(const QList<QSqlRecord>& rows, const CellFunction& cell = {});

#pragma once

#include <QList>
#include <QMetaType>
#include <QVariant>

// The two-dimensional arrays that the target's components exchange, indexed
// (field, record) like rows fetched from a record set, with explicit bounds.
// Records run from 0; fields from firstField to lastField. A table made with no
// records is one-dimensional (fields only); a default table has no bounds at all.
class VariantTable
{
public:
    VariantTable() = default;
    VariantTable(int firstField, int lastField, int records);

    bool hasBounds() const { return mHasBounds; }
    bool isOneDimensional() const { return mHasBounds && mRecords == 0; }
    int lowerField() const { return mFirstField; }
    int upperField() const { return mLastField; }
    // Bounds of the second index; upperRecord() < lowerRecord() when there are none.
    int lowerRecord() const { return 0; }
    int upperRecord() const { return mRecords - 1; }

    // Cells of a two-dimensional table; out of bounds throws "Subscript out of range".
    QVariant at(int field, int record) const;
    void set(int field, int record, const QVariant& value);
    // Cells of a one-dimensional table.
    QVariant at(int field) const;
    void set(int field, const QVariant& value);

private:
    int cellIndex(int field, int record) const;

    bool mHasBounds = false;
    int mFirstField = 0;
    int mLastField = -1;
    int mRecords = 0;
    QList<QVariant> mCells;
};

Q_DECLARE_METATYPE(VariantTable)

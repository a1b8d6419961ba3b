#include "directory/VariantTable.h"

#include "frame/MigrationError.h"

namespace {
[[noreturn]] void outOfRange()
{
    throw MigrationError(ErrorNumber::SubscriptOutOfRange, QStringLiteral("Subscript out of range"),
                         QStringLiteral("VariantTable"));
}
} // namespace

VariantTable::VariantTable(int firstField, int lastField, int records)
    : mHasBounds(true), mFirstField(firstField), mLastField(lastField),
      mRecords(records < 0 ? 0 : records)
{
    const int fields = lastField - firstField + 1;
    if (fields < 0) {
        outOfRange();
    }
    mCells.resize(qsizetype(fields) * qMax(mRecords, 1));
}

int VariantTable::cellIndex(int field, int record) const
{
    const int fields = mLastField - mFirstField + 1;
    if (!mHasBounds || field < mFirstField || field > mLastField || record < 0 ||
        record >= qMax(mRecords, 1)) {
        outOfRange();
    }
    return record * fields + (field - mFirstField);
}

QVariant VariantTable::at(int field, int record) const
{
    if (mRecords == 0) {
        outOfRange();
    }
    return mCells.at(cellIndex(field, record));
}

void VariantTable::set(int field, int record, const QVariant& value)
{
    if (mRecords == 0) {
        outOfRange();
    }
    mCells[cellIndex(field, record)] = value;
}

QVariant VariantTable::at(int field) const
{
    if (mRecords != 0) {
        outOfRange();
    }
    return mCells.at(cellIndex(field, 0));
}

void VariantTable::set(int field, const QVariant& value)
{
    if (mRecords != 0) {
        outOfRange();
    }
    mCells[cellIndex(field, 0)] = value;
}

#include "pages/TextListModel.h"

namespace {
// Above this many separate runs of removed lines the list is rebuilt in one pass
// instead of being cut run by run.
constexpr int MaximumRuns = 16;
} // namespace

int TextListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(mTexts.size());
}

QVariant TextListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= mTexts.size() ||
        (role != Qt::DisplayRole && role != Qt::ToolTipRole)) {
        return QVariant();
    }
    return mTexts.at(index.row());
}

void TextListModel::setTexts(const QStringList& texts)
{
    beginResetModel();
    mTexts = texts;
    endResetModel();
}

void TextListModel::append(const QStringList& texts)
{
    if (texts.isEmpty()) {
        return;
    }
    const int first = static_cast<int>(mTexts.size());
    beginInsertRows(QModelIndex(), first, first + static_cast<int>(texts.size()) - 1);
    mTexts.append(texts);
    endInsertRows();
}

void TextListModel::removeLine(int row)
{
    if (row < 0 || row >= mTexts.size()) {
        return;
    }
    beginRemoveRows(QModelIndex(), row, row);
    mTexts.removeAt(row);
    endRemoveRows();
}

void TextListModel::removeMarked(const QList<bool>& marked)
{
    // Runs of marked rows, from the last to the first.
    QList<std::pair<int, int>> runs;
    const int count = static_cast<int>(std::min(marked.size(), mTexts.size()));
    for (int row = count - 1; row >= 0; --row) {
        if (!marked.at(row)) {
            continue;
        }
        int first = row;
        while (first > 0 && marked.at(first - 1)) {
            --first;
        }
        runs.append({first, row});
        row = first;
    }
    if (runs.isEmpty()) {
        return;
    }
    if (runs.size() > MaximumRuns) {
        QStringList kept;
        kept.reserve(mTexts.size());
        for (int row = 0; row < mTexts.size(); ++row) {
            if (row >= count || !marked.at(row)) {
                kept.append(mTexts.at(row));
            }
        }
        setTexts(kept);
        return;
    }
    for (const auto& [first, last] : runs) {
        beginRemoveRows(QModelIndex(), first, last);
        mTexts.remove(first, last - first + 1);
        endRemoveRows();
    }
}

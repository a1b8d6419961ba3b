#pragma once

#include <QAbstractListModel>
#include <QStringList>

// The lines of a list box as a plain list of texts, read only. Every change that
// touches many lines costs one pass over the list, whatever the number of lines
// touched, so moving thousands of users between two lists stays linear.
class TextListModel : public QAbstractListModel
{
    Q_OBJECT
public:
    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

    const QStringList& texts() const { return mTexts; }
    QString text(int row) const { return mTexts.value(row); }

    // Replaces every line.
    void setTexts(const QStringList& texts);
    // Adds lines at the end.
    void append(const QStringList& texts);
    void append(const QString& text) { append(QStringList{text}); }
    // Removes one line.
    void removeLine(int row);
    // Removes the lines whose rows are marked, keeping the others in their order.
    void removeMarked(const QList<bool>& marked);

private:
    QStringList mTexts;
};

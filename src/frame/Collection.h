#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <memory>

class Collection;
using CollectionPtr = std::shared_ptr<Collection>;

// An ordered collection of values, each optionally under a text key. Items are read
// by 1-based position or by key; keys compare without regard to letter case, and
// adding a key that is already there throws. Collections are shared through
// CollectionPtr, so every holder of one sees the same items.
class Collection
{
public:
    static CollectionPtr create() { return std::make_shared<Collection>(); }

    void add(const QVariant& value, const QString& key = QString());
    int count() const { return static_cast<int>(mValues.size()); }
    bool isEmpty() const { return mValues.isEmpty(); }

    QVariant item(int position) const;
    QVariant item(const QString& key) const;
    QVariant value(const QString& key, const QVariant& fallback = QVariant()) const;
    CollectionPtr collection(int position) const;
    CollectionPtr collection(const QString& key) const;
    bool contains(const QString& key) const;

    // Key of the item at a 1-based position; empty for an item added without one.
    QString key(int position) const { return mKeys.value(position - 1); }
    QStringList keys() const;
    QList<QVariant> values() const { return mValues; }

    void remove(int position);
    void remove(const QString& key);

private:
    static QString fold(const QString& key) { return key.toLower(); }
    void reindexFrom(int index);

    QList<QVariant> mValues;
    QList<QString> mKeys;
    QHash<QString, int> mIndex;
};

Q_DECLARE_METATYPE(CollectionPtr)

inline QVariant toVariant(const CollectionPtr& collection)
{
    return QVariant::fromValue(collection);
}

// The collection held by a value, or null when the value holds none.
inline CollectionPtr toCollection(const QVariant& value)
{
    return value.canConvert<CollectionPtr>() ? value.value<CollectionPtr>() : CollectionPtr();
}

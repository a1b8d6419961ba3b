#include "frame/Collection.h"

#include "frame/MigrationError.h"

void Collection::add(const QVariant& value, const QString& key)
{
    if (!key.isEmpty()) {
        const QString folded = fold(key);
        if (mIndex.contains(folded)) {
            throw MigrationError(ErrorNumber::DuplicateKey,
                                 QStringLiteral("This key is already associated with an element "
                                                "of this collection"),
                                 QStringLiteral("Collection"));
        }
        mIndex.insert(folded, static_cast<int>(mValues.size()));
    }
    mValues.append(value);
    mKeys.append(key);
}

QVariant Collection::item(int position) const
{
    if (position < 1 || position > mValues.size()) {
        throw MigrationError(ErrorNumber::SubscriptOutOfRange,
                             QStringLiteral("Subscript out of range"),
                             QStringLiteral("Collection"));
    }
    return mValues.at(position - 1);
}

QVariant Collection::item(const QString& key) const
{
    const auto found = mIndex.constFind(fold(key));
    if (key.isEmpty() || found == mIndex.constEnd()) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("Invalid procedure call or argument"),
                             QStringLiteral("Collection"));
    }
    return mValues.at(found.value());
}

QVariant Collection::value(const QString& key, const QVariant& fallback) const
{
    const auto found = mIndex.constFind(fold(key));
    return found == mIndex.constEnd() ? fallback : mValues.at(found.value());
}

CollectionPtr Collection::collection(int position) const
{
    return toCollection(item(position));
}

CollectionPtr Collection::collection(const QString& key) const
{
    return toCollection(item(key));
}

bool Collection::contains(const QString& key) const
{
    return !key.isEmpty() && mIndex.contains(fold(key));
}

QStringList Collection::keys() const
{
    return QStringList(mKeys.begin(), mKeys.end());
}

void Collection::remove(int position)
{
    if (position < 1 || position > mValues.size()) {
        throw MigrationError(ErrorNumber::SubscriptOutOfRange,
                             QStringLiteral("Subscript out of range"),
                             QStringLiteral("Collection"));
    }
    const int index = position - 1;
    if (!mKeys.at(index).isEmpty()) {
        mIndex.remove(fold(mKeys.at(index)));
    }
    mValues.removeAt(index);
    mKeys.removeAt(index);
    reindexFrom(index);
}

void Collection::remove(const QString& key)
{
    const auto found = mIndex.constFind(fold(key));
    if (key.isEmpty() || found == mIndex.constEnd()) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("Invalid procedure call or argument"),
                             QStringLiteral("Collection"));
    }
    remove(found.value() + 1);
}

void Collection::reindexFrom(int index)
{
    for (int i = index; i < mKeys.size(); ++i) {
        if (!mKeys.at(i).isEmpty()) {
            mIndex[fold(mKeys.at(i))] = i;
        }
    }
}

#pragma once

#include "frame/Collection.h"

#include <QList>
#include <QSqlRecord>
#include <QStringList>

// Texts to compare whole instead of item by item: what was lost, reordered or
// renamed shows in one comparison.

// A value as text: a null value as "(null)", a collection as "[item|item]".
QString describe(const QVariant& value);
// The items of a collection in order, "key=value" (only "value" without a key).
QStringList describe(const CollectionPtr& collection);
// Each row as its columns joined by "/"; a flag as 1 or 0 on either engine.
QStringList describe(const QList<QSqlRecord>& rows);

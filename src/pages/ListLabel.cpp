#include "pages/ListLabel.h"

#include <QAbstractItemView>
#include <QLabel>

void labelList(QLabel* label, QAbstractItemView* list)
{
    label->setBuddy(list);
    // "&&" is a shown "&", a single one marks the shortcut letter.
    QString name = label->text();
    name.replace(QStringLiteral("&&"), QStringLiteral("\x01"));
    name.remove(QLatin1Char('&'));
    name.replace(QLatin1Char('\x01'), QLatin1Char('&'));
    list->setAccessibleName(name);
}

#include "pages/TwoListLayout.h"

#include <QGridLayout>
#include <QVBoxLayout>
#include <QWidget>

QGridLayout* twoListLayout(QWidget* leftLabel, QWidget* leftList, QWidget* rightLabel,
                           QWidget* rightList, QWidget* toRight, QWidget* toLeft,
                           QWidget* migrateAll, QWidget* migrateNone)
{
    auto* moves = new QVBoxLayout;
    moves->addStretch(1);
    moves->addWidget(toRight);
    moves->addWidget(toLeft);
    moves->addSpacing(toRight->fontMetrics().height());
    moves->addWidget(migrateAll);
    moves->addWidget(migrateNone);
    moves->addStretch(1);

    auto* lists = new QGridLayout;
    lists->addWidget(leftLabel, 0, 0);
    lists->addWidget(leftList, 1, 0);
    lists->addLayout(moves, 1, 1);
    lists->addWidget(rightLabel, 0, 2);
    lists->addWidget(rightList, 1, 2);
    lists->setColumnStretch(0, 1);
    lists->setColumnStretch(2, 1);
    lists->setRowStretch(1, 1);
    return lists;
}

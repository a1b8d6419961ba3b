#pragma once

class QGridLayout;
class QWidget;

// The layout of the pages that move items between two lists (the users, the
// profiles): each list under its label, and between them the two move buttons over
// "Migrate All" and "Migrate None", centred. Both lists take the spare width and
// height alike.
QGridLayout* twoListLayout(QWidget* leftLabel, QWidget* leftList, QWidget* rightLabel,
                           QWidget* rightList, QWidget* toRight, QWidget* toLeft,
                           QWidget* migrateAll, QWidget* migrateNone);

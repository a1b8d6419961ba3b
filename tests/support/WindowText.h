#pragma once

#include <QString>

class QWidget;

// A window as text for whole comparisons: its title, then one line for every named
// control in the order it was made, with what it shows and how it can be used:
//   NextBtn QPushButton "Next >>" disabled
//   DatabaseCbx QComboBox [Directory|Varnel] current=Varnel
// Controls hidden in the window say "hidden"; checked boxes and buttons "checked".
QString windowText(const QWidget* window);

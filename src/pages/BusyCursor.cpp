#include "pages/BusyCursor.h"

#include <QApplication>

BusyCursor::BusyCursor()
{
    QApplication::setOverrideCursor(Qt::WaitCursor);
}

BusyCursor::~BusyCursor()
{
    QApplication::restoreOverrideCursor();
}

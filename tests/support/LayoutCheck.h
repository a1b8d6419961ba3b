#pragma once

#include <QStringList>

class QWidget;

// Checks of a window's layout that a person would notice: a control cut off or
// squeezed below the size it needs, and the order in which Tab visits the controls.
namespace LayoutCheck {

// The visible controls of a shown window that lie partly outside it or are smaller
// than they need to be (a wrapped label: lower than its text needs at its width), each
// as "<object name>: <what is wrong>".
QStringList clippedControls(const QWidget& window);

// The object names of the controls that Tab visits, in the order of the focus chain,
// starting after the window itself.
QStringList tabChain(const QWidget& window);

} // namespace LayoutCheck

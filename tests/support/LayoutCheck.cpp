#include "LayoutCheck.h"

#include <QLabel>
#include <QWidget>

namespace LayoutCheck {

QStringList clippedControls(const QWidget& window)
{
    QStringList problems;
    const QRect inside = window.rect();
    for (const QWidget* control : window.findChildren<QWidget*>()) {
        if (!control->isVisibleTo(&window) || control->isWindow()) {
            continue;
        }
        const QRect area(control->mapTo(&window, QPoint(0, 0)), control->size());
        const QString name = control->objectName().isEmpty()
                                 ? QLatin1String(control->metaObject()->className())
                                 : control->objectName();
        if (!inside.contains(area)) {
            problems << QStringLiteral("%1: outside the window").arg(name);
            continue;
        }
        const QSize needed = control->minimumSizeHint();
        if (control->width() < needed.width() || control->height() < needed.height()) {
            problems << name + QString::asprintf(": %dx%d, needs %dx%d", control->width(),
                                                 control->height(), needed.width(),
                                                 needed.height());
            continue;
        }
        const auto* label = qobject_cast<const QLabel*>(control);
        if (label != nullptr && label->wordWrap() &&
            label->height() < label->heightForWidth(label->width())) {
            problems << name + QString::asprintf(": %d high, its text needs %d", label->height(),
                                                 label->heightForWidth(label->width()));
        }
    }
    return problems;
}

QStringList tabChain(const QWidget& window)
{
    QStringList names;
    for (const QWidget* widget = window.nextInFocusChain(); widget != &window;
         widget = widget->nextInFocusChain()) {
        if ((widget->focusPolicy() & Qt::TabFocus) != 0 && widget->window() == &window) {
            names << widget->objectName();
        }
    }
    return names;
}

} // namespace LayoutCheck

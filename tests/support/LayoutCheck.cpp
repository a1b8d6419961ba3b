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
            problems << QStringLiteral("%1: %2x%3, needs %4x%5")
                            .arg(name)
                            .arg(control->width())
                            .arg(control->height())
                            .arg(needed.width())
                            .arg(needed.height());
            continue;
        }
        const auto* label = qobject_cast<const QLabel*>(control);
        if (label != nullptr && label->wordWrap() &&
            label->height() < label->heightForWidth(label->width())) {
            problems << QStringLiteral("%1: %2 high, its text needs %3")
                            .arg(name)
                            .arg(label->height())
                            .arg(label->heightForWidth(label->width()));
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

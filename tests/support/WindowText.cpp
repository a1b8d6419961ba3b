#include "support/WindowText.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QComboBox>
#include <QLineEdit>
#include <QProgressBar>
#include <QStringList>

namespace {

QString quoted(const QString& text)
{
    return QLatin1Char('"') + QString(text).replace(QLatin1Char('\n'), QLatin1String("\\n")) +
           QLatin1Char('"');
}

QString shown(const QWidget* widget)
{
    if (const auto* bar = qobject_cast<const QProgressBar*>(widget)) {
        return QStringLiteral("%1 of %2..%3")
            .arg(bar->value())
            .arg(bar->minimum())
            .arg(bar->maximum());
    }
    // Text boxes, group boxes, then labels, buttons and line boxes.
    for (const char* name : {"plainText", "title", "text"}) {
        if (const QVariant value = widget->property(name); value.isValid()) {
            const auto* button = qobject_cast<const QAbstractButton*>(widget);
            const auto* box = qobject_cast<const QLineEdit*>(widget);
            return quoted(value.toString()) +
                   (button && button->isChecked() ? QLatin1String(" checked") : QLatin1String()) +
                   (box && box->echoMode() == QLineEdit::Password ? QLatin1String(" password")
                                                                  : QLatin1String());
        }
    }
    QStringList items;
    QString current;
    if (const auto* list = qobject_cast<const QComboBox*>(widget)) {
        for (int i = 0; i < list->count(); ++i) {
            items << list->itemText(i);
        }
        current = list->currentText();
    } else if (const auto* view = qobject_cast<const QAbstractItemView*>(widget)) {
        const QAbstractItemModel* model = view->model();
        for (int row = 0; model != nullptr && row < model->rowCount(); ++row) {
            items << model->index(row, 0).data().toString();
        }
        current = view->currentIndex().data().toString();
    } else {
        return QString();
    }
    return QLatin1Char('[') + items.join(QLatin1Char('|')) + QStringLiteral("] current=") + current;
}

} // namespace

QString windowText(const QWidget* window)
{
    if (window == nullptr) {
        return QStringLiteral("(no window)\n");
    }
    QString text = window->objectName() + QStringLiteral(" \"") + window->windowTitle() +
                   QStringLiteral("\"\n");
    for (const QWidget* child : window->findChildren<QWidget*>()) {
        const QString name = child->objectName();
        if (name.isEmpty() || name.startsWith(QLatin1String("qt_"))) {
            continue;
        }
        QString line = QStringLiteral("  ") + name + QLatin1Char(' ') +
                       QLatin1String(child->metaObject()->className());
        const QString what = shown(child);
        if (!what.isEmpty()) {
            line += QLatin1Char(' ') + what;
        }
        if (!child->isEnabled()) {
            line += QStringLiteral(" disabled");
        }
        if (!child->isVisibleTo(window)) {
            line += QStringLiteral(" hidden");
        }
        text += line + QLatin1Char('\n');
    }
    return text;
}

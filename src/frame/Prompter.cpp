#include "frame/Prompter.h"

#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>

namespace {
QWidget* ownerOf(QWidget* parent)
{
    return parent != nullptr ? parent : QApplication::activeWindow();
}
} // namespace

Prompter::Answer InteractivePrompter::message(const QString& text, const QString& title, Icon icon,
                                              Buttons buttons, QWidget* parent)
{
    QMessageBox box(ownerOf(parent));
    box.setWindowTitle(title);
    box.setText(text);
    switch (icon) {
    case Icon::Information:
        box.setIcon(QMessageBox::Information);
        break;
    case Icon::Exclamation:
        box.setIcon(QMessageBox::Warning);
        break;
    case Icon::Critical:
        box.setIcon(QMessageBox::Critical);
        break;
    case Icon::Question:
        box.setIcon(QMessageBox::Question);
        break;
    case Icon::None:
        break;
    }
    switch (buttons) {
    case Buttons::Ok:
        box.setStandardButtons(QMessageBox::Ok);
        break;
    case Buttons::OkCancel:
        box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
        break;
    case Buttons::YesNo:
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        break;
    }
    switch (box.exec()) {
    case QMessageBox::Cancel:
        return Answer::Cancel;
    case QMessageBox::Yes:
        return Answer::Yes;
    case QMessageBox::No:
        return Answer::No;
    default:
        return Answer::Ok;
    }
}

QString InteractivePrompter::saveFileName(const QString& title, const QString& filter,
                                          const QString& suggestedName, QWidget* parent)
{
    // The wizard appends to the file chosen, so naming an existing one replaces nothing
    // and the dialog does not ask whether to replace it.
    return QFileDialog::getSaveFileName(ownerOf(parent), title, suggestedName, filter, nullptr,
                                        QFileDialog::DontConfirmOverwrite);
}

namespace {
std::shared_ptr<Prompter>& current()
{
    static std::shared_ptr<Prompter> prompter = std::make_shared<InteractivePrompter>();
    return prompter;
}
} // namespace

Prompter& AppPrompter::prompter()
{
    return *current();
}

void AppPrompter::setPrompter(std::shared_ptr<Prompter> prompter)
{
    current() = prompter ? std::move(prompter) : std::make_shared<InteractivePrompter>();
}

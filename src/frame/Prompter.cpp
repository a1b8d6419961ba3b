#include "frame/Prompter.h"

#include <QFileDialog>
#include <QMessageBox>

Prompter::Answer InteractivePrompter::message(const QString& text, const QString& title, Icon icon,
                                              Buttons buttons)
{
    QMessageBox box;
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
                                          const QString& suggestedName)
{
    return QFileDialog::getSaveFileName(nullptr, title, suggestedName, filter);
}

Prompter::Answer ScriptedPrompter::message(const QString& text, const QString& title, Icon icon,
                                           Buttons buttons)
{
    asked.append({QStringLiteral("message"), text, title, icon, buttons});
    if (!answers.isEmpty()) {
        return answers.takeFirst();
    }
    return buttons == Buttons::YesNo ? Answer::Yes : Answer::Ok;
}

QString ScriptedPrompter::saveFileName(const QString& title, const QString& filter,
                                       const QString& suggestedName)
{
    Q_UNUSED(filter);
    asked.append({QStringLiteral("save"), suggestedName, title, Icon::None, Buttons::Ok});
    return fileNames.isEmpty() ? QString() : fileNames.takeFirst();
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

#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <memory>

class QWidget;

// Every message box, OK/Cancel question and save dialog of the wizard goes through
// one Prompter: the program's shows real dialogs; tests install one that answers
// from a queue and records what was asked.
class Prompter
{
public:
    enum class Icon
    {
        None,
        Information,
        Exclamation,
        Critical,
        Question
    };
    enum class Buttons
    {
        Ok,
        OkCancel,
        YesNo
    };
    enum class Answer
    {
        Ok,
        Cancel,
        Yes,
        No
    };

    virtual ~Prompter() = default;
    // A box over parent, or over the active window when no parent is given.
    virtual Answer message(const QString& text, const QString& title, Icon icon,
                           Buttons buttons = Buttons::Ok, QWidget* parent = nullptr) = 0;
    // The same box with a detail that its text leaves out (what a database answered,
    // which the log has already): the box shows only the text; a prompter that
    // cannot show a box (the unattended mode) adds the detail to what it reports.
    virtual Answer messageWithDetail(const QString& text, const QString& detail,
                                     const QString& title, Icon icon, Buttons buttons = Buttons::Ok,
                                     QWidget* parent = nullptr)
    {
        Q_UNUSED(detail);
        return message(text, title, icon, buttons, parent);
    }
    // The chosen path, or an empty text when the dialog was cancelled. An existing file
    // may be chosen without a question: the wizard appends to it.
    virtual QString saveFileName(const QString& title, const QString& filter,
                                 const QString& suggestedName, QWidget* parent = nullptr) = 0;
};

class InteractivePrompter : public Prompter
{
public:
    Answer message(const QString& text, const QString& title, Icon icon, Buttons buttons,
                   QWidget* parent) override;
    QString saveFileName(const QString& title, const QString& filter, const QString& suggestedName,
                         QWidget* parent) override;
};

namespace AppPrompter {
Prompter& prompter();
// Installs another prompter; a null pointer puts the interactive one back.
void setPrompter(std::shared_ptr<Prompter> prompter);
} // namespace AppPrompter

#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <memory>

// Every message box, OK/Cancel question and save dialog of the wizard goes through
// one Prompter: the interactive one shows real dialogs, the scripted one answers
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
    virtual Answer message(const QString& text, const QString& title, Icon icon,
                           Buttons buttons = Buttons::Ok) = 0;
    // The chosen path, or an empty text when the dialog was cancelled.
    virtual QString saveFileName(const QString& title, const QString& filter,
                                 const QString& suggestedName) = 0;
};

class InteractivePrompter : public Prompter
{
public:
    Answer message(const QString& text, const QString& title, Icon icon, Buttons buttons) override;
    QString saveFileName(const QString& title, const QString& filter,
                         const QString& suggestedName) override;
};

class ScriptedPrompter : public Prompter
{
public:
    struct Asked
    {
        QString kind; // "message" or "save"
        QString text;
        QString title;
        Icon icon = Icon::None;
        Buttons buttons = Buttons::Ok;
    };

    Answer message(const QString& text, const QString& title, Icon icon, Buttons buttons) override;
    QString saveFileName(const QString& title, const QString& filter,
                         const QString& suggestedName) override;

    // Answers are taken from the front; with none left, a message is answered Ok
    // (Yes for a Yes/No question) and a save dialog is cancelled.
    QList<Answer> answers;
    QStringList fileNames;
    QList<Asked> asked;
};

namespace AppPrompter {
Prompter& prompter();
// Installs another prompter; a null pointer puts the interactive one back.
void setPrompter(std::shared_ptr<Prompter> prompter);
} // namespace AppPrompter

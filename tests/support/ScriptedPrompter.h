#pragma once

#include "frame/Prompter.h"

#include <QList>
#include <QString>
#include <QStringList>

// Answers every message box and save dialog from a queue and records what was asked,
// so that page and engine tests run without a person.
class ScriptedPrompter : public Prompter
{
public:
    struct Asked
    {
        QString kind; // "message" or "save"
        QString text; // the message, or the save dialog's filter
        QString title;
        Icon icon = Icon::None;
        Buttons buttons = Buttons::Ok;
        // Object name of the window the box was shown over; empty for none.
        QString parent;
    };

    Answer message(const QString& text, const QString& title, Icon icon, Buttons buttons,
                   QWidget* parent) override;
    QString saveFileName(const QString& title, const QString& filter, const QString& suggestedName,
                         QWidget* parent) override;

    // Answers are taken from the front; with none left, a message is answered Ok
    // (Yes for a Yes/No question) and a save dialog is cancelled.
    QList<Answer> answers;
    QStringList fileNames;
    QList<Asked> asked;

    // The texts of the messages asked so far, in order.
    QStringList messages() const;
};

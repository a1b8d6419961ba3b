#include "ScriptedPrompter.h"

#include <QWidget>

namespace {
QString nameOf(const QWidget* parent)
{
    return parent != nullptr ? parent->objectName() : QString();
}
} // namespace

Prompter::Answer ScriptedPrompter::message(const QString& text, const QString& title, Icon icon,
                                           Buttons buttons, QWidget* parent)
{
    asked.append({QStringLiteral("message"), text, title, icon, buttons, nameOf(parent)});
    return !answers.isEmpty()          ? answers.takeFirst()
           : buttons == Buttons::YesNo ? Answer::Yes
                                       : Answer::Ok;
}

QString ScriptedPrompter::saveFileName(const QString& title, const QString& filter,
                                       const QString& /*suggestedName*/, QWidget* parent)
{
    asked.append({QStringLiteral("save"), filter, title, Icon::None, Buttons::Ok, nameOf(parent)});
    return fileNames.isEmpty() ? QString() : fileNames.takeFirst();
}

QStringList ScriptedPrompter::messages() const
{
    QStringList texts;
    for (const Asked& question : asked) {
        if (question.kind == QLatin1String("message")) {
            texts << question.text;
        }
    }
    return texts;
}

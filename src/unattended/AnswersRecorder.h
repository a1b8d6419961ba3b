#pragma once

#include "frame/Prompter.h"

#include <QString>
#include <QStringList>
#include <memory>
#include <optional>

// Records, on an interactive run, what the administrator answers beyond the pages
// (the "Could not Add Store" question, the files the report is saved to) while the
// prompter it wraps asks as usual, and writes an answers file of the whole run: the
// pages' choices as the state store holds them, and those answers. A clicked
// rehearsal so becomes a run that can be repeated with --answers.
class AnswersRecorder : public Prompter
{
public:
    explicit AnswersRecorder(std::shared_ptr<Prompter> asks);

    Answer message(const QString& text, const QString& title, Icon icon, Buttons buttons,
                   QWidget* parent) override;
    QString saveFileName(const QString& title, const QString& filter, const QString& suggestedName,
                         QWidget* parent) override;

    // The answer to "Could not Add Store", when it was asked.
    std::optional<bool> continueAfterFailedStore;
    // The files the report was saved to, in order.
    QStringList savedReports;

    // The answers file. Passwords are never written: a database with SQL Server
    // authentication gets password-env= with a variable to set before the run.
    QString answersText() const;
    // Writes answersText() to path, readable by its owner only; raises MigrationError
    // naming the file when it cannot be written.
    void write(const QString& path) const;

    // The environment variables the written file reads the passwords from.
    static inline const QString SourcePasswordVariable = QStringLiteral("VARNEL_SOURCE_PASSWORD");
    static inline const QString TargetPasswordVariable = QStringLiteral("VARNEL_TARGET_PASSWORD");

private:
    std::shared_ptr<Prompter> mAsks;
};

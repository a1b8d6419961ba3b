#pragma once

#include "demo/DemoData.h"
#include "support/Engines.h"

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <memory>

class QTemporaryDir;
class RunJournal;

// What the tests of the unattended mode and of the run journal share: files, texts
// with what changes from run to run masked, a migration's databases with its
// zephrin.ini, and the program itself run on them.

QByteArray readAll(const QString& path);
// Fails the test when the file cannot be written.
void writeFile(const QString& path, const QByteArray& bytes);
bool copyFolder(const QString& from, const QString& to);

// Log entries with their time stamps as "<time>".
QStringList withoutTimes(const QStringList& entries);
// The login and new password of each line of the report's change table; a name
// that takes two lines gives one pair.
QList<QPair<QString, QString>> changedPasswords(const QString& report);
// The report with those passwords as "<password>": they are made anew on every run.
QString withoutPasswords(const QString& report);

// A zephrin.ini that names the Directory and sends the e-mails to a pickup folder.
QByteArray zephrinIni(const QString& directory, const QString& pickupFolder);
// A [source] or [target] section that names a test database as its page would.
QString databaseSection(const QString& section, const TestDatabase& database);

// What the program did: its exit status (-1 when it crashed or did not end) and what
// it printed.
struct ProgramOutput
{
    int status = -1;
    QString out;
    QString err;
};

// The program linked (or copied) into a folder, so that its log and journal go there.
QString linkedProgram(const QString& folder);
// Runs a program in a folder. environment holds NAME=value to set and NAME to take
// away.
ProgramOutput runProgram(const QString& program, const QStringList& arguments,
                         const QString& folder, const QStringList& environment = {});

// A code block ("ini" or "sh") of docs/answers-file.md's complete example.
QString docsExample(const QString& language);
// The rows of a CSV file as Python's csv module reads them (a reader written apart from
// the wizard's writer), one JSON array a line.
QString pythonCsv(const QString& path);

// What became of an unattended run in this process.
struct AnswersRun
{
    int status = -1;
    QString stopReason;
    QStringList notes;
    QByteArray csv;
};
// Runs the wizard from the answers (written to <folder>/answers.ini) as the program
// does, with the outcome in <folder>/outcome.csv.
AnswersRun runAnswers(const QString& folder, const QString& text);

// A run of the engine in this process on the state as filled, resumed from a journal
// when one is given, stopped after as many users when stopAfter is set; its journal.
QString runEngine(std::unique_ptr<RunJournal> resumed = {}, int stopAfter = 0);
// Texts as lines (CR LF as line ends) with a folder as <folder>, the per-user folder
// as <fallback> and why a mail server could not be reached as <why>.
QString masked(const QString& folder, const QStringList& texts,
               const QString& fallback = QStringLiteral("<fallback>"));

// A migration of demo content on one engine: its source and Directory, and a folder
// (its own, or the one given) with a zephrin.ini that names the Directory and mails
// into mail/.
class Installation
{
public:
    Installation(const QString& engine, const DemoData::DemoContent& content,
                 const QString& folder = QString());
    ~Installation();

    QString folder() const { return mFolder; }
    QString path(const QString& name) const { return mFolder + u'/' + name; }
    QString ini() const { return path(QStringLiteral("zephrin.ini")); }
    QString mailFolder() const { return path(QStringLiteral("mail")); }
    // The [source] and [target] sections of an answers file.
    QString sections() const;
    // The Directory's users, stores, services and profiles (no encoded password).
    QStringList directory() const;
    QString program() const { return linkedProgram(mFolder); }
    // The program run in the folder with this zephrin.ini.
    ProgramOutput run(const QStringList& arguments, const QStringList& environment = {});

    TestDatabase source;
    TestDatabase target;

private:
    std::unique_ptr<QTemporaryDir> mOwnFolder;
    QString mFolder;
};

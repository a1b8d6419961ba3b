#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <stdexcept>

// What the answers file says, what it leaves out, and where it says it.
//
// The answers file holds the choices of one migration, page by page, so that the
// wizard can walk its pages without a person (varnel-migrate --answers FILE):
//
//   [source]           server, authentication (windows|sql), login, password or
//   [target]           password-env (the name of an environment variable), database
//   [stores]           exchange2000, exchange55 (lists of servers),
//                      could-not-add-store (continue|stop)
//   [users]            migrate (all|none), or ids (source user IDs), or logins
//   [conflicts]        default, <source user ID>, login:<login ID>; each
//                      new-login|update|replace|skip
//   [email]            template (a title, or none)
//   [service-account]  server, alias, address
//   [profiles]         migrate (all|none), or names
//   [report]           save (a file the report is appended to)
//
// A ';' after a blank begins a comment, as in zephrin.ini; a value in double quotes
// keeps its blanks and its ';', and "" in it stands for one quote. A list is
// separated by commas; an item in double quotes keeps its commas. Every key may
// stand once in its section. The file is UTF-8, or Latin-1 when it is not valid
// UTF-8.
class AnswersFile
{
public:
    // One answer and the line it stands on (0 when the file does not give it).
    struct Answer
    {
        QString value;
        int line = 0;
        // The value stood in double quotes, so "none" or "all" is a name.
        bool quoted = false;
        // The text after the '=' without its comment, quotes kept: what a list is
        // split from.
        QString raw;
        bool given() const { return line > 0; }
    };

    struct Database
    {
        // The section stands in the file.
        bool given = false;
        Answer server;
        Answer authentication;
        Answer login;
        Answer password;
        Answer passwordEnv;
        Answer database;
        // 1 for SQL Server authentication, 0 for Windows NT authentication.
        int authenticationCode = 0;
        // The password itself, from the file or from its environment variable.
        QString passwordValue;
    };

    // A conflict decision: the conflict dialog's option, or Skip (its Cancel: the user
    // stays behind).
    enum Decision
    {
        Skip = -1,
        NewLogin = 0,
        Update = 1,
        Replace = 2
    };
    struct DecisionAnswer
    {
        Decision decision = Skip;
        int line = 0;
    };

    enum class Choice
    {
        Unanswered,
        All,
        None,
        Listed
    };

    // Reads and checks the file; the error names the file, the line and what is wrong.
    static AnswersFile Read(const QString& path);
    // The same for contents as if read from path.
    static AnswersFile Parse(const QString& path, const QByteArray& contents);

    QString path;

    Database source;
    Database target;

    Answer e2kServers;
    Answer e55Servers;
    QStringList e2kServerList;
    QStringList e55ServerList;
    Answer couldNotAddStore;
    // could-not-add-store=continue.
    bool continueAfterFailedStore = false;

    Choice users = Choice::Unanswered;
    Answer usersAnswer;
    // With Listed: the source user IDs, or else the login IDs, in the order given.
    QList<int> userIDs;
    QStringList userLogins;

    bool hasDefaultDecision = false;
    DecisionAnswer defaultDecision;
    QHash<int, DecisionAnswer> decisionsByID;
    // Keyed by the login ID in lower case.
    QHash<QString, DecisionAnswer> decisionsByLogin;
    // The login ID as the file writes it, by the same key.
    QHash<QString, QString> decisionLogins;

    Answer emailTemplate;
    // template=none.
    bool sendNoEmail = false;

    Answer serviceServer;
    Answer serviceAlias;
    Answer serviceAddress;

    Choice profiles = Choice::Unanswered;
    Answer profilesAnswer;
    QStringList profileNames;

    Answer reportSave;
    // The report file, relative to the answers file's folder when not absolute.
    QString reportPath;

    // "FILE, line N" of an answer's line, or "FILE" for 0.
    QString where(int line) const;

    // The text of a decision as the file writes it.
    static QString DecisionName(int decision);
    // A value or a list item written so that the file reads it back unchanged.
    static QString Quoted(const QString& value);
    static QString QuotedItem(const QString& item);
};

// A file that cannot be read, a line that is wrong or an answer that is missing: the
// message names the file, the line (where there is one) and the answer.
class AnswersError : public std::runtime_error
{
public:
    explicit AnswersError(const QString& message)
        : std::runtime_error(message.toStdString()), mMessage(message)
    {
    }
    QString message() const { return mMessage; }

private:
    QString mMessage;
};

#include "unattended/AnswersFile.h"

#include "frame/IniText.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcessEnvironment>

namespace {

using IniText::isComment;
using IniText::withoutComment;

const QLatin1String SectionSource{"source"};
const QLatin1String SectionTarget{"target"};
const QLatin1String SectionStores{"stores"};
const QLatin1String SectionUsers{"users"};
const QLatin1String SectionConflicts{"conflicts"};
const QLatin1String SectionEmail{"email"};
const QLatin1String SectionService{"service-account"};
const QLatin1String SectionProfiles{"profiles"};
const QLatin1String SectionReport{"report"};

const QLatin1String LoginPrefix{"login:"};

// The keys each section takes; [conflicts] takes user IDs and login IDs besides.
const QHash<QString, QStringList>& knownKeys()
{
    static const QHash<QString, QStringList> keys = {
        {SectionSource,
         {"server", "authentication", "login", "password", "password-env", "database"}},
        {SectionTarget,
         {"server", "authentication", "login", "password", "password-env", "database"}},
        {SectionStores, {"exchange2000", "exchange55", "could-not-add-store"}},
        {SectionUsers, {"migrate", "ids", "logins"}},
        {SectionConflicts, {"default"}},
        {SectionEmail, {"template"}},
        {SectionService, {"server", "alias", "address"}},
        {SectionProfiles, {"migrate", "names"}},
        {SectionReport, {"save"}},
    };
    return keys;
}

bool isQuoted(const QString& text)
{
    return text.size() >= 2 && text.startsWith(QLatin1Char('"')) && text.endsWith(QLatin1Char('"'));
}

QString unquoted(const QString& text)
{
    return isQuoted(text)
               ? text.mid(1, text.size() - 2).replace(QStringLiteral("\"\""), QStringLiteral("\""))
               : text;
}

// A line as the messages show it: control characters as '?', cut after 60.
QString shown(const QString& line)
{
    constexpr qsizetype Shown = 60;
    QString text = line.left(Shown);
    for (QChar& c : text) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F) {
            c = QLatin1Char('?');
        }
    }
    return line.size() > Shown ? text + QStringLiteral("...") : text;
}

struct Setting
{
    QString section;
    QString key;
    AnswersFile::Answer answer;
};

class Reader
{
public:
    explicit Reader(AnswersFile& file) : mFile(file) {}

    void read(const QString& text)
    {
        const QStringList lines = text.split(QLatin1Char('\n'));
        QString section;
        for (int number = 1; number <= lines.size(); ++number) {
            const QString line = lines.at(number - 1).trimmed();
            if (line.isEmpty() || isComment(line)) {
                continue;
            }
            if (line.startsWith(QLatin1Char('['))) {
                const qsizetype close = line.indexOf(QLatin1Char(']'));
                const QString rest = close < 0 ? QString() : line.mid(close + 1).trimmed();
                if (close < 0 || !(rest.isEmpty() || isComment(rest))) {
                    fail(number, QStringLiteral("this line is neither a [section], a "
                                                "name=value answer nor a comment: \"%1\"")
                                     .arg(shown(line)));
                }
                section = line.mid(1, close - 1).trimmed().toLower();
                if (!knownKeys().contains(section)) {
                    fail(number, QStringLiteral("there is no section [%1]; the sections are "
                                                "[source], [target], [stores], [users], "
                                                "[conflicts], [email], [service-account], "
                                                "[profiles] and [report]")
                                     .arg(line.mid(1, close - 1).trimmed()));
                }
                mSections.insert(section, number);
                continue;
            }
            const qsizetype eq = line.indexOf(QLatin1Char('='));
            if (eq <= 0) {
                fail(number, QStringLiteral("this line is neither a [section], a name=value "
                                            "answer nor a comment: \"%1\"")
                                 .arg(shown(line)));
            }
            if (section.isEmpty()) {
                fail(number, QStringLiteral("the answer \"%1\" stands before any [section]")
                                 .arg(shown(line)));
            }
            const QString keyText = line.left(eq).trimmed();
            const QString key = keyText.toLower();
            checkKey(number, section, keyText);
            const QString place = section + QLatin1Char('\n') + key;
            if (const auto earlier = mLines.constFind(place); earlier != mLines.constEnd()) {
                fail(number, QStringLiteral("[%1] %2 is answered twice, on line %3 and here")
                                 .arg(section, keyText)
                                 .arg(*earlier));
            }
            mLines.insert(place, number);
            const QString raw = withoutComment(line.mid(eq + 1));
            mSettings << Setting{section, keyText, {unquoted(raw), number, isQuoted(raw), raw}};
        }
    }

    bool hasSection(QLatin1String section) const { return mSections.contains(section); }

    // The answer to a key of a section, not given when the file has none.
    AnswersFile::Answer answer(QLatin1String section, const char* key) const
    {
        for (const Setting& setting : mSettings) {
            if (setting.section == section &&
                setting.key.compare(QLatin1String(key), Qt::CaseInsensitive) == 0) {
                return setting.answer;
            }
        }
        return {};
    }

    QList<Setting> settingsOf(QLatin1String section) const
    {
        QList<Setting> found;
        for (const Setting& setting : mSettings) {
            if (setting.section == section) {
                found << setting;
            }
        }
        return found;
    }

    [[noreturn]] void fail(int line, const QString& what) const
    {
        throw AnswersError(mFile.where(line) + QStringLiteral(": ") + what);
    }

private:
    void checkKey(int number, const QString& section, const QString& key) const
    {
        const QString lower = key.toLower();
        if (knownKeys().value(section).contains(lower)) {
            return;
        }
        if (section == SectionConflicts) {
            bool number_ = false;
            const int id = key.toInt(&number_);
            if ((number_ && id > 0) ||
                (lower.startsWith(LoginPrefix) && key.size() > LoginPrefix.size())) {
                return;
            }
            fail(number, QStringLiteral("[conflicts] takes default=, <source user ID>= and "
                                        "login:<login ID>=, not \"%1\"")
                             .arg(key));
        }
        fail(number, QStringLiteral("[%1] has no answer \"%2\"; it takes %3")
                         .arg(section, key, knownKeys().value(section).join(QStringLiteral(", "))));
    }

    AnswersFile& mFile;
    QList<Setting> mSettings;
    QHash<QString, int> mLines;
    QHash<QString, int> mSections;
};

// The items of a list: separated by commas outside double quotes, each trimmed and
// unquoted. An empty item is refused.
QStringList listItems(const Reader& reader, const QString& section, const QString& key,
                      const AnswersFile::Answer& answer)
{
    QStringList items;
    QString current;
    bool quoted = false;
    const auto close = [&] {
        const QString item = current.trimmed();
        if (item.isEmpty()) {
            reader.fail(answer.line, QStringLiteral("[%1] %2 has an empty item; separate the "
                                                    "items with one comma each")
                                         .arg(section, key));
        }
        items << unquoted(item);
        current.clear();
    };
    for (const QChar c : answer.raw) {
        if (c == QLatin1Char('"')) {
            quoted = !quoted;
        }
        if (c == QLatin1Char(',') && !quoted) {
            close();
        } else {
            current += c;
        }
    }
    if (quoted) {
        reader.fail(
            answer.line,
            QStringLiteral("[%1] %2 has a double quote that is not closed").arg(section, key));
    }
    close();
    return items;
}

void readDatabase(const Reader& reader, QLatin1String section, AnswersFile::Database& database)
{
    database.given = reader.hasSection(section);
    if (!database.given) {
        return;
    }
    database.server = reader.answer(section, "server");
    database.authentication = reader.answer(section, "authentication");
    database.login = reader.answer(section, "login");
    database.password = reader.answer(section, "password");
    database.passwordEnv = reader.answer(section, "password-env");
    database.database = reader.answer(section, "database");
    const auto require = [&](const AnswersFile::Answer& answer, const char* key) {
        if (!answer.given() || answer.value.isEmpty()) {
            reader.fail(answer.line, QStringLiteral("[%1] needs %2=").arg(section).arg(key));
        }
    };
    require(database.server, "server");
    require(database.database, "database");
    const QString authentication = database.authentication.value.toLower();
    if (!database.authentication.given() || authentication == QLatin1String("windows")) {
        database.authenticationCode = 0;
        for (const AnswersFile::Answer* credential :
             {&database.login, &database.password, &database.passwordEnv}) {
            if (credential->given()) {
                reader.fail(credential->line,
                            QStringLiteral("[%1] takes a login and a password only with "
                                           "authentication=sql")
                                .arg(section));
            }
        }
        return;
    }
    if (authentication != QLatin1String("sql")) {
        reader.fail(database.authentication.line,
                    QStringLiteral("[%1] authentication is windows or sql, not \"%2\"")
                        .arg(section, database.authentication.value));
    }
    database.authenticationCode = 1;
    if (!database.login.given()) {
        reader.fail(0, QStringLiteral("[%1] needs login= with authentication=sql").arg(section));
    }
    if (database.password.given() == database.passwordEnv.given()) {
        reader.fail(database.password.given() ? database.passwordEnv.line : 0,
                    QStringLiteral("[%1] needs either password= or password-env= with "
                                   "authentication=sql")
                        .arg(section));
    }
    if (database.password.given()) {
        database.passwordValue = database.password.value;
        return;
    }
    const QString variable = database.passwordEnv.value;
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (variable.isEmpty() || !environment.contains(variable)) {
        reader.fail(database.passwordEnv.line,
                    QStringLiteral("[%1] password-env: the environment variable \"%2\" is not set")
                        .arg(section, variable));
    }
    database.passwordValue = environment.value(variable);
}

AnswersFile::Decision decisionOf(const Reader& reader, const QString& key,
                                 const AnswersFile::Answer& answer)
{
    const QString value = answer.value.toLower();
    for (const int decision :
         {AnswersFile::NewLogin, AnswersFile::Update, AnswersFile::Replace, AnswersFile::Skip}) {
        if (value == AnswersFile::DecisionName(decision)) {
            return static_cast<AnswersFile::Decision>(decision);
        }
    }
    reader.fail(answer.line, QStringLiteral("[conflicts] %1: the decision is new-login, update, "
                                            "replace or skip, not \"%2\"")
                                 .arg(key, answer.value));
}

// "all", "none" or not given; anything else is refused.
AnswersFile::Choice allOrNone(const Reader& reader, QLatin1String section,
                              const AnswersFile::Answer& answer)
{
    if (!answer.given()) {
        return AnswersFile::Choice::Unanswered;
    }
    const QString value = answer.value.toLower();
    if (value == QLatin1String("all")) {
        return AnswersFile::Choice::All;
    }
    if (value == QLatin1String("none")) {
        return AnswersFile::Choice::None;
    }
    reader.fail(
        answer.line,
        QStringLiteral("[%1] migrate is all or none, not \"%2\"").arg(section, answer.value));
}

} // namespace

QString AnswersFile::where(int line) const
{
    return line > 0 ? QStringLiteral("%1, line %2").arg(path).arg(line) : path;
}

QString AnswersFile::DecisionName(int decision)
{
    switch (decision) {
    case NewLogin:
        return QStringLiteral("new-login");
    case Update:
        return QStringLiteral("update");
    case Replace:
        return QStringLiteral("replace");
    default:
        return QStringLiteral("skip");
    }
}

QString AnswersFile::Quoted(const QString& value)
{
    const bool plain = !value.contains(QLatin1Char(';')) && !value.contains(QLatin1Char('"')) &&
                       value == value.trimmed() && !value.contains(QLatin1Char('\n')) &&
                       !value.contains(QLatin1Char('\r'));
    return plain ? value
                 : QLatin1Char('"') +
                       QString(value).replace(QStringLiteral("\""), QStringLiteral("\"\"")) +
                       QLatin1Char('"');
}

QString AnswersFile::QuotedItem(const QString& item)
{
    return item.contains(QLatin1Char(','))
               ? QLatin1Char('"') +
                     QString(item).replace(QStringLiteral("\""), QStringLiteral("\"\"")) +
                     QLatin1Char('"')
               : Quoted(item);
}

AnswersFile AnswersFile::Read(const QString& path)
{
    QFile file(path);
    if (!QFileInfo(path).isFile()) {
        throw AnswersError(QStringLiteral("%1: the answers file was not found").arg(path));
    }
    if (!file.open(QIODevice::ReadOnly)) {
        throw AnswersError(QStringLiteral("%1: the answers file cannot be read: %2")
                               .arg(path, file.errorString()));
    }
    return Parse(path, file.readAll());
}

AnswersFile AnswersFile::Parse(const QString& path, const QByteArray& contents)
{
    AnswersFile file;
    file.path = path;
    Reader reader(file);
    reader.read(IniText::decode(contents));

    // The pages every route shows need their answers; the others are checked when
    // their page is shown.
    if (!reader.hasSection(SectionSource)) {
        reader.fail(0, QStringLiteral("there is no [source] section: the source database page "
                                      "needs server= and database="));
    }
    readDatabase(reader, SectionSource, file.source);
    readDatabase(reader, SectionTarget, file.target);

    file.e2kServers = reader.answer(SectionStores, "exchange2000");
    file.e55Servers = reader.answer(SectionStores, "exchange55");
    if (file.e2kServers.given() && !file.e2kServers.value.isEmpty()) {
        file.e2kServerList =
            listItems(reader, SectionStores, QStringLiteral("exchange2000"), file.e2kServers);
    }
    if (file.e55Servers.given() && !file.e55Servers.value.isEmpty()) {
        file.e55ServerList =
            listItems(reader, SectionStores, QStringLiteral("exchange55"), file.e55Servers);
    }
    for (const QString& server : file.e55ServerList) {
        if (file.e2kServerList.contains(server, Qt::CaseInsensitive)) {
            reader.fail(file.e55Servers.line,
                        QStringLiteral("[stores] names %1 as an Exchange 2000/2003 server (line "
                                       "%2) and as an Exchange 5.5 server")
                            .arg(server)
                            .arg(file.e2kServers.line));
        }
    }
    file.couldNotAddStore = reader.answer(SectionStores, "could-not-add-store");
    if (file.couldNotAddStore.given()) {
        const QString value = file.couldNotAddStore.value.toLower();
        if (value != QLatin1String("continue") && value != QLatin1String("stop")) {
            reader.fail(file.couldNotAddStore.line,
                        QStringLiteral("[stores] could-not-add-store is continue or stop, not "
                                       "\"%1\"")
                            .arg(file.couldNotAddStore.value));
        }
        file.continueAfterFailedStore = value == QLatin1String("continue");
    } else if (!file.e2kServerList.isEmpty() || !file.e55ServerList.isEmpty()) {
        // The question comes during the run, when stores may have been added already.
        reader.fail(0, QStringLiteral("[stores] types servers as stores but does not answer "
                                      "\"Could not Add Store\": add could-not-add-store=continue "
                                      "or could-not-add-store=stop"));
    }

    const Answer migrate = reader.answer(SectionUsers, "migrate");
    const Answer ids = reader.answer(SectionUsers, "ids");
    const Answer logins = reader.answer(SectionUsers, "logins");
    const int usersGiven =
        (migrate.given() ? 1 : 0) + (ids.given() ? 1 : 0) + (logins.given() ? 1 : 0);
    if (usersGiven != 1) {
        reader.fail(usersGiven > 1 ? std::max({migrate.line, ids.line, logins.line}) : 0,
                    QStringLiteral("[users] needs exactly one of migrate=all, migrate=none, ids= "
                                   "and logins="));
    }
    if (migrate.given()) {
        file.users = allOrNone(reader, SectionUsers, migrate);
        file.usersAnswer = migrate;
    } else if (ids.given()) {
        file.users = Choice::Listed;
        file.usersAnswer = ids;
        for (const QString& item : listItems(reader, SectionUsers, QStringLiteral("ids"), ids)) {
            bool number = false;
            const int id = item.toInt(&number);
            if (!number || id <= 0) {
                reader.fail(
                    ids.line,
                    QStringLiteral("[users] ids: \"%1\" is not a source user ID").arg(item));
            }
            if (file.userIDs.contains(id)) {
                reader.fail(ids.line, QStringLiteral("[users] ids names user %1 twice").arg(id));
            }
            file.userIDs << id;
        }
    } else {
        file.users = Choice::Listed;
        file.usersAnswer = logins;
        for (const QString& item :
             listItems(reader, SectionUsers, QStringLiteral("logins"), logins)) {
            if (file.userLogins.contains(item, Qt::CaseInsensitive)) {
                reader.fail(logins.line, QStringLiteral("[users] logins names %1 twice").arg(item));
            }
            file.userLogins << item;
        }
    }

    for (const Setting& setting : reader.settingsOf(SectionConflicts)) {
        const DecisionAnswer decision{decisionOf(reader, setting.key, setting.answer),
                                      setting.answer.line};
        const QString key = setting.key.toLower();
        if (key == QLatin1String("default")) {
            file.hasDefaultDecision = true;
            file.defaultDecision = decision;
        } else if (key.startsWith(LoginPrefix)) {
            const QString login = setting.key.mid(LoginPrefix.size()).trimmed();
            if (file.decisionsByLogin.contains(login.toLower())) {
                reader.fail(setting.answer.line,
                            QStringLiteral("[conflicts] decides for login ID %1 twice, on line "
                                           "%2 and here")
                                .arg(login)
                                .arg(file.decisionsByLogin.value(login.toLower()).line));
            }
            file.decisionsByLogin.insert(login.toLower(), decision);
            file.decisionLogins.insert(login.toLower(), login);
        } else {
            file.decisionsByID.insert(setting.key.toInt(), decision);
        }
    }

    file.emailTemplate = reader.answer(SectionEmail, "template");
    if (reader.hasSection(SectionEmail) &&
        (!file.emailTemplate.given() || file.emailTemplate.value.isEmpty())) {
        reader.fail(file.emailTemplate.line,
                    QStringLiteral("[email] needs template= with a template's title, or "
                                   "template=none"));
    }
    file.sendNoEmail =
        file.emailTemplate.given() && !file.emailTemplate.quoted &&
        file.emailTemplate.value.compare(QLatin1String("none"), Qt::CaseInsensitive) == 0;

    file.serviceServer = reader.answer(SectionService, "server");
    file.serviceAlias = reader.answer(SectionService, "alias");
    file.serviceAddress = reader.answer(SectionService, "address");
    if (reader.hasSection(SectionService)) {
        for (const auto& [answer, key] :
             {std::pair{&file.serviceServer, "server"}, std::pair{&file.serviceAlias, "alias"},
              std::pair{&file.serviceAddress, "address"}}) {
            if (!answer->given()) {
                reader.fail(0, QStringLiteral("[service-account] needs %1=").arg(key));
            }
        }
    }

    const Answer profiles = reader.answer(SectionProfiles, "migrate");
    const Answer names = reader.answer(SectionProfiles, "names");
    if (profiles.given() == names.given()) {
        reader.fail(profiles.given() ? names.line : 0,
                    QStringLiteral("[profiles] needs exactly one of migrate=all, migrate=none "
                                   "and names="));
    }
    if (profiles.given()) {
        file.profiles = allOrNone(reader, SectionProfiles, profiles);
        file.profilesAnswer = profiles;
    } else {
        file.profiles = Choice::Listed;
        file.profilesAnswer = names;
        file.profileNames = listItems(reader, SectionProfiles, QStringLiteral("names"), names);
    }

    file.reportSave = reader.answer(SectionReport, "save");
    if (reader.hasSection(SectionReport)) {
        if (!file.reportSave.given() || file.reportSave.value.isEmpty()) {
            reader.fail(file.reportSave.line, QStringLiteral("[report] needs save= with a file"));
        }
        file.reportPath =
            QDir::cleanPath(QFileInfo(path).absoluteDir().absoluteFilePath(file.reportSave.value));
        const QFileInfo folder(QFileInfo(file.reportPath).absolutePath());
        if (!folder.isDir()) {
            reader.fail(file.reportSave.line,
                        QStringLiteral("[report] save: the folder %1 does not exist")
                            .arg(folder.filePath()));
        }
    }
    return file;
}

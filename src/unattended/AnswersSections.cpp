#include "unattended/AnswersSections.h"

#include <QDir>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QSet>

#include <algorithm>
#include <unordered_set>

namespace AnswersText {

namespace {

using Answer = AnswersFile::Answer;
using DecisionAnswer = AnswersFile::DecisionAnswer;
using Choice = AnswersFile::Choice;

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

void readDatabases(const Reader& reader, AnswersFile& file)
{
    readDatabase(reader, SectionSource, file.source);
    readDatabase(reader, SectionTarget, file.target);
}

void readStores(const Reader& reader, AnswersFile& file)
{
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
}

void readUsers(const Reader& reader, AnswersFile& file)
{
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
    QSet<int> seenIDs;
    std::unordered_set<QString> seenLogins;
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
            if (seenIDs.contains(id)) {
                reader.fail(ids.line, QStringLiteral("[users] ids names user %1 twice").arg(id));
            }
            seenIDs.insert(id);
            file.userIDs << id;
        }
    } else {
        file.users = Choice::Listed;
        file.usersAnswer = logins;
        for (const QString& item :
             listItems(reader, SectionUsers, QStringLiteral("logins"), logins)) {
            // Folded once per login, so a long list is read in one pass.
            if (!seenLogins.insert(item.toCaseFolded()).second) {
                reader.fail(logins.line, QStringLiteral("[users] logins names %1 twice").arg(item));
            }
            file.userLogins << item;
        }
    }
}

void readConflicts(const Reader& reader, AnswersFile& file)
{
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
}

void readEmail(const Reader& reader, AnswersFile& file)
{
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
}

void readServiceAccount(const Reader& reader, AnswersFile& file)
{
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
}

void readProfiles(const Reader& reader, AnswersFile& file)
{
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
}

void readReport(const Reader& reader, AnswersFile& file)
{
    file.reportSave = reader.answer(SectionReport, "save");
    if (reader.hasSection(SectionReport)) {
        if (!file.reportSave.given() || file.reportSave.value.isEmpty()) {
            reader.fail(file.reportSave.line, QStringLiteral("[report] needs save= with a file"));
        }
        file.reportPath = QDir::cleanPath(
            QFileInfo(file.path).absoluteDir().absoluteFilePath(file.reportSave.value));
        const QFileInfo folder(QFileInfo(file.reportPath).absolutePath());
        if (!folder.isDir()) {
            reader.fail(file.reportSave.line,
                        QStringLiteral("[report] save: the folder %1 does not exist")
                            .arg(folder.filePath()));
        }
    }
}

} // namespace AnswersText

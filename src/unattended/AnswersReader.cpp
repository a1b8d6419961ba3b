#include "unattended/AnswersReader.h"

#include "frame/IniText.h"

using IniText::isComment;
using IniText::withoutComment;

namespace AnswersText {

namespace {

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

} // namespace

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

void Reader::read(const QString& text)
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
                                 .arg(shown(line.mid(1, close - 1).trimmed())));
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
            fail(number,
                 QStringLiteral("the answer \"%1\" stands before any [section]").arg(shown(line)));
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

AnswersFile::Answer Reader::answer(QLatin1String section, const char* key) const
{
    for (const Setting& setting : mSettings) {
        if (setting.section == section &&
            setting.key.compare(QLatin1String(key), Qt::CaseInsensitive) == 0) {
            return setting.answer;
        }
    }
    return {};
}

QList<Setting> Reader::settingsOf(QLatin1String section) const
{
    QList<Setting> found;
    for (const Setting& setting : mSettings) {
        if (setting.section == section) {
            found << setting;
        }
    }
    return found;
}

void Reader::fail(int line, const QString& what) const
{
    throw AnswersError(mFile.where(line) + QStringLiteral(": ") + what);
}

void Reader::checkKey(int number, const QString& section, const QString& key) const
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
                         .arg(shown(key)));
    }
    fail(number,
         QStringLiteral("[%1] has no answer \"%2\"; it takes %3")
             .arg(section, shown(key), knownKeys().value(section).join(QStringLiteral(", "))));
}

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

} // namespace AnswersText

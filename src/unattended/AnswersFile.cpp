#include "unattended/AnswersFile.h"

#include "frame/IniText.h"
#include "unattended/AnswersSections.h"

#include <QFile>
#include <QFileInfo>

using namespace AnswersText;

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
    readDatabases(reader, file);
    readStores(reader, file);
    readUsers(reader, file);
    readConflicts(reader, file);
    readEmail(reader, file);
    readServiceAccount(reader, file);
    readProfiles(reader, file);
    readReport(reader, file);
    return file;
}

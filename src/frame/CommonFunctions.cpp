#include "frame/CommonFunctions.h"

#include "frame/FileWriting.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>

namespace {

const QString crlf = QStringLiteral("\r\n");
QString lastLogFilePath;

// One entry goes into the file whole or not at all.
bool appendEntry(const QString& path, const QByteArray& bytes)
{
    try {
        FileWriting::AppendWhole(path, bytes, QStringLiteral("CommonFunctions.WriteLog"));
    } catch (const MigrationError&) {
        return false;
    }
    lastLogFilePath = path;
    return true;
}

} // namespace

QByteArray CommonFunctions::ToSingleByte(const QString& text)
{
    return text.toLatin1();
}

QString CommonFunctions::ProgramFolder()
{
    if (!GlobalVariables::gsProgramFolder.isEmpty()) {
        return GlobalVariables::gsProgramFolder;
    }
    return QCoreApplication::applicationDirPath();
}

QString CommonFunctions::FallbackLogFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
}

bool CommonFunctions::InstalledUnderUsr()
{
    return QDir::cleanPath(ProgramFolder()).startsWith(QLatin1String("/usr/"));
}

QString CommonFunctions::LastLogFilePath()
{
    return lastLogFilePath;
}

bool CommonFunctions::WriteLog(const QString& text)
{
    if (GlobalVariables::gsLogFileName.isEmpty()) {
        return false;
    }
    QString entry;
    const QStringList lines = text.split(crlf);
    for (const QString& line : lines) {
        entry += line + crlf;
    }
    entry += crlf;
    const QByteArray bytes = ToSingleByte(entry);

    const QString fileName = GlobalVariables::gsLogFileName;
    if (!InstalledUnderUsr() && appendEntry(ProgramFolder() + QLatin1Char('/') + fileName, bytes)) {
        return true;
    }
    // The program folder may not be writable (an installed program), or its disk
    // full: an entry that did not go there goes to the same file in the user's own
    // state folder instead, which no one else may read. So does every entry of a
    // program installed under /usr.
    const QString fallback = FallbackLogFolder();
    if (fallback.isEmpty() || !FileWriting::MakePrivateFolder(fallback)) {
        return false;
    }
    return appendEntry(fallback + QLatin1Char('/') + fileName, bytes);
}

QString CommonFunctions::ReplaceAppNames(const QString& text)
{
    QString result = text;
    result.replace(QStringLiteral("<IMAPP>"), GlobalVariables::gsImportApp, Qt::CaseSensitive);
    result.replace(QStringLiteral("<EXAPP>"), GlobalVariables::gsExportApp, Qt::CaseSensitive);
    return result;
}

QString CommonFunctions::IndentLines(const QString& text, int count)
{
    const QString indent(qMax(count, 0), QLatin1Char(' '));
    QString result;
    const QStringList lines = text.split(crlf);
    for (const QString& line : lines) {
        if (!line.isEmpty()) {
            result += indent + line;
        }
        result += crlf;
    }
    return result;
}

QString CommonFunctions::CharCodesToText(const QString& list)
{
    const QStringList elements = list.split(QLatin1Char(','));
    QString result;
    for (int i = 1; i < elements.size() - 1; ++i) {
        bool ok = false;
        const int code = elements.at(i).trimmed().toInt(&ok, 10);
        if (!ok) {
            throw MigrationError(ErrorNumber::TypeMismatch, QStringLiteral("Type mismatch"),
                                 QStringLiteral("CommonFunctions.CharCodesToText"));
        }
        if (code < 0 || code > 255) {
            throw MigrationError(ErrorNumber::InvalidProcedureCall,
                                 QStringLiteral("Invalid procedure call or argument"),
                                 QStringLiteral("CommonFunctions.CharCodesToText"));
        }
        result += QChar(code);
    }
    return result;
}

// A report that did not fit on the disk is a failure too, not only one whose file
// could not be opened: the administrator would otherwise keep a cut-off copy.
void CommonFunctions::AppendTextToFile(const QString& path, const QString& text)
{
    FileWriting::AppendWhole(path, ToSingleByte(text),
                             QStringLiteral("CommonFunctions.AppendTextToFile"));
}

// The object variant finds only items that hold a collection (an absent one
// included), the value variant only plain values: fetching the other kind fails,
// and a failed lookup reads as false.
namespace {
bool holdsCollection(const QVariant& value)
{
    return value.metaType() == QMetaType::fromType<CollectionPtr>();
}
} // namespace

bool CommonFunctions::ObjectKeyExists(const CollectionPtr& collection, const QString& key)
{
    return collection && collection->contains(key) && holdsCollection(collection->item(key));
}

bool CommonFunctions::ValueKeyExists(const CollectionPtr& collection, const QString& key)
{
    return collection && collection->contains(key) && !holdsCollection(collection->item(key));
}

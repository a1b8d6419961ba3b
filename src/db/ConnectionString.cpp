#include "db/ConnectionString.h"

#include "frame/MigrationError.h"

#include <QDir>
#include <QStringList>

namespace {

const QString sqlTemplate = QStringLiteral(
    "Provider=SQLOLEDB.1;Data Source=<DatabaseServer>;Initial Catalog=<Database>;uid=<UserID>;"
    "pwd=<Password>");
const QString trustedTemplate =
    QStringLiteral("Provider=SQLOLEDB.1;Persist Security Info=True;Integrated Security=SSPI;"
                   "Initial Catalog=<Database> ;Data Source=<DatabaseServer>");

// Splits "key=value;key=value" as the provider reads it: a value that begins with a
// quote runs to the matching quote, a doubled quote standing for one; any other
// value runs to the next ";". A quote that is never closed is taken as text.
QList<std::pair<QString, QString>> splitPairs(const QString& text)
{
    QList<std::pair<QString, QString>> pairs;
    qsizetype at = 0;
    while (at < text.size()) {
        const qsizetype eq = text.indexOf(QLatin1Char('='), at);
        const qsizetype semicolon = text.indexOf(QLatin1Char(';'), at);
        if (eq < 0 || (semicolon >= 0 && semicolon < eq)) {
            // A part without "=" names nothing.
            if (semicolon < 0) {
                break;
            }
            at = semicolon + 1;
            continue;
        }
        const QString key = text.mid(at, eq - at).trimmed().toLower();
        qsizetype valueStart = eq + 1;
        while (valueStart < text.size() && text.at(valueStart).isSpace()) {
            ++valueStart;
        }
        const QChar quote = valueStart < text.size() ? text.at(valueStart) : QChar();
        if (quote == QLatin1Char('"') || quote == QLatin1Char('\'')) {
            QString value;
            qsizetype i = valueStart + 1;
            bool closed = false;
            while (i < text.size()) {
                if (text.at(i) == quote) {
                    if (i + 1 < text.size() && text.at(i + 1) == quote) {
                        value += quote;
                        i += 2;
                        continue;
                    }
                    closed = true;
                    break;
                }
                value += text.at(i++);
            }
            if (closed) {
                const qsizetype next = text.indexOf(QLatin1Char(';'), i + 1);
                pairs.append({key, value});
                at = next < 0 ? text.size() : next + 1;
                continue;
            }
        }
        const qsizetype end = semicolon < 0 ? text.size() : semicolon;
        pairs.append({key, text.mid(eq + 1, end - eq - 1).trimmed()});
        at = end + 1;
    }
    return pairs;
}

bool isFreeTds(const QString& driver)
{
    return driver.contains(QLatin1String("tds"), Qt::CaseInsensitive);
}

// One value of an ODBC connection string, in braces when it needs them.
QString odbcValue(const QString& key, const QString& value, bool freeTds, bool alwaysBraced = false)
{
    static const QString special = QStringLiteral("{};=");
    bool needsBraces =
        alwaysBraced || (!value.isEmpty() && (value.front().isSpace() || value.back().isSpace()));
    for (const QChar c : value) {
        needsBraces = needsBraces || special.contains(c);
    }
    if (!needsBraces) {
        return value;
    }
    if (freeTds) {
        // FreeTDS ends the value at the first "}" that a ";" follows, and knows no
        // escape for that pair.
        if (value.contains(QLatin1String("};"))) {
            throw MigrationError(ErrorNumber::InvalidProcedureCall,
                                 QStringLiteral("The %1 of the connection cannot be handed to the "
                                                "FreeTDS driver: it holds \"}\" followed by \";\"")
                                     .arg(key),
                                 QStringLiteral("ODBC"));
        }
        return QLatin1Char('{') + value + QLatin1Char('}');
    }
    QString escaped = value;
    escaped.replace(QLatin1Char('}'), QLatin1String("}}"));
    return QLatin1Char('{') + escaped + QLatin1Char('}');
}

} // namespace

QString BuildSqlConnectionString(const QString& server, const QString& database,
                                 const QString& loginID, const QString& password)
{
    QString text = sqlTemplate;
    text.replace(QStringLiteral("<DatabaseServer>"), server, Qt::CaseSensitive);
    text.replace(QStringLiteral("<Database>"), database, Qt::CaseSensitive);
    text.replace(QStringLiteral("<UserID>"), loginID, Qt::CaseSensitive);
    text.replace(QStringLiteral("<Password>"), password, Qt::CaseSensitive);
    return text;
}

QString BuildTrustedConnectionString(const QString& server, const QString& database)
{
    QString text = trustedTemplate;
    text.replace(QStringLiteral("<DatabaseServer>"), server, Qt::CaseSensitive);
    text.replace(QStringLiteral("<Database>"), database, Qt::CaseSensitive);
    return text;
}

ConnectionParts ParseConnectionString(const QString& connectionString)
{
    ConnectionParts parts;
    for (const auto& [key, value] : splitPairs(connectionString)) {
        if (key == QLatin1String("provider")) {
            parts.provider = value;
        } else if (key == QLatin1String("data source") || key == QLatin1String("server")) {
            parts.dataSource = value;
        } else if (key == QLatin1String("initial catalog") || key == QLatin1String("database")) {
            parts.initialCatalog = value;
        } else if (key == QLatin1String("uid") || key == QLatin1String("user id")) {
            parts.userID = value;
        } else if (key == QLatin1String("pwd") || key == QLatin1String("password")) {
            parts.password = value;
        } else if (key == QLatin1String("integrated security")) {
            parts.integratedSecurity =
                value.compare(QLatin1String("SSPI"), Qt::CaseInsensitive) == 0 ||
                value.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0;
        }
    }
    return parts;
}

bool ConnectionParts::isEmbedded() const
{
    return dataSource.startsWith(QLatin1String(EmbeddedDataSourcePrefix), Qt::CaseInsensitive);
}

QString ConnectionParts::embeddedFolder() const
{
    return dataSource.mid(int(qstrlen(EmbeddedDataSourcePrefix)));
}

QString ConnectionParts::embeddedFile() const
{
    return QDir(embeddedFolder()).filePath(initialCatalog + QLatin1String(EmbeddedFileSuffix));
}

QString OdbcConnectString(const ConnectionParts& parts, const QString& driver)
{
    const bool freeTds = isFreeTds(driver);
    QString server = parts.dataSource;
    QString port;
    const qsizetype comma = server.indexOf(QLatin1Char(','));
    if (comma >= 0) {
        port = server.mid(comma + 1).trimmed();
        server = server.left(comma).trimmed();
    }
    QString text = QStringLiteral("DRIVER=") +
                   odbcValue(QStringLiteral("driver"), driver, freeTds, true) +
                   QStringLiteral(";SERVER=") +
                   odbcValue(QStringLiteral("server name"), server, freeTds) + QLatin1Char(';');
    if (!port.isEmpty()) {
        text += QStringLiteral("PORT=") + odbcValue(QStringLiteral("port"), port, freeTds) +
                QLatin1Char(';');
    }
    if (!parts.initialCatalog.isEmpty()) {
        text += QStringLiteral("DATABASE=") +
                odbcValue(QStringLiteral("database name"), parts.initialCatalog, freeTds) +
                QLatin1Char(';');
    }
    if (parts.integratedSecurity) {
        text += QStringLiteral("Trusted_Connection=Yes;");
    } else {
        text +=
            QStringLiteral("UID=") + odbcValue(QStringLiteral("login ID"), parts.userID, freeTds) +
            QStringLiteral(";PWD=") +
            odbcValue(QStringLiteral("password"), parts.password, freeTds, true) + QLatin1Char(';');
    }
    if (freeTds) {
        text += QStringLiteral("ClientCharset=UTF-8;");
    }
    return text;
}

#include "db/ConnectionString.h"

#include <QDir>
#include <QStringList>

namespace {

const QString sqlTemplate = QStringLiteral(
    "Provider=SQLOLEDB.1;Data Source=<DatabaseServer>;Initial Catalog=<Database>;uid=<UserID>;"
    "pwd=<Password>");
const QString trustedTemplate =
    QStringLiteral("Provider=SQLOLEDB.1;Persist Security Info=True;Integrated Security=SSPI;"
                   "Initial Catalog=<Database> ;Data Source=<DatabaseServer>");

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
    const QStringList pairs = connectionString.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (const QString& pair : pairs) {
        const int eq = pair.indexOf(QLatin1Char('='));
        if (eq < 0) {
            continue;
        }
        const QString key = pair.left(eq).trimmed().toLower();
        const QString value = pair.mid(eq + 1).trimmed();
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

#pragma once

#include <QString>

// The two OLE DB connection-string forms that the wizard builds and passes to every
// database operation, and their reading back into parts.
QString BuildSqlConnectionString(const QString& server, const QString& database,
                                 const QString& loginID, const QString& password);
QString BuildTrustedConnectionString(const QString& server, const QString& database);

// The parts of a connection string that the engines need. Keys compare without
// regard to case and values are trimmed, as the provider reads them.
struct ConnectionParts
{
    QString provider;
    QString dataSource;
    QString initialCatalog;
    QString userID;
    QString password;
    bool integratedSecurity = false;

    // A Data Source "sqlite:<folder>" names a folder of embedded databases.
    bool isEmbedded() const;
    QString embeddedFolder() const;
    QString embeddedFile() const;
};

ConnectionParts ParseConnectionString(const QString& connectionString);

// The prefix of a Data Source that names a folder of embedded databases.
inline constexpr const char* EmbeddedDataSourcePrefix = "sqlite:";
// The file suffix of an embedded database.
inline constexpr const char* EmbeddedFileSuffix = ".sqlite";

#pragma once

#include <QString>

// The two OLE DB connection-string forms that the wizard builds and passes to every
// database operation, and their reading back into parts.
QString BuildSqlConnectionString(const QString& server, const QString& database,
                                 const QString& loginID, const QString& password);
QString BuildTrustedConnectionString(const QString& server, const QString& database);

// The parts of a connection string that the engines need. Keys compare without
// regard to case and values are trimmed, as the provider reads them; a value in
// double or single quotes is taken as it stands between them, ";" and blanks at its
// ends included (a doubled quote inside stands for one).
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

// The ODBC connection string for a SQL Server, handed to the named ODBC driver. Every
// value that could end the one before it early or run into the next ("{", "}", ";",
// "=" or blanks at its ends) goes in braces, so no name can swallow the login or
// the password. FreeTDS ends a braced value at the first "}" followed by ";", so it
// takes a "}" inside as it stands; other drivers read "}}" as one "}". FreeTDS is
// also told that the program speaks UTF-8: it otherwise converts text by the
// locale's character set, and under LC_ALL=C every letter beyond ASCII is lost.
// A value that the driver cannot be given is refused with a MigrationError.
QString OdbcConnectString(const ConnectionParts& parts, const QString& driver);

// The prefix of a Data Source that names a folder of embedded databases.
inline constexpr const char* EmbeddedDataSourcePrefix = "sqlite:";
// The file suffix of an embedded database.
inline constexpr const char* EmbeddedFileSuffix = ".sqlite";

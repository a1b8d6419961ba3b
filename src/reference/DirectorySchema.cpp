#include "reference/DirectorySchema.h"

#include "db/DbConnection.h"

namespace {

// The languages a new Directory knows; users of any other language are given 1033.
const QStringList languageRows = {
    QStringLiteral("(1030, 'Danish')"),     QStringLiteral("(1031, 'German')"),
    QStringLiteral("(1033, 'English')"),    QStringLiteral("(1034, 'Spanish')"),
    QStringLiteral("(1035, 'Finnish')"),    QStringLiteral("(1036, 'French')"),
    QStringLiteral("(1040, 'Italian')"),    QStringLiteral("(1041, 'Japanese')"),
    QStringLiteral("(1043, 'Dutch')"),      QStringLiteral("(1044, 'Norwegian')"),
    QStringLiteral("(1053, 'Swedish')"),    QStringLiteral("(2057, 'English (United Kingdom)')"),
    QStringLiteral("(2070, 'Portuguese')"), QStringLiteral("(3082, 'Spanish (Modern Sort)')"),
};

QStringList languageInserts()
{
    QStringList statements;
    for (const QString& row : languageRows) {
        statements << QStringLiteral("INSERT INTO fwtLanguage (LanguageID, Name) VALUES ") + row;
    }
    return statements;
}

} // namespace

QStringList DirectorySchema::SqlServerStatements()
{
    // Text columns compare without regard to case through the collation.
    QStringList statements = {
        QStringLiteral("CREATE TABLE dbo.fwtLanguage ("
                       " LanguageID int NOT NULL CONSTRAINT PK_fwtLanguage PRIMARY KEY,"
                       " Name nvarchar(100) NOT NULL)"),
        QStringLiteral("CREATE TABLE dbo.fwtUser ("
                       " UserID int NOT NULL CONSTRAINT PK_fwtUser PRIMARY KEY,"
                       " FirstName nvarchar(255) NOT NULL DEFAULT '',"
                       " LastName nvarchar(255) NOT NULL DEFAULT '',"
                       " Text3 nvarchar(255) NOT NULL DEFAULT '',"
                       " Text4 nvarchar(255) NOT NULL DEFAULT '',"
                       " Enabled bit NOT NULL DEFAULT 1,"
                       " LanguageID int NOT NULL DEFAULT 1033,"
                       " TimeZoneID int NOT NULL DEFAULT 24,"
                       " LoginID nvarchar(255) COLLATE SQL_Latin1_General_CP1_CI_AS NOT NULL"
                       " CONSTRAINT UQ_fwtUser_LoginID UNIQUE,"
                       " Password nvarchar(255) NOT NULL DEFAULT '',"
                       " DateFormat nvarchar(20) NOT NULL DEFAULT 'yy-mm-dd',"
                       " TimeFormat nvarchar(20) NOT NULL DEFAULT 'hh:mm',"
                       " Option12 smallint NOT NULL DEFAULT 0,"
                       " Option13 smallint NOT NULL DEFAULT 0,"
                       " Option14 smallint NOT NULL DEFAULT 0,"
                       " GraphicsOn bit NOT NULL DEFAULT 0,"
                       " MobileNumber nvarchar(50) NOT NULL DEFAULT '',"
                       " Option17 bit NOT NULL DEFAULT 1,"
                       " LogonFailureCount int NOT NULL DEFAULT 0,"
                       " DefaultServiceID int NULL)"),
        QStringLiteral("CREATE TABLE dbo.fwtService ("
                       " ServiceID int NOT NULL CONSTRAINT PK_fwtService PRIMARY KEY,"
                       " OwnerUserID int NOT NULL CONSTRAINT FK_fwtService_fwtUser"
                       " REFERENCES dbo.fwtUser (UserID),"
                       " Position int NOT NULL,"
                       " ApplicationID nvarchar(38) NOT NULL,"
                       " DisplayName nvarchar(255) NOT NULL,"
                       " StoreID int NOT NULL,"
                       " Enabled bit NOT NULL)"),
        QStringLiteral("CREATE INDEX IX_fwtService_OwnerUserID ON dbo.fwtService (OwnerUserID)"),
        QStringLiteral("CREATE TABLE dbo.fwtServiceSetting ("
                       " ServiceID int NOT NULL CONSTRAINT FK_fwtServiceSetting_fwtService"
                       " REFERENCES dbo.fwtService (ServiceID),"
                       " Position int NOT NULL,"
                       " Name nvarchar(100) NOT NULL,"
                       " Kind nvarchar(100) NOT NULL,"
                       " Value nvarchar(4000) NULL,"
                       " CONSTRAINT PK_fwtServiceSetting PRIMARY KEY (ServiceID, Position))"),
        QStringLiteral("CREATE TABLE dbo.fwtStore ("
                       " StoreID int NOT NULL CONSTRAINT PK_fwtStore PRIMARY KEY,"
                       " Name nvarchar(255) COLLATE SQL_Latin1_General_CP1_CI_AS NOT NULL"
                       " CONSTRAINT UQ_fwtStore_Name UNIQUE,"
                       " ExchangeVersion int NOT NULL,"
                       " Description nvarchar(1000) NOT NULL DEFAULT '')"),
        QStringLiteral("CREATE TABLE dbo.fwtStoreSetting ("
                       " StoreID int NOT NULL CONSTRAINT FK_fwtStoreSetting_fwtStore"
                       " REFERENCES dbo.fwtStore (StoreID),"
                       " Position int NOT NULL,"
                       " Name nvarchar(100) NOT NULL,"
                       " Kind nvarchar(100) NOT NULL,"
                       " Value nvarchar(4000) NULL,"
                       " CONSTRAINT PK_fwtStoreSetting PRIMARY KEY (StoreID, Position))"),
        QStringLiteral("CREATE TABLE dbo.fwtTemplate ("
                       " TemplateID int NOT NULL CONSTRAINT PK_fwtTemplate PRIMARY KEY,"
                       " Title nvarchar(255) NOT NULL,"
                       " FromAddress nvarchar(255) NOT NULL DEFAULT '',"
                       " Subject nvarchar(255) NOT NULL DEFAULT '',"
                       " Body nvarchar(max) NOT NULL DEFAULT '')"),
        QStringLiteral("CREATE TABLE dbo.fwtSystemSetting ("
                       " Category nvarchar(100) COLLATE SQL_Latin1_General_CP1_CI_AS NOT NULL,"
                       " Name nvarchar(100) COLLATE SQL_Latin1_General_CP1_CI_AS NOT NULL,"
                       " Value nvarchar(4000) NULL,"
                       " CONSTRAINT PK_fwtSystemSetting PRIMARY KEY (Category, Name))"),
        QStringLiteral("CREATE TABLE dbo.fwtDeviceProfile ("
                       " ProfileID int NOT NULL CONSTRAINT PK_fwtDeviceProfile PRIMARY KEY,"
                       " Name nvarchar(255) NOT NULL,"
                       " Description nvarchar(1000) NOT NULL DEFAULT '',"
                       " UrlValue nvarchar(1000) NOT NULL DEFAULT '',"
                       " WAPProxy nvarchar(255) NOT NULL DEFAULT '',"
                       " Bearer nvarchar(20) NOT NULL,"
                       " ProvisioningMode nvarchar(20) NOT NULL,"
                       " ConnectionMode nvarchar(20) NOT NULL)"),
        QStringLiteral(
            "CREATE TABLE dbo.fwtDeviceProfileSetting ("
            " ProfileID int NOT NULL CONSTRAINT FK_fwtDeviceProfileSetting_fwtDeviceProfile"
            " REFERENCES dbo.fwtDeviceProfile (ProfileID),"
            " Position int NOT NULL,"
            " Name nvarchar(100) NOT NULL,"
            " Value nvarchar(1000) NULL,"
            " CONSTRAINT PK_fwtDeviceProfileSetting PRIMARY KEY (ProfileID, Position))"),
        QStringLiteral(
            "CREATE TABLE dbo.fwtDeviceProfileChangeFlag ("
            " ProfileID int NOT NULL CONSTRAINT FK_fwtDeviceProfileChangeFlag_fwtDeviceProfile"
            " REFERENCES dbo.fwtDeviceProfile (ProfileID),"
            " Position int NOT NULL,"
            " Name nvarchar(100) NOT NULL,"
            " Value nvarchar(10) NOT NULL,"
            " CONSTRAINT PK_fwtDeviceProfileChangeFlag PRIMARY KEY (ProfileID, Position))"),
        // The mark of a Directory that the wizard's identity check looks for.
        QStringLiteral("CREATE PROCEDURE dbo.fwupDirectoryStoresGet AS"
                       " SELECT StoreID, Name, ExchangeVersion, Description"
                       " FROM dbo.fwtStore ORDER BY StoreID"),
    };
    return statements + languageInserts();
}

QStringList DirectorySchema::EmbeddedStatements()
{
    // Text columns compare without regard to case through COLLATE NOCASE.
    QStringList statements = {
        QStringLiteral("CREATE TABLE fwtLanguage ("
                       " LanguageID INTEGER NOT NULL PRIMARY KEY,"
                       " Name TEXT NOT NULL)"),
        QStringLiteral("CREATE TABLE fwtUser ("
                       " UserID INTEGER NOT NULL PRIMARY KEY,"
                       " FirstName TEXT NOT NULL DEFAULT '',"
                       " LastName TEXT NOT NULL DEFAULT '',"
                       " Text3 TEXT NOT NULL DEFAULT '',"
                       " Text4 TEXT NOT NULL DEFAULT '',"
                       " Enabled INTEGER NOT NULL DEFAULT 1,"
                       " LanguageID INTEGER NOT NULL DEFAULT 1033,"
                       " TimeZoneID INTEGER NOT NULL DEFAULT 24,"
                       " LoginID TEXT NOT NULL COLLATE NOCASE UNIQUE,"
                       " Password TEXT NOT NULL DEFAULT '',"
                       " DateFormat TEXT NOT NULL DEFAULT 'yy-mm-dd',"
                       " TimeFormat TEXT NOT NULL DEFAULT 'hh:mm',"
                       " Option12 INTEGER NOT NULL DEFAULT 0,"
                       " Option13 INTEGER NOT NULL DEFAULT 0,"
                       " Option14 INTEGER NOT NULL DEFAULT 0,"
                       " GraphicsOn INTEGER NOT NULL DEFAULT 0,"
                       " MobileNumber TEXT NOT NULL DEFAULT '',"
                       " Option17 INTEGER NOT NULL DEFAULT 1,"
                       " LogonFailureCount INTEGER NOT NULL DEFAULT 0,"
                       " DefaultServiceID INTEGER NULL)"),
        QStringLiteral("CREATE TABLE fwtService ("
                       " ServiceID INTEGER NOT NULL PRIMARY KEY,"
                       " OwnerUserID INTEGER NOT NULL REFERENCES fwtUser (UserID),"
                       " Position INTEGER NOT NULL,"
                       " ApplicationID TEXT NOT NULL,"
                       " DisplayName TEXT NOT NULL,"
                       " StoreID INTEGER NOT NULL,"
                       " Enabled INTEGER NOT NULL)"),
        QStringLiteral("CREATE INDEX IX_fwtService_OwnerUserID ON fwtService (OwnerUserID)"),
        QStringLiteral("CREATE TABLE fwtServiceSetting ("
                       " ServiceID INTEGER NOT NULL REFERENCES fwtService (ServiceID),"
                       " Position INTEGER NOT NULL,"
                       " Name TEXT NOT NULL,"
                       " Kind TEXT NOT NULL,"
                       " Value TEXT NULL,"
                       " PRIMARY KEY (ServiceID, Position))"),
        QStringLiteral("CREATE TABLE fwtStore ("
                       " StoreID INTEGER NOT NULL PRIMARY KEY,"
                       " Name TEXT NOT NULL COLLATE NOCASE UNIQUE,"
                       " ExchangeVersion INTEGER NOT NULL,"
                       " Description TEXT NOT NULL DEFAULT '')"),
        QStringLiteral("CREATE TABLE fwtStoreSetting ("
                       " StoreID INTEGER NOT NULL REFERENCES fwtStore (StoreID),"
                       " Position INTEGER NOT NULL,"
                       " Name TEXT NOT NULL,"
                       " Kind TEXT NOT NULL,"
                       " Value TEXT NULL,"
                       " PRIMARY KEY (StoreID, Position))"),
        QStringLiteral("CREATE TABLE fwtTemplate ("
                       " TemplateID INTEGER NOT NULL PRIMARY KEY,"
                       " Title TEXT NOT NULL,"
                       " FromAddress TEXT NOT NULL DEFAULT '',"
                       " Subject TEXT NOT NULL DEFAULT '',"
                       " Body TEXT NOT NULL DEFAULT '')"),
        QStringLiteral("CREATE TABLE fwtSystemSetting ("
                       " Category TEXT NOT NULL COLLATE NOCASE,"
                       " Name TEXT NOT NULL COLLATE NOCASE,"
                       " Value TEXT NULL,"
                       " PRIMARY KEY (Category, Name))"),
        QStringLiteral("CREATE TABLE fwtDeviceProfile ("
                       " ProfileID INTEGER NOT NULL PRIMARY KEY,"
                       " Name TEXT NOT NULL,"
                       " Description TEXT NOT NULL DEFAULT '',"
                       " UrlValue TEXT NOT NULL DEFAULT '',"
                       " WAPProxy TEXT NOT NULL DEFAULT '',"
                       " Bearer TEXT NOT NULL,"
                       " ProvisioningMode TEXT NOT NULL,"
                       " ConnectionMode TEXT NOT NULL)"),
        QStringLiteral("CREATE TABLE fwtDeviceProfileSetting ("
                       " ProfileID INTEGER NOT NULL REFERENCES fwtDeviceProfile (ProfileID),"
                       " Position INTEGER NOT NULL,"
                       " Name TEXT NOT NULL,"
                       " Value TEXT NULL,"
                       " PRIMARY KEY (ProfileID, Position))"),
        QStringLiteral("CREATE TABLE fwtDeviceProfileChangeFlag ("
                       " ProfileID INTEGER NOT NULL REFERENCES fwtDeviceProfile (ProfileID),"
                       " Position INTEGER NOT NULL,"
                       " Name TEXT NOT NULL,"
                       " Value TEXT NOT NULL,"
                       " PRIMARY KEY (ProfileID, Position))"),
        // The embedded engine has no stored procedures; the wizard's identity check
        // looks for this row instead.
        QStringLiteral("CREATE TABLE sysprocedures (name TEXT)"),
        QStringLiteral("INSERT INTO sysprocedures (name) VALUES ('fwupDirectoryStoresGet')"),
    };
    return statements + languageInserts();
}

void DirectorySchema::Create(DbConnection& connection)
{
    const QStringList statements =
        connection.isEmbedded() ? EmbeddedStatements() : SqlServerStatements();
    for (const QString& statement : statements) {
        connection.execute(statement);
    }
}

void DirectorySchema::Create(const QString& connectionString)
{
    DbConnection connection(connectionString, DbConnection::Mode::CreateIfMissing);
    connection.inTransaction([&] { Create(connection); });
}

#pragma once

#include <QString>
#include <QStringList>

// The SQL of AdministrativeDBCon for both engines. Each SQL Server text is sent
// exactly as it stands, odd blanks included; its embedded counterpart follows it and
// gives the same rows. Text columns of the working tables compare without regard to
// case on both engines (SQL_Latin1_General_CP1_CI_AS there, the CI_AS collation of
// EmbeddedCollations here, which also ignores trailing blanks and folds accented
// capitals), names sort in dictionary order (CI_AS_SORT), and the lengths of the SQL Server columns
// are kept as CHECK constraints, so a value that is too long fails on both.
namespace AdministrativeSql {

// --- Database listing --------------------------------------------------------------

inline const QString ListDatabases =
    QStringLiteral("select name from master.dbo.sysdatabases where has_dbaccess(name) = 1");
// The embedded engine lists the *.sqlite files of its folder; a file counts when this
// query runs on it.
inline const QString ProbeDatabaseSqlite = QStringLiteral("SELECT count(*) FROM sqlite_master");

// --- Identity of the source database -------------------------------------------------

inline const QString ExportUsers = QStringLiteral("Select * FROM VA_User");
inline const QString ExportUsersSqlite = QStringLiteral("SELECT 1 FROM VA_User LIMIT 1");
inline const QString ExportUserSettings = QStringLiteral("SELECT * FROM VA_UserSetting");
inline const QString ExportUserSettingsSqlite =
    QStringLiteral("SELECT 1 FROM VA_UserSetting LIMIT 1");
inline const QString ExportSettings = QStringLiteral("SELECT * FROM VA_Setting");
inline const QString ExportSettingsSqlite = QStringLiteral("SELECT 1 FROM VA_Setting LIMIT 1");

// --- Identity of the target Directory ------------------------------------------------

inline const QString ImportMarker = QStringLiteral(
    "declare @iExist as integer IF EXISTS(SELECT * FROM dbo.sysobjects WHERE id = "
    "object_id(N'[dbo].[fwupDirectoryStoresGet]') and OBJECTPROPERTY(id, N'IsProcedure') = 1) "
    "BEGIN SET @iExist=1 END ELSE BEGIN SET @iExist=0 END SELECT @iExist");
// An embedded Directory carries the mark as a row of its table sysprocedures(name TEXT);
// the Directory schema writes that row. A database without the table fails the query.
inline const QString ImportMarkerSqlite = QStringLiteral(
    "SELECT CASE WHEN EXISTS(SELECT * FROM sysprocedures WHERE name = 'fwupDirectoryStoresGet' "
    "COLLATE NOCASE) THEN 1 ELSE 0 END");

// --- Working tables of the conflict check ------------------------------------------

inline const QString CreateVarnelUsers = QStringLiteral(
    "if exists (select * from dbo.sysobjects where id = object_id(N'[dbo].[MT_VarnelUsers]') and "
    "OBJECTPROPERTY(id, N'IsUserTable') = 1) drop table [dbo].[MT_VarnelUsers] CREATE TABLE "
    "[dbo].[MT_VarnelUsers] ( [UserID] [int] NOT NULL , [Name] [nvarchar] (255) COLLATE "
    "SQL_Latin1_General_CP1_CI_AS NOT NULL , [LoginID] [nvarchar] (50) COLLATE "
    "SQL_Latin1_General_CP1_CI_AS NOT NULL ) ON [PRIMARY]ALTER TABLE [dbo].[MT_VarnelUsers] WITH "
    "NOCHECK ADD CONSTRAINT [PK_MT_VarnelUsers] PRIMARY KEY  CLUSTERED ( [UserID] )  ON [PRIMARY]");
inline const QStringList CreateVarnelUsersSqlite = {
    QStringLiteral("DROP TABLE IF EXISTS MT_VarnelUsers"),
    QStringLiteral("CREATE TABLE MT_VarnelUsers (UserID INTEGER NOT NULL PRIMARY KEY, "
                   "Name TEXT COLLATE CI_AS NOT NULL CHECK (length(Name) <= 255), "
                   "LoginID TEXT COLLATE CI_AS NOT NULL CHECK (length(LoginID) <= 50))"),
};
// Built once the rows are in, which is quicker than keeping it up to date row by row.
inline const QString IndexVarnelUsersSqlite = QStringLiteral(
    "CREATE INDEX IX_MT_VarnelUsers_LoginID ON MT_VarnelUsers (LoginID COLLATE CI_AS)");

inline const QString CreateZephrinUsers = QStringLiteral(
    "if exists (select * from dbo.sysobjects where id = object_id(N'[dbo].[MT_ZephrinUsers]') and "
    "OBJECTPROPERTY(id, N'IsUserTable') = 1) drop table [dbo].[MT_ZephrinUsers] CREATE TABLE "
    "[dbo].[MT_ZephrinUsers] (    [UserID] [int] NOT NULL ,     [Name] [nvarchar] (255) COLLATE "
    "SQL_Latin1_General_CP1_CI_AS NOT NULL ,     [LoginID] [nvarchar] (50) COLLATE "
    "SQL_Latin1_General_CP1_CI_AS NOT NULL ) ON [PRIMARY] ALTER TABLE [dbo].[MT_ZephrinUsers] "
    "WITH NOCHECK ADD CONSTRAINT [PK_MT_ZephrinUsers] PRIMARY KEY  CLUSTERED ( [UserID] ) ON "
    "[PRIMARY]");
inline const QStringList CreateZephrinUsersSqlite = {
    QStringLiteral("DROP TABLE IF EXISTS MT_ZephrinUsers"),
    QStringLiteral("CREATE TABLE MT_ZephrinUsers (UserID INTEGER NOT NULL PRIMARY KEY, "
                   "Name TEXT COLLATE CI_AS NOT NULL CHECK (length(Name) <= 255), "
                   "LoginID TEXT COLLATE CI_AS NOT NULL CHECK (length(LoginID) <= 50))"),
};
// Built once the rows are in, which is quicker than keeping it up to date row by row.
inline const QString IndexZephrinUsersSqlite = QStringLiteral(
    "CREATE INDEX IX_MT_ZephrinUsers_LoginID ON MT_ZephrinUsers (LoginID COLLATE CI_AS)");

// One row each; SQL Server gets one statement per row, joined by one blank. The
// embedded engine gets multi-row inserts of InsertRowsPerStatement rows with every
// value bound ("?"), then the LoginID index, all in one transaction.
inline const QString InsertVarnelUser = QStringLiteral(
    "INSERT MT_VarnelUsers(UserID,[Name],LoginID) Values(<UserID>,'<UserName>','<LoginID>')");
inline const QString InsertZephrinUser = QStringLiteral(
    "INSERT MT_ZephrinUsers(UserID,[Name],LoginID) Values(<UserID>,'<UserName>','<LoginID>')");
inline const QString InsertVarnelUsersSqlite =
    QStringLiteral("INSERT INTO MT_VarnelUsers(UserID,[Name],LoginID) Values");
inline const QString InsertZephrinUsersSqlite =
    QStringLiteral("INSERT INTO MT_ZephrinUsers(UserID,[Name],LoginID) Values");
inline constexpr int InsertRowsPerStatement = 500;

inline const QString SelectConflicts = QStringLiteral(
    "select t1.userid as VaUserID,t2.userid as ZeUserID,t1.[name] as VaName,t2.[name] as "
    "ZeName,t1.LoginID from MT_VarnelUsers as t1,MT_ZephrinUSers as t2 WHERE "
    "t1.LoginID=t2.LoginID");
// SQL Server returns the pairs in an order of its own; the embedded engine orders them
// by the source and then the target user ID.
inline const QString SelectConflictsSqlite = QStringLiteral(
    "SELECT t1.UserID AS VaUserID, t2.UserID AS ZeUserID, t1.Name AS VaName, t2.Name AS ZeName, "
    "t1.LoginID AS LoginID FROM MT_VarnelUsers AS t1 JOIN MT_ZephrinUsers AS t2 "
    "ON t1.LoginID = t2.LoginID COLLATE CI_AS ORDER BY t1.UserID, t2.UserID");

inline const QString DropVarnelUsers = QStringLiteral(
    "if exists (select * from dbo.sysobjects where id = object_id(N'[dbo].[MT_VarnelUsers]') and "
    "OBJECTPROPERTY(id, N'IsUserTable') = 1) drop table [dbo].[MT_VarnelUsers]");
inline const QString DropVarnelUsersSqlite = QStringLiteral("DROP TABLE IF EXISTS MT_VarnelUsers");
inline const QString DropZephrinUsers = QStringLiteral(
    "if exists (select * from dbo.sysobjects where id = object_id(N'[dbo].[MT_ZephrinUsers]') and "
    "OBJECTPROPERTY(id, N'IsUserTable') = 1) drop table [dbo].[MT_ZephrinUsers]");
inline const QString DropZephrinUsersSqlite =
    QStringLiteral("DROP TABLE IF EXISTS MT_ZephrinUsers");

// --- Working table of the name sort --------------------------------------------------

inline const QString DropSortTable = QStringLiteral(
    "if exists (select * from dbo.sysobjects where id = object_id(N'[dbo].[MT_SortTable]') and "
    "OBJECTPROPERTY(id, N'IsUserTable') = 1) drop table [dbo].[MT_SortTable]");
inline const QString DropSortTableSqlite = QStringLiteral("DROP TABLE IF EXISTS MT_SortTable");
inline const QString CreateSortTable =
    DropSortTable + QStringLiteral(" ") +
    QStringLiteral("CREATE TABLE [dbo].[MT_SortTable] ([UserName] [varchar] (100) COLLATE "
                   "Latin1_General_CI_AS NOT NULL , [Index] [Int] NOT NULL) ON [PRIMARY]") +
    QStringLiteral(" ") +
    QStringLiteral("ALTER TABLE [dbo].[MT_SortTable] WITH NOCHECK ADD CONSTRAINT [PK_MT_SortTable] "
                   "PRIMARY KEY  CLUSTERED ([Index])  ON [PRIMARY]");
inline const QStringList CreateSortTableSqlite = {
    DropSortTableSqlite,
    QStringLiteral("CREATE TABLE MT_SortTable (UserName TEXT COLLATE CI_AS_SORT NOT NULL "
                   "CHECK (length(UserName) <= 100), [Index] INTEGER NOT NULL PRIMARY KEY)"),
};
inline const QString InsertSortRow =
    QStringLiteral("Insert MT_SortTable(UserName,[Index]) VALUES('<UserName>',<Index>)");
inline const QString InsertSortRowsSqlite =
    QStringLiteral("INSERT INTO MT_SortTable(UserName,[Index]) VALUES");
inline const QString SelectSorted =
    QStringLiteral("Select UserName,[Index] From MT_SortTable order by UserName");
// Equal names keep their input order on the embedded engine.
inline const QString SelectSortedSqlite = QStringLiteral(
    "SELECT UserName, [Index] FROM MT_SortTable ORDER BY UserName COLLATE CI_AS_SORT, [Index]");

} // namespace AdministrativeSql

#pragma once

#include <QString>
#include <QStringList>

class DbConnection;

// The tables of a Directory database of the reference installation, on either
// engine. The two texts differ only where the engines do (types, collations, the
// mark of a Directory); both are kept side by side in DirectorySchema.cpp.
//
//   fwtLanguage                 languages the Directory knows
//   fwtUser                     users; LoginID unique without regard to case
//   fwtService                  each user's services, in order
//   fwtServiceSetting           settings of a service, in order
//   fwtStore, fwtStoreSetting   mail servers and their settings
//   fwtTemplate                 introduction e-mail templates
//   fwtSystemSetting            (Category, Name, Value), the chosen template included
//   fwtDeviceProfile            Device Provisioning profiles
//   fwtDeviceProfileSetting     a profile's bearer settings, in order
//   fwtDeviceProfileChangeFlag  a profile's six change flags, in order
//
// A SQL Server Directory carries the stored procedure fwupDirectoryStoresGet; an
// embedded one a table sysprocedures(name) with the row 'fwupDirectoryStoresGet'.
namespace DirectorySchema {

// The system setting that remembers the chosen introduction e-mail template.
inline constexpr const char* TemplateCategory = "emailTemplate";
inline constexpr const char* SelectedTemplateName = "selectedtemplate";

QStringList SqlServerStatements();
QStringList EmbeddedStatements();

// Creates the tables in the database the connection string names: on the embedded
// engine a new file (an existing Directory there is an error), on SQL Server an
// existing, empty database.
void Create(const QString& connectionString);
// The same on an open connection, inside the caller's transaction.
void Create(DbConnection& connection);

} // namespace DirectorySchema

#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

// Process-wide values, set once by the page or procedure that owns them and read
// everywhere else.
namespace GlobalVariables {

// Product names put in for "<IMAPP>" (the target) and "<EXAPP>" (the source).
inline QString gsImportApp;
inline QString gsExportApp;
// File name of this pass's log: "MigrationLog" + YYYYMMDDhhmmss + ".log".
inline QString gsLogFileName;
// The folder that holds the program; empty means the folder of the running program.
inline QString gsProgramFolder;

// The route went through the store page, so stores are registered first.
inline bool gbAddStores = false;
// The source used Windows NT logon, and selected users get new passwords.
inline bool gbNtLogon = false;
inline bool gbNewPasswords = false;
// The mail servers that the last verification found missing as stores, as the store
// page was given them; entered backwards, it shows those that are not typed yet.
inline QStringList gcStoresDetected;
// The login conflict dialog's outcome.
inline bool gbCancel = false;
inline int glSelectAction = 0;

// The mail account that sends the introduction e-mails, as
// server + ";" + alias + ";" + address, and the handle of its last logon test.
inline QString gsServiceAccount;
inline QVariant gvLogonHandle;

// Puts every value back to its state at program start. The wizard never calls it;
// tests start from it.
void Reset();

} // namespace GlobalVariables

#include "frame/GlobalVariables.h"

void GlobalVariables::Reset()
{
    gsImportApp.clear();
    gsExportApp.clear();
    gsLogFileName.clear();
    gsProgramFolder.clear();
    gbAddStores = false;
    gbNtLogon = false;
    gbNewPasswords = false;
    gcStoresDetected.clear();
    gbCancel = false;
    glSelectAction = 0;
    gsServiceAccount.clear();
    gvLogonHandle = QVariant();
}

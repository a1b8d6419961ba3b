#include "pages/SelectZephrin.h"

#include "frame/CommonFunctions.h"
#include "frame/StatusHolder.h"
#include "pages/PageNames.h"

SelectZephrin::SelectZephrin(QWidget* parent)
    : SelectDatabase(
          PageNames::SelectZephrin, QStringLiteral("Select <IMAPP> Directory Database"),
          QStringLiteral("Select the <IMAPP> Directory database you want to migrate to."),
          &StatusHolder::SetZephrinDatabase, &StatusHolder::GetZephrinDatabase, parent)
{
}

// Unlike the source page, the saved "DatabasesLoaded" is not looked at.
void SelectZephrin::LoadStateNext()
{
    restoreEntries();
    mbDatabasesLoaded = false;
}

void SelectZephrin::PreviousBtn_Click()
{
    save();
    handOver(PageNames::SelectVarnel, Restore::Prev);
}

void SelectZephrin::NextBtn_Click()
{
    CommonFunctions::WriteLog(QStringLiteral("SelectZephrin: Connection String: ") +
                              connectionString());
    save();

    VerifierHolder verifier;
    const std::optional<Verifier::Flags> flags = runVerification(verifier);
    if (!flags) {
        return;
    }
    if (!flags->exportValid) {
        // The source page comes back empty; what was entered on it stays in the state
        // store.
        tellIncorrectSource(verifier->checkFailure());
        handOver(PageNames::SelectVarnel, Restore::None);
    } else if (!flags->importValid) {
        tellIncorrectTarget(verifier->checkFailure());
    } else {
        openStoresOrUsers(*verifier, false, QString(), QString());
    }
}

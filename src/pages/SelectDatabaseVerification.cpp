// What Next on the two database pages shares: the verification window over the page,
// the messages of a database that is not what it was chosen as, and the way on to the
// store page or the user selection page.
#include "pages/SelectDatabase.h"

#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "pages/AddStores.h"
#include "pages/BackToVarnelPage.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectUsers.h"

namespace {

const QString IncorrectSelectionTitle = QStringLiteral("Incorrect database selection");

} // namespace

void SelectDatabase::VerifierDeleter::operator()(Verifier* verifier) const
{
    verifier->gbUnloadVerifier = true;
    verifier->unload();
}

std::optional<Verifier::Flags> SelectDatabase::runVerification(VerifierHolder& verifier)
{
    verifier.reset(qobject_cast<Verifier*>(Pages::create(PageNames::Verifier)));
    if (!verifier) {
        return std::nullopt;
    }
    verifier->move(frameGeometry().center() - verifier->rect().center());
    verifier->show();
    // Nothing on this page changes while the verification runs.
    setEnabled(false);
    long number = 0;
    QString description;
    try {
        const Verifier::Flags flags = verifier->Verify();
        setEnabled(true);
        return flags;
    } catch (const MigrationError& error) {
        number = error.number();
        description = error.description();
    } catch (const std::exception& error) {
        description = QString::fromLocal8Bit(error.what());
    }
    setEnabled(true);
    QString step = verifier->step();
    if (step.endsWith(QLatin1String("..."))) {
        step.chop(3);
    }
    CommonFunctions::WriteLog(QStringLiteral("%1: %2 failed with error %3: %4")
                                  .arg(objectName(), step)
                                  .arg(number)
                                  .arg(description));
    AppPrompter::prompter().message(
        QStringLiteral("%1 failed.\r\n\r\nError %2: %3").arg(step).arg(number).arg(description),
        QStringLiteral("Verification failed"), Prompter::Icon::Critical, Prompter::Buttons::Ok,
        this);
    return std::nullopt;
}

void SelectDatabase::tellIncorrectSource(const QString& detail)
{
    AppPrompter::prompter().messageWithDetail(
        CommonFunctions::ReplaceAppNames(
            QStringLiteral("The database you selected as a an <EXAPP> database was either corrupt "
                           "or not an <EXAPP> database. Please select another database.")),
        detail, IncorrectSelectionTitle, Prompter::Icon::Exclamation, Prompter::Buttons::Ok, this);
}

void SelectDatabase::tellIncorrectTarget(const QString& detail)
{
    AppPrompter::prompter().messageWithDetail(
        CommonFunctions::ReplaceAppNames(QStringLiteral(
            "The database you selected as a an <IMAPP> directory database was either corrupt or "
            "not an <IMAPP> Directory database. Please select another database.")),
        detail, IncorrectSelectionTitle, Prompter::Icon::Exclamation, Prompter::Buttons::Ok, this);
}

void SelectDatabase::openStoresOrUsers(const Verifier& verifier, bool backToVarnel,
                                       const QString& storesLogLine, const QString& usersLogLine)
{
    if (verifier.flags().storesMissing) {
        if (!storesLogLine.isEmpty()) {
            CommonFunctions::WriteLog(storesLogLine);
        }
        GlobalVariables::gbAddStores = true;
        const QStringList servers = verifier.gcStoresNotAdded;
        const CollectionPtr conflicts = verifier.mcConflicts;
        handOverTo<AddStores>(PageNames::AddStores, Restore::Next,
                              [backToVarnel, &servers, &conflicts](AddStores& page) {
                                  page.setBackToVarnel(backToVarnel);
                                  page.setDetectedServers(servers);
                                  page.setConflictResult(conflicts);
                              });
        return;
    }
    if (!usersLogLine.isEmpty()) {
        CommonFunctions::WriteLog(usersLogLine);
    }
    GlobalVariables::gbAddStores = false;
    // The user selection page takes the conflicts the verification just found.
    const CollectionPtr conflicts = verifier.mcConflicts;
    handOverBackTo(*this, PageNames::SelectUsers, Restore::Next, backToVarnel,
                   [&conflicts](WizardPage& page) {
                       if (auto* users = qobject_cast<SelectUsers*>(&page)) {
                           users->setConflictResult(conflicts);
                       }
                   });
}

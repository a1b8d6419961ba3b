#include "pages/SelectVarnel.h"

#include "directory/ZephrinFunctions.h"
#include "frame/CommonFunctions.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/Introduction.h"
#include "pages/PageNames.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>

namespace {

void log(const QString& text)
{
    CommonFunctions::WriteLog(QStringLiteral("SelectVarnel: ") + text);
}

} // namespace

SelectVarnel::SelectVarnel(QWidget* parent)
    : SelectDatabase(PageNames::SelectVarnel, QStringLiteral("Select <EXAPP> Database"),
                     QStringLiteral("Select the <EXAPP> database you want to migrate from."),
                     &StatusHolder::SetVarnelDatabase, &StatusHolder::GetVarnelDatabase, parent)
{
}

void SelectVarnel::LoadStateNext()
{
    const CollectionPtr state = restoreEntries();
    mbDatabasesLoaded = state->item(StateKeys::DatabasesLoaded).toBool();
    if (mbDatabasesLoaded) {
        restoreList(state->item(StateKeys::DatabaseListIndex).toInt());
    }
}

bool SelectVarnel::ParseConfiguredConnection(const QString& text)
{
    const QString serverKey = QStringLiteral("Data source=");
    const QString databaseKey = QStringLiteral("Initial Catalog=");
    const qsizetype serverAt = text.indexOf(serverKey, 0, Qt::CaseSensitive);
    if (serverAt < 0) {
        return false;
    }
    const qsizetype serverStart = serverAt + serverKey.size();
    const qsizetype serverEnd = text.indexOf(QLatin1Char(';'), serverStart);
    if (serverEnd < 0) {
        return false;
    }
    const qsizetype databaseAt = text.indexOf(databaseKey, serverEnd, Qt::CaseSensitive);
    if (databaseAt < 0) {
        return false;
    }
    const qsizetype databaseStart = databaseAt + databaseKey.size();
    const qsizetype databaseEnd = text.indexOf(QLatin1Char(';'), databaseStart);
    if (databaseEnd < 0) {
        return false;
    }
    StatusHolder::SetZephrinDatabase(text.mid(serverStart, serverEnd - serverStart),
                                     text.mid(databaseStart, databaseEnd - databaseStart), -1,
                                     StatusHolder::WindowsNtAuthentication, QString(), QString(),
                                     false, text);
    return true;
}

void SelectVarnel::PreviousBtn_Click()
{
    save();
    handOverTo<Introduction>(PageNames::Introduction, Restore::None,
                             [](Introduction& page) { page.setBackedTo(true); });
}

void SelectVarnel::NextBtn_Click()
{
    const QString connection = connectionString();
    log(QStringLiteral("Connection string: ") + connection);
    save();

    const QString configured = ZephrinFunctions::GetZeCS();
    log(QStringLiteral("GetZeCS: ") + configured);
    const bool bInsertResult = !configured.isEmpty() && ParseConfiguredConnection(configured);
    log(QStringLiteral("bInsertResult=") +
        (bInsertResult ? QStringLiteral("True") : QStringLiteral("False")));

    if (!bInsertResult) {
        // The target page starts with this page's server and credentials; only the
        // Directory database remains to be chosen.
        StatusHolder::SetZephrinDatabase(DatabaseServerTxt->text(), DatabaseCbx->currentText(), -1,
                                         authentication(), LoginIDTxt->text(), PasswordTxt->text(),
                                         true, connection);
        handOver(PageNames::SelectZephrin, Restore::Next);
        return;
    }

    VerifierHolder verifier;
    const std::optional<Verifier::Flags> flags = runVerification(verifier);
    if (!flags) {
        return;
    }
    if (!flags->exportValid) {
        log(QStringLiteral("Next to me"));
        tellIncorrectSource(verifier->checkFailure());
    } else if (!flags->importValid) {
        log(QStringLiteral("next to SelectZephrin"));
        tellIncorrectTarget(verifier->checkFailure());
        handOver(PageNames::SelectZephrin, Restore::Next);
    } else {
        openStoresOrUsers(*verifier, true, QStringLiteral("SelectVarnel: Next to AddStores"),
                          QStringLiteral("SelectVarnel: next to SelectUsers"));
    }
}

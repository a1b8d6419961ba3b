#include "pages/Verifier.h"

#include "db/AdministrativeDBCon.h"
#include "db/UserConflicts.h"
#include "db/VarnelDBCon.h"
#include "directory/ZephrinFunctions.h"
#include "frame/Clock.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/BusyCursor.h"
#include "pages/PageNames.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QVBoxLayout>

namespace {

// Long enough for the administrator to see each box ticked.
constexpr int TickPause = 300;

void log(const QString& text)
{
    CommonFunctions::WriteLog(QStringLiteral("Verifier: ") + text);
}

} // namespace

Verifier::Verifier(QWidget* parent)
    : WizardPage(PageNames::Verifier, QStringLiteral("Verifying..."), parent)
{
    auto* layout = new QVBoxLayout(this);
    const auto add = [this, layout](const char* name, const QString& caption) {
        auto* box = new QCheckBox(caption, this);
        box->setObjectName(QLatin1String(name));
        // The boxes show progress; the administrator does not change them.
        box->setAttribute(Qt::WA_TransparentForMouseEvents);
        box->setFocusPolicy(Qt::NoFocus);
        layout->addWidget(box);
        return box;
    };
    Verify313 = add("Verify313", QString());
    Verify40 = add("Verify40", QString());
    CheckConflictingUsers =
        add("CheckConflictingUsers", QStringLiteral("Checking for conflicting users..."));
    CheckStoresCbx = add("CheckStoresCbx", QStringLiteral("Checking stores..."));
    layout->setContentsMargins(24, 18, 48, 18);
    layout->setSpacing(10);
}

void Verifier::Form_Load()
{
    Verify313->setText(
        CommonFunctions::ReplaceAppNames(QStringLiteral("Verifying <EXAPP> database...")));
    Verify40->setText(CommonFunctions::ReplaceAppNames(
        QStringLiteral("Verifying <IMAPP> Directory database...")));
    adjustSize();
    logLaunched();
}

void Verifier::closeEvent(QCloseEvent* event)
{
    if (!gbUnloadVerifier) {
        event->ignore();
        return;
    }
    WizardPage::closeEvent(event);
}

void Verifier::tick(QCheckBox* box)
{
    box->setChecked(true);
    box->repaint();
}

// A check that answered false because the database could not be opened (the server
// refused the login, say) says why on a line of its own after its answer.
void Verifier::logCheckFailure(const QString& check)
{
    if (!msCheckFailure.isEmpty()) {
        log(check + QStringLiteral(" could not open the database: ") + msCheckFailure);
    }
}

Verifier::Flags Verifier::Verify()
{
    const Working working(*this);
    mFlags = Flags();
    msCheckFailure.clear();
    Flags& flags = mFlags;
    const CollectionPtr source = StatusHolder::GetVarnelDatabase();
    const CollectionPtr target = StatusHolder::GetZephrinDatabase();
    msSourceConnectionString = source->item(StateKeys::ConnectionString).toString();
    msTargetConnectionString = target->item(StateKeys::ConnectionString).toString();
    // The window is drawn before the first check keeps the interface busy.
    AppClock::processEvents();

    msStep = Verify313->text();
    bool valid = false;
    {
        const BusyCursor busy;
        valid = AdministrativeDBCon::CheckExportDatabase(msSourceConnectionString, &msCheckFailure);
    }
    if (!valid) {
        log(QStringLiteral("AdministrativeDBCon.CheckExportDatabase False"));
        logCheckFailure(QStringLiteral("AdministrativeDBCon.CheckExportDatabase"));
        return flags;
    }
    flags.exportValid = true;
    tick(Verify313);
    log(QStringLiteral("AdministrativeDBCon.CheckExportDatabase True"));
    AppClock::clock().pause(TickPause);

    msStep = Verify40->text();
    {
        const BusyCursor busy;
        valid = AdministrativeDBCon::CheckImportDatabase(msTargetConnectionString, &msCheckFailure);
    }
    if (!valid) {
        log(QStringLiteral("AdministrativeDBCon.CheckImportDatabase False"));
        logCheckFailure(QStringLiteral("AdministrativeDBCon.CheckImportDatabase"));
        return flags;
    }
    flags.importValid = true;
    log(QStringLiteral("AdministrativeDBCon.CheckImportDatabase True"));
    tick(Verify40);
    AppClock::clock().pause(TickPause);

    msStep = CheckConflictingUsers->text();
    log(QStringLiteral("Calling AdministrativeDBCon.CheckForUserConflicts"));
    {
        const BusyCursor busy;
        mcConflicts = AdministrativeDBCon::CheckForUserConflicts(
            msSourceConnectionString,
            ZephrinFunctions::GetDirectoryUsers(msTargetConnectionString));
    }
    tick(CheckConflictingUsers);

    // A source that does not say how it authenticates its users is taken to use
    // Windows NT logon.
    msStep = CommonFunctions::ReplaceAppNames(
        QStringLiteral("Reading the authentication method of the <EXAPP> database..."));
    {
        const BusyCursor busy;
        const QString name = QStringLiteral("AuthenticationMethod");
        if (VarnelDBCon::RegistryNameExists(msSourceConnectionString, name)) {
            const QString method = VarnelDBCon::RegistryValueGet(msSourceConnectionString, name);
            log(QStringLiteral("Authentication Method: ") + method);
            GlobalVariables::gbNtLogon = method.toUpper() == QLatin1String("NTLOGON");
            GlobalVariables::gbNewPasswords = GlobalVariables::gbNtLogon;
        } else {
            GlobalVariables::gbNtLogon = true;
        }
    }
    AppClock::clock().pause(TickPause);

    // The store check lower-cases the name it is given; the list keeps the server's
    // name as the source writes it, which is what the administrator knows it by.
    msStep = CheckStoresCbx->text();
    gcStoresNotAdded.clear();
    {
        const BusyCursor busy;
        const QStringList servers = VarnelDBCon::GetUserMailHomeServers(msSourceConnectionString);
        for (const QString& server : servers) {
            QString name = server;
            if (!ZephrinFunctions::StoreExists(name, msTargetConnectionString)) {
                gcStoresNotAdded.append(server);
            }
        }
    }
    tick(CheckStoresCbx);
    log(QStringLiteral("CheckStores: ") +
        (CheckStoresCbx->isChecked() ? QStringLiteral("True") : QStringLiteral("False")));
    AppClock::clock().pause(TickPause);

    flags.storesMissing = !gcStoresNotAdded.isEmpty();
    return flags;
}

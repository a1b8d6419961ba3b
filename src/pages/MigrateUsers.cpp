#include "pages/MigrateUsers.h"

#include "frame/Clock.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"

#include <QLabel>
#include <QPointer>
#include <QProgressBar>
#include <QVBoxLayout>

MigrateUsers::MigrateUsers(QWidget* parent)
    : WizardPage(PageNames::MigrateUsers, QStringLiteral("Migrating"), parent), mEngine(*this)
{
    Description = new QLabel(QStringLiteral("Migrating users, please wait..."), this);
    Description->setObjectName(QStringLiteral("Description"));
    ProgressBar = new QProgressBar(this);
    ProgressBar->setObjectName(QStringLiteral("ProgressBar"));
    ProgressBar->setTextVisible(false);

    auto* layout = new QVBoxLayout(this);
    layout->addStretch(1);
    layout->addWidget(Description);
    layout->addWidget(ProgressBar);
    layout->addStretch(1);
    resize(420, 140);
}

void MigrateUsers::Form_Load()
{
    mEngine.Load();
}

void MigrateUsers::SetServers(const CollectionPtr& e2kServers, const CollectionPtr& e55Servers)
{
    mEngine.SetServers(e2kServers, e55Servers);
}

// While a phase runs the window is working: it takes no close, and the wizard cannot
// end half-way through the run.
void MigrateUsers::RunMigrateUsers()
{
    const Working working(*this);
    mEngine.MigrateUsers();
}

void MigrateUsers::RunMigrateDPProfiles()
{
    const Working working(*this);
    mEngine.MigrateDPProfiles();
}

void MigrateUsers::GenerateReport()
{
    const Working working(*this);
    mEngine.GenerateReport();
}

QString MigrateUsers::Migrate(const std::function<void(MigrationEngine&)>& prepare)
{
    const QPointer<MigrateUsers> window =
        qobject_cast<MigrateUsers*>(Pages::create(PageNames::MigrateUsers));
    if (!window) {
        return QString();
    }
    if (prepare) {
        prepare(window->engine());
    }
    window->show();
    window->RunMigrateUsers();
    window->RunMigrateDPProfiles();
    window->GenerateReport();
    window->hide();
    const QString report = window->gsReport();
    window->unload();
    return report;
}

void MigrateUsers::setDescription(const QString& text)
{
    Description->setText(text);
}

void MigrateUsers::setMinimum(int minimum)
{
    ProgressBar->setMinimum(minimum);
}

void MigrateUsers::setMaximum(int maximum)
{
    ProgressBar->setMaximum(maximum);
}

void MigrateUsers::setValue(int value)
{
    ProgressBar->setValue(value);
}

void MigrateUsers::repaint()
{
    ProgressBar->repaint();
}

void MigrateUsers::processEvents()
{
    AppClock::processEvents();
}

QWidget* MigrateUsers::questionParent() const
{
    return const_cast<MigrateUsers*>(this);
}

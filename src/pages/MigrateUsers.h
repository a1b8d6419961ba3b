#pragma once

#include "engine/MigrationEngine.h"
#include "engine/RunProgress.h"
#include "pages/WizardPage.h"

#include <functional>

class QLabel;
class QProgressBar;

// The window of the migration run ("Migrating"): a caption over a progress bar. It
// owns the run (MigrationEngine) from its load to its unload and shows the run's
// progress; while the run goes it is working and cannot be closed. It has no
// buttons: the summary page drives it and the finish page follows.
class MigrateUsers : public WizardPage, public RunProgress
{
    Q_OBJECT
public:
    explicit MigrateUsers(QWidget* parent = nullptr);

    QLabel* Description = nullptr;
    QProgressBar* ProgressBar = nullptr;

    // The run: SetServers, MigrateUsers, MigrateDPProfiles, GenerateReport.
    MigrationEngine& engine() { return mEngine; }
    void SetServers(const CollectionPtr& e2kServers, const CollectionPtr& e55Servers);
    void RunMigrateUsers();
    void RunMigrateDPProfiles();
    void GenerateReport();
    // The report text, once GenerateReport has run.
    QString gsReport() const { return mEngine.gsReport; }

    // What the summary page's Next does with this window: load it, show it, run
    // MigrateUsers, MigrateDPProfiles and GenerateReport, hide it, take the report and
    // unload it. Returns the report text; empty when the window could not be opened (the
    // administrator has been told).
    // prepare is given the run before it starts (the resume hands it its journal).
    static QString Migrate(const std::function<void(MigrationEngine&)>& prepare = {});

    // RunProgress
    void setDescription(const QString& text) override;
    void setMinimum(int minimum) override;
    void setMaximum(int maximum) override;
    void setValue(int value) override;
    void repaint() override;
    void processEvents() override;
    QWidget* questionParent() const override;

protected:
    void Form_Load() override;

private:
    MigrationEngine mEngine;
};

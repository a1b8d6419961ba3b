#include "pages/Introduction.h"

#include "directory/ZephrinFunctions.h"
#include "frame/Clock.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "pages/PageNames.h"

#include <QLabel>
#include <QVBoxLayout>

Introduction::Introduction(QWidget* parent)
    : WizardPage(PageNames::Introduction, QStringLiteral("Introduction"), parent)
{
    Form_Initialize();

    IntroductionText = new QLabel(this);
    IntroductionText->setObjectName(QStringLiteral("IntroductionText"));
    IntroductionText->setWordWrap(true);
    IntroductionText->setAlignment(Qt::AlignLeft | Qt::AlignTop);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(IntroductionText, 1);
    layout->addLayout(createNavigationButtons(NextButton | CancelButton));
    resize(480, 300);
}

// The product names are fixed before the page loads, so that the first log
// entries and every later text read them.
void Introduction::Form_Initialize()
{
    GlobalVariables::gsImportApp = ZephrinFunctions::GetProductName();
    GlobalVariables::gsExportApp = QStringLiteral("3.1x");
}

// Every load starts a log file of its own: coming back here with Previous and
// going on again is logged as a new run, the earlier file is left as it is.
void Introduction::Form_Load()
{
    IntroductionText->setText(
        CommonFunctions::ReplaceAppNames(QStringLiteral("This tool migrates users and Device "
                                                        "Provisioning profiles to an <IMAPP> "
                                                        "Directory database from a <EXAPP> "
                                                        "database.")));

    const QDateTime now = AppClock::clock().now();
    GlobalVariables::gsLogFileName = QStringLiteral("MigrationLog") +
                                     now.toString(CommonFunctions::LogFileTimeFormat) +
                                     QStringLiteral(".log");
    CommonFunctions::WriteLog(QStringLiteral("Introduction Launched") +
                              now.toString(CommonFunctions::LogTimeFormat));
    // The placeholders are logged as they are, not replaced.
    CommonFunctions::WriteLog(QStringLiteral("<EXAPP>=") + GlobalVariables::gsExportApp);
    CommonFunctions::WriteLog(QStringLiteral("<IMAPP>=") + GlobalVariables::gsImportApp);
}

// The source page is restored only when the user had been there before.
void Introduction::NextBtn_Click()
{
    handOver(PageNames::SelectVarnel, mbBackedTo ? Restore::Next : Restore::None);
}

#include "pages/HelpForm.h"

#include "frame/CommonFunctions.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QPointer<HelpForm>& helpForm()
{
    static QPointer<HelpForm> form;
    return form;
}

// Runs while the application object is still alive, so the window is deleted
// before the window system goes away.
void unloadHelpForm()
{
    delete helpForm().data();
}

} // namespace

HelpForm::HelpForm() : QDialog(nullptr)
{
    setObjectName(QStringLiteral("HelpForm"));
    setWindowTitle(QStringLiteral("Help"));
    setModal(true);
    setAttribute(Qt::WA_QuitOnClose, false);

    HelpTextLbl = new QLabel(QStringLiteral("Help Text:"), this);
    HelpTextLbl->setObjectName(QStringLiteral("HelpTextLbl"));
    HelpText = new QPlainTextEdit(this);
    HelpText->setObjectName(QStringLiteral("HelpText"));
    HelpText->setReadOnly(true);
    HelpTextLbl->setBuddy(HelpText);
    OKBtn = new QPushButton(QStringLiteral("OK"), this);
    OKBtn->setObjectName(QStringLiteral("OKBtn"));
    OKBtn->setDefault(true);
    connect(OKBtn, &QPushButton::clicked, this, &HelpForm::OKBtn_Click);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(OKBtn);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(HelpTextLbl);
    layout->addWidget(HelpText, 1);
    layout->addLayout(buttons);
    resize(420, 280);
}

HelpForm* HelpForm::instance()
{
    if (helpForm().isNull()) {
        helpForm() = new HelpForm;
        static bool cleanupRegistered = false;
        if (!cleanupRegistered) {
            qAddPostRoutine(unloadHelpForm);
            cleanupRegistered = true;
        }
    }
    return helpForm().data();
}

HelpForm* HelpForm::loaded()
{
    return helpForm().data();
}

void HelpForm::showHelp(const QString& text)
{
    HelpForm* form = instance();
    // The help texts break their lines with CR LF; the text box wants plain LF.
    QString shown = CommonFunctions::ReplaceAppNames(text);
    shown.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    form->HelpText->setPlainText(shown);
    form->exec();
}

// The window is hidden, not unloaded: the next help request shows it again.
void HelpForm::OKBtn_Click()
{
    accept();
}

#include "pages/WizardPage.h"

#include "frame/Clock.h"
#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "pages/Pages.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPushButton>
#include <QTimer>

WizardPage::WizardPage(const QString& name, const QString& caption, QWidget* parent)
    : QWidget(parent, Qt::Window)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(name);
    setWindowTitle(caption);
}

void WizardPage::load()
{
    if (mLoaded) {
        return;
    }
    mLoaded = true;
    Form_Load();
}

WizardPage* WizardPage::handOver(const QString& pageName, Restore restore,
                                 const std::function<void(WizardPage&)>& prepare)
{
    WizardPage* next = Pages::create(pageName);
    if (next == nullptr) {
        return nullptr;
    }
    const QString where = QStringLiteral("Opening ") + pageName;
    try {
        if (prepare) {
            prepare(*next);
        }
        if (restore == Restore::Next) {
            next->LoadStateNext();
        } else if (restore == Restore::Prev) {
            next->LoadStatePrev();
        }
    } catch (const MigrationError& error) {
        delete next;
        reportFailure(where, error.number(), error.description());
        return nullptr;
    } catch (const std::exception& error) {
        delete next;
        reportFailure(where, 0, QString::fromLocal8Bit(error.what()));
        return nullptr;
    }
    // The wizard stays where the administrator put it: the next page takes this page's
    // place on the screen instead of wherever the window manager would put a new window.
    if (windowHandle() != nullptr) {
        next->move(pos());
    }
    next->show();
    hide();
    deleteLater();
    return next;
}

WizardPage::Working::Working(WizardPage& page) : mPage(&page)
{
    ++page.mWorking;
}

WizardPage::Working::~Working()
{
    if (mPage) {
        --mPage->mWorking;
    }
}

void WizardPage::unload()
{
    mUnloading = true;
    if (!close()) {
        mUnloading = false;
    }
}

void WizardPage::CancelBtn_Click()
{
    unload();
}

void WizardPage::closeEvent(QCloseEvent* event)
{
    if (isWorking() && !mUnloading) {
        event->ignore();
        return;
    }
    QWidget::closeEvent(event);
}

void WizardPage::tellWhenShown(const QString& text)
{
    mPendingFailure = text;
    if (isVisible()) {
        tellPendingFailure();
    }
}

void WizardPage::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    tellPendingFailure();
}

void WizardPage::tellPendingFailure()
{
    if (mPendingFailure.isEmpty()) {
        return;
    }
    QTimer::singleShot(0, this, [this] {
        const QString text = mPendingFailure;
        mPendingFailure.clear();
        if (!text.isEmpty()) {
            AppPrompter::prompter().message(text, QStringLiteral("Error"), Prompter::Icon::Critical,
                                            Prompter::Buttons::Ok, this);
        }
    });
}

void WizardPage::keyPressEvent(QKeyEvent* event)
{
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!enter || (event->modifiers() & ~Qt::KeypadModifier) != Qt::NoModifier) {
        QWidget::keyPressEvent(event);
        return;
    }
    // A button with the focus takes the key as a click; text boxes, lists and option
    // buttons pass it on to the page.
    auto* focused = qobject_cast<QPushButton*>(focusWidget());
    QPushButton* target = focused != nullptr ? focused : NextBtn;
    if (target != nullptr && target->isEnabled() && target->isVisible()) {
        target->click();
        return;
    }
    QWidget::keyPressEvent(event);
}

QHBoxLayout* WizardPage::createNavigationButtons(Buttons buttons)
{
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    const auto add = [this, row](const char* name, const QString& text,
                                 void (WizardPage::*handler)()) {
        auto* button = new QPushButton(text, this);
        button->setObjectName(QLatin1String(name));
        connect(button, &QPushButton::clicked, this, [this, name, handler] {
            runHandler(QLatin1String(name) + QStringLiteral("_Click"),
                       [this, handler] { (this->*handler)(); });
        });
        row->addWidget(button);
        return button;
    };
    if (buttons.testFlag(PreviousButton)) {
        PreviousBtn =
            add("PreviousBtn", QStringLiteral("<< Previous"), &WizardPage::PreviousBtn_Click);
    }
    if (buttons.testFlag(NextButton)) {
        NextBtn = add("NextBtn", QStringLiteral("Next >>"), &WizardPage::NextBtn_Click);
    }
    if (buttons.testFlag(CancelButton)) {
        CancelBtn = add("CancelBtn", QStringLiteral("Cancel"), &WizardPage::CancelBtn_Click);
    }
    if (NextBtn != nullptr) {
        NextBtn->setDefault(true);
    }
    return row;
}

void WizardPage::logLaunched() const
{
    CommonFunctions::WriteLog(objectName() + QStringLiteral(" Launched") + AppClock::logTime());
}

void WizardPage::runHandler(const QString& handlerName, const std::function<void()>& handler)
{
    if (isWorking()) {
        return;
    }
    const Working working(*this);
    try {
        handler();
    } catch (const MigrationError& error) {
        reportFailure(handlerName, error.number(), error.description());
    } catch (const std::exception& error) {
        reportFailure(handlerName, 0, QString::fromLocal8Bit(error.what()));
    }
}

void WizardPage::reportFailure(const QString& action, long number, const QString& description)
{
    CommonFunctions::WriteLog(QStringLiteral("%1: %2 failed with error %3: %4")
                                  .arg(objectName(), action)
                                  .arg(number)
                                  .arg(description));
    AppPrompter::prompter().message(QStringLiteral("Error %1: %2").arg(number).arg(description),
                                    windowTitle().isEmpty() ? objectName() : windowTitle(),
                                    Prompter::Icon::Critical, Prompter::Buttons::Ok, this);
}

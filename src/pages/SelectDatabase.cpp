// The window both database pages share: the server, the authentication and the
// credentials, the database list with "Refresh", and saving and restoring what was
// entered. Next's verification and way on are in SelectDatabaseVerification.cpp.
#include "pages/SelectDatabase.h"

#include "db/AdministrativeDBCon.h"
#include "db/ConnectionString.h"
#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/BusyCursor.h"
#include "pages/HelpForm.h"

#include <QComboBox>
#include <QFocusEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace {

// The same help on both pages, the button it names included.
const QString HelpText = QStringLiteral(
    "Select the <EXAPP> database from which to export users.\r\n\r\n1) Enter the name of the "
    "database server manually.\r\n2) Select authentication method, enter login ID and password "
    "if you selected SQL authentication.\r\n3) Press \"Load Database\".\r\n4) Select a "
    "database.");

template <typename Widget> Widget* named(Widget* widget, const char* name)
{
    widget->setObjectName(QLatin1String(name));
    return widget;
}

} // namespace

SelectDatabase::SelectDatabase(const QString& name, const QString& caption, const QString& text,
                               Setter setter, Getter getter, QWidget* parent)
    : WizardPage(name, CommonFunctions::ReplaceAppNames(caption), parent), msCaption(caption),
      msText(text), mSetter(setter), mGetter(getter)
{
    lblText = named(new QLabel(this), "lblText");
    lblText->setWordWrap(true);

    Label1 = named(new QLabel(QStringLiteral("SQL Server Name:"), this), "Label1");
    DatabaseServerTxt = named(new QLineEdit(this), "DatabaseServerTxt");
    Label1->setBuddy(DatabaseServerTxt);

    AuthenticationRbn[0] =
        named(new QRadioButton(QStringLiteral("Use Windows NT Authentication"), this),
              "AuthenticationRbn_0");
    AuthenticationRbn[1] =
        named(new QRadioButton(QStringLiteral("Use SQL Server Authentication"), this),
              "AuthenticationRbn_1");
    AuthenticationRbn[0]->setChecked(true);

    frmCredentials = named(new QGroupBox(QStringLiteral("Credentials"), this), "frmCredentials");
    lblLoginID = named(new QLabel(QStringLiteral("Login ID:"), frmCredentials), "lblLoginID");
    LoginIDTxt = named(new QLineEdit(frmCredentials), "LoginIDTxt");
    lblPassword = named(new QLabel(QStringLiteral("Password:"), frmCredentials), "lblPassword");
    PasswordTxt = named(new QLineEdit(frmCredentials), "PasswordTxt");
    PasswordTxt->setEchoMode(QLineEdit::Password);
    lblLoginID->setBuddy(LoginIDTxt);
    lblPassword->setBuddy(PasswordTxt);

    DatabasesLbl = named(new QLabel(QStringLiteral("Database:"), this), "DatabasesLbl");
    DatabaseCbx = named(new QComboBox(this), "DatabaseCbx");
    DatabaseCbx->setPlaceholderText(QStringLiteral("Database"));
    DatabaseCbx->setMinimumContentsLength(24);
    DatabaseCbx->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    DatabasesLbl->setBuddy(DatabaseCbx);
    LoadDatabasesBtn = named(new QPushButton(QStringLiteral("Refresh"), this), "LoadDatabasesBtn");
    HelpBtn = named(new QPushButton(QStringLiteral("?"), this), "HelpBtn");
    HelpBtn->setToolTip(QStringLiteral("Help"));
    // A screen reader would read the "?" as the button's name.
    HelpBtn->setAccessibleName(HelpBtn->toolTip());

    auto* credentials = new QGridLayout(frmCredentials);
    credentials->addWidget(lblLoginID, 0, 0);
    credentials->addWidget(LoginIDTxt, 0, 1);
    credentials->addWidget(lblPassword, 1, 0);
    credentials->addWidget(PasswordTxt, 1, 1);

    auto* form = new QGridLayout;
    form->addWidget(Label1, 0, 0);
    form->addWidget(DatabaseServerTxt, 0, 1, 1, 2);
    form->addWidget(AuthenticationRbn[0], 1, 1, 1, 2);
    form->addWidget(AuthenticationRbn[1], 2, 1, 1, 2);
    form->addWidget(frmCredentials, 3, 1, 1, 2);
    form->addWidget(DatabasesLbl, 4, 0);
    form->addWidget(DatabaseCbx, 4, 1);
    form->addWidget(LoadDatabasesBtn, 4, 2);
    form->setColumnStretch(1, 1);

    QHBoxLayout* buttons = createNavigationButtons(PreviousButton | NextButton | CancelButton);
    buttons->insertWidget(0, HelpBtn);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblText);
    layout->addSpacing(8);
    layout->addLayout(form);
    layout->addStretch(1);
    layout->addLayout(buttons);

    // Tab follows the layout: top to bottom, left to right.
    const QList<QWidget*> order = {DatabaseServerTxt,
                                   AuthenticationRbn[0],
                                   AuthenticationRbn[1],
                                   LoginIDTxt,
                                   PasswordTxt,
                                   DatabaseCbx,
                                   LoadDatabasesBtn,
                                   HelpBtn,
                                   PreviousBtn,
                                   NextBtn,
                                   CancelBtn};
    for (qsizetype i = 1; i < order.size(); ++i) {
        setTabOrder(order[i - 1], order[i]);
    }

    // A page starts with no server, so with nothing to list and nothing to go on with.
    DatabaseCbx->setEnabled(false);
    LoadDatabasesBtn->setEnabled(false);
    NextBtn->setEnabled(false);
    showCredentials(false);

    connect(DatabaseServerTxt, &QLineEdit::textChanged, this, [this] {
        runHandler(QStringLiteral("DatabaseServerTxt_Change"),
                   [this] { DatabaseServerTxt_Change(); });
    });
    for (int index = 0; index < 2; ++index) {
        connect(AuthenticationRbn[index], &QRadioButton::toggled, this, [this, index](bool on) {
            if (on) {
                runHandler(QStringLiteral("AuthenticationRbn_Click"),
                           [this, index] { AuthenticationRbn_Click(index); });
            }
        });
    }
    connect(LoadDatabasesBtn, &QPushButton::clicked, this, [this] {
        runHandler(QStringLiteral("LoadDatabasesBtn_Click"), [this] { LoadDatabasesBtn_Click(); });
    });
    connect(HelpBtn, &QPushButton::clicked, this,
            [this] { runHandler(QStringLiteral("HelpBtn_Click"), [this] { HelpBtn_Click(); }); });
    DatabaseCbx->installEventFilter(this);
}

SelectDatabase::~SelectDatabase() = default;

void SelectDatabase::Form_Load()
{
    setWindowTitle(CommonFunctions::ReplaceAppNames(msCaption));
    lblText->setText(CommonFunctions::ReplaceAppNames(msText));
    // Wide enough for the explanation on two lines, high enough for all it holds.
    const int width = qMax(sizeHint().width(), 460);
    resize(width, qMax(sizeHint().height(), layout()->totalHeightForWidth(width)));
    logLaunched();
}

int SelectDatabase::authentication() const
{
    return AuthenticationRbn[1]->isChecked() ? StatusHolder::SqlServerAuthentication
                                             : StatusHolder::WindowsNtAuthentication;
}

QString SelectDatabase::connectionString() const
{
    const QString server = DatabaseServerTxt->text();
    const QString database = DatabaseCbx->currentText();
    if (authentication() == StatusHolder::SqlServerAuthentication) {
        return BuildSqlConnectionString(server, database, LoginIDTxt->text(), PasswordTxt->text());
    }
    return BuildTrustedConnectionString(server, database);
}

void SelectDatabase::save()
{
    mSetter(DatabaseServerTxt->text(), DatabaseCbx->currentText(), DatabaseCbx->currentIndex(),
            authentication(), LoginIDTxt->text(), PasswordTxt->text(), mbDatabasesLoaded,
            connectionString());
}

CollectionPtr SelectDatabase::restoreEntries()
{
    const CollectionPtr state = mGetter();
    DatabaseServerTxt->setText(state->item(StateKeys::DatabaseServer).toString());
    mlDatabaseCount = 0;
    if (state->item(StateKeys::Authentication).toInt() != StatusHolder::WindowsNtAuthentication) {
        AuthenticationRbn[0]->setChecked(false);
        AuthenticationRbn[1]->setChecked(true);
        LoginIDTxt->setText(state->item(StateKeys::LoginID).toString());
        PasswordTxt->setText(state->item(StateKeys::Password).toString());
    } else {
        AuthenticationRbn[0]->setChecked(true);
        AuthenticationRbn[1]->setChecked(false);
    }
    return state;
}

void SelectDatabase::restoreList(int listIndex)
{
    LoadDatabasesBtn_Click();
    DatabaseCbx->setCurrentIndex(listIndex);
    NextBtn->setEnabled(true);
    mbDatabasesLoaded = true;
}

void SelectDatabase::LoadStatePrev()
{
    const CollectionPtr state = restoreEntries();
    restoreList(state->item(StateKeys::DatabaseListIndex).toInt());
}

void SelectDatabase::DatabaseServerTxt_Change()
{
    const bool named = !DatabaseServerTxt->text().isEmpty();
    DatabaseCbx->setEnabled(named);
    LoadDatabasesBtn->setEnabled(named);
}

void SelectDatabase::showCredentials(bool enabled)
{
    for (QWidget* widget : std::initializer_list<QWidget*>{frmCredentials, LoginIDTxt, PasswordTxt,
                                                           lblLoginID, lblPassword}) {
        widget->setEnabled(enabled);
    }
    // White boxes to type into, or boxes in the page's colour that take nothing.
    for (QLineEdit* box : {LoginIDTxt, PasswordTxt}) {
        QPalette colours = box->palette();
        const QColor background = enabled ? QColor(Qt::white) : palette().color(QPalette::Window);
        colours.setColor(QPalette::Active, QPalette::Base, background);
        colours.setColor(QPalette::Inactive, QPalette::Base, background);
        colours.setColor(QPalette::Disabled, QPalette::Base, background);
        box->setPalette(colours);
    }
}

// Switching the authentication always asks for the list and the credentials again.
void SelectDatabase::AuthenticationRbn_Click(int index)
{
    showCredentials(index == 1);
    for (int i = 0; i < mlDatabaseCount && DatabaseCbx->count() > 0; ++i) {
        DatabaseCbx->removeItem(0);
    }
    mlDatabaseCount = 0;
    mbDatabasesLoaded = false;
    NextBtn->setEnabled(false);
    PasswordTxt->clear();
    LoginIDTxt->clear();
}

void SelectDatabase::LoadDatabasesBtn_Click()
{
    const QString server = DatabaseServerTxt->text();
    const QString master = authentication() == StatusHolder::SqlServerAuthentication
                               ? BuildSqlConnectionString(server, QStringLiteral("master"),
                                                          LoginIDTxt->text(), PasswordTxt->text())
                               : BuildTrustedConnectionString(server, QStringLiteral("master"));
    QStringList names;
    try {
        const BusyCursor busy;
        names = AdministrativeDBCon::GetDatabases(master);
    } catch (const MigrationError& error) {
        // The message names the server only; the log keeps the reason.
        CommonFunctions::WriteLog(QStringLiteral("%1: Refresh: Error %2: %3")
                                      .arg(objectName())
                                      .arg(error.number())
                                      .arg(error.description()));
        AppPrompter::prompter().message(
            QStringLiteral("Could not connect to database server ") + server + QStringLiteral("."),
            QStringLiteral("Error"), Prompter::Icon::Critical, Prompter::Buttons::Ok, this);
        return;
    }
    mlDatabaseCount = static_cast<int>(names.size());
    DatabaseCbx->clear();
    DatabaseCbx->addItems(names);
    if (!names.isEmpty()) {
        DatabaseCbx->setCurrentIndex(0);
    }
    mbDatabasesLoaded = true;
}

// Entering the list loads it once; the focus coming back to the window (after a
// message box, say) is not the administrator entering the list.
bool SelectDatabase::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == DatabaseCbx && event->type() == QEvent::FocusIn) {
        const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
        if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason) {
            runHandler(QStringLiteral("DatabaseCbx_GotFocus"), [this] { DatabaseCbx_GotFocus(); });
        }
    }
    return WizardPage::eventFilter(watched, event);
}

void SelectDatabase::DatabaseCbx_GotFocus()
{
    if (!mbDatabasesLoaded) {
        LoadDatabasesBtn_Click();
    }
    NextBtn->setEnabled(true);
}

void SelectDatabase::HelpBtn_Click()
{
    HelpForm::showHelp(HelpText);
}

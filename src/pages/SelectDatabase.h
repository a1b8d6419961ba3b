#pragma once

#include "frame/Collection.h"
#include "pages/Verifier.h"
#include "pages/WizardPage.h"

#include <array>
#include <memory>
#include <optional>

class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QRadioButton;

// What the source and the target database page share: the SQL Server name, the
// authentication, the credentials, the database list with "Refresh", saving the eight
// values of the page's group in the state store and restoring them, and running the
// verification from Next. SelectVarnel and SelectZephrin add their texts, their
// LoadStateNext and where Next and Previous lead.
class SelectDatabase : public WizardPage
{
    Q_OBJECT
public:
    // The group of the state store the page keeps: its setter and its getter.
    using Setter = void (*)(const QString& server, const QString& database, int listIndex,
                            int authentication, const QString& loginID, const QString& password,
                            bool databasesLoaded, const QString& connectionString);
    using Getter = CollectionPtr (*)();

    // caption and text are written with "<EXAPP>" / "<IMAPP>"; they are filled in when
    // the page loads.
    SelectDatabase(const QString& name, const QString& caption, const QString& text, Setter setter,
                   Getter getter, QWidget* parent = nullptr);
    ~SelectDatabase() override;

    // Restores the page as it was left, reading the database list from the server
    // again and choosing the saved position in it.
    void LoadStatePrev() override;

    // "Refresh": lists the databases of the server with the page's authentication.
    // When the server cannot be reached the administrator is told and the list stays
    // as it was. Public, so that the restore steps can call it.
    void LoadDatabasesBtn_Click();

    // 0 for Windows NT authentication, 1 for SQL Server authentication.
    int authentication() const;
    // The connection string of the chosen database with the page's authentication.
    QString connectionString() const;

    // The database list has been filled from the server since the page was loaded or
    // the authentication last changed; how many names it was filled with.
    bool mbDatabasesLoaded = false;
    int mlDatabaseCount = 0;

    QLabel* lblText = nullptr;
    QLabel* Label1 = nullptr;
    QLineEdit* DatabaseServerTxt = nullptr;
    // (0) Windows NT authentication, (1) SQL Server authentication.
    std::array<QRadioButton*, 2> AuthenticationRbn{};
    QGroupBox* frmCredentials = nullptr;
    QLabel* lblLoginID = nullptr;
    QLineEdit* LoginIDTxt = nullptr;
    QLabel* lblPassword = nullptr;
    QLineEdit* PasswordTxt = nullptr;
    QPushButton* LoadDatabasesBtn = nullptr;
    QLabel* DatabasesLbl = nullptr;
    QComboBox* DatabaseCbx = nullptr;
    QPushButton* HelpBtn = nullptr;

protected:
    void Form_Load() override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    // Stores the eight values of the page in its group.
    void save();
    // The first two restore steps: the server name, then the authentication, then the
    // credentials (the authentication switch clears them). The saved group.
    CollectionPtr restoreEntries();
    // The last restore step: "Refresh", choose the saved position, enable Next.
    void restoreList(int listIndex);

    // Holds the verification window for the rest of a Next handler; the window goes
    // when the holder does.
    struct VerifierDeleter
    {
        void operator()(Verifier* verifier) const;
    };
    using VerifierHolder = std::unique_ptr<Verifier, VerifierDeleter>;
    // Shows the verification window over this page and runs it. Nothing when the
    // verification could not run to its end: the administrator has been told what
    // failed (the database's own message) and the page stays.
    std::optional<Verifier::Flags> runVerification(VerifierHolder& verifier);

    // The two messages of a database that is not what it was chosen as; detail is why
    // its check could not read it (Verifier::checkFailure), for the unattended mode.
    void tellIncorrectSource(const QString& detail);
    void tellIncorrectTarget(const QString& detail);
    // The route after a verification that passed: the store page when stores must be
    // typed, else the user selection page; backToVarnel tells either where its
    // Previous returns.
    void openStoresOrUsers(const Verifier& verifier, bool backToVarnel,
                           const QString& storesLogLine, const QString& usersLogLine);

private:
    void AuthenticationRbn_Click(int index);
    void DatabaseServerTxt_Change();
    void DatabaseCbx_GotFocus();
    void HelpBtn_Click();
    void showCredentials(bool enabled);

    QString msCaption;
    QString msText;
    Setter mSetter;
    Getter mGetter;
};

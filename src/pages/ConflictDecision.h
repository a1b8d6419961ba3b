#pragma once

#include "frame/Collection.h"

#include <QDialog>
#include <array>

class QButtonGroup;
class QCheckBox;
class QLabel;
class QPushButton;
class QRadioButton;

// The modal dialog that asks how to resolve a login-ID conflict between a source user
// and a Directory user. The user selection page loads it, fills it with SetUser, shows
// it with exec() and reads GlobalVariables::gbCancel and glSelectAction afterwards.
class ConflictDecision : public QDialog
{
    Q_OBJECT
public:
    // The action codes of the three options, in the order of their indexes.
    enum Action
    {
        CreateNewUser = 0,
        UpdateExistingUser = 1,
        ReplaceExistingUser = 2,
        // Not an option of the dialog: the migration list's code for a conflicting user
        // created as a new user. Its login ID is taken, so it gets a new one, and the
        // run then always sends it the introduction e-mail that tells it.
        CreateNewUserAndMail = 6
    };

    explicit ConflictDecision(QWidget* parent = nullptr);

    // Takes "VaUserName", "ZeUserName", "LoginID", "VaUserID" and "ZeUserID" of the
    // conflict record and describes the conflict in OrientationLbl.
    void SetUser(const CollectionPtr& conflict);

    // Offers "Apply this choice to all remaining conflicting users" (unticked) when
    // further conflicting users wait for a decision; hidden otherwise.
    void offerApplyToAll(bool offer);
    // The check box was ticked when the dialog was closed.
    bool applyToAll() const;

    QString msVaUserName;
    QString msZeUserName;
    QString msLoginID;
    int mlVaUserID = 0;
    int mlZeUserID = 0;

    QLabel* OrientationLbl = nullptr;
    // Object name "ConflictDesicionRbn" each, with the property "index" 0, 1, 2.
    std::array<QRadioButton*, 3> ConflictDesicionRbn{};
    QCheckBox* ApplyToAllCbx = nullptr;
    QPushButton* OKBtn = nullptr;
    QPushButton* CancelBtn = nullptr;

    // Closing the window or pressing Escape cancels, as the Cancel button does.
    void reject() override;

private:
    void Form_Load();
    void OKBtn_Click();
    void CancelBtn_Click();

    QButtonGroup* mOptions = nullptr;
};

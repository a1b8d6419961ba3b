#pragma once

#include "pages/WizardPage.h"

class QLabel;
class QLineEdit;

// The page that asks for the mailbox of the service account that sends the
// introduction e-mails, when the e-mail template page could not find one by itself.
// Next tests the logon with the values typed and goes on only when it passes; a
// failed test is told and the page stays with the values kept.
class EnterConnectData : public WizardPage
{
    Q_OBJECT
public:
    explicit EnterConnectData(QWidget* parent = nullptr);

    // Both put the values kept in the state store into the three boxes.
    void LoadStateNext() override;
    void LoadStatePrev() override;

    QLabel* DescriptionLbl = nullptr;
    QLabel* Label1 = nullptr;
    QLineEdit* ServerNameTxt = nullptr;
    QLabel* Label2 = nullptr;
    QLineEdit* AliasTxt = nullptr;
    QLabel* Label3 = nullptr;
    QLineEdit* EmailTxt = nullptr;

protected:
    void NextBtn_Click() override;
    void PreviousBtn_Click() override;

private:
    void restore();
    void save();
};

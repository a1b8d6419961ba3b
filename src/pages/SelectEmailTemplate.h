#pragma once

#include "frame/Collection.h"
#include "pages/WizardPage.h"

class QCheckBox;
class QLabel;
class QListWidget;

// The page on which the administrator chooses the Directory's e-mail template that
// tells migrated users their new login ID and password, or "Do not send e-mail".
// Next is enabled only with a template clicked or the box ticked. Next makes the
// template the chosen one, looks for the service account's mailbox by itself, and
// skips the mail logon page when that succeeds or no mail is sent.
class SelectEmailTemplate : public WizardPage
{
    Q_OBJECT
public:
    explicit SelectEmailTemplate(QWidget* parent = nullptr);

    // Both restore the choice kept in the state store: the title selected, or the box
    // ticked when no mail is sent.
    void LoadStateNext() override;
    void LoadStatePrev() override;

    QString msZeConnectionString;
    QString msVaConnectionString;
    // "IDs" and "Titles" of the Directory's templates, read when the page loads.
    CollectionPtr TemplateList;

    QLabel* DescriptionLbl = nullptr;
    QLabel* Label1 = nullptr;
    QListWidget* EmailTemplates = nullptr;
    QCheckBox* DoNotSend = nullptr;

protected:
    void Form_Load() override;
    void NextBtn_Click() override;
    void PreviousBtn_Click() override;

private:
    void restoreChoice();
    void fillTemplates();
    void DoNotSend_Click();
    void EmailTemplates_Click();
    // Send unless the box is ticked, and the title selected in the list.
    void saveChoice();
};

#pragma once

#include "frame/Collection.h"
#include "pages/WizardPage.h"

class QLabel;
class QListWidget;

// The page on which the administrator picks the source's Device Provisioning profiles
// to migrate: "Profiles:" holds those left behind, "Profiles to Migrate:" those chosen.
// Entered forward it reads every profile from the source and chooses none; Next keeps
// the three lists in the state store for the summary and the run.
//
// Which page Previous returns to is giBackTo, set by the page that opens it forward
// (BackToUsers, BackToTemplate, BackToConnectData). Next remembers it, and
// LoadStatePrev restores it, so a return from the summary page still knows its way.
class SelectDPProfiles : public WizardPage
{
    Q_OBJECT
public:
    enum BackTo
    {
        BackToUsers = 0,
        BackToTemplate = 1,
        BackToConnectData = 2
    };

    explicit SelectDPProfiles(QWidget* parent = nullptr);

    // Every profile of the source, in the reader's order, in "Profiles:".
    void LoadStateNext() override;
    // The three lists as Next saved them.
    void LoadStatePrev() override;

    // Where Previous returns; any other value makes Previous only close the page.
    int giBackTo = BackToUsers;
    // giBackTo as the last Next left it.
    static inline int savedBackTo = BackToUsers;

    // Each profile keyed by its "ProfileID": all as read, those left behind ("Profiles:")
    // and those to migrate ("Profiles to Migrate:").
    CollectionPtr cAllProfiles;
    CollectionPtr cOldProfiles;
    CollectionPtr cNewProfiles;

    QLabel* SUExpl = nullptr;
    QLabel* Label1 = nullptr;
    QListWidget* lstOldProfiles = nullptr;
    QLabel* Label2 = nullptr;
    QListWidget* lstNewProfiles = nullptr;
    QPushButton* OldToMigrateBtn = nullptr;
    QPushButton* MigrateToOldBtn = nullptr;
    QPushButton* MigrateAll = nullptr;
    QPushButton* MigrateNone = nullptr;

protected:
    void Form_Load() override;
    void NextBtn_Click() override;
    void PreviousBtn_Click() override;

private:
    // Moves the profile selected in fromList from one collection to the end of the other.
    void moveSelected(QListWidget* fromList, const CollectionPtr& from, const CollectionPtr& to);
    // Moves every profile of from, in its order, to the end of to.
    void moveAll(const CollectionPtr& from, const CollectionPtr& to);
    void fillLists();
};

#pragma once

#include "frame/Collection.h"
#include "pages/BackToVarnelPage.h"
#include "pages/WizardPage.h"

#include <QStringList>

class QLabel;
class QListWidget;

// The store type page: the mail servers that the verification found missing as stores
// ("Servers Detected") are sorted into Exchange 2000/2003 and Exchange 5.5 servers.
// Next keeps the two typed lists in the state store for the store migration.
//
// The detected servers are handed to the page after it is loaded, so it shows and
// logs them when it is restored:
// - forward (LoadStateNext, from a database page): every server handed over is
//   detected, and both typed lists start empty;
// - backward (LoadStatePrev, from the user selection page, no new verification): the
//   typed lists as Next saved them, and as detected the servers of the last hand-over
//   that are in neither, so the page looks as the administrator left it.
class AddStores : public WizardPage, public BackToVarnelPage
{
    Q_OBJECT
public:
    explicit AddStores(QWidget* parent = nullptr);

    // True when Previous returns to the source database page, false for the target
    // page; passed on to the user selection page by Next.
    bool gbBackToVarnel = false;
    void setBackToVarnel(bool backToVarnel) override { gbBackToVarnel = backToVarnel; }

    // The servers that the verification found missing as stores, in its order.
    void setDetectedServers(const QStringList& servers);
    // The verification's login conflicts, passed on to the user selection page so that
    // it does not check them again.
    void setConflictResult(const CollectionPtr& conflicts) { mcConflicts = conflicts; }

    void LoadStateNext() override;
    void LoadStatePrev() override;

    // The server names behind each list, keyed by the name.
    CollectionPtr mcDetected;
    CollectionPtr mcE2kServers;
    CollectionPtr mcE55Servers;

    QLabel* DescriptionLbl = nullptr;
    QLabel* Label1 = nullptr;
    QListWidget* ServersDetectedLbx = nullptr;
    QLabel* Label2 = nullptr;
    QListWidget* E2kServersLbx = nullptr;
    QLabel* Label3 = nullptr;
    QListWidget* E55ServersLbx = nullptr;
    QPushButton* ToE2kBtn = nullptr;
    QPushButton* FromE2kBtn = nullptr;
    QPushButton* ToE55Btn = nullptr;
    QPushButton* FromE55Btn = nullptr;

protected:
    void Form_Load() override;
    void NextBtn_Click() override;
    void PreviousBtn_Click() override;

private:
    // Moves the server selected in from's list box into to; nothing without one.
    void moveServer(QListWidget* fromList, const CollectionPtr& from, const CollectionPtr& to);
    void showLists();
    void showDetected(const QStringList& servers);

    QStringList mHandedOver;
    CollectionPtr mcConflicts;
};

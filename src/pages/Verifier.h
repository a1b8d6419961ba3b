#pragma once

#include "frame/Collection.h"
#include "pages/WizardPage.h"

#include <QStringList>

class QCheckBox;

// The progress window of a database page's Next: Verify checks the source and the
// target database, looks for login conflicts, reads how the source authenticates its
// users and which of its mail servers the Directory lacks as stores, and ticks a box
// after each step, pausing so the administrator sees it. The database page makes it,
// shows it, reads its fields and takes it away again; the administrator cannot close
// it.
class Verifier : public WizardPage
{
    Q_OBJECT
public:
    explicit Verifier(QWidget* parent = nullptr);

    // What Verify found: the source database is a source database, the target is a
    // Directory, and at least one mail server of the source is not a store yet.
    struct Flags
    {
        bool exportValid = false;
        bool importValid = false;
        bool storesMissing = false;
    };

    // Runs every check in order. The two identity checks only answer; a failure of the
    // conflict check, of reading the authentication method or of the store check is
    // raised to the caller, and step() then names the step that failed.
    Flags Verify();

    // The step that runs, or ran last: a check box's caption or the reading of the
    // authentication method.
    QString step() const { return msStep; }
    // What the last Verify returned.
    Flags flags() const { return mFlags; }
    // Why the identity check that answered false could not open its database
    // ("Error <number>: <description>"); empty when it read the database and found it
    // is not what it was chosen as.
    QString checkFailure() const { return msCheckFailure; }

    // Read by the calling page after Verify.
    QString msSourceConnectionString;
    QString msTargetConnectionString;
    // The login conflicts (five parallel lists), null when the check did not run.
    CollectionPtr mcConflicts;
    // Mail servers of the source users that the Directory has no store for, as the
    // source names them, in the order the source lists them.
    QStringList gcStoresNotAdded;

    // Set by the calling page when it takes the window away; until then closing it is
    // refused.
    bool gbUnloadVerifier = false;

    QCheckBox* Verify313 = nullptr;
    QCheckBox* Verify40 = nullptr;
    QCheckBox* CheckConflictingUsers = nullptr;
    QCheckBox* CheckStoresCbx = nullptr;

protected:
    void Form_Load() override;
    void closeEvent(QCloseEvent* event) override;

private:
    void tick(QCheckBox* box);
    void logCheckFailure(const QString& check);

    QString msStep;
    QString msCheckFailure;
    Flags mFlags;
};

#pragma once

#include "pages/SelectDatabase.h"

// The source database page. Next looks for a Directory named in the target's
// configuration: when there is one the target page is skipped and both databases are
// verified at once; otherwise the target page opens with this page's server and
// credentials filled in.
class SelectVarnel : public SelectDatabase
{
    Q_OBJECT
public:
    explicit SelectVarnel(QWidget* parent = nullptr);

    // Called only when the administrator comes back from the introduction page: the
    // entries come back, and the list too when it had been loaded.
    void LoadStateNext() override;

    // Takes the server and the database out of a configured connection string and
    // stores them as the target page's group. Only "Data source=" (lower-case s) is
    // recognised, and both the server and the database must end in ";"; otherwise
    // nothing is stored and the result is false.
    static bool ParseConfiguredConnection(const QString& text);

protected:
    void NextBtn_Click() override;
    void PreviousBtn_Click() override;
};

#pragma once

#include "pages/SelectDatabase.h"

// The target Directory database page. Next verifies both databases and goes on to
// the store page or the user selection page; a source that fails the check sends the
// administrator back to an empty source page.
class SelectZephrin : public SelectDatabase
{
    Q_OBJECT
public:
    explicit SelectZephrin(QWidget* parent = nullptr);

    // The entries come back; the list is read only when the administrator asks for
    // it ("Refresh" or entering the list).
    void LoadStateNext() override;

protected:
    void NextBtn_Click() override;
    void PreviousBtn_Click() override;
};

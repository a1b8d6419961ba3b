#pragma once

// Shows the busy cursor for as long as it lives: a page holds one around every call
// that reaches a database, so the administrator sees that the wizard is working.
class BusyCursor
{
public:
    BusyCursor();
    ~BusyCursor();
    BusyCursor(const BusyCursor&) = delete;
    BusyCursor& operator=(const BusyCursor&) = delete;
};

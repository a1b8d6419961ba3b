#pragma once

#include "frame/MigrationError.h"

#include <QString>
#include <functional>

// What a call threw, for one comparison: the MigrationError it raised, or "no error"
// when it returned. A test checks the fields it cares about.
struct Failure
{
    bool thrown = false;
    long number = 0;
    QString description;
    QString source;

    static Failure of(const std::function<void()>& call)
    {
        try {
            call();
        } catch (const MigrationError& error) {
            return {true, error.number(), error.description(), error.source()};
        }
        return {};
    }
};

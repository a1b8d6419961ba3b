#pragma once

#include "frame/MigrationError.h"

#include <QString>
#include <exception>

// The handler of the target operations that hand a failure back instead of raising
// it: the failure's number and description go into the two outputs.
namespace DirectoryErrors {

inline void HandBack(const std::exception& failure, long& errorNumber, QString& errorDescription)
{
    if (const auto* error = dynamic_cast<const MigrationError*>(&failure)) {
        errorNumber = error->number();
        errorDescription = error->description();
    } else {
        errorNumber = ErrorNumber::InvalidProcedureCall;
        errorDescription = QString::fromLocal8Bit(failure.what());
    }
}

// A failure that is not a MigrationError, raised again as one.
[[noreturn]] inline void Raise(const std::exception& failure, const QString& source)
{
    if (const auto* error = dynamic_cast<const MigrationError*>(&failure)) {
        throw *error;
    }
    throw MigrationError(ErrorNumber::InvalidProcedureCall, QString::fromLocal8Bit(failure.what()),
                         source);
}

} // namespace DirectoryErrors

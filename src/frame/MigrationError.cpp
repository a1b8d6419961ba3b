#include "frame/MigrationError.h"

MigrationError::MigrationError(long number, const QString& description, const QString& source)
    : mNumber(number), mDescription(description), mSource(source),
      mWhat((QString::number(number) + QLatin1String(": ") + description).toUtf8())
{
}

MigrationError MigrationError::withSource(const QString& source) const
{
    return MigrationError(mNumber, mDescription, source);
}

#include "engine/UserRecord.h"

#include "frame/MigrationError.h"
#include "frame/RecordKeys.h"

#include <cmath>

namespace UserRecord {

const QString Source = QStringLiteral("VarnelMigrationTool.MigrateUsers");

QString text(const CollectionPtr& record, const QString& key)
{
    return record ? record->value(key).toString() : QString();
}

// Sets a member, taking out an earlier value under the same key first.
void put(const CollectionPtr& record, const QString& key, const QVariant& value)
{
    if (record->contains(key)) {
        record->remove(key);
    }
    record->add(value, key);
}

// "TRUE" in any letter case, or a flag that the repair put in.
bool flag(const QVariant& value)
{
    if (value.typeId() == QMetaType::Bool) {
        return value.toBool();
    }
    return value.toString().trimmed().toUpper() == QLatin1String("TRUE");
}

// A whole number written as text; a text that is no number raises.
int wholeNumber(const QVariant& value, const QString& what)
{
    if (value.typeId() == QMetaType::Int) {
        return value.toInt();
    }
    const QString written = value.toString().trimmed();
    bool ok = false;
    const int whole = written.toInt(&ok);
    if (ok) {
        return whole;
    }
    const double number = written.toDouble(&ok);
    if (ok && std::isfinite(number) && std::fabs(number) < 2147483647.0) {
        return static_cast<int>(std::lround(number));
    }
    throw MigrationError(
        ErrorNumber::TypeMismatch,
        QStringLiteral("Type mismatch: the %1 \"%2\" is not a number").arg(what, written), Source);
}

// The logon failure counter is not graded: an absent or unreadable one counts as 0.
int failureCounter(const CollectionPtr& record)
{
    bool ok = false;
    const int counter = text(record, RecordKeys::UserLogonFailureCounter).trimmed().toInt(&ok);
    return ok ? counter : 0;
}

Failure failureOf(const std::exception& error)
{
    if (const auto* known = dynamic_cast<const MigrationError*>(&error)) {
        return {known->number(), known->description()};
    }
    return {ErrorNumber::InvalidProcedureCall, QString::fromLocal8Bit(error.what())};
}

} // namespace UserRecord

#include "engine/JournalInput.h"

#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

const QString Source = QStringLiteral("VarnelMigrationTool.JournalInput");

// A value as a pair of a type letter and the value: "s" text, "i" 32-bit integer,
// "h" 16-bit integer, "l" 64-bit integer, "b" flag, "d" number, "c" collection, "n"
// null.
QJsonValue valueToJson(const QVariant& value);

QJsonArray collectionToArray(const CollectionPtr& collection)
{
    QJsonArray items;
    if (!collection) {
        return items;
    }
    for (int position = 1; position <= collection->count(); ++position) {
        const QString key = collection->key(position);
        items.append(QJsonArray{key.isNull() ? QJsonValue() : QJsonValue(key),
                                valueToJson(collection->item(position))});
    }
    return items;
}

QJsonValue valueToJson(const QVariant& value)
{
    if (const CollectionPtr inner = toCollection(value)) {
        return QJsonArray{QStringLiteral("c"), collectionToArray(inner)};
    }
    switch (value.typeId()) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        return QJsonArray{QStringLiteral("n")};
    case QMetaType::Bool:
        return QJsonArray{QStringLiteral("b"), value.toBool()};
    case QMetaType::Int:
        return QJsonArray{QStringLiteral("i"), value.toInt()};
    case QMetaType::Short:
        return QJsonArray{QStringLiteral("h"), value.toInt()};
    case QMetaType::LongLong:
        return QJsonArray{QStringLiteral("l"), QString::number(value.toLongLong())};
    case QMetaType::Double:
        return QJsonArray{QStringLiteral("d"), value.toDouble()};
    default:
        return QJsonArray{QStringLiteral("s"), value.toString()};
    }
}

CollectionPtr arrayToCollection(const QJsonArray& items);

QVariant valueFromJson(const QJsonValue& json)
{
    const QJsonArray pair = json.toArray();
    const QString type = pair.at(0).toString();
    const QJsonValue value = pair.at(1);
    if (type == QLatin1String("c")) {
        return toVariant(arrayToCollection(value.toArray()));
    }
    if (type == QLatin1String("b")) {
        return value.toBool();
    }
    if (type == QLatin1String("i")) {
        return value.toInt();
    }
    if (type == QLatin1String("h")) {
        return QVariant::fromValue<qint16>(static_cast<qint16>(value.toInt()));
    }
    if (type == QLatin1String("l")) {
        return value.toString().toLongLong();
    }
    if (type == QLatin1String("d")) {
        return value.toDouble();
    }
    if (type == QLatin1String("s")) {
        return value.toString();
    }
    return QVariant();
}

CollectionPtr arrayToCollection(const QJsonArray& items)
{
    const CollectionPtr collection = Collection::create();
    for (const QJsonValue& item : items) {
        const QJsonArray pair = item.toArray();
        const QVariant value = valueFromJson(pair.at(1));
        if (pair.at(0).isNull()) {
            collection->add(value);
        } else {
            collection->add(value, pair.at(0).toString());
        }
    }
    return collection;
}

// A group of the state store: its keyed values.
QJsonValue group(const CollectionPtr& map)
{
    return QJsonArray{QStringLiteral("c"), collectionToArray(map)};
}

CollectionPtr groupOf(const QJsonObject& input, const QString& name)
{
    const QJsonValue value = input.value(name);
    if (!value.isArray()) {
        throw MigrationError(ErrorNumber::InvalidFileFormat,
                             QStringLiteral("The journal's input has no group \"%1\"").arg(name),
                             Source);
    }
    return toCollection(valueFromJson(value));
}

void restoreDatabase(const CollectionPtr& g, bool target)
{
    const auto text = [&g](QLatin1String key) { return g->value(key).toString(); };
    (target ? StatusHolder::SetZephrinDatabase : StatusHolder::SetVarnelDatabase)(
        text(StateKeys::DatabaseServer), text(StateKeys::Database),
        g->value(StateKeys::DatabaseListIndex).toInt(), g->value(StateKeys::Authentication).toInt(),
        text(StateKeys::LoginID), text(StateKeys::Password),
        g->value(StateKeys::DatabasesLoaded).toBool(), text(StateKeys::ConnectionString));
}

} // namespace

QByteArray JournalInput::CollectionToJson(const CollectionPtr& collection)
{
    return QJsonDocument(collectionToArray(collection)).toJson(QJsonDocument::Compact);
}

CollectionPtr JournalInput::CollectionFromJson(const QByteArray& json)
{
    return arrayToCollection(QJsonDocument::fromJson(json).array());
}

QByteArray JournalInput::Capture()
{
    QJsonObject input;
    input.insert(QStringLiteral("source"), group(StatusHolder::GetVarnelDatabase()));
    input.insert(QStringLiteral("target"), group(StatusHolder::GetZephrinDatabase()));
    input.insert(QStringLiteral("users"), group(StatusHolder::GetUserLists()));
    input.insert(QStringLiteral("profiles"), group(StatusHolder::GetProfileLists()));
    input.insert(QStringLiteral("stores"), group(StatusHolder::GetExchangeServers()));
    input.insert(QStringLiteral("email"), group(StatusHolder::GetEmailChoice()));
    input.insert(QStringLiteral("service account"), group(StatusHolder::GetConnectData()));
    QJsonObject globals;
    globals.insert(QStringLiteral("gsImportApp"), GlobalVariables::gsImportApp);
    globals.insert(QStringLiteral("gsExportApp"), GlobalVariables::gsExportApp);
    globals.insert(QStringLiteral("gbAddStores"), GlobalVariables::gbAddStores);
    globals.insert(QStringLiteral("gbNtLogon"), GlobalVariables::gbNtLogon);
    globals.insert(QStringLiteral("gbNewPasswords"), GlobalVariables::gbNewPasswords);
    globals.insert(QStringLiteral("gsServiceAccount"), GlobalVariables::gsServiceAccount);
    input.insert(QStringLiteral("globals"), globals);
    return QJsonDocument(input).toJson(QJsonDocument::Compact);
}

void JournalInput::Restore(const QByteArray& json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (!document.isObject()) {
        throw MigrationError(
            ErrorNumber::InvalidFileFormat,
            QStringLiteral("The journal's input cannot be read: ") + error.errorString(), Source);
    }
    const QJsonObject input = document.object();
    restoreDatabase(groupOf(input, QStringLiteral("source")), false);
    restoreDatabase(groupOf(input, QStringLiteral("target")), true);

    const CollectionPtr users = groupOf(input, QStringLiteral("users"));
    const auto list = [&users](QLatin1String key) { return users->collection(key); };
    StatusHolder::SetUserLists(list(StateKeys::ConflictDecisions), list(StateKeys::ConflictUsers),
                               list(StateKeys::ConflictUserNames), list(StateKeys::Link),
                               list(StateKeys::AllUsers), list(StateKeys::ExportedUsers),
                               list(StateKeys::OldUsers), list(StateKeys::MigrationList),
                               list(StateKeys::NeedEmail));
    const CollectionPtr profiles = groupOf(input, QStringLiteral("profiles"));
    StatusHolder::SetProfileLists(profiles->collection(StateKeys::AllProfiles),
                                  profiles->collection(StateKeys::ExportedProfiles),
                                  profiles->collection(StateKeys::OldProfiles));
    const CollectionPtr stores = groupOf(input, QStringLiteral("stores"));
    StatusHolder::SetExchangeServers(stores->collection(StateKeys::E2kServers),
                                     stores->collection(StateKeys::E55Servers));
    const CollectionPtr email = groupOf(input, QStringLiteral("email"));
    StatusHolder::SetEmailChoice(email->value(StateKeys::Send).toBool(),
                                 email->value(StateKeys::Title).toString());
    const CollectionPtr account = groupOf(input, QStringLiteral("service account"));
    StatusHolder::SetConnectData(account->value(StateKeys::ServerName).toString(),
                                 account->value(StateKeys::Alias).toString(),
                                 account->value(StateKeys::EmailAddress).toString());

    const QJsonObject globals = input.value(QStringLiteral("globals")).toObject();
    GlobalVariables::gsImportApp = globals.value(QStringLiteral("gsImportApp")).toString();
    GlobalVariables::gsExportApp = globals.value(QStringLiteral("gsExportApp")).toString();
    GlobalVariables::gbAddStores = globals.value(QStringLiteral("gbAddStores")).toBool();
    GlobalVariables::gbNtLogon = globals.value(QStringLiteral("gbNtLogon")).toBool();
    GlobalVariables::gbNewPasswords = globals.value(QStringLiteral("gbNewPasswords")).toBool();
    GlobalVariables::gsServiceAccount =
        globals.value(QStringLiteral("gsServiceAccount")).toString();
}

int JournalInput::UsersToMigrate(const QByteArray& json)
{
    try {
        const CollectionPtr users =
            groupOf(QJsonDocument::fromJson(json).object(), QStringLiteral("users"));
        const CollectionPtr list = users->collection(StateKeys::MigrationList);
        const CollectionPtr ids = list ? list->collection(StateKeys::VaUserIDs) : CollectionPtr();
        return ids ? ids->count() : 0;
    } catch (const MigrationError&) {
        return 0;
    }
}

#include "directory/DefaultServices.h"

#include "directory/ZephrinFunctions.h"

namespace {

// Where a setting takes its value from.
enum class Source
{
    Number,
    Connection,
    FullName
};

struct SettingRow
{
    const char* name;
    const char* kind;
    Source source;
    qint16 number;
};

struct ServiceRow
{
    const char* guid;
    const char* displayName;
    QList<SettingRow> settings;
};

SettingRow baseItem(qint16 value)
{
    return {"baseitem", "store", Source::Number, value};
}
const SettingRow connection{"connection", "store", Source::Connection, 0};
const SettingRow cacheId{"cacheid", "store", Source::Number, 0};
const SettingRow mailName{"fullname", "mail", Source::FullName, 0};
const SettingRow calendarName{"fullname", "calendar", Source::FullName, 0};

// The display names are the Directory's own, "Sent Items " with its trailing blank
// and the FileViewer GUID with its lower-case "b" included.
const QList<ServiceRow>& serviceRows()
{
    static const QList<ServiceRow> rows = {
        {ZephrinFunctions::MailServiceGuid, "Mail", {baseItem(1), connection, mailName, cacheId}},
        {"{692C2BD3-26C7-46DB-B0DD-720EBF8A44BB}", "Contacts", {baseItem(5), connection, cacheId}},
        {"{DC7E00D1-F236-4E13-84C9-826215C1AEAB}",
         "Calendar",
         {baseItem(0), connection, calendarName, cacheId}},
        {"{A4C2CC57-2840-4BDA-B4EA-9E095348F2BD}", "Notes", {baseItem(7), connection}},
        {"{0A6B1F2D-95E9-4704-8C74-9234ECA28258}", "Tasks", {baseItem(8), connection}},
        {"{D774097C-535C-4382-899F-E37E2BEE2164}",
         "Sent Items ",
         {baseItem(3), connection, mailName, cacheId}},
        {"{DF6AC980-27B2-4204-B0EF-5D84F92FDF64}",
         "Deleted Items",
         {baseItem(4), connection, mailName, cacheId}},
        {"{98607AF7-F1FE-4264-BC09-242D1C399E6E}",
         "Drafts",
         {baseItem(10), connection, mailName, cacheId}},
        {"{1D08B4DF-381A-4795-A18A-E559F1458F9F}", "Device Provisioning", {connection, cacheId}},
        {"{2E4B9A66-D524-41b2-BC31-0E84A7F61820}", "FileViewer", {connection, cacheId}},
    };
    return rows;
}

} // namespace

QString DefaultServices::MailConnection(const QString& exchangeServer, const QString& alias,
                                        const QString& email)
{
    return exchangeServer + QLatin1Char(';') + alias + QLatin1Char(';') + email;
}

QList<QVariantList> DefaultServices::BuildServiceEntries(const QString& mailConnection,
                                                         const QString& fullName, int storeID)
{
    QList<QVariantList> entries;
    entries.reserve(ServiceCount);
    for (const ServiceRow& row : serviceRows()) {
        VariantTable settings =
            ZephrinFunctions::MakeNullTable(SettingFirstField, SettingLastField, SettingRecords);
        int index = 0;
        for (const SettingRow& setting : row.settings) {
            settings.set(SettingNameField, index, QString::fromLatin1(setting.name));
            settings.set(SettingKindField, index, QString::fromLatin1(setting.kind));
            switch (setting.source) {
            case Source::Number:
                settings.set(SettingValueField, index, QVariant::fromValue<qint16>(setting.number));
                break;
            case Source::Connection:
                settings.set(SettingValueField, index, mailConnection);
                break;
            case Source::FullName:
                settings.set(SettingValueField, index, fullName);
                break;
            }
            ++index;
        }
        QVariantList entry(EntryValueCount);
        entry[GuidValue] = QString::fromLatin1(row.guid);
        entry[StoreValue] = storeID;
        entry[EnabledValue] = true;
        entry[DisplayNameValue] = QString::fromLatin1(row.displayName);
        entry[SettingsValue] = QVariant::fromValue(settings);
        entries.append(entry);
    }
    return entries;
}

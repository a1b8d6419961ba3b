#pragma once

#include "directory/VariantTable.h"

#include <QList>
#include <QString>
#include <QVariant>
#include <QVariantList>

// The ten services that every new directory user is created with, in the layout
// the directory user component takes: an entry is seven values, value 1 the
// application GUID, value 3 the store ID, value 4 enabled, value 5 the display name
// and value 6 the settings table (fields 0 to 8, settings 0 to 3; field 1 the name,
// field 2 the kind, field 8 the value).
namespace DefaultServices {

constexpr int ServiceCount = 10;

constexpr int EntryValueCount = 7;
constexpr int GuidValue = 1;
constexpr int StoreValue = 3;
constexpr int EnabledValue = 4;
constexpr int DisplayNameValue = 5;
constexpr int SettingsValue = 6;

constexpr int SettingFirstField = 0;
constexpr int SettingLastField = 8;
constexpr int SettingRecords = 4;
constexpr int SettingNameField = 1;
constexpr int SettingKindField = 2;
constexpr int SettingValueField = 8;

// The connection value of every service, which is also how a mail account is
// written: server ";" alias ";" address.
QString MailConnection(const QString& exchangeServer, const QString& alias, const QString& email);

// The ten entries for a user whose mail lives on the store storeID (-1 when the
// Directory does not know the server).
QList<QVariantList> BuildServiceEntries(const QString& mailConnection, const QString& fullName,
                                        int storeID);

} // namespace DefaultServices

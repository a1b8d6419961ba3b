#pragma once

#include "db/VarnelBuilder.h"

#include <QList>
#include <QPair>
#include <QString>

// The Device Provisioning profiles of the demo's source: one of each bearer (0 to
// 4), one whose XML is damaged (the wizard does not list it), one that names a
// GPRS access point twice (the first is kept) and one with a bearer the Directory
// does not know (the run reports it as failed).
namespace DemoProfiles {

inline constexpr const char* DamagedProfileName = "Old export (damaged)";
inline constexpr const char* DuplicatePairProfileName = "Company GPRS";
inline constexpr const char* FirstAccessPoint = "internet.example.com";
inline constexpr const char* UnknownBearerProfileName = "Pager gateway";

QList<VarnelSourceProfile> Profiles();

// The profile XML of name/value pairs, texts escaped.
QString PairsXml(const QList<QPair<QString, QString>>& pairs);

} // namespace DemoProfiles

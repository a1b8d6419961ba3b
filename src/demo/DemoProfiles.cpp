#include "demo/DemoProfiles.h"

namespace DemoProfiles {

namespace {

using Pairs = QList<QPair<QString, QString>>;

VarnelSourceProfile profile(const QString& name, const QString& description, const Pairs& pairs)
{
    return {PairsXml(pairs), name, description};
}

// The fields of a circuit-switched connection, with or without a modem pool.
Pairs circuitPairs(const QString& bearer, const QString& user, const QString& poolOrAccessPoint,
                   const QString& poolKey)
{
    return {{QStringLiteral("UrlValue"), QStringLiteral("http://wap.example.com/")},
            {QStringLiteral("WAPProxy"), QStringLiteral("192.0.2.10")},
            {QStringLiteral("Bearer"), bearer},
            {QStringLiteral("ConnectionPort"), QStringLiteral("9201")},
            {QStringLiteral("AuthenticationType"), QStringLiteral("0")},
            {QStringLiteral("CallType"), QStringLiteral("1")},
            {QStringLiteral("CallSpeed"), QStringLiteral("9600")},
            {QStringLiteral("AuthenticationName"), user},
            {QStringLiteral("AuthenticationPassword"), QStringLiteral("dial-in")},
            {QStringLiteral("ProxyAuthenticationName"), QString()},
            {QStringLiteral("ProxyAuthenticationPassword"), QString()},
            {poolKey, poolOrAccessPoint},
            {QStringLiteral("UserRecognisableName"), user + QStringLiteral(" connection")}};
}

} // namespace

QString PairsXml(const QList<QPair<QString, QString>>& pairs)
{
    QString xml = QStringLiteral("<Profile>");
    for (const auto& pair : pairs) {
        xml += QStringLiteral("<Pair><Name>") + pair.first.toHtmlEscaped() +
               QStringLiteral("</Name><Value>") + pair.second.toHtmlEscaped() +
               QStringLiteral("</Value></Pair>");
    }
    return xml + QStringLiteral("</Profile>");
}

QList<VarnelSourceProfile> Profiles()
{
    QList<VarnelSourceProfile> profiles;
    profiles << profile(
        QStringLiteral("Sales WAP dial-in"), QStringLiteral("GSM data call for the sales team"),
        circuitPairs(QStringLiteral("0"), QStringLiteral("sales"), QStringLiteral("+447700900100"),
                     QStringLiteral("ModemPoolNumber")));

    // No connection port, authentication type, call type or speed: the Directory
    // gets -1 for each.
    profiles << profile(
        QStringLiteral("Field engineers SMS"),
        QStringLiteral("Push over SMS for the field engineers"),
        {{QStringLiteral("UrlValue"), QStringLiteral("http://wap.example.com/field")},
         {QStringLiteral("WAPProxy"), QStringLiteral("192.0.2.11")},
         {QStringLiteral("Bearer"), QStringLiteral("1")},
         {QStringLiteral("SMSCAddress"), QStringLiteral("+447700900200")}});

    profiles << profile(QStringLiteral("Prepaid USSD"), QStringLiteral("USSD for prepaid phones"),
                        {{QStringLiteral("UrlValue"), QStringLiteral("http://wap.example.com/")},
                         {QStringLiteral("WAPProxy"), QStringLiteral("192.0.2.12")},
                         {QStringLiteral("Bearer"), QStringLiteral("2")},
                         {QStringLiteral("ConnectionPort"), QStringLiteral("9200")},
                         {QStringLiteral("CallType"), QStringLiteral("0")},
                         {QStringLiteral("ProxyType"), QStringLiteral("1")},
                         {QStringLiteral("USSDProxy"), QStringLiteral("*100#")},
                         {QStringLiteral("USSDServiceCode"), QStringLiteral("123")}});

    profiles << profile(
        QStringLiteral("US office TDMA"), QStringLiteral("IS-136 data call for the US office"),
        circuitPairs(QStringLiteral("3"), QStringLiteral("usoffice"),
                     QStringLiteral("+12025550143"), QStringLiteral("ModemPoolNumber")));

    // The access point is named twice; the first one counts.
    Pairs gprs =
        circuitPairs(QStringLiteral("4"), QStringLiteral("staff"),
                     QString::fromLatin1(FirstAccessPoint), QStringLiteral("GPRSAccessPointName"));
    gprs.append({QStringLiteral("GPRSAccessPointName"), QStringLiteral("wap.example.old")});
    profiles << profile(QString::fromLatin1(DuplicatePairProfileName),
                        QStringLiteral("GPRS for all staff"), gprs);

    // Cut off in the middle of the export.
    profiles << VarnelSourceProfile{
        QStringLiteral("<Profile><Pair><Name>UrlValue</Name><Value>http://wap.example.com/"
                       "</Value></Pair><Pair><Name>Bearer</Name>"),
        QString::fromLatin1(DamagedProfileName), QStringLiteral("Damaged in an earlier export")};

    profiles << profile(QString::fromLatin1(UnknownBearerProfileName),
                        QStringLiteral("Pager network, no longer in use"),
                        {{QStringLiteral("UrlValue"), QStringLiteral("http://wap.example.com/")},
                         {QStringLiteral("WAPProxy"), QStringLiteral("192.0.2.13")},
                         {QStringLiteral("Bearer"), QStringLiteral("7")}});
    return profiles;
}

} // namespace DemoProfiles

#include "directory/ComponentFactory.h"
#include "directory/DirectoryErrors.h"
#include "directory/TargetComponents.h"
#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"
#include "frame/RecordKeys.h"

namespace {

const QString Source =
    QStringLiteral("VarnelMigrationTool.ZephrinFunctions.AddDPProfileToDirectory");

// The source numbers its bearers; the Directory names them.
QString bearerName(const QString& number)
{
    static const QStringList names = {QStringLiteral("GSM/CSD"), QStringLiteral("GSM/SMS"),
                                      QStringLiteral("GSM/USSD"), QStringLiteral("IS-136/CSD"),
                                      QStringLiteral("GPRS")};
    bool ok = false;
    const int code = number.trimmed().toInt(&ok);
    if (!ok || code < 0 || code >= names.size()) {
        return QString();
    }
    return names.at(code);
}

QString profileName(const CollectionPtr& profile)
{
    return profile->value(RecordKeys::ProfileName).toString();
}

QString requiredValue(const CollectionPtr& profile, const QString& key)
{
    if (!profile->contains(key)) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("The Device Provisioning profile \"%1\" has no \"%2\"; "
                                            "the profile was not migrated.")
                                 .arg(profileName(profile), key),
                             Source);
    }
    return profile->item(key).toString();
}

// The settings that a bearer carries besides the profile's own texts.
QStringList bearerFields(const QString& bearer)
{
    QStringList fields = {QStringLiteral("ConnectionPort"), QStringLiteral("AuthenticationType"),
                          QStringLiteral("CallType"), QStringLiteral("CallSpeed")};
    const QStringList circuitFields = {
        QStringLiteral("AuthenticationName"), QStringLiteral("AuthenticationPassword"),
        QStringLiteral("ProxyAuthenticationName"), QStringLiteral("ProxyAuthenticationPassword")};
    if (bearer == QLatin1String("GSM/SMS")) {
        fields << QStringLiteral("SMSCAddress");
    } else if (bearer == QLatin1String("GSM/USSD")) {
        fields << QStringLiteral("ProxyType") << QStringLiteral("USSDProxy")
               << QStringLiteral("USSDServiceCode");
    } else if (bearer == QLatin1String("GSM/CSD") || bearer == QLatin1String("IS-136/CSD")) {
        fields << circuitFields << QStringLiteral("ModemPoolNumber")
               << QStringLiteral("UserRecognisableName");
    } else if (bearer == QLatin1String("GPRS")) {
        fields << circuitFields << QStringLiteral("GPRSAccessPointName")
               << QStringLiteral("UserRecognisableName");
    } else {
        throw MigrationError(
            ErrorNumber::InvalidProcedureCall,
            QStringLiteral("The bearer \"%1\" is not known to the Directory.").arg(bearer), Source);
    }
    return fields;
}

} // namespace

CollectionPtr ZephrinFunctions::NormaliseProfile(const CollectionPtr& profile)
{
    auto normalised = Collection::create();
    const auto copyOrDefault = [&](const QString& key) {
        normalised->add(
            profile->contains(key) ? profile->item(key) : QVariant(QStringLiteral("-1")), key);
    };
    copyOrDefault(QStringLiteral("ConnectionPort"));
    copyOrDefault(QStringLiteral("AuthenticationType"));
    // A present CallType is not translated: it is copied with the other keys below,
    // as it stands. Only a missing one gets its default here.
    if (!profile->contains(QStringLiteral("CallType"))) {
        normalised->add(QStringLiteral("-1"), QStringLiteral("CallType"));
    }
    copyOrDefault(QStringLiteral("CallSpeed"));

    const QString number = requiredValue(profile, QStringLiteral("Bearer"));
    const QString bearer = bearerName(number);
    if (bearer.isEmpty()) {
        throw MigrationError(
            ErrorNumber::InvalidProcedureCall,
            QStringLiteral("The Device Provisioning profile \"%1\" has the bearer "
                           "\"%2\", which is none of 0 (GSM/CSD), 1 (GSM/SMS), "
                           "2 (GSM/USSD), 3 (IS-136/CSD) and 4 (GPRS); the profile "
                           "was not migrated.")
                .arg(profileName(profile), number),
            Source);
    }
    normalised->add(bearer, QStringLiteral("Bearer"));

    for (int position = 1; position <= profile->count(); ++position) {
        const QString key = profile->key(position);
        if (!key.isEmpty() && !normalised->contains(key)) {
            normalised->add(profile->item(position), key);
        }
    }
    return normalised;
}

void ZephrinFunctions::AddDPProfileToDirectory(const QString& directoryConnectionString,
                                               const CollectionPtr& profile)
{
    try {
        if (!profile) {
            throw MigrationError(ErrorNumber::InvalidProcedureCall,
                                 QStringLiteral("No Device Provisioning profile was given."),
                                 Source);
        }
        const CollectionPtr normalised = NormaliseProfile(profile);
        const auto profileA = Components::factory().CreateProfileA();
        const auto profileB = Components::factory().CreateProfileB();

        const QStringList changeFlagNames = {QStringLiteral("CHANGE_PPP_AUTHNAME"),
                                             QStringLiteral("CHANGE_PROXY_AUTHNAME"),
                                             QStringLiteral("CHANGE_PPP_AUTHSECRET"),
                                             QStringLiteral("CHANGE_PROXY_AUTHSECRET"),
                                             QStringLiteral("ENCRYPTED_PPP_AUTHSECRET"),
                                             QStringLiteral("ENCRYPTED_PROXY_AUTHSECRET")};
        const QStringList changeFlagValues(changeFlagNames.size(), QStringLiteral("FALSE"));

        const QString bearer = normalised->item(QStringLiteral("Bearer")).toString();
        const QStringList fieldNames = bearerFields(bearer);
        QStringList fieldValues;
        for (const QString& field : fieldNames) {
            fieldValues << requiredValue(normalised, field);
        }
        const QString name = requiredValue(normalised, RecordKeys::ProfileName);
        const QString description = requiredValue(normalised, RecordKeys::ProfileDescription);
        const QString urlValue = requiredValue(normalised, QStringLiteral("UrlValue"));
        const QString wapProxy = requiredValue(normalised, QStringLiteral("WAPProxy"));

        const int profileID = profileA->AddProfile(
            name, description, urlValue, wapProxy, bearer, QStringLiteral("AUTOMATIC"),
            QStringLiteral("AUTOMATIC"), directoryConnectionString);
        try {
            profileB->SetBearerSettings(profileID, fieldNames, fieldValues, changeFlagNames,
                                        changeFlagValues, directoryConnectionString);
        } catch (...) {
            // A profile without its bearer settings is of no use: take it back.
            try {
                profileA->RemoveProfile(profileID, directoryConnectionString);
            } catch (...) {
            }
            throw;
        }
    } catch (const std::exception& failure) {
        DirectoryErrors::Raise(failure, Source);
    }
}

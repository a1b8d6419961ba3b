#include "reference/ReferenceProfiles.h"

#include "db/DbConnection.h"
#include "frame/MigrationError.h"
#include "reference/DirectoryWriter.h"

namespace {

const QString Source = QStringLiteral("Profile");

} // namespace

int ReferenceProfileA::AddProfile(const QString& name, const QString& description,
                                  const QString& urlValue, const QString& wapProxy,
                                  const QString& bearer, const QString& provisioningMode,
                                  const QString& connectionMode, const QString& connectionString)
{
    DbConnection connection(connectionString);
    int profileID = 0;
    connection.inTransaction([&] {
        DirectoryWriter writer(connection);
        profileID = writer.nextID(QStringLiteral("fwtDeviceProfile"), QStringLiteral("ProfileID"));
        connection.execute(
            QStringLiteral("INSERT INTO fwtDeviceProfile (ProfileID, Name, Description, UrlValue, "
                           "WAPProxy, Bearer, ProvisioningMode, ConnectionMode) "
                           "VALUES (?, ?, ?, ?, ?, ?, ?, ?)"),
            {profileID, DirectoryWriter::text(name), DirectoryWriter::text(description),
             DirectoryWriter::text(urlValue), DirectoryWriter::text(wapProxy),
             DirectoryWriter::text(bearer), DirectoryWriter::text(provisioningMode),
             DirectoryWriter::text(connectionMode)});
    });
    return profileID;
}

void ReferenceProfileA::RemoveProfile(int profileID, const QString& connectionString)
{
    DbConnection connection(connectionString);
    connection.inTransaction([&] {
        connection.execute(
            QStringLiteral("DELETE FROM fwtDeviceProfileChangeFlag WHERE ProfileID = ?"),
            {profileID});
        connection.execute(
            QStringLiteral("DELETE FROM fwtDeviceProfileSetting WHERE ProfileID = ?"), {profileID});
        connection.execute(QStringLiteral("DELETE FROM fwtDeviceProfile WHERE ProfileID = ?"),
                           {profileID});
    });
}

void ReferenceProfileB::SetBearerSettings(int profileID, const QStringList& fieldNames,
                                          const QStringList& fieldValues,
                                          const QStringList& changeFlagNames,
                                          const QStringList& changeFlagValues,
                                          const QString& connectionString)
{
    if (fieldNames.size() != fieldValues.size() ||
        changeFlagNames.size() != changeFlagValues.size()) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("Every bearer setting and change flag needs a value"),
                             Source);
    }
    DbConnection connection(connectionString);
    connection.inTransaction([&] {
        const auto found = connection.select(
            QStringLiteral("SELECT COUNT(*) FROM fwtDeviceProfile WHERE ProfileID = ?"),
            {profileID});
        if (found.isEmpty() || found.first().value(0).toInt() == 0) {
            throw MigrationError(ErrorNumber::InvalidProcedureCall,
                                 QStringLiteral("There is no Device Provisioning profile with the "
                                                "ID %1")
                                     .arg(profileID),
                                 Source);
        }
        connection.execute(
            QStringLiteral("DELETE FROM fwtDeviceProfileSetting WHERE ProfileID = ?"), {profileID});
        connection.execute(
            QStringLiteral("DELETE FROM fwtDeviceProfileChangeFlag WHERE ProfileID = ?"),
            {profileID});
        for (int position = 0; position < fieldNames.size(); ++position) {
            connection.execute(QStringLiteral("INSERT INTO fwtDeviceProfileSetting (ProfileID, "
                                              "Position, Name, Value) VALUES (?, ?, ?, ?)"),
                               {profileID, position, DirectoryWriter::text(fieldNames.at(position)),
                                DirectoryWriter::text(fieldValues.at(position))});
        }
        for (int position = 0; position < changeFlagNames.size(); ++position) {
            connection.execute(QStringLiteral("INSERT INTO fwtDeviceProfileChangeFlag (ProfileID, "
                                              "Position, Name, Value) VALUES (?, ?, ?, ?)"),
                               {profileID, position,
                                DirectoryWriter::text(changeFlagNames.at(position)),
                                DirectoryWriter::text(changeFlagValues.at(position))});
        }
    });
}

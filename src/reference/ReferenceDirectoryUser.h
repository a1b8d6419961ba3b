#pragma once

#include "directory/TargetComponents.h"

// The directory user component of the reference installation, over fwtUser,
// fwtService and fwtServiceSetting.
class ReferenceDirectoryUser : public DirectoryUserComponent
{
public:
    // Writes every position of the field array that is not null; the user must exist.
    // Fields the Directory cannot hold are refused (DirectoryWriter::checkUserFields).
    QVariant ModifyUser(const QVariantList& userFields, const QString& reserved,
                        const QString& connectionString) override;
    int AddUser(const QVariantList& userFields, const QList<QVariantList>& services,
                const QString& reserved, const QString& connectionString) override;
    // Removes the user with its services; a user that is not there is a failure.
    QVariant RemoveUser(int userID, const QString& reserved,
                        const QString& connectionString) override;
    bool LoginIDExists(const QString& loginID, const QString& connectionString) override;
    int CountUsers(const QString& connectionString) override;
    // All users by ascending ID, fields 0 to 18 as in the user field array.
    VariantTable ListUsers(int a, int b, int c, int d, const QString& reserved,
                           const QString& connectionString) override;
};

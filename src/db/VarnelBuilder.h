#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

// A source database described in plain values. Text fields are QVariant so that a
// default-constructed one is written as null.
struct VarnelSourceUser
{
    int userID = 0;
    QVariant givenName;
    QVariant familyName;
    QVariant domain;
    QVariant loginID;
    QVariant password; // as the source keeps it: comma-separated character codes
    // The user's settings by setting name; names that differ only in case are
    // distinct settings.
    QMap<QString, QVariant> settings;
};

struct VarnelSourceProfile
{
    QVariant xml;
    QVariant name;
    QVariant description;
};

struct VarnelRegistryValue
{
    QString name;
    QVariant value; // null when default-constructed
};

struct VarnelSource
{
    QList<VarnelSourceUser> users;
    // Settings that exist without any user value (the users' settings are added to
    // VA_Setting on their own).
    QStringList settingNames;
    QList<VarnelSourceProfile> profiles;
    QList<VarnelRegistryValue> registry;
};

// Writes a source database: the schema of VarnelSchema and the rows of a VarnelSource,
// in one transaction with prepared statements.
namespace VarnelBuilder {

// Writes <folder>/<database>.sqlite, replacing a file of that name, and returns the
// connection string of the new database. Raises MigrationError on failure.
QString Write(const QString& folder, const QString& database, const VarnelSource& source);

// The same, for the database named by a connection string: on the embedded engine a
// new file (one of that name is replaced), on SQL Server an existing, empty database.
void WriteTo(const QString& connectionString, const VarnelSource& source);

// The setting IDs the builder gives: settingNames first, then the users' settings in
// order of first appearance, numbered from 1.
QMap<QString, int> SettingIDs(const VarnelSource& source);

} // namespace VarnelBuilder

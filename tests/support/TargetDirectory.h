#pragma once

#include "reference/DirectoryBuilder.h"
#include "support/Engines.h"

#include <QList>
#include <QSqlRecord>
#include <QString>
#include <QTemporaryDir>
#include <QVariant>
#include <QVariantList>

// A real Directory built from a description on one engine (a fresh test database,
// see Engines.h), with the reference installation's TargetComponentFactory installed
// for the test's lifetime (the default factory is restored afterwards); its
// configuration file would be zephrin.ini in folder().
class TargetDirectory
{
public:
    explicit TargetDirectory(const DirectoryDescription& description = DirectoryDescription(),
                             const QString& engine = Engines::Embedded);
    ~TargetDirectory();
    TargetDirectory(const TargetDirectory&) = delete;
    TargetDirectory& operator=(const TargetDirectory&) = delete;

    QString connectionString() const { return mDatabase.connectionString(); }
    // A database of the same server (or folder) that is not this Directory.
    QString connectionStringOf(const QString& database) const
    {
        return mDatabase.connectionStringOf(database);
    }
    QString folder() const { return mFolder.path(); }
    bool isEmbedded() const { return mDatabase.isEmbedded(); }

    // Queries and statements on the Directory, as an administrator would run them
    // (see TestDatabase).
    QList<QSqlRecord> rows(const QString& sql, const QVariantList& parameters = {}) const
    {
        return mDatabase.rows(sql, parameters);
    }
    QVariant scalar(const QString& sql, const QVariantList& parameters = {}) const
    {
        return mDatabase.scalar(sql, parameters);
    }
    void execute(const QString& sql, const QVariantList& parameters = {}) const
    {
        mDatabase.execute(sql, parameters);
    }

    // A user of the description with a login ID and, optionally, a mail server.
    static DirectoryDescription::User user(const QString& firstName, const QString& lastName,
                                           const QString& loginID,
                                           const QString& mailServer = QString());

private:
    QTemporaryDir mFolder;
    TestDatabase mDatabase;
};

#include "support/TargetDirectory.h"

#include "db/DbConnection.h"
#include "directory/ComponentFactory.h"
#include "reference/TargetComponentFactory.h"

TargetDirectory::TargetDirectory(const DirectoryDescription& description)
    : mConnectionString(DirectoryBuilder::EmbeddedConnectionString(mFolder.path()))
{
    DirectoryBuilder::Build(mConnectionString, description);
    Components::setFactory(
        std::make_shared<TargetComponentFactory>(mFolder.filePath(QStringLiteral("zephrin.ini"))));
}

TargetDirectory::~TargetDirectory()
{
    Components::setFactory(nullptr);
}

QList<QSqlRecord> TargetDirectory::rows(const QString& sql, const QVariantList& parameters) const
{
    DbConnection connection(mConnectionString);
    return connection.select(sql, parameters);
}

QVariant TargetDirectory::scalar(const QString& sql, const QVariantList& parameters) const
{
    const auto found = rows(sql, parameters);
    return found.isEmpty() ? QVariant() : found.first().value(0);
}

void TargetDirectory::execute(const QString& sql, const QVariantList& parameters) const
{
    DbConnection connection(mConnectionString);
    connection.execute(sql, parameters);
}

DirectoryDescription::User TargetDirectory::user(const QString& firstName, const QString& lastName,
                                                 const QString& loginID, const QString& mailServer)
{
    DirectoryDescription::User user;
    user.firstName = firstName;
    user.lastName = lastName;
    user.loginID = loginID;
    user.password = QStringLiteral("secret");
    user.mailServer = mailServer;
    user.alias = loginID;
    user.email = loginID + QStringLiteral("@example.com");
    return user;
}

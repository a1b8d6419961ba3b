#include "support/TargetDirectory.h"

#include "db/DbConnection.h"
#include "directory/ComponentFactory.h"
#include "reference/TargetComponentFactory.h"

TargetDirectory::TargetDirectory(const DirectoryDescription& description, const QString& engine)
    : mDatabase(engine, QStringLiteral("Directory"))
{
    DirectoryBuilder::Build(mDatabase.connectionString(), description);
    Components::setFactory(
        std::make_shared<TargetComponentFactory>(mFolder.filePath(QStringLiteral("zephrin.ini"))));
}

TargetDirectory::~TargetDirectory()
{
    Components::setFactory(nullptr);
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

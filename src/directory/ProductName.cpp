#include "directory/ComponentFactory.h"
#include "directory/ConfigurationComponent.h"
#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"

QString ZephrinFunctions::GetProductName()
{
    const QString fallback = QStringLiteral("4.5");
    try {
        const auto configuration = Components::factory().CreateConfiguration();
        // A configuration that names no product reads as one that could not be read:
        // every "<IMAPP>" would otherwise vanish from the texts.
        const QString name = configuration->GetSetting(QStringLiteral("global:productname"));
        if (!name.trimmed().isEmpty()) {
            return name;
        }
    } catch (const MigrationError& error) {
        if (error.number() == ErrorNumber::PermissionDenied) {
            AppPrompter::prompter().message(
                QStringLiteral("The account under which you are running this program is not "
                               "permitted to create components necessary to the migration tool. "
                               "Please run the migration tool as the same user that is running "
                               "the IIS application."),
                QStringLiteral("Access Denied"), Prompter::Icon::Critical);
        }
    } catch (const std::exception&) {
    }
    return fallback;
}

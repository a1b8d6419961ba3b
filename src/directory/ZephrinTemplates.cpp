#include "directory/ComponentFactory.h"
#include "directory/TargetComponents.h"
#include "directory/ZephrinFunctions.h"
#include "frame/RecordKeys.h"

CollectionPtr ZephrinFunctions::GetTemplateList(const QString& directoryConnectionString)
{
    const auto templates = Components::factory().CreateTemplate();
    const VariantTable list = templates->ListTemplates(directoryConnectionString);
    auto ids = Collection::create();
    auto titles = Collection::create();
    if (list.hasBounds() && !list.isOneDimensional()) {
        for (int record = list.lowerRecord(); record <= list.upperRecord(); ++record) {
            ids->add(list.at(0, record).toInt());
            titles->add(list.at(1, record).toString());
        }
    }
    auto result = Collection::create();
    result->add(toVariant(ids), RecordKeys::IDs);
    result->add(toVariant(titles), RecordKeys::Titles);
    return result;
}

void ZephrinFunctions::ChooseTemplate(int templateID, const QString& directoryConnectionString)
{
    const auto templates = Components::factory().CreateTemplate();
    templates->SelectTemplate(templateID, directoryConnectionString);
}

CollectionPtr ZephrinFunctions::GetTemplateText(const QString& directoryConnectionString)
{
    const auto templates = Components::factory().CreateTemplate();
    const CollectionPtr chosen = templates->ReadTemplate(directoryConnectionString);
    auto text = Collection::create();
    for (const QLatin1String key : {RecordKeys::From, RecordKeys::Subject, RecordKeys::Body}) {
        text->add(chosen->item(key).toString(), key);
    }
    return text;
}

QString ZephrinFunctions::GetWizardLinkBase(const QString& directoryConnectionString)
{
    const auto settings = Components::factory().CreateSettings();
    const VariantTable setting =
        settings->GetSetting(43, QString(), QStringLiteral("basehref"),
                             QStringLiteral("systemSetting"), directoryConnectionString);
    return setting.at(4, 0).toString() + QStringLiteral("gettingstarted.asp?lang=");
}

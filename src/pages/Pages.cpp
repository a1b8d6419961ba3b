#include "pages/Pages.h"

#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "pages/WizardPage.h"

#include <QHash>

namespace {

QHash<QString, Pages::Creator>& registry()
{
    static QHash<QString, Pages::Creator> pages;
    return pages;
}

void tellUnavailable(const QString& name, const QString& reason)
{
    CommonFunctions::WriteLog(
        QStringLiteral("Pages: %1 could not be opened: %2").arg(name, reason));
    AppPrompter::prompter().message(
        QStringLiteral("The page %1 could not be opened.\r\n%2").arg(name, reason),
        QStringLiteral("Migration Tool"), Prompter::Icon::Critical);
}

} // namespace

void Pages::registerPage(const QString& name, Creator creator)
{
    if (!creator) {
        registry().remove(name);
        return;
    }
    registry().insert(name, std::move(creator));
}

void Pages::unregisterPage(const QString& name)
{
    registry().remove(name);
}

QStringList Pages::registeredNames()
{
    return registry().keys();
}

WizardPage* Pages::create(const QString& name)
{
    const auto found = registry().constFind(name);
    if (found == registry().constEnd()) {
        tellUnavailable(name, QStringLiteral("This page is not part of this build."));
        return nullptr;
    }
    WizardPage* page = nullptr;
    try {
        page = found.value()();
        if (page == nullptr) {
            tellUnavailable(name, QStringLiteral("The page was not created."));
            return nullptr;
        }
        page->load();
        return page;
    } catch (const MigrationError& error) {
        delete page;
        tellUnavailable(
            name, QStringLiteral("Error %1: %2").arg(error.number()).arg(error.description()));
    } catch (const std::exception& error) {
        delete page;
        tellUnavailable(name, QString::fromLocal8Bit(error.what()));
    }
    return nullptr;
}

#include "reference/ReferenceTemplate.h"

#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "frame/MigrationError.h"
#include "reference/DirectorySchema.h"
#include "reference/RowTable.h"

#include <QFileInfo>
#include <QHash>

namespace {

const QString Source = QStringLiteral("Template");

// The template chosen for each Directory in this program, by the Directory's name.
QHash<QString, int>& chosenTemplates()
{
    static QHash<QString, int> chosen;
    return chosen;
}

// One name per Directory, however its connection string is written: the file of an
// embedded Directory, or the server and the database.
QString directoryName(const QString& connectionString)
{
    const ConnectionParts parts = ParseConnectionString(connectionString);
    if (parts.isEmbedded()) {
        return QStringLiteral("file:") + QFileInfo(parts.embeddedFile()).absoluteFilePath();
    }
    return QStringLiteral("server:") + parts.dataSource.toLower() + QLatin1Char('/') +
           parts.initialCatalog.toLower();
}

QVariantList selectionKey()
{
    return {QString::fromLatin1(DirectorySchema::TemplateCategory),
            QString::fromLatin1(DirectorySchema::SelectedTemplateName)};
}

} // namespace

VariantTable ReferenceTemplate::ListTemplates(const QString& connectionString)
{
    DbConnection connection(connectionString);
    const auto rows = connection.select(
        QStringLiteral("SELECT TemplateID, Title FROM fwtTemplate ORDER BY TemplateID"));
    return RowTable(rows);
}

void ReferenceTemplate::SelectTemplate(int templateID, const QString& connectionString)
{
    DbConnection connection(connectionString);
    const auto found = connection.select(
        QStringLiteral("SELECT COUNT(*) FROM fwtTemplate WHERE TemplateID = ?"), {templateID});
    if (found.isEmpty() || found.first().value(0).toInt() == 0) {
        throw MigrationError(
            ErrorNumber::InvalidProcedureCall,
            QStringLiteral("There is no e-mail template with the ID %1").arg(templateID), Source);
    }
    // Choosing is not yet migrating: the Directory is left as it is until the run.
    chosenTemplates().insert(directoryName(connectionString), templateID);
}

CollectionPtr ReferenceTemplate::ReadTemplate(const QString& connectionString)
{
    DbConnection connection(connectionString);
    bool ok = false;
    int templateID = chosenTemplates().value(directoryName(connectionString), 0);
    if (templateID > 0) {
        ok = true;
    } else {
        const auto stored = connection.select(
            QStringLiteral("SELECT Value FROM fwtSystemSetting WHERE Category = ? AND Name = ?"),
            selectionKey());
        templateID = stored.isEmpty() ? 0 : stored.first().value(0).toString().toInt(&ok);
    }
    if (!ok) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("No introduction e-mail template has been chosen for "
                                            "this Directory"),
                             Source);
    }
    const auto rows = connection.select(
        QStringLiteral("SELECT FromAddress, Subject, Body FROM fwtTemplate WHERE TemplateID = ?"),
        {templateID});
    if (rows.isEmpty()) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("The chosen e-mail template %1 is no longer in the "
                                            "Directory")
                                 .arg(templateID),
                             Source);
    }
    auto text = Collection::create();
    text->add(rows.first().value(0).toString(), QStringLiteral("From"));
    text->add(rows.first().value(1).toString(), QStringLiteral("Subject"));
    text->add(rows.first().value(2).toString(), QStringLiteral("Body"));
    return text;
}

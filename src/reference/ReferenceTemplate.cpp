#include "reference/ReferenceTemplate.h"

#include "db/DbConnection.h"
#include "frame/MigrationError.h"
#include "reference/DirectorySchema.h"
#include "reference/RowTable.h"

namespace {

const QString Source = QStringLiteral("Template");

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
    connection.inTransaction([&] {
        const auto found = connection.select(
            QStringLiteral("SELECT COUNT(*) FROM fwtTemplate WHERE TemplateID = ?"), {templateID});
        if (found.isEmpty() || found.first().value(0).toInt() == 0) {
            throw MigrationError(
                ErrorNumber::InvalidProcedureCall,
                QStringLiteral("There is no e-mail template with the ID %1").arg(templateID),
                Source);
        }
        connection.execute(
            QStringLiteral("DELETE FROM fwtSystemSetting WHERE Category = ? AND Name = ?"),
            selectionKey());
        connection.execute(QStringLiteral("INSERT INTO fwtSystemSetting (Category, Name, Value) "
                                          "VALUES (?, ?, ?)"),
                           selectionKey() << QString::number(templateID));
    });
}

CollectionPtr ReferenceTemplate::ReadTemplate(const QString& connectionString)
{
    DbConnection connection(connectionString);
    const auto chosen = connection.select(
        QStringLiteral("SELECT Value FROM fwtSystemSetting WHERE Category = ? AND Name = ?"),
        selectionKey());
    bool ok = false;
    const int templateID = chosen.isEmpty() ? 0 : chosen.first().value(0).toString().toInt(&ok);
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

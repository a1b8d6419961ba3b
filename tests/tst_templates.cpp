#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"
#include "support/TargetDirectory.h"

#include <QTest>

// Introduction e-mail templates and the link base of a real embedded Directory.
class TestTemplates : public QObject
{
    Q_OBJECT
private slots:
    void listChooseRead();
    void choiceRemembered();
    void unknownTemplateRefused();
    void nothingChosen();
    void wizardLinkBase();
    void wizardLinkBaseMissing();
};

namespace {

DirectoryDescription withTemplates()
{
    DirectoryDescription description;
    description.templates = {{QStringLiteral("Welcome"), QStringLiteral("admin@example.com"),
                              QStringLiteral("Your new account"),
                              QStringLiteral("Dear <FirstName>,\r\nyour login is <LoginID>.")},
                             {QStringLiteral("Welcome (short)"), QStringLiteral("it@example.com"),
                              QStringLiteral("Account"), QStringLiteral("<LoginID> / <Password>")}};
    description.baseHref = QStringLiteral("https://zephrin.example.com/");
    return description;
}

} // namespace

void TestTemplates::listChooseRead()
{
    TargetDirectory directory(withTemplates());
    const CollectionPtr list = ZephrinFunctions::GetTemplateList(directory.connectionString());
    QCOMPARE(list->keys(), (QStringList{QStringLiteral("IDs"), QStringLiteral("Titles")}));
    const CollectionPtr ids = list->collection(QStringLiteral("IDs"));
    const CollectionPtr titles = list->collection(QStringLiteral("Titles"));
    QCOMPARE(ids->count(), 2);
    QCOMPARE(titles->item(1).toString(), QStringLiteral("Welcome"));
    QCOMPARE(titles->item(2).toString(), QStringLiteral("Welcome (short)"));

    ZephrinFunctions::ChooseTemplate(ids->item(2).toInt(), directory.connectionString());
    const CollectionPtr text = ZephrinFunctions::GetTemplateText(directory.connectionString());
    QCOMPARE(text->keys(), (QStringList{QStringLiteral("From"), QStringLiteral("Subject"),
                                        QStringLiteral("Body")}));
    QCOMPARE(text->item(QStringLiteral("From")).toString(), QStringLiteral("it@example.com"));
    QCOMPARE(text->item(QStringLiteral("Subject")).toString(), QStringLiteral("Account"));
    QCOMPARE(text->item(QStringLiteral("Body")).toString(),
             QStringLiteral("<LoginID> / <Password>"));

    ZephrinFunctions::ChooseTemplate(ids->item(1).toInt(), directory.connectionString());
    QCOMPARE(ZephrinFunctions::GetTemplateText(directory.connectionString())
                 ->item(QStringLiteral("Body"))
                 .toString(),
             QStringLiteral("Dear <FirstName>,\r\nyour login is <LoginID>."));
}

void TestTemplates::choiceRemembered()
{
    // The choice lives in the Directory, so each Directory keeps its own.
    TargetDirectory first(withTemplates());
    const QString firstConnection = first.connectionString();
    TargetDirectory second(withTemplates());
    ZephrinFunctions::ChooseTemplate(2, firstConnection);
    ZephrinFunctions::ChooseTemplate(1, second.connectionString());
    QCOMPARE(ZephrinFunctions::GetTemplateText(firstConnection)
                 ->item(QStringLiteral("Subject"))
                 .toString(),
             QStringLiteral("Account"));
    QCOMPARE(ZephrinFunctions::GetTemplateText(second.connectionString())
                 ->item(QStringLiteral("Subject"))
                 .toString(),
             QStringLiteral("Your new account"));
}

void TestTemplates::unknownTemplateRefused()
{
    TargetDirectory directory(withTemplates());
    ZephrinFunctions::ChooseTemplate(1, directory.connectionString());
    QVERIFY_THROWS_EXCEPTION(MigrationError,
                             ZephrinFunctions::ChooseTemplate(9, directory.connectionString()));
    // The earlier choice stands.
    QCOMPARE(ZephrinFunctions::GetTemplateText(directory.connectionString())
                 ->item(QStringLiteral("Subject"))
                 .toString(),
             QStringLiteral("Your new account"));
}

void TestTemplates::nothingChosen()
{
    TargetDirectory directory(withTemplates());
    try {
        ZephrinFunctions::GetTemplateText(directory.connectionString());
        QFAIL("a template was read although none was chosen");
    } catch (const MigrationError& error) {
        QVERIFY2(error.description().contains(QStringLiteral("template")),
                 qPrintable(error.description()));
    }
    TargetDirectory empty;
    const CollectionPtr list = ZephrinFunctions::GetTemplateList(empty.connectionString());
    QCOMPARE(list->collection(QStringLiteral("IDs"))->count(), 0);
}

void TestTemplates::wizardLinkBase()
{
    TargetDirectory directory(withTemplates());
    QCOMPARE(ZephrinFunctions::GetWizardLinkBase(directory.connectionString()),
             QStringLiteral("https://zephrin.example.com/gettingstarted.asp?lang="));
}

void TestTemplates::wizardLinkBaseMissing()
{
    TargetDirectory directory;
    try {
        ZephrinFunctions::GetWizardLinkBase(directory.connectionString());
        QFAIL("a link base was made without basehref");
    } catch (const MigrationError& error) {
        QVERIFY2(error.description().contains(QStringLiteral("basehref")),
                 qPrintable(error.description()));
    }
}

QTEST_GUILESS_MAIN(TestTemplates)
#include "tst_templates.moc"

#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"
#include "support/Describe.h"
#include "support/Engines.h"
#include "support/Failure.h"
#include "support/TargetDirectory.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace ZephrinFunctions;

namespace {

// The Directory's system settings, where a chosen template could be written.
const QString SettingsSql =
    u"SELECT Category, Name, Value FROM fwtSystemSetting ORDER BY Category, Name"_s;

DirectoryDescription withTemplates()
{
    DirectoryDescription description;
    description.templates = {
        {u"Welcome"_s, u"admin@example.com"_s, u"Your new account"_s,
         u"Dear <FirstName>,\r\nyour login is <LoginID>."_s},
        {u"Welcome (short)"_s, u"it@example.com"_s, u"Account"_s, u"<LoginID> / <Password>"_s}};
    description.baseHref = u"https://zephrin.example.com/"_s;
    return description;
}

} // namespace

// Introduction e-mail templates and the link base of a real Directory, on each engine.
class TestTemplates : public QObject
{
    Q_OBJECT
private slots:
    void chooseAndRead_data() { Engines::rows(); }

    void chooseAndRead()
    {
        QFETCH(QString, engine);
        TargetDirectory directory(withTemplates(), engine);
        const QString cs = directory.connectionString();
        const CollectionPtr list = GetTemplateList(cs);
        QCOMPARE(describe(list).replaceInStrings(QRegularExpression(u"\\d+="_s), QString()),
                 QStringList({"IDs=[1|2]", "Titles=[Welcome|Welcome (short)]"}));
        const CollectionPtr ids = list->collection(u"IDs"_s);
        const QStringList before = describe(directory.rows(SettingsSql));
        QVERIFY(!before.isEmpty());

        ChooseTemplate(ids->item(2).toInt(), cs);
        QCOMPARE(
            describe(GetTemplateText(cs)),
            QStringList({"From=it@example.com", "Subject=Account", "Body=<LoginID> / <Password>"}));
        ChooseTemplate(ids->item(1).toInt(), cs);
        QCOMPARE(GetTemplateText(cs)->item(u"Body"_s).toString(),
                 u"Dear <FirstName>,\r\nyour login is <LoginID>."_s);
        // An unknown template is refused and the earlier choice stands.
        QVERIFY_THROWS_EXCEPTION(MigrationError, ChooseTemplate(9, cs));
        QCOMPARE(GetTemplateText(cs)->item(u"Subject"_s).toString(), u"Your new account"_s);

        // Choosing happens before the run, so it writes nothing into the Directory.
        QCOMPARE(describe(directory.rows(SettingsSql)), before);

        // Each Directory keeps its own choice.
        TargetDirectory second(withTemplates(), engine);
        ChooseTemplate(2, second.connectionString());
        QCOMPARE(GetTemplateText(cs)->item(u"Subject"_s).toString(), u"Your new account"_s);
        QCOMPARE(GetTemplateText(second.connectionString())->item(u"Subject"_s).toString(),
                 u"Account"_s);

        QCOMPARE(GetWizardLinkBase(cs), u"https://zephrin.example.com/gettingstarted.asp?lang="_s);
    }

    // Nothing chosen, no templates, no base address: each says what is missing.
    void nothingToRead_data() { Engines::rows(); }

    void nothingToRead()
    {
        QFETCH(QString, engine);
        TargetDirectory directory(DirectoryDescription(), engine);
        QCOMPARE(GetTemplateList(directory.connectionString())->collection(u"IDs"_s)->count(), 0);
        const Failure text = Failure::of([&] { GetTemplateText(directory.connectionString()); });
        QVERIFY2(text.description.contains(u"template"_s), qPrintable(text.description));
        const Failure base = Failure::of([&] { GetWizardLinkBase(directory.connectionString()); });
        QVERIFY2(base.description.contains(u"basehref"_s), qPrintable(base.description));
    }
};

QTEST_GUILESS_MAIN(TestTemplates)
#include "tst_templates.moc"

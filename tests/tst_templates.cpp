#include "db/ConnectionString.h"
#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"
#include "support/Describe.h"
#include "support/TargetDirectory.h"

#include <QCryptographicHash>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace ZephrinFunctions;

namespace {

// The Directory file's content, to see that reading and choosing leave it as it was.
QByteArray fileHash(const QString& connectionString)
{
    QFile file(ParseConnectionString(connectionString).embeddedFile());
    return file.open(QIODevice::ReadOnly)
               ? QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256)
               : QByteArray();
}

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

// Introduction e-mail templates and the link base of a real embedded Directory.
class TestTemplates : public QObject
{
    Q_OBJECT
private slots:
    void chooseAndRead()
    {
        TargetDirectory directory(withTemplates());
        const QString cs = directory.connectionString();
        const CollectionPtr list = GetTemplateList(cs);
        QCOMPARE(describe(list).replaceInStrings(QRegularExpression(u"\\d+="_s), QString()),
                 QStringList({"IDs=[1|2]", "Titles=[Welcome|Welcome (short)]"}));
        const CollectionPtr ids = list->collection(u"IDs"_s);
        const QByteArray before = fileHash(cs);
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
        QCOMPARE(fileHash(cs), before);

        // Each Directory keeps its own choice.
        TargetDirectory second(withTemplates());
        ChooseTemplate(2, second.connectionString());
        QCOMPARE(GetTemplateText(cs)->item(u"Subject"_s).toString(), u"Your new account"_s);
        QCOMPARE(GetTemplateText(second.connectionString())->item(u"Subject"_s).toString(),
                 u"Account"_s);

        QCOMPARE(GetWizardLinkBase(cs), u"https://zephrin.example.com/gettingstarted.asp?lang="_s);
    }

    // Nothing chosen, no templates, no base address: each says what is missing.
    void nothingToRead()
    {
        TargetDirectory directory;
        QCOMPARE(GetTemplateList(directory.connectionString())->collection(u"IDs"_s)->count(), 0);
        try {
            GetTemplateText(directory.connectionString());
            QFAIL("a template was read although none was chosen");
        } catch (const MigrationError& error) {
            QVERIFY2(error.description().contains(u"template"_s), qPrintable(error.description()));
        }
        try {
            GetWizardLinkBase(directory.connectionString());
            QFAIL("a link base was made without basehref");
        } catch (const MigrationError& error) {
            QVERIFY2(error.description().contains(u"basehref"_s), qPrintable(error.description()));
        }
    }
};

QTEST_GUILESS_MAIN(TestTemplates)
#include "tst_templates.moc"

#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/WizardPage.h"
#include "support/PageFixture.h"

#include <QMap>
#include <QTest>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// Every page of the wizard and its window caption with the fixture's product names.
const QMap<QString, QString> Captions = {
    {u"Introduction"_s, u"Introduction"_s},
    {u"SelectVarnel"_s, u"Select 3.1x Database"_s},
    {u"SelectZephrin"_s, u"Select Zephrin 4.5 Directory Database"_s},
    {u"Verifier"_s, u"Verifying..."_s},
    {u"AddStores"_s, u"Select Exchange Server Types"_s},
    {u"SelectUsers"_s, u"Select Users to Migrate"_s},
    {u"ConflictDecision"_s, u"User Login ID Conflict"_s},
    {u"SelectEmailTemplate"_s, u"Select E-mail Template"_s},
    {u"EnterConnectData"_s, u"E-mail Logon Information"_s},
    {u"SelectDPProfiles"_s, u"Select Device Provisioning Profiles to Migrate"_s},
    {u"UserInputFinished"_s, u"Ready to Migrate"_s},
    {u"MigrateUsers"_s, u"Migrating"_s},
    {u"Finish"_s, u"Migration Completed"_s},
};

// What is wrong with the registry: a name the wizard does not know, or a page that
// does not load, does not carry its name or shows another caption.
QStringList registryProblems()
{
    QStringList problems;
    QStringList names = Pages::registeredNames();
    names.sort();
    for (const QString& name : names) {
        if (!Captions.contains(name)) {
            problems << name + u": not a page of the wizard"_s;
            continue;
        }
        std::unique_ptr<WizardPage> page(Pages::create(name));
        if (!page) {
            problems << name + u": does not load"_s;
            continue;
        }
        if (page->objectName() != name) {
            problems << name + u": named "_s + page->objectName();
        }
        if (page->windowTitle() != Captions.value(name)) {
            problems << name + u": captioned "_s + page->windowTitle();
        }
    }
    return problems;
}

} // namespace

class TestPages : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        mFixture->useDemo(12);
    }
    void cleanup()
    {
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    // Every registered page loads offscreen on the demo installation under its own
    // name with its caption.
    void everyRegisteredPageLoads()
    {
        QVERIFY(Pages::registeredNames().contains(PageNames::Introduction));
        QCOMPARE(registryProblems(), QStringList());
    }

    // Every page of the wizard is in the build. The conflict dialog is no page of its own:
    // the user selection page opens it over itself.
    void everyPageIsRegistered()
    {
        QStringList missing;
        for (const QString& name : Captions.keys()) {
            if (name != PageNames::ConflictDecision && !Pages::registeredNames().contains(name)) {
                missing << name;
            }
        }
        QCOMPARE(missing, QStringList());
    }

    void misregisteredPageIsFound_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("problem");
        QTest::newRow("misspelt name") << u"Introductoin"_s << u"Introductoin: not a page"_s;
        QTest::newRow("another page's name")
            << u"Finish"_s << u"Finish: named Introduction, Finish: captioned Introduction"_s;
    }

    void misregisteredPageIsFound()
    {
        QFETCH(QString, name);
        QFETCH(QString, problem);
        Pages::registerPage(name, [] { return Pages::create(PageNames::Introduction); });
        const QString found = registryProblems().join(u", "_s);
        QVERIFY2(found.startsWith(problem), qPrintable(found));
    }

private:
    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestPages)
#include "tst_pages.moc"

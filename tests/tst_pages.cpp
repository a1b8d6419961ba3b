#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/WizardPage.h"
#include "support/Golden.h"
#include "support/PageFixture.h"

#include <QTest>
#include <memory>

using namespace Qt::Literals::StringLiterals;

class TestPages : public QObject
{
    Q_OBJECT
private slots:
    // Every page of the wizard is registered, loads offscreen on the demo installation
    // under its own name and shows its caption with the fixture's product names: one
    // line per registered name, compared whole. The conflict dialog is no page of its
    // own: the user selection page opens it over itself.
    void everyRegisteredPageLoads()
    {
        QStringList found;
        {
            PageFixture fixture;
            fixture.useDemo(12);
            QStringList names = Pages::registeredNames();
            names.sort();
            for (const QString& name : names) {
                std::unique_ptr<WizardPage> page(Pages::create(name));
                found << name + u": "_s +
                             (page ? page->objectName() + u" \""_s + page->windowTitle() + u'"'
                                   : u"does not load"_s);
            }
        }
        QCOMPARE_GOLDEN(found, u"pages/registered.txt"_s);
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }
};

QTEST_MAIN(TestPages)
#include "tst_pages.moc"

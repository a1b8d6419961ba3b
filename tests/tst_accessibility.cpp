// What a screen reader meets on every window of the wizard: each control that Tab
// can reach has a name to say, and no two on one window share one. Read in-process
// through QAccessible, which is what the platform's accessibility bridge reads.

#include "pages/Finish.h"
#include "pages/HelpForm.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectVarnel.h"
#include "support/DemoWalk.h"
#include "support/Golden.h"
#include "support/PageFixture.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QApplication>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// "<window>: <control> has no name" for a focusable control without an accessible
// name, "<window>: <control> and <control> are both named "<name>"" for a name used
// twice. Hidden controls are not read; the items inside a list are the list's own.
// Each name read goes into names as "<window>: <control> = <name>" when asked.
QStringList namingProblems(QWidget* window, QStringList* names = nullptr)
{
    QStringList problems;
    QMap<QString, QString> named;
    QList<QAccessibleInterface*> pending{QAccessible::queryAccessibleInterface(window)};
    while (!pending.isEmpty()) {
        QAccessibleInterface* node = pending.takeFirst();
        if (node == nullptr || !node->isValid()) {
            continue;
        }
        auto* widget = qobject_cast<QWidget*>(node->object());
        if (qobject_cast<QAbstractItemView*>(widget) == nullptr) {
            for (int i = 0; i < node->childCount(); ++i) {
                pending << node->child(i);
            }
        }
        if (widget == nullptr || widget == window || !node->state().focusable ||
            node->state().invisible) {
            continue;
        }
        const QString control = widget->objectName().isEmpty()
                                    ? QString::fromLatin1(widget->metaObject()->className())
                                    : widget->objectName();
        const QString name = node->text(QAccessible::Name).trimmed();
        if (names != nullptr) {
            *names << window->objectName() + u": "_s + control + u" = "_s + name;
        }
        if (name.isEmpty()) {
            problems << window->objectName() + u": "_s + control + u" has no name"_s;
        } else if (named.contains(name)) {
            problems << u"%1: %2 and %3 are both named \"%4\""_s.arg(
                window->objectName(), named.value(name), control, name);
        } else {
            named.insert(name, control);
        }
    }
    return problems;
}

} // namespace

class TestAccessibility : public QObject
{
    Q_OBJECT
private slots:
    void init() { mFixture = std::make_unique<PageFixture>(); }
    void cleanup()
    {
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    // The demo walked from the introduction page to the finish page, the help window
    // opened from the source page: every page and dialog on the way read as shown
    // (the demo's service account passes its test, so the mail logon page is not).
    void walkedWindowsAreNamed()
    {
        mFixture->useDemo(12);
        QStringList read;
        QStringList problems;
        // Every dialog that opens modally over the walk (the conflict dialog, the help
        // window) is read once, before the walk's own answers close it; the help window
        // is closed with its OK.
        QTimer dialogs;
        QObject::connect(&dialogs, &QTimer::timeout, [&read, &problems] {
            QWidget* dialog = QApplication::activeModalWidget();
            if (dialog == nullptr || !dialog->isVisible()) {
                return;
            }
            const QString name = QString::fromLatin1(dialog->metaObject()->className());
            if (!read.contains(name)) {
                read << name;
                problems << namingProblems(dialog);
            }
            if (auto* help = qobject_cast<HelpForm*>(dialog)) {
                QTest::mouseClick(help->OKBtn, Qt::LeftButton);
            }
        });
        dialogs.start(0);
        DemoWalk walk(*mFixture);
        walk.start();
        for (int steps = 0; steps < 20 && walk.current() != nullptr; ++steps) {
            WizardPage* page = walk.current();
            if (read.contains(page->objectName())) {
                break;
            }
            const QString name = page->objectName();
            read << name;
            problems << namingProblems(page);
            if (auto* source = qobject_cast<SelectVarnel*>(page)) {
                PageFixture::click(source->HelpBtn);
            }
            if (name == PageNames::UserInputFinished) {
                PageFixture::click(page->NextBtn);
            } else if (name != PageNames::Finish) {
                QVERIFY2(walk.step(),
                         qPrintable(name + u": "_s + mFixture->prompter().messages().join(u'|')));
            }
        }
        QCOMPARE(read.join(u", "_s), u"Introduction, SelectVarnel, HelpForm, AddStores, "
                                     "SelectUsers, ConflictDecision, SelectEmailTemplate, "
                                     "SelectDPProfiles, UserInputFinished, Finish"_s);
        QCOMPARE(problems.join(u'\n'), QString());
    }

    // Every registered page opened on its own, the ones the walk passes by (the target
    // database page, the mail logon page, the verification and migration windows)
    // among them, with no problem; what a screen reader says for each control Tab
    // reaches is compared whole: a list is named by the label above it, the help
    // button is "Help", and each of the store page's move buttons names its lists.
    void everyPageIsNamed()
    {
        mFixture->useDemo(12);
        QStringList problems;
        QStringList names;
        QStringList pages = Pages::registeredNames();
        pages.sort();
        for (const QString& name : pages) {
            std::unique_ptr<WizardPage> page(Pages::create(name));
            QVERIFY2(page != nullptr, qPrintable(name));
            page->show();
            problems << namingProblems(page.get(), &names);
        }
        QCOMPARE(problems.join(u'\n'), QString());
        names.replaceInStrings(mFixture->folder(), u"<folder>"_s);
        QCOMPARE_GOLDEN(names, u"accessibility/names.txt"_s);
    }

private:
    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestAccessibility)
#include "tst_accessibility.moc"

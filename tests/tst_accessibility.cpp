// What a screen reader meets on every window of the wizard: each control that Tab
// can reach has a name to say, and no two on one window share one. Read in-process
// through QAccessible, which is what the platform's accessibility bridge reads.

#include "pages/Finish.h"
#include "pages/HelpForm.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectVarnel.h"
#include "support/DemoWalk.h"
#include "support/PageFixture.h"

#include <QAccessible>
#include <QApplication>
#include <QDialog>
#include <QListView>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// "<window>: <control> has no name" for a focusable control without an accessible
// name, "<window>: <control> and <control> are both named "<name>"" for a name used
// twice. Hidden controls are not read; the items inside a list are the list's own.
QStringList namingProblems(QWidget* window)
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

// Reads every dialog that opens modally over the walk (the conflict dialog, the help
// window) once, before the walk's own answers close it; the help window is closed
// with its OK.
class DialogReader
{
public:
    DialogReader(QStringList& read, QStringList& problems) : mRead(read), mProblems(problems)
    {
        QObject::connect(&mTimer, &QTimer::timeout, [this] { readOpenDialog(); });
        mTimer.start(0);
    }

private:
    void readOpenDialog()
    {
        QWidget* dialog = QApplication::activeModalWidget();
        if (dialog == nullptr || !dialog->isVisible()) {
            return;
        }
        const QString name = QString::fromLatin1(dialog->metaObject()->className());
        if (!mRead.contains(name)) {
            mRead << name;
            mProblems << namingProblems(dialog);
        }
        if (auto* help = qobject_cast<HelpForm*>(dialog)) {
            QTest::mouseClick(help->OKBtn, Qt::LeftButton);
        }
    }

    QStringList& mRead;
    QStringList& mProblems;
    QTimer mTimer;
};

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

    // The check itself finds a list without a name and two buttons of one name.
    void checkFindsUnnamedAndTwins()
    {
        QWidget window;
        window.setObjectName(u"Window"_s);
        auto* layout = new QVBoxLayout(&window);
        auto* list = new QListView(&window);
        list->setObjectName(u"Users"_s);
        auto* first = new QPushButton(u">"_s, &window);
        first->setObjectName(u"First"_s);
        auto* second = new QPushButton(u">"_s, &window);
        second->setObjectName(u"Second"_s);
        auto* hidden = new QListView(&window);
        layout->addWidget(list);
        layout->addWidget(first);
        layout->addWidget(second);
        layout->addWidget(hidden);
        window.show();
        hidden->hide();
        QCOMPARE(namingProblems(&window),
                 QStringList({u"Window: Users has no name"_s,
                              u"Window: First and Second are both named \">\""_s}));
        list->setAccessibleName(u"Users:"_s);
        second->setAccessibleName(u"Back"_s);
        QCOMPARE(namingProblems(&window), QStringList());
    }

    // The demo walked from the introduction page to the finish page, the help window
    // opened from the source page: every page and dialog on the way read as shown
    // (the demo's service account passes its test, so the mail logon page is not).
    void walkedWindowsAreNamed()
    {
        mFixture->useDemo(12);
        QStringList read;
        QStringList problems;
        const DialogReader dialogs(read, problems);
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
    // among them.
    void everyPageIsNamed()
    {
        mFixture->useDemo(12);
        QStringList problems;
        for (const QString& name : Pages::registeredNames()) {
            std::unique_ptr<WizardPage> page(Pages::create(name));
            QVERIFY2(page != nullptr, qPrintable(name));
            page->show();
            problems << namingProblems(page.get());
        }
        QCOMPARE(problems.join(u'\n'), QString());
    }

    // What a screen reader says for the controls that had no name of their own: a list
    // is named by the label above it, the help button is "Help", and each of the
    // store page's move-back buttons names the list it empties.
    void controlNames_data()
    {
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("control");
        QTest::addColumn<QString>("name");
        QTest::newRow("help") << u"SelectVarnel"_s << u"HelpBtn"_s << u"Help"_s;
        QTest::newRow("detected") << u"AddStores"_s << u"ServersDetectedLbx"_s
                                  << u"Servers Detected:"_s;
        QTest::newRow("e55") << u"AddStores"_s << u"E55ServersLbx"_s << u"Exchange 5.5 Servers:"_s;
        QTest::newRow("back from e2k")
            << u"AddStores"_s << u"FromE2kBtn"_s
            << u"Move back from the Exchange 2000/2003 servers to the servers detected"_s;
        QTest::newRow("back from e55")
            << u"AddStores"_s << u"FromE55Btn"_s
            << u"Move back from the Exchange 5.5 servers to the servers detected"_s;
        QTest::newRow("users") << u"SelectUsers"_s << u"OldUsersLbx"_s << u"Users:"_s;
        QTest::newRow("to migrate") << u"SelectUsers"_s << u"Migrate"_s << u"Users to Migrate:"_s;
        QTest::newRow("templates")
            << u"SelectEmailTemplate"_s << u"EmailTemplates"_s << u"E-Mail Templates:"_s;
        QTest::newRow("profiles") << u"SelectDPProfiles"_s << u"lstOldProfiles"_s << u"Profiles:"_s;
        QTest::newRow("profiles to migrate")
            << u"SelectDPProfiles"_s << u"lstNewProfiles"_s << u"Profiles to Migrate:"_s;
    }

    void controlNames()
    {
        QFETCH(QString, page);
        QFETCH(QString, control);
        QFETCH(QString, name);
        std::unique_ptr<WizardPage> window(Pages::create(page));
        QVERIFY(window != nullptr);
        auto* widget = window->findChild<QWidget*>(control);
        QVERIFY(widget != nullptr);
        QAccessibleInterface* read = QAccessible::queryAccessibleInterface(widget);
        QVERIFY(read != nullptr);
        QCOMPARE(read->text(QAccessible::Name), name);
    }

private:
    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestAccessibility)
#include "tst_accessibility.moc"

#include "demo/DemoData.h"
#include "frame/GlobalVariables.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/BackToVarnelPage.h"
#include "pages/ConflictDecision.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectUsers.h"
#include "support/EmbeddedDatabase.h"
#include "support/PageFixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QSet>
#include <QTest>
#include <QTimer>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// What the stand-in pages saw, in order.
QStringList events;

// Stands in for the pages around the user selection page: records how it was opened
// and goes back to the user selection page as the later pages do.
class StandIn : public WizardPage, public BackToVarnelPage
{
    Q_OBJECT
public:
    explicit StandIn(const QString& name) : WizardPage(name, name)
    {
        createNavigationButtons(PreviousButton | NextButton | CancelButton);
        events << name + u" opened"_s;
    }
    void LoadStateNext() override { events << objectName() + u" LoadStateNext"_s; }
    void LoadStatePrev() override { events << objectName() + u" LoadStatePrev"_s; }
    void setBackToVarnel(bool backToVarnel) override
    {
        events << objectName() + u" gbBackToVarnel="_s + (backToVarnel ? u"true"_s : u"false"_s);
    }

protected:
    void PreviousBtn_Click() override { handOver(PageNames::SelectUsers, Restore::Prev); }
};

void registerStandIns()
{
    for (const QLatin1String name :
         {PageNames::SelectVarnel, PageNames::SelectZephrin, PageNames::AddStores,
          PageNames::SelectEmailTemplate, PageNames::SelectDPProfiles}) {
        Pages::registerPage(name, [name] { return new StandIn(name); });
    }
}

// One answer to the conflict dialog.
struct Answer
{
    int option = 0; // the option button to click; -1 leaves the options as they open
    bool ok = true;
    bool applyToAll = false;
};

// Answers every conflict dialog that opens, in order, by clicking its real widgets,
// and records what each dialog showed.
class DialogAnswers
{
public:
    explicit DialogAnswers(QList<Answer> answers) : mAnswers(std::move(answers))
    {
        QObject::connect(&mTimer, &QTimer::timeout, [this] { answerOpenDialog(); });
        mTimer.start(0);
    }

    struct Shown
    {
        QString text;
        bool applyToAllOffered = false;
        QString parent;
        // "Users to Migrate:" while the dialog was open.
        int migrating = 0;
    };
    QList<Shown> shown;
    SelectUsers* page = nullptr;

private:
    void answerOpenDialog()
    {
        auto* dialog = qobject_cast<ConflictDecision*>(QApplication::activeModalWidget());
        if (dialog == nullptr || !dialog->isVisible()) {
            return;
        }
        shown.append({dialog->OrientationLbl->text(), dialog->ApplyToAllCbx->isVisible(),
                      dialog->parentWidget() ? dialog->parentWidget()->objectName() : QString(),
                      page ? page->Migrate->model()->rowCount() : -1});
        if (mAnswers.isEmpty()) {
            QTest::mouseClick(dialog->CancelBtn, Qt::LeftButton);
            return;
        }
        const Answer answer = mAnswers.takeFirst();
        const auto clickBox = [](QAbstractButton* box) {
            QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(6, box->height() / 2));
        };
        if (answer.option >= 0) {
            clickBox(dialog->ConflictDesicionRbn[answer.option]);
        }
        if (answer.applyToAll) {
            clickBox(dialog->ApplyToAllCbx);
        }
        QTest::mouseClick(answer.ok ? dialog->OKBtn : dialog->CancelBtn, Qt::LeftButton);
    }

    QList<Answer> mAnswers;
    QTimer mTimer;
};

} // namespace

Q_DECLARE_METATYPE(Answer)

namespace {

QStringList lines(const QListView* list)
{
    QStringList texts;
    for (int row = 0; row < list->model()->rowCount(); ++row) {
        texts << list->model()->index(row, 0).data().toString();
    }
    return texts;
}

QStringList texts(const CollectionPtr& collection)
{
    QStringList result;
    for (const QVariant& value : collection->values()) {
        result << value.toString();
    }
    return result;
}

// Clicks a line as a person does, or double-clicks it.
void clickLine(QListView* list, const QString& text, bool twice = false)
{
    const int row = static_cast<int>(lines(list).indexOf(text));
    QVERIFY2(row >= 0, qPrintable(text));
    const QModelIndex index = list->model()->index(row, 0);
    list->scrollTo(index);
    const QPoint point = list->visualRect(index).center();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, point);
    if (twice) {
        QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, point);
        PageFixture::processDeletions();
    }
}

// The user ID in a display text: the number between the last "(" and ")".
int idOf(const QString& text)
{
    return text.mid(text.lastIndexOf('(') + 1).chopped(1).toInt();
}

// Keys of a collection, as a set of texts.
QSet<QString> keySet(const CollectionPtr& collection)
{
    const QStringList keys = collection->keys();
    return QSet<QString>(keys.begin(), keys.end());
}

// The demo's users as the page must list them: "* " for the planted conflicts,
// "Unnamed" for the user without names.
QStringList expectedDisplayTexts(int userCount)
{
    const DemoData::DemoContent content = DemoData::Generate(userCount);
    QSet<int> conflicting;
    for (const DemoData::PlantedConflict& conflict : content.conflicts) {
        conflicting.insert(conflict.vaUserID);
    }
    QStringList result;
    for (const VarnelSourceUser& user : content.source.users) {
        QString first = user.givenName.toString();
        const QString last = user.familyName.toString();
        if (first.isEmpty() && last.isEmpty()) {
            first = u"Unnamed"_s;
        }
        result << (conflicting.contains(user.userID) ? u"* "_s : QString()) + first + ' ' + last +
                      u" ("_s + QString::number(user.userID) + ')';
    }
    return result;
}

} // namespace

class TestSelectUsers : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mFixture = std::make_unique<PageFixture>();
        mFixture->useDemo();
        registerStandIns();
        events.clear();
    }
    void cleanup()
    {
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    void pageAsLoaded()
    {
        SelectUsers* page = openForward();
        QVERIFY(page);
        QCOMPARE(page->SUExpl->text(),
                 u"Select the users to migrate to Zephrin 4.5. Any user with an asterisk (*) "
                 "appended to the name conflicts with an already existing user in the Zephrin 4.5 "
                 "Directory database. You can choose to migrate such a user anyhow but must then "
                 "choose whether to update or overwrite the already existing user or to create a "
                 "new user with a new login name."_s);
        QStringList captions;
        for (const char* name : {"Label1", "Label2"}) {
            captions << page->findChild<QLabel*>(QLatin1String(name))->text();
        }
        for (QPushButton* button : {page->MigrateAll, page->MigrateNone}) {
            captions << button->text();
        }
        QCOMPARE(captions,
                 QStringList({"Users:", "Users to Migrate:", "Migrate All", "Migrate None"}));
    }

    // Every source user is listed in "Users:" in the source's order; the demo's five
    // conflicts carry "* ", and the user without names reads "Unnamed", a blank, the
    // empty last name, a blank and its ID. The conflict result comes from the page
    // that opened this one when it hands one over, else from the page's own check.
    void displayTexts_data()
    {
        QTest::addColumn<bool>("handOver");
        QTest::newRow("own conflict check") << false;
        QTest::newRow("conflict result handed over") << true;
    }
    void displayTexts()
    {
        QFETCH(bool, handOver);
        CollectionPtr handed;
        if (handOver) {
            // Marks user 3 alone, which the databases do not find in conflict.
            handed = conflictResult({{3, 9003, u"Ann Example"_s, u"Example Ann"_s, u"aexample"_s}});
        }
        SelectUsers* page = openForward(handed);
        QVERIFY(page);
        const QStringList shown = lines(page->OldUsersLbx);
        QCOMPARE(shown.size(), 50);
        QVERIFY(lines(page->Migrate).isEmpty());
        QCOMPARE(shown.value(41), u"Unnamed  (42)"_s);

        QStringList expected = expectedDisplayTexts(50);
        if (handOver) {
            for (QString& text : expected) {
                if (text.startsWith("* "_L1)) {
                    text.remove(0, 2);
                }
            }
            expected[2].prepend(u"* "_s);
        }
        QCOMPARE(shown, expected);
        QCOMPARE(page->cConflictUserNames->keys(), expected.filter(QRegularExpression(u"^\\* "_s)));
        checkInvariants(page);
    }

    // The dialog for one conflicting user, answered with each option or cancelled;
    // the user moves only with a decision, and ConflictDecisions and NeedEmail record
    // it: a new login ID (option 0) needs an e-mail, and with new passwords every user
    // does.
    void oneConflict_data()
    {
        QTest::addColumn<bool>("newPasswords");
        QTest::addColumn<int>("option");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<bool>("doubleClick");
        QTest::newRow("OK untouched: new user") << false << -1 << true << false;
        QTest::newRow("update") << false << 1 << true << false;
        QTest::newRow("replace, by double-click") << false << 2 << true << true;
        QTest::newRow("option 2 cancelled") << false << 2 << false << false;
        QTest::newRow("update with new passwords") << true << 1 << true << false;
        QTest::newRow("cancelled with new passwords") << true << 0 << false << true;
    }
    void oneConflict()
    {
        QFETCH(bool, newPasswords);
        QFETCH(int, option);
        QFETCH(bool, ok);
        QFETCH(bool, doubleClick);
        GlobalVariables::gbNewPasswords = newPasswords;
        SelectUsers* page = openForward();
        QVERIFY(page);
        const QString text = page->cConflictUserNames->key(1);
        const QString key = QString::number(idOf(text));

        DialogAnswers answers({{option, ok, false}});
        answers.page = page;
        GlobalVariables::glSelectAction = 7;
        clickLine(page->OldUsersLbx, text, doubleClick);
        if (!doubleClick) {
            PageFixture::click(page->OldToMigrateBtn);
        }
        QCOMPARE(answers.shown.size(), 1);
        QVERIFY(answers.shown[0].text.contains(u"\n3.1x user ID: "_s + key + u'\n'));
        QVERIFY(!answers.shown[0].applyToAllOffered);
        QCOMPARE(answers.shown[0].parent, u"SelectUsers"_s);

        const int action = option < 0 ? 0 : option;
        QCOMPARE(GlobalVariables::gbCancel, !ok);
        // Cancel leaves the choice as the dialog had it when it opened.
        QCOMPARE(GlobalVariables::glSelectAction, ok ? action : 0);
        QCOMPARE(lines(page->Migrate), ok ? QStringList{text} : QStringList());
        QCOMPARE(lines(page->OldUsersLbx).contains(text), !ok);
        QCOMPARE(page->cConflictDecisions->keys(), ok ? QStringList{key} : QStringList());
        QCOMPARE(page->cConflictDecisions->value(key, -1).toInt(), ok ? action : -1);
        const bool needEmail = ok && (newPasswords || action == 0);
        QCOMPARE(page->cNeedEmail->keys(), needEmail ? QStringList{key} : QStringList());
        checkInvariants(page);
    }

    // ConflictDecisions and NeedEmail hold exactly the users of "Users to Migrate:"
    // that need them, after every kind of move there and back.
    void movesKeepTheListsExact_data()
    {
        QTest::addColumn<bool>("newPasswords");
        QTest::newRow("source passwords kept") << false;
        QTest::newRow("new passwords for all") << true;
    }
    void movesKeepTheListsExact()
    {
        QFETCH(bool, newPasswords);
        GlobalVariables::gbNewPasswords = newPasswords;
        SelectUsers* page = openForward();
        QVERIFY(page);
        const QStringList all = lines(page->OldUsersLbx);
        const QStringList conflicting = page->cConflictUserNames->keys();

        DialogAnswers answers({{0, true, false},
                               {2, true, false},
                               {1, true, false},
                               {0, true, false},
                               {1, true, false},
                               {2, true, false},
                               {2, true, false},
                               {0, true, false},
                               {1, true, false},
                               {1, true, false},
                               {-1, true, false}});
        answers.page = page;
        clickLine(page->OldUsersLbx, all[0]);
        PageFixture::click(page->OldToMigrateBtn);
        clickLine(page->OldUsersLbx, conflicting[0], true);
        clickLine(page->OldUsersLbx, conflicting[3]);
        PageFixture::click(page->OldToMigrateBtn);
        checkInvariants(page);
        QCOMPARE(lines(page->Migrate), QStringList({all[0], conflicting[0], conflicting[3]}));

        // Back and in again: the decision is asked anew.
        clickLine(page->Migrate, conflicting[0], true);
        checkInvariants(page);
        QVERIFY(!page->cConflictDecisions->contains(QString::number(idOf(conflicting[0]))));
        QCOMPARE(lines(page->OldUsersLbx).last(), conflicting[0]);
        clickLine(page->OldUsersLbx, conflicting[0]);
        PageFixture::click(page->OldToMigrateBtn);
        QCOMPARE(page->cConflictDecisions->item(QString::number(idOf(conflicting[0]))).toInt(), 1);
        checkInvariants(page);

        // All remaining users: the three conflicts not yet decided are asked for.
        PageFixture::click(page->MigrateAll);
        QCOMPARE(answers.shown.size(), 6);
        QVERIFY(lines(page->OldUsersLbx).isEmpty());
        checkInvariants(page);

        clickLine(page->Migrate, all[0]);
        PageFixture::click(page->MigrateToOldBtn);
        clickLine(page->Migrate, conflicting[3], true);
        checkInvariants(page);
        QCOMPARE(lines(page->OldUsersLbx), QStringList({all[0], conflicting[3]}));

        PageFixture::click(page->MigrateNone);
        checkInvariants(page);
        QCOMPARE(lines(page->Migrate), QStringList());
        QCOMPARE(page->cConflictDecisions->count() + page->cNeedEmail->count(), 0);
        const QStringList back = lines(page->OldUsersLbx);
        QCOMPARE(QSet<QString>(back.begin(), back.end()), QSet<QString>(all.begin(), all.end()));

        PageFixture::click(page->MigrateAll);
        QCOMPARE(answers.shown.size(), 11);
        checkInvariants(page);
        QCOMPARE(page->cConflictDecisions->count(), 5);
    }

    // "Migrate All" asks for every conflicting user, showing what has moved so far,
    // and offers to apply the answer to the conflicting users still to come; a ticked
    // box applies a decision or a cancel to all of them without asking again.
    void migrateAll_data()
    {
        QTest::addColumn<QList<Answer>>("answers");
        QTest::addColumn<QList<int>>("actions"); // per conflict in list order, -1 stays
        QTest::newRow("one at a time") << QList<Answer>{{-1, true, false},
                                                        {2, true, false},
                                                        {1, false, false},
                                                        {1, true, false},
                                                        {2, true, false}}
                                       << QList<int>{0, 2, -1, 1, 2};
        QTest::newRow("second answer for all remaining")
            << QList<Answer>{{0, true, false}, {1, true, true}} << QList<int>{0, 1, 1, 1, 1};
        QTest::newRow("first answer for all")
            << QList<Answer>{{2, true, true}} << QList<int>{2, 2, 2, 2, 2};
        QTest::newRow("cancel for all")
            << QList<Answer>{{1, false, true}} << QList<int>{-1, -1, -1, -1, -1};
    }
    void migrateAll()
    {
        QFETCH(QList<Answer>, answers);
        QFETCH(QList<int>, actions);
        SelectUsers* page = openForward();
        QVERIFY(page);
        const QStringList all = lines(page->OldUsersLbx);
        const QStringList conflicting = page->cConflictUserNames->keys();
        DialogAnswers dialogs(answers);
        dialogs.page = page;
        PageFixture::click(page->MigrateAll);

        QCOMPARE(dialogs.shown.size(), answers.size());
        for (int i = 0; i < dialogs.shown.size(); ++i) {
            const QString key = QString::number(idOf(conflicting[i]));
            QVERIFY(dialogs.shown[i].text.contains(u"3.1x user ID: "_s + key + '\n'));
            // Offered while further conflicting users wait.
            QCOMPARE(dialogs.shown[i].applyToAllOffered, i < conflicting.size() - 1);
            // Every user above this one has moved, except the conflicts that stayed.
            int moved = static_cast<int>(all.indexOf(conflicting[i]));
            for (int j = 0; j < i; ++j) {
                moved -= actions[j] < 0 ? 1 : 0;
            }
            QCOMPARE(dialogs.shown[i].migrating, moved);
        }
        QStringList stayed;
        QStringList migrating = all;
        for (int i = 0; i < conflicting.size(); ++i) {
            const QString key = QString::number(idOf(conflicting[i]));
            QCOMPARE(page->cConflictDecisions->value(key, -1).toInt(), actions[i]);
            if (actions[i] < 0) {
                stayed << conflicting[i];
                migrating.removeOne(conflicting[i]);
            }
        }
        QCOMPARE(lines(page->OldUsersLbx), stayed);
        QCOMPARE(lines(page->Migrate), migrating);
        checkInvariants(page);
    }

    // Next saves the nine lists, builds the migration list from "Users to Migrate:",
    // logs the exported users, and goes to the e-mail template page when users get a
    // new login ID or a new password, else to the profile page.
    void next_data()
    {
        QTest::addColumn<bool>("newPasswords");
        QTest::addColumn<QList<int>>("moves"); // list rows, moved one by one
        QTest::addColumn<QList<Answer>>("answers");
        QTest::addColumn<QString>("nextPage");
        QTest::addColumn<bool>("ntLogon");
        QTest::newRow("nobody") << false << QList<int>{} << QList<Answer>{} << u"SelectDPProfiles"_s
                                << false;
        QTest::newRow("users without conflict")
            << false << QList<int>{5, 0, 40} << QList<Answer>{} << u"SelectDPProfiles"_s << false;
        QTest::newRow("conflicts updated and replaced")
            << false << QList<int>{1, 2, 10} << QList<Answer>{{1, true}, {2, true}}
            << u"SelectDPProfiles"_s << false;
        QTest::newRow("a conflict with a new login ID")
            << false << QList<int>{2, 1, 10} << QList<Answer>{{0, true}, {2, true}}
            << u"SelectEmailTemplate"_s << true;
        QTest::newRow("new passwords, nobody")
            << true << QList<int>{} << QList<Answer>{} << u"SelectEmailTemplate"_s << false;
        QTest::newRow("new passwords") << true << QList<int>{3, 1} << QList<Answer>{{1, true}}
                                       << u"SelectEmailTemplate"_s << true;
    }
    void next()
    {
        QFETCH(bool, newPasswords);
        QFETCH(QList<int>, moves);
        QFETCH(QList<Answer>, answers);
        QFETCH(QString, nextPage);
        QFETCH(bool, ntLogon);
        GlobalVariables::gbNewPasswords = newPasswords;
        GlobalVariables::gbNtLogon = !ntLogon;
        SelectUsers* page = openForward();
        QVERIFY(page);
        const QStringList all = lines(page->OldUsersLbx);
        DialogAnswers dialogs(answers);
        QStringList exported;
        for (const int row : moves) {
            exported << all[row];
            clickLine(page->OldUsersLbx, all[row], true);
        }
        QCOMPARE(dialogs.shown.size(), answers.size());
        QCOMPARE(lines(page->Migrate), exported);
        const CollectionPtr conflicts = page->cConflictUsers;
        const CollectionPtr decisions = page->cConflictDecisions;

        PageFixture::click(page->NextBtn);
        QVERIFY(PageFixture::visible<SelectUsers>() == nullptr);
        QCOMPARE(PageFixture::visible()->objectName(), nextPage);
        QCOMPARE(events, QStringList({nextPage + u" opened"_s, nextPage + u" LoadStateNext"_s}));
        QCOMPARE(GlobalVariables::gbNtLogon, ntLogon);

        QString entry = u"SelectUsers: Exported Users: "_s;
        for (const QString& text : exported) {
            entry += u"\r\n"_s + text;
        }
        // The whole log of the page: its launch, then the users in the order of the list.
        QCOMPARE(QString::fromLatin1(mFixture->log()),
                 u"SelectUsers Launched2003-12-04 15:30:12\r\n\r\n"_s + entry + u"\r\n\r\n\r\n"_s);

        const CollectionPtr saved = StatusHolder::GetUserLists();
        QCOMPARE(
            saved->keys(),
            QStringList({"ConflictDecisions", "ConflictUsers", "ConflictUserNames", "Link",
                         "AllUsers", "ExportedUsers", "OldUsers", "MigrationList", "NeedEmail"}));
        QCOMPARE(texts(saved->collection(StateKeys::ExportedUsers)), exported);
        QCOMPARE(saved->collection(StateKeys::ConflictUsers), conflicts);
        const CollectionPtr migrationList = saved->collection(StateKeys::MigrationList);
        QCOMPARE(migrationList->keys(), QStringList({"VaUserIDs", "Actions", "ZeUserIDs"}));
        QStringList ids;
        QStringList actions;
        for (const QString& text : exported) {
            const QString key = QString::number(idOf(text));
            ids << key;
            // A conflicting user created anew is listed with 6: it is always mailed.
            const int decided = decisions->value(key, -1).toInt();
            actions << key + '=' + QString::number(decided == 0 ? 6 : qMax(decided, 0));
        }
        QStringList listedIDs;
        for (const QVariant& id : migrationList->collection(StateKeys::VaUserIDs)->values()) {
            listedIDs << QString::number(id.toInt());
        }
        QCOMPARE(listedIDs, ids);
        QVERIFY(migrationList->collection(StateKeys::VaUserIDs)->keys().join(QString()).isEmpty());
        const CollectionPtr listedActions = migrationList->collection(StateKeys::Actions);
        QStringList keyedActions;
        for (int i = 1; i <= listedActions->count(); ++i) {
            keyedActions << listedActions->key(i) + '=' +
                                QString::number(listedActions->item(i).toInt());
        }
        QCOMPARE(keyedActions, actions);
        QCOMPARE(migrationList->collection(StateKeys::ZeUserIDs),
                 conflicts->collection(RecordKeys::ZeUserID));
    }

    // Previous goes to the store page when the route went through it, passing on
    // where the store page's own Previous leads, else to the database page that
    // opened this page, each restored.
    void previous_data()
    {
        QTest::addColumn<bool>("addStores");
        QTest::addColumn<bool>("backToVarnel");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("from the target page")
            << false << false << QStringList{"SelectZephrin opened", "SelectZephrin LoadStatePrev"};
        QTest::newRow("from the source page")
            << false << true << QStringList{"SelectVarnel opened", "SelectVarnel LoadStatePrev"};
        QTest::newRow("through the store page, from the source page")
            << true << true
            << QStringList{"AddStores opened", "AddStores gbBackToVarnel=true",
                           "AddStores LoadStatePrev"};
        QTest::newRow("through the store page, from the target page")
            << true << false
            << QStringList{"AddStores opened", "AddStores gbBackToVarnel=false",
                           "AddStores LoadStatePrev"};
    }
    void previous()
    {
        QFETCH(bool, addStores);
        QFETCH(bool, backToVarnel);
        QFETCH(QStringList, expected);
        GlobalVariables::gbAddStores = addStores;
        SelectUsers* fresh = openForward();
        QVERIFY(fresh && !fresh->gbBackToVarnel);
        if (backToVarnel) {
            fresh->setBackToVarnel(true);
        }
        PageFixture::click(fresh->PreviousBtn);
        QCOMPARE(events, expected);
        QVERIFY(PageFixture::visible<SelectUsers>() == nullptr);
        QCOMPARE(PageFixture::visible()->objectName(), expected[0].section(' ', 0, 0));
    }

    // Back from the next page: the lists, the decisions and the route are as Next left
    // them. The e-mail template page is restored only the first time it is entered on
    // this route.
    void backFromTheNextPage()
    {
        SelectUsers* page = openForward();
        QVERIFY(page);
        page->setBackToVarnel(true);
        const QStringList conflicting = page->cConflictUserNames->keys();
        DialogAnswers dialogs({{0, true}, {2, true}, {1, true}});
        clickLine(page->OldUsersLbx, conflicting[1], true);
        clickLine(page->OldUsersLbx, lines(page->OldUsersLbx)[0], true);
        clickLine(page->OldUsersLbx, conflicting[4], true);
        clickLine(page->OldUsersLbx, conflicting[2], true);
        const QStringList oldLines = lines(page->OldUsersLbx);
        const QStringList migrating = lines(page->Migrate);
        const QStringList decisions = describeDecisions(page);
        QCOMPARE(decisions.size(), 4);

        PageFixture::click(page->NextBtn);
        auto* next = PageFixture::visible<StandIn>();
        QVERIFY(next && next->objectName() == PageNames::SelectEmailTemplate);
        PageFixture::click(next->PreviousBtn);
        page = PageFixture::visible<SelectUsers>();
        QVERIFY(page);
        QCOMPARE(lines(page->OldUsersLbx), oldLines);
        QCOMPARE(lines(page->Migrate), migrating);
        QCOMPARE(describeDecisions(page), decisions);
        QVERIFY(page->gbBackToVarnel);
        checkInvariants(page);

        // The second entry on this route only shows the e-mail template page.
        PageFixture::click(page->NextBtn);
        QCOMPARE(events,
                 QStringList({"SelectEmailTemplate opened", "SelectEmailTemplate LoadStateNext",
                              "SelectEmailTemplate opened"}));
        // Back again, and to the source page, which this route came from.
        PageFixture::click(PageFixture::visible<StandIn>()->PreviousBtn);
        PageFixture::click(PageFixture::visible<SelectUsers>()->PreviousBtn);
        QCOMPARE(events.mid(3), QStringList({"SelectVarnel opened", "SelectVarnel LoadStatePrev"}));
        QCOMPARE(dialogs.shown.size(), 3);
        // Only the forward entry logs the page's launch.
        QCOMPARE(mFixture->logEntries().filter(u"SelectUsers Launched"_s).size(), 1);
    }

    // The page's own conflict check fails: the administrator reads the database's
    // message over the page, no user is listed and the page still works. A source that
    // cannot be read leaves the lists empty too, without a message.
    void failedReads_data()
    {
        QTest::addColumn<bool>("sourceFails");
        QTest::newRow("Directory unreachable") << false;
        QTest::newRow("source unreadable") << true;
    }
    void failedReads()
    {
        QFETCH(bool, sourceFails);
        const QString broken =
            EmbeddedDatabase::connectionString(mFixture->folder() + u"/nowhere"_s, u"Missing"_s);
        if (sourceFails) {
            StatusHolder::SetVarnelDatabase(u"sqlite:nowhere"_s, u"Missing"_s, 0, 0, {}, {}, true,
                                            broken);
        } else {
            StatusHolder::SetZephrinDatabase(u"sqlite:nowhere"_s, u"Missing"_s, 0, 0, {}, {}, true,
                                             broken);
        }
        SelectUsers* page = openForward();
        QVERIFY(page);
        QTRY_COMPARE(mFixture->prompter().asked.size(), sourceFails ? 0 : 1);
        QCoreApplication::processEvents();
        QCOMPARE(mFixture->prompter().asked.size(), sourceFails ? 0 : 1);
        if (!sourceFails) {
            const auto& asked = mFixture->prompter().asked[0];
            QVERIFY2(asked.text.startsWith(
                         u"The login IDs of the 3.1x users could not be compared with the "
                         "Zephrin 4.5 Directory database, so no user is listed.\r\n\r\nError "_s),
                     qPrintable(asked.text));
            QCOMPARE(asked.title + '|' + asked.parent, u"Error|SelectUsers"_s);
            QCOMPARE(asked.icon, Prompter::Icon::Critical);
        }
        QVERIFY(lines(page->OldUsersLbx).isEmpty() && lines(page->Migrate).isEmpty());
        const QString failed = sourceFails ? u"SelectUsers: GetAllUsers failed: Error "_s
                                           : u"SelectUsers: CheckForUserConflicts failed: Error "_s;
        QCOMPARE(mFixture->logEntries().size(), 2);
        QVERIFY2(mFixture->logEntries().value(1).startsWith(failed),
                 qPrintable(mFixture->logEntries().value(1)));
        PageFixture::click(page->MigrateAll);
        PageFixture::click(page->NextBtn);
        QCOMPARE(PageFixture::visible()->objectName(), PageNames::SelectDPProfiles);
    }

    // The conflict dialog by itself: option captions, OK untouched gives 0, Cancel
    // keeps the value it opened with; closing the window is a cancel.
    void conflictDialog()
    {
        ConflictDecision dialog;
        QCOMPARE(dialog.windowTitle(), u"User Login ID Conflict"_s);
        QStringList captions;
        for (QRadioButton* option : dialog.ConflictDesicionRbn) {
            captions << option->text();
        }
        QCOMPARE(captions, QStringList({"Create this user as a new user with a new login ID",
                                        "Update the Zephrin 4.5 user with the 3.1x user settings",
                                        "Delete the Zephrin 4.5 user and migrate the 3.1x user."}));
        QVERIFY(dialog.ConflictDesicionRbn[0]->isChecked());
        QCOMPARE(dialog.ApplyToAllCbx->text(),
                 u"Apply this choice to all remaining conflicting users"_s);

        const CollectionPtr conflict = Collection::create();
        conflict->add(u"O'Brien Pat"_s, RecordKeys::VaUserName);
        conflict->add(u"Brien Pat"_s, RecordKeys::ZeUserName);
        conflict->add(u"pobrien"_s, RecordKeys::LoginID);
        conflict->add(17, RecordKeys::VaUserID);
        conflict->add(1017, RecordKeys::ZeUserID);
        dialog.SetUser(conflict);
        QCOMPARE(dialog.OrientationLbl->text(),
                 u"The login ID pobrien already exists in the Zephrin 4.5 Directory database.\n"
                 "Name of 3.1x user: O'Brien Pat\nName of Zephrin 4.5 user: Brien Pat\n"
                 "3.1x user ID: 17\nZephrin 4.5 user ID: 1017\n\n"
                 "Please chose how to handle this conflict."_s);

        GlobalVariables::glSelectAction = 5;
        dialog.show();
        QTest::keyClick(&dialog, Qt::Key_Escape);
        QVERIFY(GlobalVariables::gbCancel && !dialog.isVisible());
        QCOMPARE(GlobalVariables::glSelectAction, 5);
        dialog.show();
        QTest::mouseClick(dialog.OKBtn, Qt::LeftButton);
        QVERIFY(!GlobalVariables::gbCancel);
        QCOMPARE(GlobalVariables::glSelectAction, 0);
    }

private:
    SelectUsers* openForward(const CollectionPtr& conflicts = {})
    {
        auto* page = qobject_cast<SelectUsers*>(Pages::create(PageNames::SelectUsers));
        if (page == nullptr) {
            return nullptr;
        }
        if (conflicts) {
            page->setConflictResult(conflicts);
        }
        page->LoadStateNext();
        page->show();
        return page;
    }

    struct Pair
    {
        int vaUserID;
        int zeUserID;
        QString vaName;
        QString zeName;
        QString loginID;
    };
    static CollectionPtr conflictResult(const QList<Pair>& pairs)
    {
        QList<CollectionPtr> lists;
        for (int i = 0; i < 5; ++i) {
            lists << Collection::create();
        }
        for (const Pair& pair : pairs) {
            const QString key = QString::number(pair.vaUserID);
            lists[0]->add(pair.vaUserID, key);
            lists[1]->add(pair.zeUserID, key);
            lists[2]->add(pair.vaName, key);
            lists[3]->add(pair.zeName, key);
            lists[4]->add(pair.loginID, key);
        }
        const CollectionPtr result = Collection::create();
        const QList<QLatin1String> names = {RecordKeys::VaUserID, RecordKeys::ZeUserID,
                                            RecordKeys::VaName, RecordKeys::ZeName,
                                            RecordKeys::LoginID};
        for (int i = 0; i < 5; ++i) {
            result->add(toVariant(lists[i]), names[i]);
        }
        return result;
    }

    static QStringList describeDecisions(const SelectUsers* page)
    {
        QStringList result;
        for (int i = 1; i <= page->cConflictDecisions->count(); ++i) {
            result << page->cConflictDecisions->key(i) + '=' +
                          page->cConflictDecisions->item(i).toString();
        }
        for (int i = 1; i <= page->cNeedEmail->count(); ++i) {
            result << u"mail "_s + page->cNeedEmail->key(i);
        }
        return result;
    }

    // The lists and the page's collections agree: every user is in exactly one list;
    // every conflicting user to migrate has a decision and no other user has one; the
    // users to migrate with a new login ID (decision 0), or all of them when new
    // passwords are made, need an e-mail, and nobody else.
    static void checkInvariants(const SelectUsers* page)
    {
        const QStringList old = lines(page->OldUsersLbx);
        const QStringList migrating = lines(page->Migrate);
        QCOMPARE(texts(page->cOldUsers), old);
        QCOMPARE(texts(page->cExportedUsers), migrating);
        QCOMPARE(old.size() + migrating.size(), page->cLink->count());
        QSet<QString> all(old.begin(), old.end());
        all.unite(QSet<QString>(migrating.begin(), migrating.end()));
        QCOMPARE(all.size(), page->cLink->count());

        QSet<QString> decided;
        QSet<QString> mailed;
        for (const QString& text : migrating) {
            const QString key = QString::number(idOf(text));
            if (page->cConflictUserNames->contains(text)) {
                decided.insert(key);
                QVERIFY(page->cConflictDecisions->contains(key));
                const int action = page->cConflictDecisions->item(key).toInt();
                QVERIFY(action >= 0 && action <= 2);
                if (action == 0) {
                    mailed.insert(key);
                }
            }
            if (GlobalVariables::gbNewPasswords) {
                mailed.insert(key);
            }
        }
        QCOMPARE(keySet(page->cConflictDecisions), decided);
        QCOMPARE(keySet(page->cNeedEmail), mailed);
    }

    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestSelectUsers)
#include "tst_selectusers.moc"

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
#include "support/Golden.h"
#include "support/PageFixture.h"
#include "support/Transcript.h"
#include "support/WindowText.h"

#include <QApplication>
#include <QCheckBox>
#include <QListView>
#include <QPushButton>
#include <QRadioButton>
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
    void setBackToVarnel(bool back) override
    {
        events << objectName() + u" gbBackToVarnel="_s + (back ? u"true"_s : u"false"_s);
    }

protected:
    void PreviousBtn_Click() override { handOver(PageNames::SelectUsers, Restore::Prev); }
};

// Answers every conflict dialog that opens by clicking its real widgets, one word of
// the answers a dialog: an option's number or "-" to leave them as they open, then
// "!" to tick "apply to all" and "c" to cancel ("2!", "c", "1c!"). What each dialog
// showed, with the number of users to migrate meanwhile, goes into seen.
class DialogAnswers
{
public:
    DialogAnswers(const QString& answers, QStringList& seen)
        : mAnswers(answers.split(u' ', Qt::SkipEmptyParts)), mSeen(seen)
    {
        QObject::connect(&mTimer, &QTimer::timeout, [this] { answerOpenDialog(); });
        mTimer.start(0);
    }

private:
    void answerOpenDialog()
    {
        auto* dialog = qobject_cast<ConflictDecision*>(QApplication::activeModalWidget());
        if (dialog == nullptr || !dialog->isVisible()) {
            return;
        }
        const auto* page = qobject_cast<SelectUsers*>(dialog->parentWidget());
        mSeen << u"dialog over %1, users to migrate %2: "_s
                         .arg(dialog->parentWidget()->objectName())
                         .arg(page ? page->Migrate->model()->rowCount() : -1) +
                     windowText(dialog).trimmed();
        const QString answer = mAnswers.isEmpty() ? u"c"_s : mAnswers.takeFirst();
        const auto clickBox = [](QAbstractButton* box) {
            QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(6, box->height() / 2));
        };
        if (answer[0].isDigit()) {
            clickBox(dialog->ConflictDesicionRbn[answer[0].digitValue()]);
        }
        if (answer.contains(u'!')) {
            clickBox(dialog->ApplyToAllCbx);
        }
        QTest::mouseClick(answer.contains(u'c') ? dialog->CancelBtn : dialog->OKBtn,
                          Qt::LeftButton);
        mSeen << u"answered %1: cancel %2, action %3"_s.arg(answer)
                     .arg(GlobalVariables::gbCancel)
                     .arg(GlobalVariables::glSelectAction);
    }

    QStringList mAnswers;
    QStringList& mSeen;
    QTimer mTimer;
};

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

// "key=value, ..." of a collection, nested ones as "{...}".
QString keyed(const CollectionPtr& collection)
{
    QStringList items;
    for (int i = 1; i <= collection->count(); ++i) {
        const QVariant item = collection->item(i);
        const CollectionPtr inner = item.value<CollectionPtr>();
        items << collection->key(i) + u'=' + (inner ? u'{' + keyed(inner) + u'}' : item.toString());
    }
    return items.join(u", "_s);
}

// Clicks the line of the user with this ID as a person does, or double-clicks it.
void clickUser(QListView* list, const QString& id, bool twice)
{
    const int row =
        static_cast<int>(lines(list).indexOf(QRegularExpression(u".*\\("_s + id + u"\\)"_s)));
    QVERIFY2(row >= 0, qPrintable(id));
    const QModelIndex index = list->model()->index(row, 0);
    list->scrollTo(index);
    const QPoint point = list->visualRect(index).center();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, point);
    if (twice) {
        QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, point);
        PageFixture::processDeletions();
    }
}

// A conflict result handed over by the page before, marking user 3 alone, which the
// databases do not find in conflict.
CollectionPtr handedConflict()
{
    const CollectionPtr result = Collection::create();
    const QList<std::pair<QLatin1String, QVariant>> values = {
        {RecordKeys::VaUserID, 3},
        {RecordKeys::ZeUserID, 9003},
        {RecordKeys::VaName, u"Ann Example"_s},
        {RecordKeys::ZeName, u"Example Ann"_s},
        {RecordKeys::LoginID, u"aexample"_s}};
    for (const auto& [name, value] : values) {
        const CollectionPtr list = Collection::create();
        list->add(value, u"3"_s);
        result->add(toVariant(list), name);
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
        for (const QLatin1String name :
             {PageNames::SelectVarnel, PageNames::SelectZephrin, PageNames::AddStores,
              PageNames::SelectEmailTemplate, PageNames::SelectDPProfiles}) {
            Pages::registerPage(name, [name] { return new StandIn(name); });
        }
        events.clear();
    }
    void cleanup()
    {
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    // The page walked by a script of clicks, one transcript per row compared whole:
    // the windows after each step (both lists, captions, the conflict dialog with its
    // text and whether it offers "apply to all"), the decisions and users needing an
    // e-mail, the log, messages, the pages opened around it and, after Next, the nine
    // saved lists with the migration list. The demo's conflicting users are 2, 11,
    // 22, 33 and 44; user 42 has no names. Script words: ">>7" double-clicks user 7 in
    // "Users:", ">7" selects it and clicks the move button, "<<7" and "<7" the same in
    // "Users to Migrate:"; "all", "none", "next", "prev"; "back" is Previous on the
    // page that Next opened.
    void scenario_data()
    {
        QTest::addColumn<QString>("setup"); // newPasswords addStores backToVarnel handed
                                            // noSource noDirectory
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("answers");
        QTest::addRow("as loaded") << u""_s << u""_s << u""_s;
        QTest::addRow("conflict result handed over") << u"handed"_s << u">>3 >>2"_s << u"1"_s;
        QTest::addRow("OK untouched: new user") << u""_s << u">11"_s << u"-"_s;
        QTest::addRow("update") << u""_s << u">11"_s << u"1"_s;
        QTest::addRow("replace, by double-click") << u""_s << u">>11"_s << u"2"_s;
        QTest::addRow("option 2 cancelled") << u""_s << u">11"_s << u"2c"_s;
        QTest::addRow("update with new passwords") << u"newPasswords"_s << u">11"_s << u"1"_s;
        QTest::addRow("cancelled with new passwords") << u"newPasswords"_s << u">>11"_s << u"0c"_s;
        const QString moves = u">1 >>2 >33 <<2 >2 all <1 <<33 none all"_s;
        const QString moveAnswers = u"0 2 1 0 1 2 2 0 1 1 -"_s;
        QTest::addRow("moves there and back") << u""_s << moves << moveAnswers;
        QTest::addRow("moves there and back, new passwords")
            << u"newPasswords"_s << moves << moveAnswers;
        QTest::addRow("all, one at a time") << u""_s << u"all"_s << u"- 2 1c 1 2"_s;
        QTest::addRow("all, second answer for all remaining") << u""_s << u"all"_s << u"0 1!"_s;
        QTest::addRow("all, first answer for all") << u""_s << u"all"_s << u"2!"_s;
        QTest::addRow("all, cancel for all") << u""_s << u"all"_s << u"1c!"_s;
        QTest::addRow("next, nobody") << u""_s << u"next"_s << u""_s;
        QTest::addRow("next, users without conflict") << u""_s << u">>6 >>1 >>41 next"_s << u""_s;
        QTest::addRow("next, conflicts updated and replaced")
            << u""_s << u">>2 >>3 >>11 next"_s << u"1 2"_s;
        QTest::addRow("next, a conflict with a new login ID")
            << u""_s << u">>3 >>2 >>11 next"_s << u"0 2"_s;
        QTest::addRow("next, new passwords, nobody") << u"newPasswords"_s << u"next"_s << u""_s;
        QTest::addRow("next, new passwords") << u"newPasswords"_s << u">>4 >>2 next"_s << u"1"_s;
        QTest::addRow("previous to the target page") << u""_s << u"prev"_s << u""_s;
        QTest::addRow("previous to the source page") << u"backToVarnel"_s << u"prev"_s << u""_s;
        QTest::addRow("previous through the store page, from the source page")
            << u"addStores backToVarnel"_s << u"prev"_s << u""_s;
        QTest::addRow("previous through the store page, from the target page")
            << u"addStores"_s << u"prev"_s << u""_s;
        // The template page is restored only the first time it is entered.
        QTest::addRow("back from the next page")
            << u"backToVarnel"_s << u">>11 >>1 >>33 >>22 next back next back prev"_s << u"0 2 1"_s;
        QTest::addRow("Directory unreachable") << u"noDirectory"_s << u"all next"_s << u""_s;
        QTest::addRow("source unreadable") << u"noSource"_s << u"all next"_s << u""_s;
    }
    void scenario()
    {
        QFETCH(QString, setup);
        QFETCH(QString, script);
        QFETCH(QString, answers);
        GlobalVariables::gbNewPasswords = setup.contains(u"newPasswords"_s);
        GlobalVariables::gbAddStores = setup.contains(u"addStores"_s);
        GlobalVariables::gbNtLogon = true;
        // Cancel leaves the choice as the dialog had it when it opened.
        GlobalVariables::glSelectAction = 7;
        for (const QString& broken : {u"noSource"_s, u"noDirectory"_s}) {
            if (setup.contains(broken)) {
                const QString to = EmbeddedDatabase::connectionString(
                    mFixture->folder() + u"/nowhere"_s, u"Missing"_s);
                (broken == u"noSource"_s ? StatusHolder::SetVarnelDatabase
                                         : StatusHolder::SetZephrinDatabase)(
                    u"sqlite:nowhere"_s, u"Missing"_s, 0, 0, {}, {}, true, to);
            }
        }
        Transcript transcript(*mFixture);
        transcript.mask(QRegularExpression(u"Error .*"_s), u"Error <the driver's text>"_s);
        QStringList seen;
        const DialogAnswers dialogs(answers, seen);

        auto* page = qobject_cast<SelectUsers*>(Pages::create(PageNames::SelectUsers));
        QVERIFY(page != nullptr);
        if (setup.contains(u"handed"_s)) {
            page->setConflictResult(handedConflict());
        }
        page->LoadStateNext();
        page->setBackToVarnel(setup.contains(u"backToVarnel"_s));
        page->show();
        QTest::qWait(10);
        record(transcript, u"opened"_s, seen);
        for (const QString& word : script.split(u' ', Qt::SkipEmptyParts)) {
            page = PageFixture::visible<SelectUsers>();
            const QString id = QString(word).remove(QRegularExpression(u"[<>]"_s));
            const bool twice = word.startsWith(u">>"_s) || word.startsWith(u"<<"_s);
            if (word.startsWith(u'>')) {
                clickUser(page->OldUsersLbx, id, twice);
                if (!twice) {
                    PageFixture::click(page->OldToMigrateBtn);
                }
            } else if (word.startsWith(u'<')) {
                clickUser(page->Migrate, id, twice);
                if (!twice) {
                    PageFixture::click(page->MigrateToOldBtn);
                }
            } else if (word == u"back"_s) {
                PageFixture::click(PageFixture::visible()->PreviousBtn);
            } else {
                const QMap<QString, QAbstractButton*> buttons = {{u"all"_s, page->MigrateAll},
                                                                 {u"none"_s, page->MigrateNone},
                                                                 {u"next"_s, page->NextBtn},
                                                                 {u"prev"_s, page->PreviousBtn}};
                QVERIFY2(buttons.contains(word), qPrintable(word));
                PageFixture::click(buttons.value(word));
            }
            record(transcript, word, seen);
        }
        QCOMPARE_GOLDEN(transcript.text(), Golden::rowFile(u"selectusers/"_s));
    }

    // The conflict dialog by itself: Escape cancels and keeps the choice it opened
    // with; OK untouched gives 0.
    void conflictDialogKeys()
    {
        ConflictDecision dialog;
        QVERIFY(dialog.ConflictDesicionRbn[0]->isChecked());
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
    // The step in the transcript, then what the page holds besides its lists; the
    // lists kept for the state store always agree with the lists shown.
    void record(Transcript& transcript, const QString& step, QStringList& seen)
    {
        for (const QString& line : std::exchange(seen, {})) {
            transcript.note(line);
        }
        transcript.step(step);
        if (!events.isEmpty()) {
            transcript.note(u"pages: "_s + std::exchange(events, {}).join(u", "_s));
        }
        if (const auto* page = PageFixture::visible<SelectUsers>()) {
            QCOMPARE(texts(page->cOldUsers), lines(page->OldUsersLbx));
            QCOMPARE(texts(page->cExportedUsers), lines(page->Migrate));
            QCOMPARE(page->cLink->count(),
                     page->cOldUsers->count() + page->cExportedUsers->count());
            transcript.note(u"decisions: "_s + keyed(page->cConflictDecisions));
            transcript.note(u"need e-mail: "_s + keyed(page->cNeedEmail));
        } else if (step == u"next"_s) {
            transcript.note(u"gbNtLogon "_s +
                            (GlobalVariables::gbNtLogon ? u"true"_s : u"false"_s));
            const CollectionPtr saved = StatusHolder::GetUserLists();
            transcript.note(u"saved: "_s + saved->keys().join(u", "_s));
            for (const QLatin1String list :
                 {StateKeys::ExportedUsers, StateKeys::ConflictUsers, StateKeys::MigrationList,
                  StateKeys::ConflictDecisions, StateKeys::NeedEmail}) {
                transcript.note(u"saved "_s + list + u": "_s + keyed(saved->collection(list)));
            }
        }
    }

    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestSelectUsers)
#include "tst_selectusers.moc"

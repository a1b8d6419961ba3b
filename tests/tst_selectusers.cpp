#include "frame/GlobalVariables.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/ConflictDecision.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectUsers.h"
#include "support/DemoWalk.h"
#include "support/Describe.h"
#include "support/EmbeddedDatabase.h"
#include "support/Golden.h"
#include "support/Transcript.h"
#include "support/WindowText.h"

#include <QCheckBox>
#include <QListView>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>

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

// Answers the conflict dialog that is open by clicking its real widgets, with the
// next of the answers: an option's number or "-" to leave them as they open, then "!"
// to tick "apply to all", "c" to cancel or "e" to press Escape ("2!", "c", "1c!").
// What the dialog showed, with the number of users to migrate meanwhile, goes into
// seen.
void answerOpenDialog(QStringList& answers, QStringList& seen)
{
    auto* dialog = qobject_cast<ConflictDecision*>(QApplication::activeModalWidget());
    if (dialog == nullptr || !dialog->isVisible()) {
        return;
    }
    const auto* page = qobject_cast<SelectUsers*>(dialog->parentWidget());
    seen << u"dialog over %1, users to migrate %2: "_s.arg(dialog->parentWidget()->objectName())
                    .arg(page ? page->Migrate->model()->rowCount() : -1) +
                windowText(dialog).trimmed();
    const QString answer = answers.isEmpty() ? u"c"_s : answers.takeFirst();
    if (answer[0].isDigit()) {
        Clicks::clickBox(dialog->ConflictDesicionRbn[answer[0].digitValue()]);
    }
    if (answer.contains(u'!')) {
        Clicks::clickBox(dialog->ApplyToAllCbx);
    }
    if (answer.contains(u'e')) {
        QTest::keyClick(dialog, Qt::Key_Escape);
    } else {
        QTest::mouseClick(answer.contains(u'c') ? dialog->CancelBtn : dialog->OKBtn,
                          Qt::LeftButton);
    }
    seen << u"answered %1: cancel %2, action %3"_s.arg(answer)
                .arg(GlobalVariables::gbCancel)
                .arg(GlobalVariables::glSelectAction);
}

QStringList lines(const QListView* list)
{
    QStringList texts;
    for (int row = 0; row < list->model()->rowCount(); ++row) {
        texts << list->model()->index(row, 0).data().toString();
    }
    return texts;
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
    const QVariantList values = {3, 9003, u"Ann Example"_s, u"Example Ann"_s, u"aexample"_s};
    for (const QLatin1String name : {RecordKeys::VaUserID, RecordKeys::ZeUserID, RecordKeys::VaName,
                                     RecordKeys::ZeName, RecordKeys::LoginID}) {
        const CollectionPtr list = Collection::create();
        list->add(values.at(result->count()), u"3"_s);
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
        QTest::addRow("option 2, then Escape") << u""_s << u">11"_s << u"2e"_s;
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
        QStringList answerWords = answers.split(u' ', Qt::SkipEmptyParts);
        QTimer dialogs;
        connect(&dialogs, &QTimer::timeout, [&] { answerOpenDialog(answerWords, seen); });
        dialogs.start(0);

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
            const bool in = word.startsWith(u'>');
            if (in || word.startsWith(u'<')) {
                clickUser(in ? page->OldUsersLbx : page->Migrate, id, twice);
                if (!twice) {
                    PageFixture::click(in ? page->OldToMigrateBtn : page->MigrateToOldBtn);
                }
            } else {
                PageFixture::click(word == u"back"_s   ? PageFixture::visible()->PreviousBtn
                                   : word == u"all"_s  ? page->MigrateAll
                                   : word == u"none"_s ? page->MigrateNone
                                   : word == u"next"_s ? page->NextBtn
                                                       : page->PreviousBtn);
            }
            record(transcript, word, seen);
        }
        QCOMPARE_GOLDEN(transcript.text(), Golden::rowFile(u"selectusers/"_s));
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
            QCOMPARE(QVariant(page->cOldUsers->values()).toStringList(), lines(page->OldUsersLbx));
            QCOMPARE(QVariant(page->cExportedUsers->values()).toStringList(), lines(page->Migrate));
            QCOMPARE(page->cLink->count(),
                     page->cOldUsers->count() + page->cExportedUsers->count());
            transcript.note(u"decisions: "_s + describe(page->cConflictDecisions).join(u", "_s));
            transcript.note(u"need e-mail: "_s + describe(page->cNeedEmail).join(u", "_s));
        } else if (step == u"next"_s) {
            transcript.note(u"gbNtLogon "_s +
                            (GlobalVariables::gbNtLogon ? u"true"_s : u"false"_s));
            const CollectionPtr saved = StatusHolder::GetUserLists();
            transcript.note(u"saved: "_s + saved->keys().join(u", "_s));
            for (const QLatin1String list :
                 {StateKeys::ExportedUsers, StateKeys::ConflictUsers, StateKeys::MigrationList,
                  StateKeys::ConflictDecisions, StateKeys::NeedEmail}) {
                transcript.note(u"saved "_s + list + u": "_s +
                                describe(saved->collection(list)).join(u", "_s));
            }
        }
    }

    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestSelectUsers)
#include "tst_selectusers.moc"

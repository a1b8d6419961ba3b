#include "unattended/UnattendedRun.h"

#include "db/VarnelDBCon.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "frame/RecordKeys.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/AddStores.h"
#include "pages/ConflictDecision.h"
#include "pages/EnterConnectData.h"
#include "pages/Finish.h"
#include "pages/PageNames.h"
#include "pages/Pages.h"
#include "pages/SelectDPProfiles.h"
#include "pages/SelectDatabase.h"
#include "pages/SelectEmailTemplate.h"
#include "pages/SelectUsers.h"
#include "unattended/OutcomeWatch.h"
#include "unattended/UnattendedWalk.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFocusEvent>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <algorithm>
using namespace UnattendedWalk;

// Answers every message box and save dialog of the wizard from the answers file,
// through the run that walks the pages.
class AnswersPrompter : public Prompter
{
public:
    explicit AnswersPrompter(UnattendedRun& run) : mRun(run) {}

    Answer message(const QString& text, const QString& title, Icon, Buttons buttons,
                   QWidget*) override
    {
        return static_cast<Answer>(mRun.message(text, title, static_cast<int>(buttons)));
    }
    Answer messageWithDetail(const QString& text, const QString& detail, const QString& title, Icon,
                             Buttons buttons, QWidget*) override
    {
        return static_cast<Answer>(mRun.message(text, title, static_cast<int>(buttons), detail));
    }
    QString saveFileName(const QString&, const QString&, const QString&, QWidget*) override
    {
        return mRun.saveFileName();
    }

private:
    UnattendedRun& mRun;
};

void UnattendedRun::prepare()
{
    mPrompter = std::make_shared<AnswersPrompter>(*this);
    AppPrompter::setPrompter(mPrompter);
    qApp->installEventFilter(this);
}

int UnattendedRun::message(const QString& text, const QString& title, int buttons,
                           const QString& detail)
{
    const auto refusal = [buttons] {
        switch (static_cast<Prompter::Buttons>(buttons)) {
        case Prompter::Buttons::OkCancel:
            return static_cast<int>(Prompter::Answer::Cancel);
        case Prompter::Buttons::YesNo:
            return static_cast<int>(Prompter::Answer::No);
        default:
            return static_cast<int>(Prompter::Answer::Ok);
        }
    };
    switch (mPhase) {
    case Phase::Walk:
        // Before the run every message tells of something the walk cannot get past.
        // A detail (what the database answered) follows, as the log has it.
        stop(QStringLiteral("The wizard says \"%1\" (%2)").arg(oneLine(text), title) +
             (detail.isEmpty() ? QString() : QStringLiteral(": ") + oneLine(detail)));
        return refusal();
    case Phase::Run:
        if (title == StoreQuestionTitle) {
            mNotes << QStringLiteral("%1: %2 Answered %3 (%4)")
                          .arg(title, oneLine(text),
                               mAnswers.continueAfterFailedStore ? QStringLiteral("continue")
                                                                 : QStringLiteral("stop"),
                               mAnswers.where(mAnswers.couldNotAddStore.line));
            return static_cast<int>(mAnswers.continueAfterFailedStore ? Prompter::Answer::Ok
                                                                      : Prompter::Answer::Cancel);
        }
        mNotes << QStringLiteral("%1: %2").arg(title, oneLine(text));
        if (static_cast<Prompter::Buttons>(buttons) != Prompter::Buttons::Ok) {
            mNotes.last() += QStringLiteral(" Not answered by the answers file: refused");
            mReportFailed = true;
        }
        return refusal();
    case Phase::Finish:
        mNotes << QStringLiteral("%1: %2").arg(title, oneLine(text));
        mReportFailed = true;
        return refusal();
    }
    return refusal();
}

QString UnattendedRun::saveFileName()
{
    if (mPhase == Phase::Walk) {
        stop(QStringLiteral("The wizard asks for a file name before the migration"));
    }
    return mPhase == Phase::Finish ? mAnswers.reportPath : QString();
}

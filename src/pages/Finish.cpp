#include "pages/Finish.h"

#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"
#include "frame/Prompter.h"
#include "pages/PageNames.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

// The report's columns line up in the font: narrow, wide, punctuation and blank
// characters all advance alike. A font's fixed-pitch flag does not tell: some
// monospace fonts are not flagged, because a few of their glyphs are double width.
bool columnsLineUp(const QFont& font)
{
    const QFontMetricsF metrics(font);
    const qreal width = metrics.horizontalAdvance(QStringLiteral("iiii"));
    for (const QString& sample :
         {QStringLiteral("WWWW"), QStringLiteral("...."), QStringLiteral("    "),
          QStringLiteral("0000"), QStringLiteral("----"), QStringLiteral("||||")}) {
        if (!qFuzzyCompare(metrics.horizontalAdvance(sample), width)) {
            return false;
        }
    }
    return width > 0;
}

// The desktop's monospace font when the report's columns line up in it, else the
// first installed fixed-pitch family in which they do.
QFont reportFont()
{
    const QFont system = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    if (columnsLineUp(system)) {
        return system;
    }
    for (const QString& family : QFontDatabase::families()) {
        if (!QFontDatabase::isFixedPitch(family)) {
            continue;
        }
        QFont font = system;
        font.setFamilies({family});
        if (columnsLineUp(font)) {
            return font;
        }
    }
    return system;
}

} // namespace

const QString Finish::SaveFilter = QStringLiteral("Text (*.txt);;Log (*.log);;All (*.*)");

Finish::Finish(QWidget* parent)
    : WizardPage(PageNames::Finish, QStringLiteral("Migration Completed"), parent)
{
    Label1 = new QLabel(QStringLiteral("Status Report:"), this);
    Label1->setObjectName(QStringLiteral("Label1"));
    AfterOpInfo = new QPlainTextEdit(this);
    AfterOpInfo->setObjectName(QStringLiteral("AfterOpInfo"));
    AfterOpInfo->setFont(reportFont());
    // Long lines scroll rather than wrap, so the report's columns stay in line.
    AfterOpInfo->setLineWrapMode(QPlainTextEdit::NoWrap);
    AfterOpInfo->setTabChangesFocus(true);
    Label1->setBuddy(AfterOpInfo);

    QHBoxLayout* buttons = createNavigationButtons(CancelButton);
    CancelBtn->setText(QStringLiteral("Finish"));
    WriteToFileBtn = new QPushButton(QStringLiteral("Save"), this);
    WriteToFileBtn->setObjectName(QStringLiteral("WriteToFileBtn"));
    buttons->insertWidget(1, WriteToFileBtn);
    connect(WriteToFileBtn, &QPushButton::clicked, this, [this] {
        runHandler(QStringLiteral("WriteToFileBtn_Click"), [this] { WriteToFileBtn_Click(); });
    });

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(Label1);
    layout->addWidget(AfterOpInfo, 1);
    layout->addLayout(buttons);
    setTabOrder(AfterOpInfo, WriteToFileBtn);
    setTabOrder(WriteToFileBtn, CancelBtn);

    // Room for the report's change table, 70 characters wide, and a page of lines.
    const QFontMetrics fixed(AfterOpInfo->font());
    resize(
        std::max(minimumSizeHint().width(), fixed.horizontalAdvance(QString(78, QLatin1Char('M')))),
        std::max(minimumSizeHint().height(), fixed.height() * 30));
}

void Finish::Form_Load()
{
    setReport(gsReport);
}

void Finish::setReport(const QString& report)
{
    gsReport = report;
    // The box keeps line breaks of its own; CR LF comes back when the text is saved.
    QString shown = report;
    shown.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    AfterOpInfo->setPlainText(shown);
}

QString Finish::reportText() const
{
    QString text = AfterOpInfo->toPlainText();
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\n'), QStringLiteral("\r\n"));
    return text;
}

// Appends the box's text, as it is now, to the file chosen; cancelling the dialog and
// choosing no name are told alike.
void Finish::WriteToFileBtn_Click()
{
    const QString path = AppPrompter::prompter().saveFileName(QStringLiteral("Save As"), SaveFilter,
                                                              QString(), this);
    if (path.isEmpty()) {
        AppPrompter::prompter().message(
            QStringLiteral("To save the log file you need to specify a name."),
            QStringLiteral("Empty Path"), Prompter::Icon::Information, Prompter::Buttons::Ok, this);
        return;
    }
    try {
        CommonFunctions::AppendTextToFile(path, reportText());
    } catch (const MigrationError& error) {
        AppPrompter::prompter().message(
            QStringLiteral("The status report could not be saved.\r\n\r\n") + error.description(),
            QStringLiteral("Save"), Prompter::Icon::Critical, Prompter::Buttons::Ok, this);
    }
}

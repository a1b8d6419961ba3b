#pragma once

#include <QDialog>

class QLabel;
class QPlainTextEdit;
class QPushButton;

// The help window: loaded once and reused, shown modally with a page's help text.
// A hidden help window never keeps the program running, and it is deleted when
// the application ends.
class HelpForm : public QDialog
{
    Q_OBJECT
public:
    // Puts ReplaceAppNames(text) into HelpText and shows the window modally until
    // OK is pressed.
    static void showHelp(const QString& text);

    // The help window, loaded on first use.
    static HelpForm* instance();
    // The help window when it has been loaded, else null.
    static HelpForm* loaded();

    QLabel* HelpTextLbl = nullptr;
    QPlainTextEdit* HelpText = nullptr;
    QPushButton* OKBtn = nullptr;

private:
    HelpForm();
    void OKBtn_Click();
};

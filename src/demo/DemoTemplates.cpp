#include "demo/DemoTemplates.h"

namespace DemoTemplates {

QList<DirectoryDescription::Template> Templates()
{
    DirectoryDescription::Template welcome;
    welcome.title = QStringLiteral("Welcome to your mobile mailbox");
    welcome.from = QStringLiteral("helpdesk@example.com");
    welcome.subject = QStringLiteral("Your new mobile mailbox account");
    welcome.body =
        QStringLiteral("Dear <FirstName> <LastName>,\r\n"
                       "\r\n"
                       "your mailbox, calendar and contacts can now be reached from your phone.\r\n"
                       "\r\n"
                       "Login ID: <LoginID>\r\n"
                       "Password: <Password>\r\n"
                       "\r\n"
                       "To set up your phone, open <WizardURL> and follow the steps.\r\n"
                       "\r\n"
                       "The help desk\r\n");

    DirectoryDescription::Template reset;
    reset.title = QStringLiteral("New password");
    reset.from = QStringLiteral("helpdesk@example.com");
    reset.subject = QStringLiteral("Your password was changed");
    reset.body = QStringLiteral("Hello <FirstName>,\r\n"
                                "\r\n"
                                "the password of your login ID <LoginID> is now: <Password>\r\n"
                                "\r\n"
                                "The help desk\r\n");
    return {welcome, reset};
}

QStringList Placeholders()
{
    return {QStringLiteral("<LoginID>"), QStringLiteral("<Password>"),
            QStringLiteral("<FirstName>"), QStringLiteral("<LastName>"),
            QStringLiteral("<WizardURL>")};
}

} // namespace DemoTemplates

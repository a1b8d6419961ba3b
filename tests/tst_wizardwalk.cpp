// The whole wizard walked on a demo installation with real widgets, as an
// administrator walks it: from the introduction page on, every page filled and left
// with its own buttons.

#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/VarnelDBCon.h"
#include "frame/GlobalVariables.h"
#include "frame/StatusHolder.h"
#include "pages/AddStores.h"
#include "pages/ConflictDecision.h"
#include "pages/EnterConnectData.h"
#include "pages/Finish.h"
#include "pages/Introduction.h"
#include "pages/PageNames.h"
#include "pages/SelectDPProfiles.h"
#include "pages/SelectEmailTemplate.h"
#include "pages/SelectUsers.h"
#include "pages/SelectVarnel.h"
#include "pages/UserInputFinished.h"
#include "reference/ReferencePasswordEncoder.h"
#include "support/DemoWalk.h"
#include "support/Describe.h"
#include "support/Golden.h"
#include "support/PageFixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFocusEvent>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QMap>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QSqlRecord>
#include <QTest>
#include <QTimer>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// The report's table of changed login IDs and passwords: the new password by the
// user's first name ("Lastname, Firstname" in the first 30 columns).
QMap<QString, QString> newPasswords(const QString& report)
{
    QMap<QString, QString> passwords;
    const QString head = u"Users with changed Login ID and/or password:\r\n\r\n"_s;
    const QStringList lines = report.mid(report.indexOf(head) + head.size()).split(u"\r\n"_s);
    // The header and the dashed line, then one row per user until the dashed line of
    // the profile part.
    for (qsizetype i = 2; i < lines.size() && !lines.at(i).startsWith(u"---"_s); ++i) {
        passwords.insert(lines.at(i).left(30).trimmed(), lines.at(i).mid(62).trimmed());
    }
    return passwords;
}

// A text with each of the passwords written as "<password>".
QString masked(QString text, const QMap<QString, QString>& passwords)
{
    for (const QString& password : passwords) {
        text.replace(password, u"<password>"_s);
    }
    return text;
}

// The body of a message as a reader shows it: quoted-printable decoded.
QString bodyOf(const QByteArray& message)
{
    QByteArray body = message.mid(message.indexOf("\r\n\r\n") + 4);
    body.replace("=\r\n", "");
    QByteArray decoded;
    for (qsizetype i = 0; i < body.size(); ++i) {
        if (body.at(i) == '=' && i + 2 < body.size()) {
            decoded.append(static_cast<char>(body.mid(i + 1, 2).toInt(nullptr, 16)));
            i += 2;
        } else {
            decoded.append(body.at(i));
        }
    }
    return QString::fromUtf8(decoded);
}

// The pickup folder's messages as a reader sees them, in the order of their texts.
QString mails(const QString& folder)
{
    QStringList bodies;
    const QDir dir(folder);
    for (const QString& name : dir.entryList({u"*.eml"_s}, QDir::Files)) {
        QFile file(dir.filePath(name));
        if (file.open(QIODevice::ReadOnly)) {
            bodies << Golden::fromCrlf(bodyOf(file.readAll()));
        }
    }
    bodies.sort();
    return bodies.join(u"----\n"_s);
}

} // namespace

class TestWizardWalk : public QObject
{
    Q_OBJECT
private slots:
    void init() { mFixture = std::make_unique<PageFixture>(); }
    void cleanup()
    {
        mFixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    void cancelLeavesTheDirectory_data()
    {
        QTest::addColumn<QString>("page");
        QTest::addColumn<bool>("mailLogon");
        for (const QLatin1String page :
             {PageNames::Introduction, PageNames::SelectVarnel, PageNames::AddStores,
              PageNames::SelectUsers, PageNames::SelectEmailTemplate, PageNames::SelectDPProfiles,
              PageNames::UserInputFinished}) {
            QTest::newRow(page.data()) << QString(page) << false;
        }
        QTest::newRow("EnterConnectData") << QString(PageNames::EnterConnectData) << true;
        QTest::newRow("SelectDPProfiles after the mail logon page")
            << QString(PageNames::SelectDPProfiles) << true;
        QTest::newRow("UserInputFinished after the mail logon page")
            << QString(PageNames::UserInputFinished) << true;
    }

    // Cancel on any page before the run ends the wizard and leaves the Directory as it
    // was, byte for byte, however far the administrator got: conflicts decided, a store
    // typed, a template chosen, a service account tested.
    void cancelLeavesTheDirectory()
    {
        QFETCH(QString, page);
        QFETCH(bool, mailLogon);
        const DemoInstallation& demo = mFixture->useDemo(12);
        if (mailLogon) {
            // No account passes its logon test until the pickup folder is there again.
            QVERIFY(QDir(demo.mailFolder).removeRecursively());
        }
        const QStringList before = directoryFileHashes(demo.folder);
        QCOMPARE(before.size(), 1);

        DemoWalk walk(*mFixture);
        walk.start();
        QVERIFY2(walk.walkTo(page), qPrintable(walk.currentName()));
        const QStringList afterUsers = {PageNames::SelectEmailTemplate, PageNames::EnterConnectData,
                                        PageNames::SelectDPProfiles, PageNames::UserInputFinished};
        QCOMPARE(!walk.answers.decided.isEmpty(), afterUsers.contains(page));
        PageFixture::click(walk.current()->CancelBtn);
        QVERIFY(PageFixture::visibleWindows<QWidget>().isEmpty());
        QCOMPARE(directoryFileHashes(demo.folder), before);
        QCOMPARE(mFixture->prompter().messages(), QStringList());
    }

    // The demo from the introduction page to the finish page, every conflict decided
    // (new login ID, update, replace in turn), EXCH55 typed as an Exchange 5.5 server,
    // the template other than the Directory's own and two profiles chosen; the run
    // finishes and the report is saved twice into one file. Then the Directory, the
    // pickup folder, the saved report and the log show what was chosen.
    void wholeWizard()
    {
        const DemoInstallation& demo = mFixture->useDemo();
        StatusHolder::Reset();
        // The Directory's users before: user ID by login ID in lower case.
        QMap<QString, int> before;
        for (const QSqlRecord& row : DbConnection(demo.directoryConnectionString)
                                         .select(u"SELECT LoginID, UserID FROM fwtUser"_s)) {
            before.insert(row.value(0).toString().toLower(), row.value(1).toInt());
        }
        DemoWalk walk(*mFixture);
        walk.start();
        QVERIFY2(walk.walkTo(PageNames::UserInputFinished), qPrintable(walk.currentName()));
        QCOMPARE(walk.answers.decided.size(), demo.conflictCount);
        mFixture->markLog();
        PageFixture::click(walk.current()->NextBtn);

        auto* finish = PageFixture::visible<Finish>();
        QVERIFY2(finish != nullptr, qPrintable(walk.currentName() + u": "_s +
                                               mFixture->prompter().messages().join(u'|') +
                                               mFixture->newLogEntries().join(u'|')));
        QCOMPARE(PageFixture::visibleWindows<QWidget>().size(), 1);
        const QString report = finish->reportText();
        QCOMPARE(report, finish->gsReport);
        // Exchange 5.5 servers are registered through the source database's connection
        // string, as the wizard always has: the demo's source holds no stores, so the run
        // asks whether to go on, and the default answer OK goes on. The report says so,
        // counts the users, lists every changed login ID and password and the profiles;
        // every user of its table got one introduction e-mail from the chosen template.
        QCOMPARE(mFixture->prompter().asked.size(), 1);
        const ScriptedPrompter::Asked question = mFixture->prompter().asked.first();
        QCOMPARE(question.title + u"|"_s + question.parent + u"|"_s + question.text,
                 u"Could not Add Store|MigrateUsers|Failed to add EXCH55 as a store for 3.1x, "
                 "some of the users might not migrate successfully. You can add the store "
                 "manually and then run the migration tool again. Do you want to continue with "
                 "the migration process?"_s);
        const QMap<QString, QString> passwords = newPasswords(report);
        QCOMPARE_GOLDEN(masked(Golden::fromCrlf(report), passwords), "wizardwalk/report.txt");
        QCOMPARE_GOLDEN(masked(mails(demo.mailFolder), passwords), "wizardwalk/mails.txt");

        // Saved twice into one file: the report twice, nothing between.
        const QString saved = QDir(mFixture->folder()).filePath(u"status.txt"_s);
        mFixture->prompter().fileNames << saved << saved;
        PageFixture::click(finish->WriteToFileBtn);
        PageFixture::click(finish->WriteToFileBtn);
        QFile file(saved);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), (report + report).toLatin1());
        file.close();
        QCOMPARE(mFixture->prompter().asked.size(), 3);

        // No store added, the two profiles in the order chosen.
        DbConnection directory(demo.directoryConnectionString);
        QCOMPARE(describe(directory.select(
                     u"SELECT Name, ExchangeVersion FROM fwtStore ORDER BY StoreID"_s)),
                 QStringList({u"MAIL01/2"_s}));
        QCOMPARE(describe(directory.select(u"SELECT Name FROM fwtDeviceProfile ORDER BY "
                                           "ProfileID"_s)),
                 QStringList({u"Company GPRS"_s, u"Sales WAP dial-in"_s}));

        // The Directory holds each user of the table with its new password and services
        // (a user without a name is listed as "Unnamed"; a new login ID leaves a namesake).
        QVERIFY(!passwords.isEmpty());
        for (auto user = passwords.cbegin(); user != passwords.cend(); ++user) {
            QStringList services;
            for (const QSqlRecord& row : directory.select(
                     u"SELECT u.Password, (SELECT COUNT(*) FROM fwtService WHERE OwnerUserID = "
                     "u.UserID) FROM fwtUser u WHERE COALESCE(u.LastName, '') || ', ' || "
                     "u.FirstName = ?"_s,
                     {user.key()})) {
                if (ReferencePasswordEncoder::VerifyPassword(user.value(),
                                                             row.value(0).toString())) {
                    services << row.value(1).toString();
                }
            }
            QVERIFY2(services == QStringList{u"10"_s}, qPrintable(user.key()));
        }

        // Each decision reached the Directory: a new user beside the one that holds the
        // login ID, the holder updated in place, or the holder replaced by a new user.
        int kept = 0;
        for (const QString& decided : walk.answers.decided) {
            const int vaUserID = decided.section(u' ', 0, 0).toInt();
            const int option = decided.section(u' ', 1, 1).toInt();
            const QString login = VarnelDBCon::GetUserByID(vaUserID, demo.sourceConnectionString)
                                      ->item(u"LoginID"_s)
                                      .toString()
                                      .toLower();
            QVERIFY2(before.contains(login), qPrintable(login));
            const auto holder =
                directory.select(u"SELECT UserID FROM fwtUser WHERE LOWER(LoginID) = ?"_s, {login});
            QCOMPARE(holder.size(), 1);
            QCOMPARE(holder.first().value(0).toInt() == before.value(login), option != 2);
            kept += option == 0 ? 0 : 1;
        }
        // Every migrated user is in the Directory: new ones beside those that were there.
        QCOMPARE(describe(directory.select(u"SELECT COUNT(*) FROM fwtUser"_s)),
                 QStringList{QString::number(before.size() + 46 - kept)});
        // The log: the pages in the order walked, the run between the summary and the
        // end, and nothing from the finish page.
        QStringList launched;
        const QRegularExpression launchLine(u"^(\\w+) Launched"_s);
        for (const QString& line : QString::fromLatin1(mFixture->log()).split(u"\r\n"_s)) {
            const QRegularExpressionMatch page = launchLine.match(line);
            if (page.hasMatch()) {
                launched << page.captured(1);
            }
        }
        QCOMPARE(launched,
                 QStringList({u"Introduction"_s, u"SelectVarnel"_s, u"Verifier"_s, u"AddStores"_s,
                              u"SelectUsers"_s, u"SelectDPProfiles"_s, u"UserInputFinished"_s}));
        const QStringList run = mFixture->newLogEntries();
        QVERIFY(run.first().startsWith(u"Starting migration "_s));
        QVERIFY(run.last().startsWith(u"Finished migration "_s));

        PageFixture::click(finish->CancelBtn);
        QVERIFY(PageFixture::visibleWindows<QWidget>().isEmpty());
    }

private:
    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestWizardWalk)
#include "tst_wizardwalk.moc"

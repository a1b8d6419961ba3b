// The whole wizard walked on a demo installation with real widgets, as an
// administrator walks it: from the introduction page on, every page filled and left
// with its own buttons.

#include "db/DbConnection.h"
#include "frame/StatusHolder.h"
#include "pages/Finish.h"
#include "pages/PageNames.h"
#include "reference/ReferencePasswordEncoder.h"
#include "support/DemoWalk.h"
#include "support/Describe.h"
#include "support/Golden.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QPushButton>
#include <QRegularExpression>
#include <QSqlRecord>
#include <QTest>

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

// The pickup folder's messages as a reader sees them (quoted-printable decoded), in
// the order of their texts.
QString mails(const QString& folder)
{
    QStringList bodies;
    const QDir dir(folder);
    for (const QString& name : dir.entryList({u"*.eml"_s}, QDir::Files)) {
        QFile file(dir.filePath(name));
        QByteArray body = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        body = body.mid(body.indexOf("\r\n\r\n") + 4).replace("=\r\n", "");
        bodies << Golden::fromCrlf(QString::fromUtf8(QByteArray::fromPercentEncoding(body, '=')));
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
        for (const char* row : {"Introduction", "SelectVarnel", "AddStores", "SelectUsers",
                                "SelectEmailTemplate", "SelectDPProfiles", "UserInputFinished",
                                "EnterConnectData", "SelectDPProfiles after the mail logon page",
                                "UserInputFinished after the mail logon page"}) {
            const QString page = QString::fromLatin1(row).section(u' ', 0, 0);
            QTest::newRow(row) << page
                               << (page != QLatin1String(row) || page == "EnterConnectData"_L1);
        }
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
        const QMap<QString, QString> passwords = newPasswords(report);
        QString texts = Golden::fromCrlf(report) + u"====\n"_s + mails(demo.mailFolder);
        for (const QString& password : passwords) {
            texts.replace(password, u"<password>"_s);
        }
        QCOMPARE_GOLDEN(texts, "wizardwalk/report-and-mails.txt");

        // Saved twice into one file: the report twice, nothing between.
        const QString saved = QDir(mFixture->folder()).filePath(u"status.txt"_s);
        mFixture->prompter().fileNames << saved << saved;
        PageFixture::click(finish->WriteToFileBtn);
        PageFixture::click(finish->WriteToFileBtn);
        QFile file(saved);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), (report + report).toLatin1());
        file.close();

        // The Directory holds each user of the table with its new password.
        DbConnection directory(demo.directoryConnectionString);
        QVERIFY(!passwords.isEmpty());
        for (auto user = passwords.cbegin(); user != passwords.cend(); ++user) {
            int holders = 0; // a new login ID leaves a namesake
            for (const QSqlRecord& row : directory.select(
                     u"SELECT Password FROM fwtUser WHERE COALESCE(LastName, '') || ', ' || "
                     "FirstName = ?"_s,
                     {user.key()})) {
                holders +=
                    ReferencePasswordEncoder::VerifyPassword(user.value(), row.value(0).toString());
            }
            QVERIFY2(holders == 1, qPrintable(user.key()));
        }
        // What was asked (the question about EXCH55, then the two save dialogs) and the
        // Directory as the run left it, in wizardwalk/directory.txt: no store added,
        // the two profiles in the order chosen, every migrated user with its services
        // beside those that were there (a user without a name is listed as "Unnamed"),
        // each decision carried out: a new user beside the one that holds the login ID,
        // the holder updated in place, or the holder replaced by a new user. Then the
        // pages in the order walked, and the run between the summary and the end.
        QStringList dump;
        for (const ScriptedPrompter::Asked& asked : mFixture->prompter().asked) {
            dump << asked.kind + u"|"_s + asked.title + u"|"_s + asked.parent + u"|"_s + asked.text;
        }
        for (const QString& sql :
             {u"SELECT Name, ExchangeVersion FROM fwtStore ORDER BY StoreID"_s,
              u"SELECT Name FROM fwtDeviceProfile ORDER BY ProfileID"_s,
              u"SELECT UserID, LoginID, FirstName, LastName, (SELECT COUNT(*) FROM fwtService "
              "WHERE OwnerUserID = u.UserID) FROM fwtUser u ORDER BY UserID"_s}) {
            dump << sql << describe(directory.select(sql));
        }
        dump << u"decided: "_s + walk.answers.decided.join(u", "_s)
             << QString::fromLatin1(mFixture->log())
                    .split(u"\r\n"_s)
                    .filter(QRegularExpression(u"^\\w+ Launched"_s));
        const QStringList run = mFixture->newLogEntries();
        dump << run.first().section(u' ', 0, 1) << run.last().section(u' ', 0, 1);
        QCOMPARE_GOLDEN(dump, "wizardwalk/directory.txt");

        PageFixture::click(finish->CancelBtn);
        QVERIFY(PageFixture::visibleWindows<QWidget>().isEmpty());
    }

private:
    std::unique_ptr<PageFixture> mFixture;
};

QTEST_MAIN(TestWizardWalk)
#include "tst_wizardwalk.moc"

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

// A row of the report's table of changed login IDs and passwords.
struct Change
{
    QString name;     // "Lastname, Firstname"
    QString login;    // the new login ID, or "Not Changed"
    QString password; // the new password, or "Not Changed"
};

QList<Change> changeTable(const QString& report)
{
    QList<Change> rows;
    const QString head = u"Users with changed Login ID and/or password:\r\n\r\n"_s;
    const qsizetype start = report.indexOf(head);
    if (start < 0) {
        return rows;
    }
    const QStringList lines = report.mid(start + head.size()).split(u"\r\n"_s);
    // The header and the dashed line, then one row per user until the dashed line of
    // the profile part.
    for (qsizetype i = 2; i < lines.size() && !lines.at(i).startsWith(u"---"_s); ++i) {
        const QString& line = lines.at(i);
        rows.append({line.left(30).trimmed(), line.mid(31, 30).trimmed(), line.mid(62).trimmed()});
    }
    return rows;
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

QStringList mails(const QString& folder)
{
    QStringList bodies;
    const QDir dir(folder);
    for (const QString& name : dir.entryList({u"*.eml"_s}, QDir::Files, QDir::Name)) {
        QFile file(dir.filePath(name));
        if (file.open(QIODevice::ReadOnly)) {
            bodies << bodyOf(file.readAll());
        }
    }
    return bodies;
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
        // asks whether to go on, and the default answer OK goes on.
        QCOMPARE(mFixture->prompter().asked.size(), 1);
        const ScriptedPrompter::Asked question = mFixture->prompter().asked.first();
        QCOMPARE(question.text,
                 u"Failed to add EXCH55 as a store for 3.1x, some of the users might not migrate "
                 "successfully. You can add the store manually and then run the migration tool "
                 "again. Do you want to continue with the migration process?"_s);
        QCOMPARE(question.title, u"Could not Add Store"_s);
        QCOMPARE(question.parent, QString(PageNames::MigrateUsers));
        QVERIFY2(report.startsWith(u"Status, migrated stores: \r\n\r\nExchange 5.5: \r\n"
                                   "    Failed to migrate EXCH55\r\n"_s),
                 qPrintable(report));
        for (const QString& line : {u"\r\n37 of 50 user(s) successfully migrated\r\n"_s,
                                    u"\r\n9 of 50 user(s) migrated with warning(s)\r\n"_s,
                                    u"\r\n4 of 50 user(s) not migrated due to error\r\n"_s}) {
            QVERIFY2(report.contains(line), qPrintable(line));
        }
        QVERIFY(report.endsWith(u"2 of 2 Device Provisioning profile(s) were successfully "
                                "migrated.\r\n\r\n"_s));

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

        // Every user of the change table got one introduction e-mail from the chosen
        // template, with its login ID and password; the Directory holds the user under
        // that login ID with that password and its services.
        const QList<Change> changes = changeTable(report);
        QVERIFY(!changes.isEmpty());
        const QStringList bodies = mails(demo.mailFolder);
        QCOMPARE(bodies.size(), changes.size());
        int newLogins = 0;
        for (const Change& change : changes) {
            QVERIFY2(change.password != u"Not Changed"_s, qPrintable(change.name));
            const QStringList mine = bodies.filter(u"is now: "_s + change.password + u"\r\n"_s);
            QCOMPARE(mine.size(), 1);
            const QString& body = mine.first();
            const QString first = change.name.section(u", "_s, 1);
            QVERIFY2(body.startsWith(u"Hello "_s + first + u",\r\n"_s), qPrintable(body));
            const QRegularExpressionMatch login =
                QRegularExpression(u"login ID (\\S+) is now"_s).match(body);
            QVERIFY(login.hasMatch());
            if (change.login != u"Not Changed"_s) {
                QCOMPARE(login.captured(1), change.login);
                ++newLogins;
            }
            const auto rows = directory.select(
                u"SELECT UserID, FirstName, Password FROM fwtUser WHERE LoginID = ?"_s,
                {login.captured(1)});
            QCOMPARE(rows.size(), 1);
            QCOMPARE(rows.first().value(1).toString(), first);
            QVERIFY(ReferencePasswordEncoder::VerifyPassword(change.password,
                                                             rows.first().value(2).toString()));
            QCOMPARE(describe(directory.select(
                         u"SELECT COUNT(*) FROM fwtService WHERE OwnerUserID = ?"_s,
                         {rows.first().value(0)})),
                     QStringList{u"10"_s});
        }
        // Conflicts decided "new login ID" got one, and no placeholder is left.
        QCOMPARE(newLogins, static_cast<int>(walk.answers.decided.filter(u" 0"_s).size()));

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
        for (const QString& body : bodies) {
            QVERIFY2(!body.contains(u'<'), qPrintable(body));
        }

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

#include "support/Engines.h"
#include "support/FullDisk.h"
#include "support/Golden.h"
#include "support/ManualClock.h"
#include "support/SmtpServer.h"

#include "directory/ComponentFactory.h"
#include "directory/ZephrinFunctions.h"
#include "frame/Clock.h"
#include "frame/GlobalVariables.h"
#include "reference/DirectoryBuilder.h"
#include "reference/MailMessage.h"
#include "reference/TargetComponentFactory.h"

#include <QDir>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSettings>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>
#include <optional>

Q_DECLARE_METATYPE(SmtpServer::Silence)

using namespace Qt::Literals::StringLiterals;
using namespace ZephrinFunctions;

namespace {

const QString LinkBase = u"http://zephrin.example.com/gettingstarted.asp?lang="_s;

// A loopback port where nothing listens.
int deadPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

// The user record as the engine keeps it; empty texts leave a key out.
CollectionPtr makeUser(const QString& email, const QString& passwordClear = QString(),
                       const QString& first = u"F"_s, const QString& last = u"L"_s,
                       const QString& loginIDChanged = QString())
{
    auto user = Collection::create();
    user->add(u"jsmith"_s, u"LoginID"_s);
    if (!loginIDChanged.isEmpty()) {
        user->add(loginIDChanged, u"LoginIDChanged"_s);
    }
    if (!passwordClear.isEmpty()) {
        user->add(passwordClear, u"PasswordClear"_s);
    }
    user->add(first, u"FirstName"_s);
    user->add(last, u"LASTNAME"_s);
    user->add(email, u"Email"_s);
    user->add(u"1033"_s, u"LanguageID"_s);
    return user;
}

// What MailUser gave, as "sent <1|0>, error <number>: <description>".
QString mailUser(const CollectionPtr& user, const QString& subject = u"S"_s,
                 const QString& body = u"B"_s)
{
    auto text = Collection::create();
    text->add(u"Migration Team <team@example.com>"_s, u"From"_s);
    text->add(subject, u"Subject"_s);
    text->add(body, u"Body"_s);
    long number = 0;
    QString description;
    const bool sent = MailUser(user, text, LinkBase, number, description);
    return u"sent %1, error %2: %3"_s.arg(sent).arg(number).arg(description);
}

void useAccount(const QString& server)
{
    SetServiceAccount(u"migration"_s, u"migration@example.com"_s, server);
}

CollectionPtr servers(const QStringList& names)
{
    auto list = Collection::create();
    for (const QString& name : names) {
        list->add(name);
    }
    return list;
}

// A text with what differs from run to run masked.
QString masked(QString text)
{
    text.replace(QRegularExpression(u"Message-ID: <[^@]*@"_s), u"Message-ID: <(unique)@"_s);
    return text.replace(QRegularExpression(u"after \\d+ ms"_s), u"after <n> ms"_s);
}

// A message as one text: envelope, what a reader shows, then every line as sent.
QString messageText(const SmtpServer::Message& m)
{
    const QString sent = masked(Golden::fromCrlf(m.data));
    return u"from %1 to %2\nsubject: %3\ndefects: %4\nbody:\n%5\n--- as sent ---\n%6"_s.arg(
        m.mailFrom, m.rcptTos.join(u','), m.subject, m.defects.join(u','), m.body, sent);
}

} // namespace

// Messages as sent are compared whole with their files in tests/data/mail.
class TestMail : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QVERIFY2(mServer.isRunning(), qPrintable(mServer.errorString()));
        AppClock::setClock(std::make_shared<ManualClock>(
            QDateTime(QDate(2024, 3, 5), QTime(14, 7, 9), QTimeZone::utc())));
    }

    void init()
    {
        mDir = std::make_unique<QTemporaryDir>();
        mServer.clear();
        GlobalVariables::gsServiceAccount.clear();
        GlobalVariables::gvLogonHandle = QVariant();
    }

    // What a send gives (sent, error number and text) and the message as the server
    // got it, compared whole with tests/data/mail/<row>.txt. Settings are [mail] keys;
    // <port> is the server's port, <dead> one where nothing listens. A refused send
    // writes nothing into the pickup folder.
    void sending_data()
    {
        QTest::addColumn<QString>("settings");
        QTest::addColumn<CollectionPtr>("user");
        QTest::addColumn<QString>("subject");
        QTest::addColumn<QString>("body");
        QTest::addColumn<SmtpServer::Silence>("silence");
        const auto none = SmtpServer::Silence::None;
        // Placeholders are replaced in the body only, and only as written.
        const QString body =
            u"Dear <FirstName> <LastName>,\n<LoginID> logs on as <LoginID> with "
            "\"<Password>\".\n<WizardURL>\nKept: <loginid> <PASSWORD> <firstname>"_s;
        const QString smtp = u"smtpport=<port>"_s;
        QTest::newRow("changed-login-new-password")
            << smtp
            << makeUser(u"john.smith@example.com"_s, u"aB3dE9"_s, u"John"_s, u"Smith"_s, u"JoSm0"_s)
            << u"Welcome <FirstName>, your <LoginID>"_s << body << none;
        QTest::newRow("login-and-password-kept")
            << smtp << makeUser(u"anna@example.com"_s, QString(), u"Anna"_s, u"Li"_s)
            << u"Your new account"_s << body << none;
        // Accents, a line far over the wire limit, "=" signs, trailing blanks and a
        // leading dot must all arrive as written.
        QTest::newRow("text-that-needs-encoding")
            << smtp << makeUser(u"jm@example.com"_s, u"Zz9Aa0"_s, u"Jürgen"_s, u"Łukasz"_s)
            << u"Willkommen, Jürgen! Ihr neues Konto bei der Zephrin-Installation <LoginID>"_s
            << u"Hallo <FirstName> <LastName>\r\n.\r\n.<Password>\r\n"_s +
                   u"Zürich "_s.repeated(40) + u"= end  "_s
            << none;
        const auto row = [](const char* name, const QString& settings, const QString& email,
                            SmtpServer::Silence silence = SmtpServer::Silence::None) {
            QTest::newRow(name) << settings << makeUser(email) << u"S"_s << u"B"_s << silence;
        };
        const QString a = u"a@example.com"_s;
        // The logon test of a pickup folder passes only while the folder is there.
        QTest::newRow("pickup") << u"transport=pickup,pickupfolder=pickup"_s
                                << makeUser(u"b@example.com"_s, u"pw1234"_s)
                                << u"Hello <FirstName>"_s << u"Password: <Password>\nBye"_s << none;
        row("pickup folder missing", u"transport=pickup,pickupfolder=gone"_s, a);
        row("server not listening", u"smtpport=<dead>"_s, a);
        // A server that stops answering holds neither the logon test nor a send longer
        // than the configured time-out for each wait (here 1 second; without it a send
        // waited 120 seconds for the reply and as long again for the QUIT).
        const QString quiet = u"timeout=1,smtpport=<port>"_s;
        row("never greets", quiet, a, SmtpServer::Silence::Greeting);
        row("never confirms the message", quiet, a, SmtpServer::Silence::EndOfData);
        row("never answers the QUIT", quiet, a, SmtpServer::Silence::Quit);
        row("user without address", smtp, QString());
        const QString timeout = u"transport=smtp,timeout="_s;
        row("refused time-out not a number", timeout + u"soon"_s, a);
        row("refused time-out zero", timeout + u"0"_s, a);
        row("refused time-out over an hour", timeout + u"3601"_s, a);
        const QString pickup = u"transport=pickup,pickupfolder=pickup"_s;
        row("refused NUL", pickup, u"ann\0x@example.com"_s);
        row("refused control character", pickup, u"ann\x01@example.com"_s);
        row("refused DEL", pickup, u"ann\x7f@example.com"_s);
        row("refused over 254 characters", pickup, QString(250, u'a') + u"@x.org"_s);
        auto noFirstName = makeUser(a);
        noFirstName->remove(u"FirstName"_s);
        QTest::newRow("record without first name")
            << smtp << noFirstName << u"S"_s << u"<FirstName>"_s << none;
    }

    void sending()
    {
        QFETCH(QString, settings);
        QFETCH(CollectionPtr, user);
        QFETCH(QString, subject);
        QFETCH(QString, body);
        QFETCH(SmtpServer::Silence, silence);
        std::optional<SmtpServer> quiet;
        if (silence != SmtpServer::Silence::None) {
            QVERIFY(quiet.emplace(silence).isRunning());
        }
        const SmtpServer& server = quiet ? *quiet : mServer;
        const QString port = QString::number(server.port());
        const QString dead = QString::number(deadPort());
        QVERIFY(QDir(mDir->path()).mkdir(u"pickup"_s));
        configure(settings.replace(u"<port>"_s, port).replace(u"<dead>"_s, dead));
        useAccount(server.host());
        QElapsedTimer timer;
        timer.start();
        const bool logon = TestServiceAccount();
        QStringList text = {
            u"logon %1 %2"_s.arg(logon).arg(GlobalVariables::gvLogonHandle.toString()),
            mailUser(user, subject, body)};
        QVERIFY2(timer.elapsed() < 10000, qPrintable(u"%1 ms"_s.arg(timer.elapsed())));
        const bool taken =
            text[1].startsWith(u"sent 1"_s) || silence == SmtpServer::Silence::EndOfData;
        for (const auto& message : server.messages(taken ? 1 : 0)) {
            text << messageText(message);
        }
        // Messages go into the pickup folder as files only their owner may read (they
        // hold new passwords).
        const QDir pickup(mDir->filePath(u"pickup"_s), {}, QDir::Name, QDir::Files | QDir::Hidden);
        for (const QString& name : pickup.entryList()) {
            QFile file(pickup.filePath(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            text << u"## picked up as *.eml %1, mode %2"_s.arg(name.endsWith(u".eml"_s))
                        .arg(int(file.permissions() & 0x7077), 0, 16)
                 << messageText({{}, {}, {}, {}, {}, QString::fromUtf8(file.readAll())});
        }
        QCOMPARE_GOLDEN(masked(text.join(u'\n') + u'\n')
                            .replace(mDir->path(), u"<folder>"_s)
                            .replace(port, u"<port>"_s)
                            .replace(dead, u"<dead>"_s),
                        Golden::rowFile(u"mail/"_s));
    }

    // A pickup folder on a full disk is a failure that says so, not a 0-byte .eml
    // reported as sent; nothing is left in the folder.
    void pickupOnFullDisk()
    {
        FullDisk disk;
        if (!disk.isMounted()) {
            QSKIP(qPrintable(disk.skipReason()));
        }
        const QString folder = disk.filePath(u"pickup"_s);
        QVERIFY(QDir().mkpath(folder));
        configure(u"transport=pickup,pickupfolder="_s + folder);
        useAccount(u"mail01"_s);
        QVERIFY(disk.leaveFree(0));
        const QString outcome = mailUser(makeUser(u"a@example.com"_s, u"pw1234"_s));
        QVERIFY2(outcome.startsWith(u"sent 0, error 61: "_s) &&
                     outcome.contains(u"the disk that holds it is full"_s),
                 qPrintable(outcome));
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList());
    }

    // However long the subject and however many recipients, no header line is longer
    // than mail allows, and text outside ASCII travels as encoded words; control
    // characters are left out.
    void headerLines()
    {
        QList<MailMessage::Recipient> recipients;
        for (int i = 0; i < 200; ++i) {
            recipients.append({u"recipient.number.%1@a-long-domain-name.example.com"_s.arg(i),
                               i % 3 == 0 ? 1 : 0});
        }
        const QString subject =
            u"Ihr neues Konto für Zürich – "_s.repeated(60) + u"\x01 and a NUL \0 inside"_s;
        const QByteArray message =
            MailMessage::Compose(u"migration@example.com"_s, recipients, subject, u"Body"_s,
                                 QDateTime(QDate(2024, 3, 5), QTime(14, 7, 9), QTimeZone::utc()));
        QCOMPARE_GOLDEN(masked(Golden::fromCrlf(message.left(message.indexOf("\r\n\r\n") + 2))),
                        u"mail/header-lines.txt"_s);
    }

    // The stored account first, then the account of the configured name, then the
    // servers in order: the first that answers is kept with its handle. When nothing
    // answers, a step fails (the Directory is gone) or there is no mail component,
    // the earlier account stays. Accounts are read from a Directory on each engine.
    // tests/data/mail/service-account.txt holds each search's outcome and handle.
    void findServiceAccount_data() { Engines::rows(); }

    void findServiceAccount()
    {
        QFETCH(QString, engine);
        const QString live = u"127.0.0.1:%1"_s.arg(mServer.port());
        const QString dead = u"127.0.0.1:%1"_s.arg(deadPort());
        DirectoryDescription description;
        description.serviceAccount = live + u";svc;svc@example.com"_s;
        description.serviceAccountName = u"mailer@example.com"_s;
        TestDatabase directory(engine, u"Directory"_s);
        DirectoryBuilder::Build(directory.connectionString(), description);
        QStringList found;
        const auto search = [&](const QString& host, const QStringList& names, bool gone = false) {
            configure(u"smtpport=%1,smtphost=%2"_s.arg(mServer.port()).arg(host));
            GlobalVariables::gsServiceAccount = u"previous"_s;
            GlobalVariables::gvLogonHandle = QVariant();
            const bool ok = FindServiceAccount(gone ? directory.connectionStringOf(u"Gone"_s)
                                                    : directory.connectionString(),
                                               servers(names));
            found << u"%1 %2 %3"_s.arg(ok).arg(GlobalVariables::gsServiceAccount,
                                               GlobalVariables::gvLogonHandle.toString());
        };
        search(mServer.host(), {live});
        directory.execute(u"UPDATE fwtSystemSetting SET Value = ? WHERE Name = 'serviceaccount'"_s,
                          {dead + u";svc;svc@example.com"_s});
        search(mServer.host(), {live});
        search(QString(), {dead, QString(), live});
        search(QString(), {dead});
        search(mServer.host(), {live}, true);
        // A failed logon test leaves the entered values in force and the handle as it was.
        const QString mail = u"svc@example.com"_s;
        for (const auto& [server, alias, email] :
             QList<std::tuple<QString, QString, QString>>{{mServer.host(), u"svc"_s, mail},
                                                          {dead, u"svc"_s, mail},
                                                          {QString(), u"svc"_s, mail},
                                                          {mServer.host(), QString(), mail},
                                                          {mServer.host(), u"svc"_s, u"svc"_s}}) {
            GlobalVariables::gvLogonHandle = u"earlier"_s;
            SetServiceAccount(alias, email, server);
            const bool passed = TestServiceAccount();
            found << u"logon %1: %2 %3"_s.arg(GlobalVariables::gsServiceAccount)
                         .arg(passed)
                         .arg(GlobalVariables::gvLogonHandle.toString());
        }
        Components::setFactory(nullptr);
        QVERIFY(!FindServiceAccount(directory.connectionString(), servers({live})));
        QCOMPARE_GOLDEN(found.join(u'\n').replace(live, u"<live>"_s).replace(dead, u"<dead>"_s) +
                            u'\n',
                        u"mail/service-account.txt"_s);
    }

private:
    // Writes zephrin.ini with the [mail] settings given ("key=value,...") and installs
    // the reference components over it.
    void configure(const QString& mail)
    {
        const QString path = mDir->filePath(u"zephrin.ini"_s);
        {
            QSettings ini(path, QSettings::IniFormat);
            ini.setValue(u"global/productname"_s, u"Zephrin"_s);
            for (const QString& setting : mail.split(u',', Qt::SkipEmptyParts)) {
                ini.setValue(u"mail/"_s + setting.section(u'=', 0, 0), setting.section(u'=', 1));
            }
        }
        Components::setFactory(std::make_shared<TargetComponentFactory>(path));
    }

    SmtpServer mServer;
    std::unique_ptr<QTemporaryDir> mDir;
};

QTEST_GUILESS_MAIN(TestMail)
#include "tst_mail.moc"

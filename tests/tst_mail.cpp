#include "support/Engines.h"
#include "support/FullDisk.h"
#include "support/SilentSmtpServer.h"
#include "support/SmtpServer.h"

#include "directory/ComponentFactory.h"
#include "directory/TargetComponents.h"
#include "directory/ZephrinFunctions.h"
#include "frame/Clock.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "reference/DirectoryBuilder.h"
#include "reference/MailMessage.h"
#include "reference/TargetComponentFactory.h"
#include "support/ManualClock.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSettings>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

#include <curl/curl.h>

Q_DECLARE_METATYPE(SilentSmtpServer::Silence)

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

CollectionPtr makeTemplate(const QString& subject, const QString& body)
{
    auto text = Collection::create();
    text->add(u"Migration Team <team@example.com>"_s, u"From"_s);
    text->add(subject, u"Subject"_s);
    text->add(body, u"Body"_s);
    return text;
}

// The user record as the engine keeps it; empty texts leave a key out.
CollectionPtr makeUser(const QString& loginIDChanged, const QString& passwordClear,
                       const QString& first, const QString& last, const QString& email)
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

CollectionPtr servers(const QStringList& names)
{
    auto list = Collection::create();
    for (const QString& name : names) {
        list->add(name);
    }
    return list;
}

// A mail component that records the order of its calls, for the search order of
// the service account; every other test talks to the real component.
struct RecordingState
{
    QString stored;
    QString name;
    QStringList passing;
    bool throwOnLogon = false;
    QStringList calls;
};

class RecordingMail : public MailComponent
{
public:
    explicit RecordingMail(RecordingState& state) : s(state) {}
    QString ask(const QString& call, const QString& answer)
    {
        s.calls << call;
        return answer;
    }
    void SendMail(const QString&, const QString&, const QString&, const QString&,
                  const QVariant&) override
    {
        s.calls << u"SendMail"_s;
    }
    QString GetStoredAccount(const QString&) override
    {
        return ask(u"GetStoredAccount"_s, s.stored);
    }
    QString GetAccountName(const QString&) override { return ask(u"GetAccountName"_s, s.name); }
    QString GetAccountForName(const QString& n) override
    {
        return ask(u"GetAccountForName "_s + n, n.isEmpty() ? QString() : u"named;"_s + n);
    }
    QString GetAccountForServer(const QString& n, const QString& server) override
    {
        return ask(u"GetAccountForServer "_s + server,
                   server == "unknown"_L1 ? QString() : server + ';' + n);
    }
    void TestLogon(const QString& account, bool& passed, QVariant& handle) override
    {
        s.calls << u"TestLogon "_s + account;
        if (s.throwOnLogon) {
            throw MigrationError(91, u"Object variable not set"_s);
        }
        passed = s.passing.contains(account);
        handle = u"handle of "_s + account;
    }

private:
    RecordingState& s;
};

struct RecordingFactory : ComponentFactory
{
    explicit RecordingFactory(RecordingState plan) : state(std::move(plan)) {}
    std::unique_ptr<MailComponent> CreateMail() override
    {
        return std::make_unique<RecordingMail>(state);
    }
    RecordingState state;
};

} // namespace

class TestMail : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        mServer = std::make_unique<SmtpServer>();
        QVERIFY2(mServer->isRunning(), qPrintable(mServer->errorString()));
        AppClock::setClock(std::make_shared<ManualClock>(
            QDateTime(QDate(2024, 3, 5), QTime(14, 7, 9), QTimeZone::utc())));
    }

    void init()
    {
        mDir = std::make_unique<QTemporaryDir>();
        mServer->clear();
        GlobalVariables::gsServiceAccount.clear();
        GlobalVariables::gvLogonHandle = QVariant();
    }

    void introductionMail_data()
    {
        QTest::addColumn<CollectionPtr>("user");
        QTest::addColumn<QString>("subject");
        QTest::addColumn<QString>("body");
        QTest::addColumn<QString>("expectedBody");
        QTest::addColumn<bool>("serverDown");
        QTest::addColumn<long>("errorNumber"); // 0 when the message is sent

        // Placeholders are replaced in the body only, and only as written.
        const QString body = u"Dear <FirstName> <LastName>,\n<LoginID> logs on as <LoginID> with "
                             "\"<Password>\".\n<WizardURL>\nKept: <loginid> <PASSWORD>"_s;
        QTest::newRow("changed login and new password")
            << makeUser(u"JoSm0"_s, u"aB3dE9"_s, u"John"_s, u"Smith"_s, u"john.smith@example.com"_s)
            << u"Welcome <FirstName>, your <LoginID>"_s << body
            << u"Dear John Smith,\nJoSm0 logs on as JoSm0 with \"aB3dE9\".\n"_s + LinkBase +
                   u"1033\nKept: <loginid> <PASSWORD>"_s
            << false << 0L;
        QTest::newRow("login kept, password kept")
            << makeUser(QString(), QString(), u"Anna"_s, u"Li"_s, u"anna@example.com"_s)
            << u"Your new account"_s << body
            << u"Dear Anna Li,\njsmith logs on as jsmith with \"\".\n"_s + LinkBase +
                   u"1033\nKept: <loginid> <PASSWORD>"_s
            << false << 0L;
        // Accents, a line far over the wire limit, "=" signs, trailing blanks and a
        // leading dot must all arrive as written.
        const QString longLine = u"Zürich "_s.repeated(40) + u"= end  "_s;
        QTest::newRow("text that needs encoding")
            << makeUser(QString(), u"Zz9Aa0"_s, u"Jürgen"_s, u"Łukasz"_s, u"jm@example.com"_s)
            << u"Willkommen, Jürgen! Ihr neues Konto bei der Zephrin-Installation <LoginID>"_s
            << u"Hallo <FirstName> <LastName>\r\n.\r\n.<Password>\r\n"_s + longLine
            << u"Hallo Jürgen Łukasz\n.\n.Zz9Aa0\n"_s + longLine << false << 0L;

        const QString s = u"S"_s;
        QTest::newRow("server not listening")
            << makeUser(QString(), QString(), u"J"_s, u"S"_s, u"j@example.com"_s) << s << s << s
            << true << long(CURLE_COULDNT_CONNECT);
        QTest::newRow("user without address")
            << makeUser(QString(), QString(), s, s, QString()) << s << s << s << false
            << ErrorNumber::InvalidProcedureCall;
        auto noFirstName = makeUser(QString(), QString(), s, s, u"x@example.com"_s);
        noFirstName->remove(u"FirstName"_s);
        QTest::newRow("record without first name") << noFirstName << s << u"<FirstName>"_s << s
                                                   << false << ErrorNumber::InvalidProcedureCall;
    }

    void introductionMail()
    {
        QFETCH(CollectionPtr, user);
        QFETCH(QString, subject);
        QFETCH(QString, body);
        QFETCH(bool, serverDown);
        QFETCH(long, errorNumber);
        configure({{u"smtpport"_s, QString::number(serverDown ? deadPort() : mServer->port())}});
        SetServiceAccount(u"migration"_s, u"migration@example.com"_s, mServer->host());
        long number = 0;
        QString description;
        QCOMPARE(MailUser(user, makeTemplate(subject, body), LinkBase, number, description),
                 errorNumber == 0);
        QCOMPARE(number, errorNumber);
        QCOMPARE(description.isEmpty(), errorNumber == 0);
        if (errorNumber != 0) {
            QCOMPARE(mServer->messages().size(), 0);
            return;
        }

        const auto received = mServer->messages(1);
        QCOMPARE(received.size(), 1);
        const auto& message = received.first();
        const QString email = user->item(u"Email"_s).toString();
        QCOMPARE(message.mailFrom, u"migration@example.com"_s);
        QCOMPARE(message.rcptTos, QStringList{email});
        QCOMPARE(message.subject, subject);
        QTEST(message.body.chopped(message.body.endsWith('\n') ? 1 : 0), "expectedBody");
        QCOMPARE(message.headers.value(u"To"_s), email);
        QCOMPARE(message.headers.value(u"From"_s), u"migration@example.com"_s);
        QCOMPARE(QDateTime::fromString(message.headers.value(u"Date"_s), Qt::RFC2822Date),
                 QDateTime(QDate(2024, 3, 5), QTime(14, 7, 9), QTimeZone::utc()));
        QVERIFY(message.headers.value(u"Message-ID"_s).endsWith(u"@example.com>"_s));
        QVERIFY(message.data.contains(
            u"\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=UTF-8\r\n"_s));
        QVERIFY2(message.defects.isEmpty(), qPrintable(message.defects.join(',')));
        for (const QString& line : message.data.split(u"\r\n"_s)) {
            QVERIFY2(line.size() <= 78, qPrintable(line));
        }
    }

    void pickupFolder()
    {
        QVERIFY(QDir(mDir->path()).mkdir(u"pickup"_s));
        configure({{u"transport"_s, u"pickup"_s}, {u"pickupfolder"_s, u"pickup"_s}});
        SetServiceAccount(u"migration"_s, u"migration@example.com"_s, u"mail01"_s);
        QVERIFY(TestServiceAccount());
        QDir pickup(mDir->filePath(u"pickup"_s));
        QCOMPARE(GlobalVariables::gvLogonHandle.toString(), u"pickup:"_s + pickup.path());

        const QStringList addresses{u"a@example.com"_s, u"b@example.com"_s};
        for (const QString& address : addresses) {
            long number = 0;
            QString description;
            QVERIFY2(MailUser(makeUser(QString(), u"pw1234"_s, u"F"_s, u"L"_s, address),
                              makeTemplate(u"Hello <FirstName>"_s, u"Password: <Password>\nBye"_s),
                              LinkBase, number, description),
                     qPrintable(description));
        }
        const QStringList files = pickup.entryList(QDir::Files | QDir::Hidden);
        QCOMPARE(files.size(), 2);
        QByteArray all;
        for (const QString& name : files) {
            QVERIFY(name.endsWith(u".eml"_s));
            QFile file(pickup.filePath(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QByteArray text = file.readAll();
            QVERIFY(text.startsWith("Date: 05 Mar 2024 14:07:09 +0000\r\nFrom: "
                                    "migration@example.com\r\nTo: "));
            QVERIFY(text.contains("\r\nSubject: Hello <FirstName>\r\n") &&
                    text.contains("\r\n\r\nPassword: pw1234\r\nBye\r\n"));
            QVERIFY(!QByteArray(text).replace("\r\n", "").contains('\n'));
            all += text;
        }
        QVERIFY(all.contains("\r\nTo: a@example.com\r\n") &&
                all.contains("\r\nTo: b@example.com\r\n"));

        // A message holds a new password: only its owner may read it.
        for (const QString& name : files) {
            QCOMPARE(QFile::permissions(pickup.filePath(name)) & 0x7077,
                     QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        }

        // Without the folder the logon test fails and nothing escapes.
        QVERIFY(pickup.removeRecursively());
        QVERIFY(!TestServiceAccount());
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
        configure({{u"transport"_s, u"pickup"_s}, {u"pickupfolder"_s, folder}});
        SetServiceAccount(u"migration"_s, u"migration@example.com"_s, u"mail01"_s);
        QVERIFY(disk.leaveFree(0));
        long number = 0;
        QString description;
        QVERIFY(!MailUser(makeUser(QString(), u"pw1234"_s, u"F"_s, u"L"_s, u"a@example.com"_s),
                          makeTemplate(u"Hello"_s, u"Password: <Password>"_s), LinkBase, number,
                          description));
        QCOMPARE(number, ErrorNumber::DiskFull);
        QVERIFY2(description.contains(u"the disk that holds it is full"_s),
                 qPrintable(description));
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList());
    }

    // A server that stops answering holds neither the logon test nor a send longer
    // than the configured time-out for each wait (here 1 second; without it a send
    // waited 120 seconds for the reply and as long again for the QUIT).
    void silentServer_data()
    {
        QTest::addColumn<SilentSmtpServer::Silence>("silence");
        QTest::addColumn<bool>("logonPasses");
        QTest::addColumn<bool>("sent");
        QTest::newRow("never greets") << SilentSmtpServer::Silence::Greeting << false << false;
        QTest::newRow("never confirms the message")
            << SilentSmtpServer::Silence::EndOfData << true << false;
        QTest::newRow("never answers the QUIT") << SilentSmtpServer::Silence::Quit << true << true;
    }

    void silentServer()
    {
        QFETCH(SilentSmtpServer::Silence, silence);
        QFETCH(bool, logonPasses);
        QFETCH(bool, sent);
        SilentSmtpServer server(silence);
        QVERIFY(server.isRunning());
        configure({{u"smtpport"_s, QString::number(server.port())}, {u"timeout"_s, u"1"_s}});
        SetServiceAccount(u"migration"_s, u"migration@example.com"_s, u"127.0.0.1"_s);

        QElapsedTimer timer;
        timer.start();
        QCOMPARE(TestServiceAccount(), logonPasses);
        long number = 0;
        QString description;
        QCOMPARE(MailUser(makeUser(QString(), QString(), u"F"_s, u"L"_s, u"a@example.com"_s),
                          makeTemplate(u"Hello"_s, u"Body"_s), LinkBase, number, description),
                 sent);
        QVERIFY2(timer.elapsed() < 10000, qPrintable(u"%1 ms"_s.arg(timer.elapsed())));
        if (!sent) {
            QCOMPARE(number, long(CURLE_OPERATION_TIMEDOUT));
            QVERIFY2(description.endsWith(u"the server did not answer within 1 seconds"_s),
                     qPrintable(description));
        }
        QCOMPARE(server.messages(), silence == SilentSmtpServer::Silence::Greeting ? 0 : 1);
    }

    void timeoutSetting_data()
    {
        QTest::addColumn<QString>("timeout");
        QTest::newRow("not a number") << u"soon"_s;
        QTest::newRow("zero") << u"0"_s;
        QTest::newRow("over an hour") << u"3601"_s;
    }

    void timeoutSetting()
    {
        QFETCH(QString, timeout);
        configure({{u"timeout"_s, timeout}});
        SetServiceAccount(u"migration"_s, u"migration@example.com"_s, mServer->host());
        long number = 0;
        QString description;
        QVERIFY(!MailUser(makeUser(QString(), QString(), u"F"_s, u"L"_s, u"a@example.com"_s),
                          makeTemplate(u"S"_s, u"B"_s), LinkBase, number, description));
        QCOMPARE(description, u"The mail time-out \"%1\" set in %2 ([mail] timeout) is not a "
                              "number of seconds from 1 to 3600"_s.arg(
                                  timeout, mDir->filePath(u"zephrin.ini"_s)));
        QCOMPARE(mServer->messages().size(), 0);
    }

    // An address that a header cannot carry is refused with the reason, before
    // anything is written or sent.
    void unsafeAddresses_data()
    {
        QTest::addColumn<QString>("email");
        QTest::addColumn<QString>("description");
        const QString control = u"\"%1\" is not an e-mail address: it holds a control character "
                                "(such as NUL or DEL), which a mail header cannot carry"_s;
        QTest::newRow("NUL") << u"ann\0x@example.com"_s << control.arg(u"ann?x@example.com"_s);
        QTest::newRow("control character")
            << u"ann\x01@example.com"_s << control.arg(u"ann?@example.com"_s);
        QTest::newRow("DEL") << u"ann\x7f@example.com"_s << control.arg(u"ann?@example.com"_s);
        const QString longAddress = QString(250, u'a') + u"@x.org"_s;
        QTest::newRow("over 254 characters")
            << longAddress
            << u"\"%1...\" is not an e-mail address: it has 256 characters, more than the 254 "
               "that mail allows"_s.arg(longAddress.left(80));
    }

    void unsafeAddresses()
    {
        QFETCH(QString, email);
        QVERIFY(QDir(mDir->path()).mkdir(u"pickup"_s));
        configure({{u"transport"_s, u"pickup"_s}, {u"pickupfolder"_s, u"pickup"_s}});
        SetServiceAccount(u"migration"_s, u"migration@example.com"_s, u"mail01"_s);
        long number = 0;
        QString description;
        QVERIFY(!MailUser(makeUser(QString(), QString(), u"F"_s, u"L"_s, email),
                          makeTemplate(u"S"_s, u"B"_s), LinkBase, number, description));
        QCOMPARE(number, ErrorNumber::InvalidProcedureCall);
        QTEST(description, "description");
        QCOMPARE(QDir(mDir->filePath(u"pickup"_s)).entryList(QDir::Files), QStringList());
    }

    // However long the subject and however many recipients, no header line is longer
    // than mail allows, and text outside ASCII travels as encoded words.
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
        const QByteArray headers = message.left(message.indexOf("\r\n\r\n"));
        // Every line ends in CR LF: no lone CR or LF, no control character inside.
        for (const QByteArray& line : QByteArray(headers).replace("\r\n", "\n").split('\n')) {
            QVERIFY2(line.size() <= 998, line.constData());
            QVERIFY2(!line.contains('\r') && !line.contains('\0') && !line.contains('\x01'),
                     line.constData());
        }
        QVERIFY(headers.contains("\r\nSubject: =?UTF-8?B?"));
        QVERIFY(headers.contains("\r\nTo: recipient.number.1@a-long-domain-name.example.com,\r\n "
                                 "recipient.number.2@"));
        QVERIFY(headers.contains("\r\nCc: recipient.number.0@a-long-domain-name.example.com,\r\n "
                                 "recipient.number.3@"));
    }

    void logonTest_data()
    {
        QTest::addColumn<QString>("server");
        QTest::addColumn<QString>("alias");
        QTest::addColumn<QString>("email");
        QTest::addColumn<bool>("passes");
        const QString live = u"127.0.0.1"_s;
        const QString mail = u"svc@example.com"_s;
        QTest::newRow("server answers") << live << u"svc"_s << mail << true;
        QTest::newRow("nothing listens")
            << u"127.0.0.1:%1"_s.arg(deadPort()) << u"svc"_s << mail << false;
        QTest::newRow("empty server") << QString() << u"svc"_s << mail << false;
        QTest::newRow("empty alias") << live << QString() << mail << false;
        QTest::newRow("no address") << live << u"svc"_s << u"svc"_s << false;
    }

    void logonTest()
    {
        QFETCH(QString, server);
        QFETCH(QString, alias);
        QFETCH(QString, email);
        QFETCH(bool, passes);
        configure({{u"smtpport"_s, QString::number(mServer->port())}});
        GlobalVariables::gvLogonHandle = u"earlier"_s;
        SetServiceAccount(alias, email, server);
        QCOMPARE(TestServiceAccount(), passes);
        QCOMPARE(GlobalVariables::gvLogonHandle.toString(),
                 passes ? u"smtp://127.0.0.1:%1"_s.arg(mServer->port()) : u"earlier"_s);
        // A failed test leaves the entered values in force.
        QCOMPARE(GlobalVariables::gsServiceAccount, server + ';' + alias + ';' + email);
    }

    // Against the real server: a stored account that does not answer gives way to the
    // account of the configured name; when nothing answers the earlier account stays.
    // The accounts are read from a Directory on each engine.
    void findServiceAccount_data() { Engines::rows(); }

    void findServiceAccount()
    {
        QFETCH(QString, engine);
        DirectoryDescription description;
        description.serviceAccount = u"127.0.0.1:%1;svc;svc@example.com"_s.arg(deadPort());
        description.serviceAccountName = u"mailer@example.com"_s;
        TestDatabase directory(engine, u"Directory"_s);
        const QString cs = directory.connectionString();
        DirectoryBuilder::Build(cs, description);
        const QString port = QString::number(mServer->port());

        configure({{u"smtpport"_s, port}, {u"smtphost"_s, mServer->host()}});
        QVERIFY(FindServiceAccount(cs, servers({})));
        QCOMPARE(GlobalVariables::gsServiceAccount, u"127.0.0.1;mailer;mailer@example.com"_s);
        QCOMPARE(GlobalVariables::gvLogonHandle.toString(), u"smtp://127.0.0.1:"_s + port);

        configure({{u"smtphost"_s, QString()}}); // no host for the name
        GlobalVariables::gsServiceAccount = u"previous"_s;
        GlobalVariables::gvLogonHandle = QVariant();
        QVERIFY(!FindServiceAccount(cs, servers({u"127.0.0.1:%1"_s.arg(deadPort())})));
        QCOMPARE(GlobalVariables::gsServiceAccount, u"previous"_s);
        QVERIFY(GlobalVariables::gvLogonHandle.isNull());
    }

    void searchOrder_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("servers");
        QTest::addColumn<QStringList>("passing");
        QTest::addColumn<bool>("throwOnLogon");
        QTest::addColumn<bool>("found");
        QTest::addColumn<QStringList>("calls");

        const QString stored = u"s0;svc;svc@x.com"_s;
        const QString name = u"m@x.com"_s;
        const QStringList first = {u"GetStoredAccount"_s, u"TestLogon "_s + stored};
        const QStringList byName = {u"GetAccountName"_s, u"GetAccountForName m@x.com"_s,
                                    u"TestLogon named;m@x.com"_s};
        QTest::newRow("stored account first")
            << stored << name << QStringList{"s1"} << QStringList{stored} << false << true << first;
        QTest::newRow("then the account of the name")
            << stored << name << QStringList{"s1"} << QStringList{"named;m@x.com"} << false << true
            << first + byName;
        QTest::newRow("then the servers in order")
            << QString() << name << QStringList{"s1", "unknown", "s2", "s3"}
            << QStringList{"s2;m@x.com", "s3;m@x.com"} << false << true
            << QStringList{"GetStoredAccount"} + byName +
                   QStringList{"GetAccountForServer s1", "TestLogon s1;m@x.com",
                               "GetAccountForServer unknown", "GetAccountForServer s2",
                               "TestLogon s2;m@x.com"};
        QTest::newRow("empty stored account, no name, no servers")
            << QString() << QString() << QStringList() << QStringList() << false << false
            << QStringList{"GetStoredAccount", "GetAccountName", "GetAccountForName "};
        QTest::newRow("a logon test that fails badly")
            << stored << name << QStringList{"s1"} << QStringList{stored} << true << false << first;
    }

    void searchOrder()
    {
        QFETCH(QString, stored);
        QFETCH(QString, name);
        QFETCH(QStringList, servers);
        QFETCH(QStringList, passing);
        QFETCH(bool, throwOnLogon);
        QFETCH(bool, found);
        QFETCH(QStringList, calls);

        const auto recording = std::make_shared<RecordingFactory>(
            RecordingState{stored, name, passing, throwOnLogon, {}});
        Components::setFactory(recording);
        GlobalVariables::gsServiceAccount = u"previous"_s;
        QCOMPARE(FindServiceAccount(u"cs"_s, ::servers(servers)), found);
        QCOMPARE(recording->state.calls, calls);
        const QString account = found ? calls.last().mid(10) : u"previous"_s; // after "TestLogon "
        QCOMPARE(GlobalVariables::gsServiceAccount, account);
        if (found) {
            QCOMPARE(GlobalVariables::gvLogonHandle.toString(), u"handle of "_s + account);
        }

        // No mail component at all is a search that finds nothing.
        Components::setFactory(nullptr);
        QVERIFY(!FindServiceAccount(u"cs"_s, ::servers(servers)));
    }

private:
    // Writes zephrin.ini with the [mail] settings given and installs the reference
    // components over it.
    void configure(const QMap<QString, QString>& mail)
    {
        const QString path = mDir->filePath(u"zephrin.ini"_s);
        {
            QSettings ini(path, QSettings::IniFormat);
            ini.setValue(u"global/productname"_s, u"Zephrin"_s);
            for (auto it = mail.begin(); it != mail.end(); ++it) {
                ini.setValue(u"mail/"_s + it.key(), it.value());
            }
        }
        Components::setFactory(std::make_shared<TargetComponentFactory>(path));
    }

    std::unique_ptr<SmtpServer> mServer;
    std::unique_ptr<QTemporaryDir> mDir;
};

QTEST_GUILESS_MAIN(TestMail)
#include "tst_mail.moc"

#include "support/Engines.h"
#include "support/FullDisk.h"
#include "support/Golden.h"
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
#include <QRegularExpression>
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

CollectionPtr servers(const QStringList& names)
{
    auto list = Collection::create();
    for (const QString& name : names) {
        list->add(name);
    }
    return list;
}

// A message as one text: envelope, what a reader shows, then every line as sent.
QString messageText(const QString& data, const QString& from, const QStringList& to,
                    const QString& subject, const QString& body)
{
    QString sent = Golden::fromCrlf(data);
    sent.replace(QRegularExpression(u"Message-ID: <[^@]*@"_s), u"Message-ID: <(unique)@"_s);
    return u"from %1 to %2\nsubject: %3\nbody:\n%4\n--- as sent ---\n%5"_s.arg(from, to.join(u','),
                                                                               subject, body, sent);
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

// Messages as sent are compared whole with their files in tests/data/mail.
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
        QTest::addColumn<bool>("serverDown");
        QTest::addColumn<long>("errorNumber"); // 0 when the message is sent

        // Placeholders are replaced in the body only, and only as written.
        const QString body =
            u"Dear <FirstName> <LastName>,\n<LoginID> logs on as <LoginID> with "
            "\"<Password>\".\n<WizardURL>\nKept: <loginid> <PASSWORD> <firstname>"_s;
        QTest::newRow("changed-login-new-password")
            << makeUser(u"john.smith@example.com"_s, u"aB3dE9"_s, u"John"_s, u"Smith"_s, u"JoSm0"_s)
            << u"Welcome <FirstName>, your <LoginID>"_s << body << false << 0L;
        QTest::newRow("login-and-password-kept")
            << makeUser(u"anna@example.com"_s, QString(), u"Anna"_s, u"Li"_s)
            << u"Your new account"_s << body << false << 0L;
        // Accents, a line far over the wire limit, "=" signs, trailing blanks and a
        // leading dot must all arrive as written.
        QTest::newRow("text-that-needs-encoding")
            << makeUser(u"jm@example.com"_s, u"Zz9Aa0"_s, u"Jürgen"_s, u"Łukasz"_s)
            << u"Willkommen, Jürgen! Ihr neues Konto bei der Zephrin-Installation <LoginID>"_s
            << u"Hallo <FirstName> <LastName>\r\n.\r\n.<Password>\r\n"_s +
                   u"Zürich "_s.repeated(40) + u"= end  "_s
            << false << 0L;
        QTest::newRow("server not listening") << makeUser(u"j@example.com"_s) << u"S"_s << u"S"_s
                                              << true << long(CURLE_COULDNT_CONNECT);
        QTest::newRow("user without address") << makeUser(QString()) << u"S"_s << u"S"_s << false
                                              << ErrorNumber::InvalidProcedureCall;
        auto noFirstName = makeUser(u"x@example.com"_s);
        noFirstName->remove(u"FirstName"_s);
        QTest::newRow("record without first name") << noFirstName << u"S"_s << u"<FirstName>"_s
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
        const auto received = mServer->messages(errorNumber == 0 ? 1 : 0);
        QCOMPARE(received.size(), errorNumber == 0 ? 1 : 0);
        if (errorNumber != 0) {
            return;
        }
        const auto& message = received.first();
        QCOMPARE_GOLDEN(messageText(message.data, message.mailFrom, message.rcptTos,
                                    message.subject, message.body),
                        Golden::rowFile(u"mail/"_s));
        QVERIFY2(message.defects.isEmpty(), qPrintable(message.defects.join(',')));
        for (const QString& line : message.data.split(u"\r\n"_s)) {
            QVERIFY2(line.size() <= 78, qPrintable(line));
        }
    }

    // Messages go into the pickup folder as files only their owner may read (they hold
    // new passwords); without the folder the logon test fails.
    void pickupFolder()
    {
        QVERIFY(QDir(mDir->path()).mkdir(u"pickup"_s));
        configure({{u"transport"_s, u"pickup"_s}, {u"pickupfolder"_s, u"pickup"_s}});
        SetServiceAccount(u"migration"_s, u"migration@example.com"_s, u"mail01"_s);
        QVERIFY(TestServiceAccount());
        QDir pickup(mDir->filePath(u"pickup"_s));
        QCOMPARE(GlobalVariables::gvLogonHandle.toString(), u"pickup:"_s + pickup.path());
        for (const QString& address : {u"a@example.com"_s, u"b@example.com"_s}) {
            long number = 0;
            QString description;
            QVERIFY2(MailUser(makeUser(address, u"pw1234"_s),
                              makeTemplate(u"Hello <FirstName>"_s, u"Password: <Password>\nBye"_s),
                              LinkBase, number, description),
                     qPrintable(description));
        }
        QStringList texts;
        for (const QString& name : pickup.entryList(QDir::Files | QDir::Hidden)) {
            QVERIFY(name.endsWith(u".eml"_s));
            QCOMPARE(QFile::permissions(pickup.filePath(name)) & 0x7077,
                     QFileDevice::ReadOwner | QFileDevice::WriteOwner);
            QFile file(pickup.filePath(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            texts << messageText(QString::fromUtf8(file.readAll()), {}, {}, {}, {});
        }
        texts.sort();
        QCOMPARE_GOLDEN(texts.join(u"\n"_s), u"mail/pickup.txt"_s);
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
        QVERIFY(!MailUser(makeUser(u"a@example.com"_s, u"pw1234"_s),
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
        QCOMPARE(MailUser(makeUser(u"a@example.com"_s), makeTemplate(u"Hello"_s, u"Body"_s),
                          LinkBase, number, description),
                 sent);
        QVERIFY2(timer.elapsed() < 10000, qPrintable(u"%1 ms"_s.arg(timer.elapsed())));
        QCOMPARE(number, sent ? 0 : long(CURLE_OPERATION_TIMEDOUT));
        QVERIFY2(sent || description.endsWith(u"the server did not answer within 1 seconds"_s),
                 qPrintable(description));
        QCOMPARE(server.messages(), silence == SilentSmtpServer::Silence::Greeting ? 0 : 1);
    }

    // A bad time-out setting, or an address that a header cannot carry, is refused
    // with the reason, before anything is written or sent.
    void refusedBeforeSending_data()
    {
        QTest::addColumn<QString>("timeout");
        QTest::addColumn<QString>("email");
        const QString a = u"a@example.com"_s;
        QTest::newRow("time-out not a number") << u"soon"_s << a;
        QTest::newRow("time-out zero") << u"0"_s << a;
        QTest::newRow("time-out over an hour") << u"3601"_s << a;
        QTest::newRow("NUL") << QString() << u"ann\0x@example.com"_s;
        QTest::newRow("control character") << QString() << u"ann\x01@example.com"_s;
        QTest::newRow("DEL") << QString() << u"ann\x7f@example.com"_s;
        QTest::newRow("over 254 characters") << QString() << QString(250, u'a') + u"@x.org"_s;
    }

    void refusedBeforeSending()
    {
        QFETCH(QString, timeout);
        QFETCH(QString, email);
        QVERIFY(QDir(mDir->path()).mkdir(u"pickup"_s));
        configure({{u"transport"_s, timeout.isEmpty() ? u"pickup"_s : u"smtp"_s},
                   {u"pickupfolder"_s, u"pickup"_s},
                   {u"timeout"_s, timeout.isEmpty() ? u"30"_s : timeout}});
        SetServiceAccount(u"migration"_s, u"migration@example.com"_s, mServer->host());
        long number = 0;
        QString description;
        QVERIFY(!MailUser(makeUser(email), makeTemplate(u"S"_s, u"B"_s), LinkBase, number,
                          description));
        QCOMPARE(number, ErrorNumber::InvalidProcedureCall);
        QCOMPARE_GOLDEN(description.replace(mDir->path(), u"<folder>"_s) + u'\n',
                        Golden::rowFile(u"mail/refused-"_s));
        QCOMPARE(QDir(mDir->filePath(u"pickup"_s)).entryList(QDir::Files), QStringList());
        QCOMPARE(mServer->messages().size(), 0);
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

    // A failed logon test leaves the entered values in force and the handle as it was.
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

    // The stored account first, then the account of the name, then the servers in
    // order; a logon test that fails badly ends the search. Each case's calls, the
    // account found and its handle are in tests/data/mail/search-order.txt.
    void searchOrder()
    {
        const QString stored = u"s0;svc;svc@x.com"_s;
        const QString name = u"m@x.com"_s;
        const QList<std::tuple<QString, RecordingState>> cases = {
            {u"stored account first"_s, {stored, name, {stored}, false, {}}},
            {u"then the account of the name"_s, {stored, name, {u"named;m@x.com"_s}, false, {}}},
            {u"then the servers in order"_s,
             {QString(), name, {u"s2;m@x.com"_s, u"s3;m@x.com"_s}, false, {}}},
            {u"empty stored account, no name, no servers"_s, {QString(), QString(), {}, false, {}}},
            {u"a logon test that fails badly"_s, {stored, name, {stored}, true, {}}},
        };
        QStringList text;
        for (const auto& [title, plan] : cases) {
            const auto recording = std::make_shared<RecordingFactory>(plan);
            Components::setFactory(recording);
            GlobalVariables::gsServiceAccount = u"previous"_s;
            GlobalVariables::gvLogonHandle = QVariant();
            const QStringList names = title.contains(u"servers in order"_s)
                                          ? QStringList{u"s1"_s, u"unknown"_s, u"s2"_s, u"s3"_s}
                                      : title.contains(u"no servers"_s) ? QStringList()
                                                                        : QStringList{u"s1"_s};
            const bool found = FindServiceAccount(u"cs"_s, servers(names));
            text << u"## "_s + title << recording->state.calls
                 << u"found %1: %2, %3"_s.arg(found).arg(GlobalVariables::gsServiceAccount,
                                                         GlobalVariables::gvLogonHandle.toString());
            // No mail component at all is a search that finds nothing.
            Components::setFactory(nullptr);
            QVERIFY(!FindServiceAccount(u"cs"_s, servers(names)));
        }
        QCOMPARE_GOLDEN(text, u"mail/search-order.txt"_s);
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

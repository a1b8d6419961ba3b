#include "support/SmtpServer.h"

#include "db/DbConnection.h"
#include "directory/ComponentFactory.h"
#include "directory/TargetComponents.h"
#include "directory/ZephrinFunctions.h"
#include "frame/Clock.h"
#include "frame/Collection.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "target/DirectorySchema.h"
#include "target/ReferenceMail.h"
#include "target/TargetComponentFactory.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

#include <curl/curl.h>
#include <memory>

namespace {

const QString LinkBase = QStringLiteral("http://zephrin.example.com/gettingstarted.asp?lang=");

// A loopback port where nothing listens.
int deadPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const int port = probe.serverPort();
    probe.close();
    return port;
}

CollectionPtr makeTemplate(const QString& subject, const QString& body)
{
    auto text = Collection::create();
    text->add(QStringLiteral("Migration Team <team@example.com>"), QStringLiteral("From"));
    text->add(subject, QStringLiteral("Subject"));
    text->add(body, QStringLiteral("Body"));
    return text;
}

// The user record as the engine keeps it; empty texts leave a key out.
CollectionPtr makeUser(const QString& loginID, const QString& loginIDChanged,
                       const QString& passwordClear, const QString& first, const QString& last,
                       const QString& email)
{
    auto user = Collection::create();
    user->add(17, QStringLiteral("VaUserID"));
    user->add(loginID, QStringLiteral("LoginID"));
    if (!loginIDChanged.isEmpty()) {
        user->add(loginIDChanged, QStringLiteral("LoginIDChanged"));
    }
    if (!passwordClear.isEmpty()) {
        user->add(passwordClear, QStringLiteral("PasswordClear"));
    }
    user->add(first, QStringLiteral("FirstName"));
    user->add(last, QStringLiteral("LASTNAME"));
    user->add(email, QStringLiteral("Email"));
    user->add(QStringLiteral("1033"), QStringLiteral("LanguageID"));
    return user;
}

QString withoutFinalNewline(QString text)
{
    if (text.endsWith(QLatin1Char('\n'))) {
        text.chop(1);
    }
    return text;
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
    explicit RecordingMail(RecordingState& state) : mState(state) {}
    void SendMail(const QString&, const QString&, const QString&, const QString&,
                  const QVariant&) override
    {
        mState.calls << QStringLiteral("SendMail");
    }
    QString GetStoredAccount(const QString&) override
    {
        mState.calls << QStringLiteral("GetStoredAccount");
        return mState.stored;
    }
    QString GetAccountName(const QString&) override
    {
        mState.calls << QStringLiteral("GetAccountName");
        return mState.name;
    }
    QString GetAccountForName(const QString& name) override
    {
        mState.calls << QStringLiteral("GetAccountForName ") + name;
        return name.isEmpty() ? QString() : QStringLiteral("named;") + name;
    }
    QString GetAccountForServer(const QString& name, const QString& server) override
    {
        mState.calls << QStringLiteral("GetAccountForServer ") + server;
        return server == QLatin1String("unknown") ? QString() : server + QLatin1Char(';') + name;
    }
    void TestLogon(const QString& account, bool& passed, QVariant& handle) override
    {
        mState.calls << QStringLiteral("TestLogon ") + account;
        if (mState.throwOnLogon) {
            throw MigrationError(91, QStringLiteral("Object variable not set"));
        }
        passed = mState.passing.contains(account);
        handle = QStringLiteral("handle of ") + account;
    }

private:
    RecordingState& mState;
};

class RecordingFactory : public ComponentFactory
{
public:
    explicit RecordingFactory(RecordingState& state) : mState(state) {}
    std::unique_ptr<MailComponent> CreateMail() override
    {
        return std::make_unique<RecordingMail>(mState);
    }

private:
    RecordingState& mState;
};

} // namespace

class TestMail : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanupTestCase();

    void introductionMail_data();
    void introductionMail();
    void mailFailures_data();
    void mailFailures();
    void pickupFolder();
    void logonTest_data();
    void logonTest();
    void findServiceAccount_data();
    void findServiceAccount();
    void searchOrder_data();
    void searchOrder();

private:
    // Writes zephrin.ini with the [mail] settings given and installs the reference
    // components over it.
    QString configure(const QMap<QString, QString>& mail);
    QString directory(const QString& storedAccount, const QString& accountName);

    std::unique_ptr<SmtpServer> mServer;
    std::unique_ptr<QTemporaryDir> mDir;
};

void TestMail::initTestCase()
{
    mServer = std::make_unique<SmtpServer>();
    QVERIFY2(mServer->isRunning(), qPrintable(mServer->errorString()));
    AppClock::setClock(std::make_shared<ManualClock>(
        QDateTime(QDate(2024, 3, 5), QTime(14, 7, 9), QTimeZone::utc())));
}

void TestMail::init()
{
    mDir = std::make_unique<QTemporaryDir>();
    mServer->clear();
    GlobalVariables::gsServiceAccount.clear();
    GlobalVariables::gvLogonHandle = QVariant();
}

void TestMail::cleanupTestCase()
{
    Components::setFactory(nullptr);
    AppClock::setClock(nullptr);
    mServer.reset();
}

QString TestMail::configure(const QMap<QString, QString>& mail)
{
    const QString path = mDir->filePath(QStringLiteral("zephrin.ini"));
    QFile::remove(path);
    {
        QSettings ini(path, QSettings::IniFormat);
        ini.setValue(QStringLiteral("global/productname"), QStringLiteral("Zephrin"));
        for (auto it = mail.begin(); it != mail.end(); ++it) {
            ini.setValue(QStringLiteral("mail/") + it.key(), it.value());
        }
    }
    Components::setFactory(std::make_shared<TargetComponentFactory>(path));
    return path;
}

QString TestMail::directory(const QString& storedAccount, const QString& accountName)
{
    const QString cs = QStringLiteral("Provider=SQLOLEDB.1;Data Source=sqlite:%1;"
                                      "Initial Catalog=Directory;uid=sa;pwd=")
                           .arg(mDir->path());
    DirectorySchema::Create(cs);
    DbConnection db(cs);
    if (!storedAccount.isEmpty()) {
        db.execute(
            QStringLiteral(
                "INSERT INTO fwtSystemSetting (Category, Name, Value) VALUES ('mail', ?, ?)"),
            {QStringLiteral("serviceaccount"), storedAccount});
    }
    if (!accountName.isEmpty()) {
        db.execute(
            QStringLiteral(
                "INSERT INTO fwtSystemSetting (Category, Name, Value) VALUES ('mail', ?, ?)"),
            {QStringLiteral("serviceaccountname"), accountName});
    }
    return cs;
}

void TestMail::introductionMail_data()
{
    QTest::addColumn<CollectionPtr>("user");
    QTest::addColumn<QString>("subject");
    QTest::addColumn<QString>("body");
    QTest::addColumn<QString>("expectedBody");

    const QString body = QStringLiteral("Dear <FirstName> <LastName>,\n"
                                        "your login ID is now <LoginID>.\n"
                                        "Log on as <LoginID> with the password \"<Password>\".\n"
                                        "Get started: <WizardURL>\n"
                                        "Kept as written: <loginid> <PASSWORD>");

    QTest::newRow("changed login and new password")
        << makeUser(QStringLiteral("jsmith"), QStringLiteral("JoSm0"), QStringLiteral("aB3dE9"),
                    QStringLiteral("John"), QStringLiteral("Smith"),
                    QStringLiteral("john.smith@example.com"))
        << QStringLiteral("Welcome <FirstName>, your <LoginID>") << body
        << QStringLiteral("Dear John Smith,\n"
                          "your login ID is now JoSm0.\n"
                          "Log on as JoSm0 with the password \"aB3dE9\".\n"
                          "Get started: http://zephrin.example.com/"
                          "gettingstarted.asp?lang=1033\n"
                          "Kept as written: <loginid> <PASSWORD>");

    QTest::newRow("login kept, password kept")
        << makeUser(QStringLiteral("anna"), QString(), QString(), QStringLiteral("Anna"),
                    QStringLiteral("Li"), QStringLiteral("anna@example.com"))
        << QStringLiteral("Your new account") << body
        << QStringLiteral("Dear Anna Li,\n"
                          "your login ID is now anna.\n"
                          "Log on as anna with the password \"\".\n"
                          "Get started: http://zephrin.example.com/"
                          "gettingstarted.asp?lang=1033\n"
                          "Kept as written: <loginid> <PASSWORD>");

    // Accents, a line far over the wire limit, "=" signs, trailing blanks and a
    // leading dot must all arrive as written.
    const QString longLine = QStringLiteral("Zürich ").repeated(40) + QStringLiteral("= end  ");
    QTest::newRow("text that needs encoding")
        << makeUser(QStringLiteral("jm"), QString(), QStringLiteral("Zz9Aa0"),
                    QStringLiteral("Jürgen"), QStringLiteral("Łukasz"),
                    QStringLiteral("jm@example.com"))
        << QStringLiteral("Willkommen, Jürgen! Ihr neues Konto bei der Zephrin-Installation "
                          "<LoginID>")
        << QStringLiteral("Hallo <FirstName> <LastName>\r\n.\r\n.<Password>\r\n") + longLine
        << QStringLiteral("Hallo Jürgen Łukasz\n.\n.Zz9Aa0\n") + longLine;
}

void TestMail::introductionMail()
{
    QFETCH(CollectionPtr, user);
    QFETCH(QString, subject);
    QFETCH(QString, body);
    QFETCH(QString, expectedBody);

    configure({{QStringLiteral("smtpport"), QString::number(mServer->port())}});
    ZephrinFunctions::SetServiceAccount(QStringLiteral("migration"),
                                        QStringLiteral("migration@example.com"), mServer->host());

    long number = 0;
    QString description;
    QVERIFY2(ZephrinFunctions::MailUser(user, makeTemplate(subject, body), LinkBase, number,
                                        description),
             qPrintable(description));

    const auto received = mServer->messages(1);
    QCOMPARE(received.size(), 1);
    const auto& message = received.first();
    QCOMPARE(message.mailFrom, QStringLiteral("migration@example.com"));
    QCOMPARE(message.rcptTos, QStringList{user->item(QStringLiteral("Email")).toString()});
    QCOMPARE(message.subject, subject);
    QCOMPARE(withoutFinalNewline(message.body), expectedBody);
    QCOMPARE(message.headers.value(QStringLiteral("To")),
             user->item(QStringLiteral("Email")).toString());
    QCOMPARE(message.headers.value(QStringLiteral("From")),
             QStringLiteral("migration@example.com"));
    QCOMPARE(QDateTime::fromString(message.headers.value(QStringLiteral("Date")), Qt::RFC2822Date),
             QDateTime(QDate(2024, 3, 5), QTime(14, 7, 9), QTimeZone::utc()));
    QVERIFY(message.headers.value(QStringLiteral("Message-ID"))
                .endsWith(QStringLiteral("@example.com>")));
    QVERIFY(message.data.contains(QStringLiteral("\r\nMIME-Version: 1.0\r\n"
                                                 "Content-Type: text/plain; charset=UTF-8\r\n")));
    QVERIFY2(message.defects.isEmpty(), qPrintable(message.defects.join(QLatin1Char(','))));
    for (const QString& line : message.data.split(QStringLiteral("\r\n"))) {
        QVERIFY2(line.size() <= 78, qPrintable(line));
    }
}

void TestMail::mailFailures_data()
{
    QTest::addColumn<CollectionPtr>("user");
    QTest::addColumn<bool>("serverDown");
    QTest::addColumn<long>("errorNumber");

    const auto good =
        makeUser(QStringLiteral("jsmith"), QString(), QString(), QStringLiteral("John"),
                 QStringLiteral("Smith"), QStringLiteral("john@example.com"));
    QTest::newRow("server not listening") << good << true << long(CURLE_COULDNT_CONNECT);
    QTest::newRow("user without address")
        << makeUser(QStringLiteral("x"), QString(), QString(), QStringLiteral("X"),
                    QStringLiteral("Y"), QString())
        << false << ErrorNumber::InvalidProcedureCall;
    auto noFirstName = Collection::create();
    noFirstName->add(QStringLiteral("x"), QStringLiteral("LoginID"));
    noFirstName->add(QStringLiteral("x@example.com"), QStringLiteral("Email"));
    QTest::newRow("record without first name")
        << noFirstName << false << ErrorNumber::InvalidProcedureCall;
}

void TestMail::mailFailures()
{
    QFETCH(CollectionPtr, user);
    QFETCH(bool, serverDown);
    QFETCH(long, errorNumber);

    const int port = serverDown ? deadPort() : mServer->port();
    configure({{QStringLiteral("smtpport"), QString::number(port)}});
    ZephrinFunctions::SetServiceAccount(QStringLiteral("migration"),
                                        QStringLiteral("migration@example.com"), mServer->host());
    long number = 0;
    QString description;
    QVERIFY(!ZephrinFunctions::MailUser(
        user, makeTemplate(QStringLiteral("S"), QStringLiteral("<LoginID>")), LinkBase, number,
        description));
    QCOMPARE(number, errorNumber);
    QVERIFY(!description.isEmpty());
    QCOMPARE(mServer->messages().size(), 0);
}

void TestMail::pickupFolder()
{
    QVERIFY(QDir(mDir->path()).mkdir(QStringLiteral("pickup")));
    configure({{QStringLiteral("transport"), QStringLiteral("pickup")},
               {QStringLiteral("pickupfolder"), QStringLiteral("pickup")}});
    ZephrinFunctions::SetServiceAccount(QStringLiteral("migration"),
                                        QStringLiteral("migration@example.com"),
                                        QStringLiteral("mail01"));
    QVERIFY(ZephrinFunctions::TestServiceAccount());
    QCOMPARE(GlobalVariables::gvLogonHandle.toString(),
             QStringLiteral("pickup:") + QDir(mDir->filePath(QStringLiteral("pickup"))).path());

    const QStringList addresses{QStringLiteral("a@example.com"), QStringLiteral("b@example.com")};
    for (const QString& address : addresses) {
        long number = 0;
        QString description;
        QVERIFY2(ZephrinFunctions::MailUser(
                     makeUser(QStringLiteral("u"), QString(), QStringLiteral("pw1234"),
                              QStringLiteral("F"), QStringLiteral("L"), address),
                     makeTemplate(QStringLiteral("Hello <FirstName>"),
                                  QStringLiteral("Password: <Password>\nBye")),
                     LinkBase, number, description),
                 qPrintable(description));
    }
    QDir pickup(mDir->filePath(QStringLiteral("pickup")));
    const QStringList files = pickup.entryList(QDir::Files | QDir::Hidden);
    QCOMPARE(files.size(), 2);
    QStringList recipients;
    for (const QString& name : files) {
        QVERIFY(name.endsWith(QStringLiteral(".eml")));
        QFile file(pickup.filePath(name));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray text = file.readAll();
        QVERIFY(text.contains("\r\nSubject: Hello <FirstName>\r\n"));
        QVERIFY(text.startsWith("Date: 05 Mar 2024 14:07:09 +0000\r\nFrom: "
                                "migration@example.com\r\nTo: "));
        QVERIFY(text.contains("\r\n\r\nPassword: pw1234\r\nBye\r\n"));
        QVERIFY(!QByteArray(text).replace("\r\n", "").contains('\n'));
        const int to = text.indexOf("To: ") + 4;
        recipients << QString::fromUtf8(text.mid(to, text.indexOf('\r', to) - to));
    }
    recipients.sort();
    QCOMPARE(recipients, addresses);

    // Without the folder the logon test fails and nothing escapes.
    QVERIFY(pickup.removeRecursively());
    QVERIFY(!ZephrinFunctions::TestServiceAccount());
}

void TestMail::logonTest_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("alias");
    QTest::addColumn<QString>("email");
    QTest::addColumn<bool>("passes");

    const QString live = QStringLiteral("127.0.0.1");
    const QString mail = QStringLiteral("svc@example.com");
    QTest::newRow("server answers") << live << QStringLiteral("svc") << mail << true;
    QTest::newRow("nothing listens")
        << QStringLiteral("127.0.0.1:%1").arg(deadPort()) << QStringLiteral("svc") << mail << false;
    QTest::newRow("empty server") << QString() << QStringLiteral("svc") << mail << false;
    QTest::newRow("empty alias") << live << QString() << mail << false;
    QTest::newRow("no address") << live << QStringLiteral("svc") << QStringLiteral("svc") << false;
}

void TestMail::logonTest()
{
    QFETCH(QString, server);
    QFETCH(QString, alias);
    QFETCH(QString, email);
    QFETCH(bool, passes);

    configure({{QStringLiteral("smtpport"), QString::number(mServer->port())}});
    GlobalVariables::gvLogonHandle = QStringLiteral("earlier");
    ZephrinFunctions::SetServiceAccount(alias, email, server);
    QCOMPARE(GlobalVariables::gsServiceAccount,
             server + QLatin1Char(';') + alias + QLatin1Char(';') + email);
    QCOMPARE(ZephrinFunctions::TestServiceAccount(), passes);
    QCOMPARE(GlobalVariables::gvLogonHandle.toString(),
             passes ? QStringLiteral("smtp://127.0.0.1:%1").arg(mServer->port())
                    : QStringLiteral("earlier"));
    // A failed test leaves the entered values in force.
    QCOMPARE(GlobalVariables::gsServiceAccount,
             server + QLatin1Char(';') + alias + QLatin1Char(';') + email);
}

void TestMail::findServiceAccount_data()
{
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("accountName");
    QTest::addColumn<bool>("smtpHostSet");
    QTest::addColumn<QStringList>("servers");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("account");

    const QString dead = QStringLiteral("127.0.0.1:%1").arg(deadPort());
    const QString live = QStringLiteral("127.0.0.1");
    QTest::newRow("stored account answers")
        << live + QStringLiteral(";svc;svc@example.com") << QString() << false << QStringList()
        << true << live + QStringLiteral(";svc;svc@example.com");
    QTest::newRow("stored account dead, found by name")
        << dead + QStringLiteral(";svc;svc@example.com") << QStringLiteral("mailer@example.com")
        << true << QStringList() << true << live + QStringLiteral(";mailer;mailer@example.com");
    QTest::newRow("found on the second server")
        << QString() << QStringLiteral("mailer@example.com") << false << QStringList{dead, live}
        << true << live + QStringLiteral(";mailer;mailer@example.com");
    QTest::newRow("nothing answers")
        << dead + QStringLiteral(";svc;svc@example.com") << QStringLiteral("mailer@example.com")
        << false << QStringList{dead} << false << QStringLiteral("previous");
    QTest::newRow("nothing to try")
        << QString() << QString() << true << QStringList() << false << QStringLiteral("previous");
}

void TestMail::findServiceAccount()
{
    QFETCH(QString, stored);
    QFETCH(QString, accountName);
    QFETCH(bool, smtpHostSet);
    QFETCH(QStringList, servers);
    QFETCH(bool, found);
    QFETCH(QString, account);

    QMap<QString, QString> mail{{QStringLiteral("smtpport"), QString::number(mServer->port())}};
    if (smtpHostSet) {
        mail.insert(QStringLiteral("smtphost"), mServer->host());
    }
    configure(mail);
    const QString cs = directory(stored, accountName);
    auto exchangeServers = Collection::create();
    for (const QString& server : servers) {
        exchangeServers->add(server);
    }
    GlobalVariables::gsServiceAccount = QStringLiteral("previous");

    QCOMPARE(ZephrinFunctions::FindServiceAccount(cs, exchangeServers), found);
    QCOMPARE(GlobalVariables::gsServiceAccount, account);
    if (found) {
        QCOMPARE(GlobalVariables::gvLogonHandle.toString(),
                 QStringLiteral("smtp://127.0.0.1:%1").arg(mServer->port()));
    }
}

void TestMail::searchOrder_data()
{
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("servers");
    QTest::addColumn<QStringList>("passing");
    QTest::addColumn<bool>("throwOnLogon");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QStringList>("calls");

    const QString stored = QStringLiteral("s0;svc;svc@x.com");
    const QString name = QStringLiteral("m@x.com");
    QTest::newRow("stored account first")
        << stored << name << QStringList{QStringLiteral("s1")} << QStringList{stored} << false
        << true
        << QStringList{QStringLiteral("GetStoredAccount"), QStringLiteral("TestLogon ") + stored};
    QTest::newRow("then the account of the name")
        << stored << name << QStringList{QStringLiteral("s1")}
        << QStringList{QStringLiteral("named;m@x.com")} << false << true
        << QStringList{QStringLiteral("GetStoredAccount"), QStringLiteral("TestLogon ") + stored,
                       QStringLiteral("GetAccountName"),
                       QStringLiteral("GetAccountForName m@x.com"),
                       QStringLiteral("TestLogon named;m@x.com")};
    QTest::newRow("then the servers in order")
        << QString() << name
        << QStringList{QStringLiteral("s1"), QStringLiteral("unknown"), QStringLiteral("s2"),
                       QStringLiteral("s3")}
        << QStringList{QStringLiteral("s2;m@x.com"), QStringLiteral("s3;m@x.com")} << false << true
        << QStringList{QStringLiteral("GetStoredAccount"),
                       QStringLiteral("GetAccountName"),
                       QStringLiteral("GetAccountForName m@x.com"),
                       QStringLiteral("TestLogon named;m@x.com"),
                       QStringLiteral("GetAccountForServer s1"),
                       QStringLiteral("TestLogon s1;m@x.com"),
                       QStringLiteral("GetAccountForServer unknown"),
                       QStringLiteral("GetAccountForServer s2"),
                       QStringLiteral("TestLogon s2;m@x.com")};
    QTest::newRow("empty stored account, no name, no servers")
        << QString() << QString() << QStringList() << QStringList() << false << false
        << QStringList{QStringLiteral("GetStoredAccount"), QStringLiteral("GetAccountName"),
                       QStringLiteral("GetAccountForName ")};
    QTest::newRow("a logon test that fails badly")
        << stored << name << QStringList{QStringLiteral("s1")} << QStringList{stored} << true
        << false
        << QStringList{QStringLiteral("GetStoredAccount"), QStringLiteral("TestLogon ") + stored};
}

void TestMail::searchOrder()
{
    QFETCH(QString, stored);
    QFETCH(QString, name);
    QFETCH(QStringList, servers);
    QFETCH(QStringList, passing);
    QFETCH(bool, throwOnLogon);
    QFETCH(bool, found);
    QFETCH(QStringList, calls);

    RecordingState state{stored, name, passing, throwOnLogon, {}};
    Components::setFactory(std::make_shared<RecordingFactory>(state));
    auto exchangeServers = Collection::create();
    for (const QString& server : servers) {
        exchangeServers->add(server);
    }
    GlobalVariables::gsServiceAccount = QStringLiteral("previous");

    QCOMPARE(ZephrinFunctions::FindServiceAccount(QStringLiteral("cs"), exchangeServers), found);
    QCOMPARE(state.calls, calls);
    const QString account =
        found ? calls.last().mid(QStringLiteral("TestLogon ").size()) : QStringLiteral("previous");
    QCOMPARE(GlobalVariables::gsServiceAccount, account);
    if (found) {
        QCOMPARE(GlobalVariables::gvLogonHandle.toString(), QStringLiteral("handle of ") + account);
    }

    // No mail component at all is a search that finds nothing.
    Components::setFactory(nullptr);
    QVERIFY(!ZephrinFunctions::FindServiceAccount(QStringLiteral("cs"), exchangeServers));
}

QTEST_GUILESS_MAIN(TestMail)
#include "tst_mail.moc"

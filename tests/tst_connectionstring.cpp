#include "db/ConnectionString.h"

#include <QTest>

class TestConnectionString : public QObject
{
    Q_OBJECT
private slots:
    void sqlLogin_data();
    void sqlLogin();
    void trusted_data();
    void trusted();
    void parse_data();
    void parse();
};

void TestConnectionString::sqlLogin_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("database");
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("expected");

    QTest::newRow("plain") << "SQL01"
                           << "Varnel"
                           << "sa"
                           << "secret"
                           << "Provider=SQLOLEDB.1;Data Source=SQL01;Initial Catalog=Varnel;"
                              "uid=sa;pwd=secret";
    QTest::newRow("master, empty password")
        << "SQL01\\INST"
        << "master"
        << "admin"
        << ""
        << "Provider=SQLOLEDB.1;Data Source=SQL01\\INST;Initial Catalog=master;uid=admin;pwd=";
    // Values go in verbatim: no quoting of ";" or "=" and blanks are kept.
    QTest::newRow("blank and semicolon") << "my server;x=1"
                                         << "Dir ectory"
                                         << "a=b"
                                         << "p;w"
                                         << "Provider=SQLOLEDB.1;Data Source=my server;x=1;"
                                            "Initial Catalog=Dir ectory;uid=a=b;pwd=p;w";
    // The placeholders are replaced one after the other, so a later one inside an
    // earlier value is filled too; an earlier one inside a later value stays.
    QTest::newRow("placeholder in value")
        << "srv<UserID>"
        << "<DatabaseServer>"
        << "sa"
        << "x"
        << "Provider=SQLOLEDB.1;Data Source=srvsa;Initial Catalog=<DatabaseServer>;uid=sa;pwd=x";
    QTest::newRow("case-sensitive placeholders")
        << "S"
        << "D"
        << "<password>"
        << "P"
        << "Provider=SQLOLEDB.1;Data Source=S;Initial Catalog=D;uid=<password>;pwd=P";
}

void TestConnectionString::sqlLogin()
{
    QFETCH(QString, server);
    QFETCH(QString, database);
    QFETCH(QString, login);
    QFETCH(QString, password);
    QFETCH(QString, expected);
    QCOMPARE(BuildSqlConnectionString(server, database, login, password), expected);
}

void TestConnectionString::trusted_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("database");
    QTest::addColumn<QString>("expected");

    // The blank before ";Data Source" belongs to the form.
    QTest::newRow("plain") << "SQL01"
                           << "master"
                           << "Provider=SQLOLEDB.1;Persist Security Info=True;Integrated "
                              "Security=SSPI;Initial Catalog=master ;Data Source=SQL01";
    QTest::newRow("empty") << ""
                           << ""
                           << "Provider=SQLOLEDB.1;Persist Security Info=True;Integrated "
                              "Security=SSPI;Initial Catalog= ;Data Source=";
}

void TestConnectionString::trusted()
{
    QFETCH(QString, server);
    QFETCH(QString, database);
    QFETCH(QString, expected);
    QCOMPARE(BuildTrustedConnectionString(server, database), expected);
}

void TestConnectionString::parse_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("dataSource");
    QTest::addColumn<QString>("catalog");
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<bool>("integrated");
    QTest::addColumn<bool>("embedded");
    QTest::addColumn<QString>("file");

    QTest::newRow("sql login") << BuildSqlConnectionString("127.0.0.1,1433", "Varnel", "sa", "pw")
                               << "127.0.0.1,1433"
                               << "Varnel"
                               << "sa"
                               << "pw" << false << false << "";
    // The provider trims the blank that the trusted form leaves behind the catalog.
    QTest::newRow("trusted") << BuildTrustedConnectionString("SQL01", "Directory") << "SQL01"
                             << "Directory"
                             << ""
                             << "" << true << false << "";
    QTest::newRow("embedded") << BuildSqlConnectionString("sqlite:/tmp/x", "Directory", "sa", "")
                              << "sqlite:/tmp/x"
                              << "Directory"
                              << "sa"
                              << "" << false << true << "/tmp/x/Directory.sqlite";
    QTest::newRow("keys in any case")
        << "provider=SQLOLEDB.1;DATA SOURCE=SQLite:/var/db;INITIAL CATALOG=Varnel;UID=u;PWD=p"
        << "SQLite:/var/db"
        << "Varnel"
        << "u"
        << "p" << false << true << "/var/db/Varnel.sqlite";
}

void TestConnectionString::parse()
{
    QFETCH(QString, text);
    const ConnectionParts parts = ParseConnectionString(text);
    QTEST(parts.dataSource, "dataSource");
    QTEST(parts.initialCatalog, "catalog");
    QTEST(parts.userID, "user");
    QTEST(parts.password, "password");
    QTEST(parts.integratedSecurity, "integrated");
    QTEST(parts.isEmbedded(), "embedded");
    if (parts.isEmbedded()) {
        QTEST(parts.embeddedFile(), "file");
    }
}

QTEST_GUILESS_MAIN(TestConnectionString)
#include "tst_connectionstring.moc"

#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "frame/MigrationError.h"
#include "support/Engines.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

class TestConnectionString : public QObject
{
    Q_OBJECT
private slots:
    void build_data()
    {
        QTest::addColumn<QString>("built");
        QTest::addColumn<QString>("expected");
        const QString sql = u"Provider=SQLOLEDB.1;Data Source="_s;
        const QString trusted =
            u"Provider=SQLOLEDB.1;Persist Security Info=True;Integrated Security=SSPI;"_s;
        QTest::newRow("SQL login") << BuildSqlConnectionString("SQL01\\I", "master", "sa", "")
                                   << sql + "SQL01\\I;Initial Catalog=master;uid=sa;pwd=";
        // Values go in verbatim: no quoting of ";" or "=" and blanks are kept.
        QTest::newRow("blank and semicolon")
            << BuildSqlConnectionString("my server;x=1", "Dir ectory", "a=b", "p;w")
            << sql + "my server;x=1;Initial Catalog=Dir ectory;uid=a=b;pwd=p;w";
        // The placeholders are replaced one after the other, so a later one inside an
        // earlier value is filled too; an earlier one inside a later value stays, and
        // the placeholders are case-sensitive.
        QTest::newRow("placeholder in value")
            << BuildSqlConnectionString("srv<UserID>", "<DatabaseServer>", "<password>", "x")
            << sql + "srv<password>;Initial Catalog=<DatabaseServer>;uid=<password>;pwd=x";
        // The blank before ";Data Source" belongs to the form.
        QTest::newRow("trusted") << BuildTrustedConnectionString("SQL01", "master")
                                 << trusted + "Initial Catalog=master ;Data Source=SQL01";
        QTest::newRow("trusted, empty")
            << BuildTrustedConnectionString("", "") << trusted + "Initial Catalog= ;Data Source=";
    }

    void build()
    {
        QFETCH(QString, built);
        QTEST(built, "expected");
    }

    void parse_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("parts"); // source|catalog|user|password|integrated|file
        QTest::newRow("sql login")
            << BuildSqlConnectionString("127.0.0.1,1433", "Varnel", "sa", "pw")
            << "127.0.0.1,1433|Varnel|sa|pw|0|";
        // The provider trims the blank that the trusted form leaves behind the catalog.
        QTest::newRow("trusted") << BuildTrustedConnectionString("SQL01", "Directory")
                                 << "SQL01|Directory|||1|";
        QTest::newRow("embedded") << BuildSqlConnectionString("sqlite:/tmp/x", "Directory", "sa",
                                                              "")
                                  << "sqlite:/tmp/x|Directory|sa||0|/tmp/x/Directory.sqlite";
        QTest::newRow("keys in any case")
            << "provider=SQLOLEDB.1;DATA SOURCE=SQLite:/var/db;INITIAL CATALOG=Varnel;UID=u;PWD=p"
            << "SQLite:/var/db|Varnel|u|p|0|/var/db/Varnel.sqlite";
        // As the provider reads them: a value in quotes keeps ";" and its blanks, a
        // doubled quote inside is one; unquoted, a ";" ends the value.
        QTest::newRow("quoted values")
            << "Data Source=srv;Initial Catalog=\"Dir;ectory\";uid=' a ';pwd=\"p\"\"w;\" ;x=1"
            << "srv|Dir;ectory| a |p\"w;|0|";
        QTest::newRow("unquoted semicolon")
            << BuildSqlConnectionString("srv", "Varnel", "sa", "p;w") << "srv|Varnel|sa|p|0|";
        QTest::newRow("quote never closed") << "Data Source=srv;pwd=\"abc;uid=u"
                                            << "srv||u|\"abc|0|";
        // The other names of the keys.
        QTest::newRow("other key names")
            << "Server=srv;Database=Dir;User ID=u;Password=p;Integrated Security=true"
            << "srv|Dir|u|p|1|";
    }

    // What the ODBC driver receives: every value that could run into the next in
    // braces, so that no name swallows the login or the password.
    void odbc_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("driver");
        QTest::addColumn<QString>("expected"); // empty: refused
        const QString freeTds = u"FreeTDS"_s;
        QTest::newRow("plain") << BuildSqlConnectionString("127.0.0.1,1433", "Varnel", "sa", "pw")
                               << freeTds
                               << "DRIVER={FreeTDS};SERVER=127.0.0.1;PORT=1433;DATABASE=Varnel;"
                                  "UID=sa;PWD={pw};ClientCharset=UTF-8;";
        // FreeTDS ends a braced value only at "}" followed by ";".
        QTest::newRow("braces and semicolon in names")
            << "Data Source={srv};Initial Catalog=\"{Dir}ectory;x\";uid=a=b;pwd=\" p}w{ \""
            << freeTds
            << "DRIVER={FreeTDS};SERVER={{srv}};DATABASE={{Dir}ectory;x};UID={a=b};PWD={ p}w{ };"
               "ClientCharset=UTF-8;";
        QTest::newRow("trusted") << BuildTrustedConnectionString("SQL01", "Directory") << freeTds
                                 << "DRIVER={FreeTDS};SERVER=SQL01;DATABASE=Directory;"
                                    "Trusted_Connection=Yes;ClientCharset=UTF-8;";
        // Other drivers read "}}" inside braces as one "}" and are not told a character set.
        QTest::newRow("other driver")
            << BuildSqlConnectionString("db1", "{Directory}", "sa", "a}b")
            << u"ODBC Driver 18 for SQL Server"_s
            << "DRIVER={ODBC Driver 18 for SQL Server};SERVER=db1;DATABASE={{Directory}}};"
               "UID=sa;PWD={a}}b};";
        QTest::newRow("blank at the end of a value")
            << "Data Source=srv;uid='sa ';pwd=pw" << freeTds
            << "DRIVER={FreeTDS};SERVER=srv;UID={sa };PWD={pw};ClientCharset=UTF-8;";
        QTest::newRow("FreeTDS cannot take }; in a value")
            << "Data Source=srv;Initial Catalog=Varnel;uid=sa;pwd=\"a};b\"" << freeTds << "";
    }

    void odbc()
    {
        QFETCH(QString, text);
        QFETCH(QString, driver);
        QFETCH(QString, expected);
        try {
            QCOMPARE(OdbcConnectString(ParseConnectionString(text), driver), expected);
        } catch (const MigrationError& error) {
            QVERIFY2(expected.isEmpty(), qPrintable(error.description()));
            QVERIFY2(error.description().contains(u"password"_s), qPrintable(error.description()));
        }
    }

    // The same against a real server: a database whose name begins with "{" (which,
    // unbraced, would swallow the login and the password) and a login whose password
    // holds ";", "{" and "}".
    void odbcValuesReachTheServer()
    {
        if (!Engines::sqlServerNamed()) {
            QSKIP("No SQL Server named (VARNEL_TEST_SQLSERVER)");
        }
        TestDatabase braced(Engines::SqlServer, u"{br}ace"_s);
        {
            DbConnection connection(braced.connectionString());
            QCOMPARE(connection.select(u"SELECT DB_NAME()"_s).first().value(0).toString(),
                     braced.name());
        }

        const QString login = u"varnel_odd_%1"_s.arg(QCoreApplication::applicationPid());
        const QString password = u"a;b}c{d=e"_s;
        const QString master = Engines::sqlServerConnectionString(u"master"_s);
        Engines::executeOnMaster(u"CREATE LOGIN [%1] WITH PASSWORD = '%2'"_s.arg(login, password));
        QString name;
        try {
            DbConnection connection(BuildSqlConnectionString(
                Engines::sqlServerAddress(), u"master"_s, login, u"\""_s + password + u"\""_s));
            name = connection.select(u"SELECT SUSER_NAME()"_s).first().value(0).toString();
        } catch (const MigrationError& error) {
            name = error.description();
        }
        // The driver manager keeps the login's connection in its pool; the server drops
        // a login only without sessions, and a killed one takes a moment to end.
        DbConnection connection(master);
        for (int attempt = 1;; ++attempt) {
            for (const QSqlRecord& session :
                 connection.select(u"SELECT session_id FROM sys.dm_exec_sessions WHERE "
                                   "login_name = ? AND session_id <> @@SPID"_s,
                                   {login})) {
                connection.execute(u"KILL %1"_s.arg(session.value(0).toInt()));
            }
            try {
                connection.execute(u"DROP LOGIN [%1]"_s.arg(login));
                break;
            } catch (const MigrationError&) {
                QVERIFY(attempt < 50);
                QTest::qWait(100);
            }
        }
        QCOMPARE(name, login);
    }

    void parse()
    {
        QFETCH(QString, text);
        const ConnectionParts p = ParseConnectionString(text);
        const QStringList parts = {p.dataSource,
                                   p.initialCatalog,
                                   p.userID,
                                   p.password,
                                   QString::number(p.integratedSecurity),
                                   p.isEmbedded() ? p.embeddedFile() : QString()};
        QTEST(parts.join(QLatin1Char('|')), "parts");
    }
};

QTEST_GUILESS_MAIN(TestConnectionString)
#include "tst_connectionstring.moc"

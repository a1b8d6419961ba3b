#include "db/ConnectionString.h"

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

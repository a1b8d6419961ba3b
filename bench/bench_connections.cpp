// Times what one database operation costs against a SQL Server when, as the wizard
// requires, every operation opens its own connection: once with a fresh login each
// time (the ODBC driver manager's pooling off) and once with unixODBC's connection
// pooling on, next to the floor, the same statement on a connection that stays open.
//
// Usage: bench_connections [host,port] [operations per figure, default 50]
// The server defaults to VARNEL_TEST_SQLSERVER; VARNEL_TEST_SQLSERVER_LOGIN and
// VARNEL_TEST_SQLSERVER_PASSWORD default to the login of ../shared/tools/tsql-server.
// The program writes a source database and a Directory on the server, measures in
// two child processes whose driver manager configuration (ODBCSYSINI) differs only
// in [ODBC] Pooling, and drops both databases again.
#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/VarnelBuilder.h"
#include "db/VarnelDBCon.h"
#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"
#include "reference/DirectoryBuilder.h"
#include "reference/DirectoryWriter.h"
#include "reference/ReferenceDirectoryUser.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <cstdio>
#include <functional>

namespace {

struct Server
{
    QString address;
    QString login;
    QString password;

    QString connectionString(const QString& database) const
    {
        return BuildSqlConnectionString(address, database, login, password);
    }
};

struct Operation
{
    const char* name;
    QString connectionString;                         // of the database it works on
    std::function<void()> withOwnConnection;          // what the wizard does
    std::function<void(DbConnection&)> statementOnly; // the floor
};

QList<Operation> operations(const QString& source, const QString& directory)
{
    return {
        {"open and close a connection", source, [source] { DbConnection connection(source); },
         [](DbConnection&) {}},
        {"GetUserByID", source, [source] { VarnelDBCon::GetUserByID(7, source); },
         [](DbConnection& c) { c.select(VarnelDBCon::UserByIDSql(7)); }},
        {"LoginIDExists", directory,
         [directory] {
             ReferenceDirectoryUser().LoginIDExists(QStringLiteral("user7"), directory);
         },
         [](DbConnection& c) { DirectoryWriter(c).loginIDTaken(QStringLiteral("user7")); }},
        {"SetDefaultService", directory,
         [directory] { ZephrinFunctions::SetDefaultService(directory, 1); },
         [](DbConnection& c) { c.execute(ZephrinFunctions::SetDefaultServiceSql(1)); }},
    };
}

double millisecondsPer(int count, const std::function<void()>& work)
{
    work(); // the first one may load the driver
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < count; ++i) {
        work();
    }
    return double(timer.nsecsElapsed()) / 1e6 / count;
}

// In a child process: one line per operation, "name<TAB>ms with own connection<TAB>ms
// of the statement alone".
int measure(const QString& source, const QString& directory, int count)
{
    for (const Operation& operation : operations(source, directory)) {
        const double own = millisecondsPer(count, operation.withOwnConnection);
        DbConnection open(operation.connectionString);
        const double floor = millisecondsPer(count, [&] { operation.statementOnly(open); });
        std::printf("%s\t%.2f\t%.2f\n", operation.name, own, floor);
    }
    return 0;
}

// A driver manager configuration that knows FreeTDS and pools or not.
QString writeConfiguration(const QString& folder, bool pooling)
{
    QFile file(folder + QStringLiteral("/odbcinst.ini"));
    if (!file.open(QIODevice::WriteOnly)) {
        return QString();
    }
    file.write(QByteArray("[ODBC]\nPooling=") + (pooling ? "Yes" : "No") +
               "\n\n[FreeTDS]\nDriver=libtdsodbc.so\nCPTimeout=60\nCPProbe=select 1\n");
    return folder;
}

void dropDatabase(const Server& server, const QString& name)
{
    DbConnection master(server.connectionString(QStringLiteral("master")));
    for (int attempt = 1;; ++attempt) {
        const auto sessions =
            master.select(QStringLiteral("SELECT spid FROM master.dbo.sysprocesses WHERE dbid = "
                                         "DB_ID(?) AND spid <> @@SPID"),
                          {name});
        for (const QSqlRecord& session : sessions) {
            master.execute(QStringLiteral("KILL %1").arg(session.value(0).toInt()));
        }
        try {
            master.execute(QStringLiteral("DROP DATABASE [%1]").arg(name));
            return;
        } catch (const MigrationError&) {
            if (attempt == 50) {
                throw;
            }
            QThread::msleep(100);
        }
    }
}

int run(const Server& server, int count)
{
    const QString suffix = QString::number(QCoreApplication::applicationPid());
    const QString sourceName = QStringLiteral("bench_varnel_") + suffix;
    const QString directoryName = QStringLiteral("bench_directory_") + suffix;
    {
        DbConnection master(server.connectionString(QStringLiteral("master")));
        master.execute(QStringLiteral("CREATE DATABASE [%1]").arg(sourceName));
        master.execute(QStringLiteral("CREATE DATABASE [%1]").arg(directoryName));
    }
    const QString source = server.connectionString(sourceName);
    const QString directory = server.connectionString(directoryName);
    int status = 0;
    try {
        VarnelSource varnel;
        for (int id = 1; id <= 20; ++id) {
            VarnelSourceUser user;
            user.userID = id;
            user.givenName = QStringLiteral("Given%1").arg(id);
            user.familyName = QStringLiteral("Family%1").arg(id);
            user.loginID = QStringLiteral("user%1").arg(id);
            varnel.users << user;
        }
        VarnelBuilder::WriteTo(source, varnel);
        DirectoryDescription description;
        description.stores = {{QStringLiteral("MAIL01"), 2, QString()}};
        for (int id = 1; id <= 20; ++id) {
            DirectoryDescription::User user;
            user.firstName = QStringLiteral("Given%1").arg(id);
            user.lastName = QStringLiteral("Family%1").arg(id);
            user.loginID = QStringLiteral("user%1").arg(id);
            user.mailServer = QStringLiteral("MAIL01");
            description.users << user;
        }
        DirectoryBuilder::Build(directory, description);

        std::printf("%d operations per figure against %s; milliseconds per operation\n\n", count,
                    qPrintable(server.address));
        std::printf("%-30s %18s %18s %18s\n", "operation", "fresh login", "pooled",
                    "statement alone");
        QMap<QString, QStringList> fresh;
        QMap<QString, QStringList> pooled;
        QStringList order;
        for (const bool pooling : {false, true}) {
            QTemporaryDir folder;
            QProcess child;
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(QStringLiteral("ODBCSYSINI"),
                               writeConfiguration(folder.path(), pooling));
            child.setProcessEnvironment(environment);
            child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
            child.start(QCoreApplication::applicationFilePath(),
                        {QStringLiteral("--measure"), source, directory, QString::number(count)});
            if (!child.waitForFinished(-1) || child.exitCode() != 0) {
                throw MigrationError(DbConnection::ProviderFailure,
                                     QStringLiteral("The measuring process failed"),
                                     QStringLiteral("bench_connections"));
            }
            for (const QByteArray& line : child.readAllStandardOutput().split('\n')) {
                const QStringList fields = QString::fromUtf8(line).split(QLatin1Char('\t'));
                if (fields.size() == 3) {
                    (pooling ? pooled : fresh)[fields.at(0)] = fields;
                    if (!pooling) {
                        order << fields.at(0);
                    }
                }
            }
        }
        for (const QString& name : order) {
            std::printf("%-30s %18s %18s %18s\n", qPrintable(name), qPrintable(fresh[name].at(1)),
                        qPrintable(pooled[name].at(1)), qPrintable(fresh[name].at(2)));
        }
    } catch (const MigrationError& error) {
        std::fprintf(stderr, "bench_connections: %s\n", qPrintable(error.description()));
        status = 1;
    }
    dropDatabase(server, sourceName);
    dropDatabase(server, directoryName);
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    try {
        if (arguments.size() == 5 && arguments.at(1) == QLatin1String("--measure")) {
            return measure(arguments.at(2), arguments.at(3), arguments.at(4).toInt());
        }
        Server server;
        server.address =
            arguments.size() > 1 ? arguments.at(1) : qEnvironmentVariable("VARNEL_TEST_SQLSERVER");
        server.login =
            qEnvironmentVariable("VARNEL_TEST_SQLSERVER_LOGIN", QStringLiteral("sa_test"));
        server.password =
            qEnvironmentVariable("VARNEL_TEST_SQLSERVER_PASSWORD", QStringLiteral("TestPass123"));
        const int count = arguments.size() > 2 ? arguments.at(2).toInt() : 50;
        if (server.address.isEmpty() || count <= 0) {
            std::fprintf(stderr, "usage: bench_connections host,port [operations per figure]\n"
                                 "(or set VARNEL_TEST_SQLSERVER)\n");
            return 2;
        }
        return run(server, count);
    } catch (const MigrationError& error) {
        std::fprintf(stderr, "bench_connections: %s\n", qPrintable(error.description()));
        return 1;
    }
}

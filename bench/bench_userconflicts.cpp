// Times the conflict check on the embedded engine against plain bulk inserts of the
// same rows. Usage: bench_userconflicts [users per side, default 50000]
#include "db/ConnectionString.h"
#include "db/DbConnection.h"
#include "db/UserConflicts.h"
#include "db/VarnelBuilder.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSqlQuery>
#include <QTemporaryDir>

#include <cstdio>

namespace {

VarnelSource makeSource(int count)
{
    VarnelSource source;
    source.users.reserve(count);
    for (int i = 1; i <= count; ++i) {
        VarnelSourceUser user;
        user.userID = i;
        user.givenName = QStringLiteral("Given%1").arg(i);
        user.familyName = QStringLiteral("O'Family%1").arg(i);
        user.loginID = QStringLiteral("user%1").arg(i);
        user.settings = {
            {QStringLiteral("UserMailHomeServer"), QStringLiteral("MAIL01")},
            {QStringLiteral("UserLogin"), QStringLiteral("user%1@example.com").arg(i)}};
        source.users.append(user);
    }
    return source;
}

// Every second Directory user shares a login ID with a source user, in upper case.
CollectionPtr makeDirectory(int count)
{
    const CollectionPtr loginIDs = Collection::create();
    const CollectionPtr names = Collection::create();
    const CollectionPtr ids = Collection::create();
    for (int i = 1; i <= count; ++i) {
        const int id = 100000 + i;
        const QString key = QString::number(id);
        ids->add(id, key);
        names->add(QStringLiteral("Family%1 Given%1").arg(i), key);
        loginIDs->add(i % 2 == 0 ? QStringLiteral("USER%1").arg(i) : QStringLiteral("dir%1").arg(i),
                      key);
    }
    const CollectionPtr users = Collection::create();
    users->add(toVariant(loginIDs), QStringLiteral("LoginIDs"));
    users->add(toVariant(names), QStringLiteral("Names"));
    users->add(toVariant(ids), QStringLiteral("IDs"));
    return users;
}

// The yardstick: the same rows through a prepared insert into two plain tables.
qint64 plainInserts(const QString& connectionString, int count)
{
    QElapsedTimer timer;
    timer.start();
    DbConnection connection(connectionString);
    connection.beginTransaction();
    connection.execute(
        QStringLiteral("CREATE TABLE Plain (UserID INTEGER, Name TEXT, LoginID TEXT)"));
    QSqlQuery insert(connection.database());
    insert.prepare(QStringLiteral("INSERT INTO Plain VALUES (?, ?, ?)"));
    for (int side = 0; side < 2; ++side) {
        for (int i = 1; i <= count; ++i) {
            insert.bindValue(0, side * 100000 + i);
            insert.bindValue(1, QStringLiteral("Given%1 Family%1").arg(i));
            insert.bindValue(2, QStringLiteral("user%1").arg(i));
            insert.exec();
        }
    }
    insert.finish();
    connection.commit();
    connection.execute(QStringLiteral("DROP TABLE Plain"));
    return timer.elapsed();
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 50000;
    QTemporaryDir dir;

    QElapsedTimer timer;
    timer.start();
    const QString source =
        VarnelBuilder::Write(dir.path(), QStringLiteral("Varnel"), makeSource(count));
    std::printf("build source database, %d users: %lld ms\n", count, timer.elapsed());

    const CollectionPtr directory = makeDirectory(count);
    const qint64 plain = plainInserts(source, count);
    std::printf("plain bulk inserts, 2 x %d rows:    %lld ms\n", count, plain);

    timer.restart();
    const CollectionPtr conflicts = AdministrativeDBCon::CheckForUserConflicts(source, directory);
    const qint64 check = timer.elapsed();
    std::printf("CheckForUserConflicts, %d x %d:  %lld ms, %d conflicts\n", count, count, check,
                conflicts->collection(1)->count());
    std::printf("ratio: %.2f\n", plain > 0 ? double(check) / double(plain) : 0.0);
    return 0;
}

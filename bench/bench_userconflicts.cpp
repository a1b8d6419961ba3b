// Times the conflict check and the name sort on the embedded engine against plain
// bulk inserts of the same rows in one transaction, the floor they are compared with.
// Usage: bench_userconflicts [users per side ...], default 1000 10000 50000.
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

// Records for the name sort: "Lastname" and "Firstname", in an order that is not
// the sorted one.
CollectionPtr makeSortInput(int count)
{
    const CollectionPtr users = Collection::create();
    for (int i = 1; i <= count; ++i) {
        const CollectionPtr user = Collection::create();
        const int n = (i * 7919) % count;
        user->add(QStringLiteral("Family%1").arg(n), QStringLiteral("Lastname"));
        user->add(QStringLiteral("Given%1").arg(i), QStringLiteral("Firstname"));
        users->add(toVariant(user));
    }
    return users;
}

// The floor: the same rows through a prepared insert into a plain table, once per
// side, in one transaction.
qint64 plainInserts(const QString& connectionString, int count, int sides)
{
    QElapsedTimer timer;
    timer.start();
    DbConnection connection(connectionString);
    connection.beginTransaction();
    connection.execute(
        QStringLiteral("CREATE TABLE Plain (UserID INTEGER, Name TEXT, LoginID TEXT)"));
    QSqlQuery insert(connection.database());
    insert.prepare(QStringLiteral("INSERT INTO Plain VALUES (?, ?, ?)"));
    for (int side = 0; side < sides; ++side) {
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

double rowsPerSecond(qint64 rows, qint64 milliseconds)
{
    return milliseconds > 0 ? double(rows) * 1000.0 / double(milliseconds) : 0.0;
}

void measure(int count)
{
    QTemporaryDir dir;
    QElapsedTimer timer;
    timer.start();
    const QString source =
        VarnelBuilder::Write(dir.path(), QStringLiteral("Varnel"), makeSource(count));
    const qint64 build = timer.elapsed();

    const CollectionPtr directory = makeDirectory(count);
    const qint64 plainBoth = plainInserts(source, count, 2);
    timer.restart();
    const CollectionPtr conflicts = AdministrativeDBCon::CheckForUserConflicts(source, directory);
    const qint64 check = timer.elapsed();

    const CollectionPtr sortInput = makeSortInput(count);
    const qint64 plainOne = plainInserts(source, count, 1);
    timer.restart();
    const CollectionPtr sorted = AdministrativeDBCon::SortUsersByName(sortInput, source);
    const qint64 sort = timer.elapsed();

    std::printf("%7d users a side (source database written in %lld ms)\n", count, build);
    std::printf("  conflict detection %7lld ms %10.0f rows/s   bulk inserts %6lld ms   ratio "
                "%.2f   (%d conflicts)\n",
                check, rowsPerSecond(2LL * count, check), plainBoth,
                plainBoth > 0 ? double(check) / double(plainBoth) : 0.0,
                conflicts->collection(1)->count());
    std::printf("  name sort          %7lld ms %10.0f rows/s   bulk inserts %6lld ms   ratio "
                "%.2f   (%d sorted)\n",
                sort, rowsPerSecond(count, sort), plainOne,
                plainOne > 0 ? double(sort) / double(plainOne) : 0.0, sorted->count());
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QList<int> counts;
    for (int i = 1; i < argc; ++i) {
        const int count = QString::fromLocal8Bit(argv[i]).toInt();
        if (count > 0) {
            counts.append(count);
        }
    }
    if (counts.isEmpty()) {
        counts = {1000, 10000, 50000};
    }
    for (const int count : counts) {
        measure(count);
    }
    return 0;
}

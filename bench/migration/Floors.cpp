#include "Floors.h"

#include "db/DbConnection.h"

#include <QElapsedTimer>
#include <QList>
#include <QPair>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QStringList>

namespace {

QSqlDatabase openPlain(const QString& file, const QString& name)
{
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
    db.setDatabaseName(file);
    db.open();
    return db;
}

} // namespace

long long embeddedFloor(const QString& before, const QString& after, long long& rows)
{
    long long elapsed = 0;
    rows = 0;
    {
        QSqlDatabase source = openPlain(after, QStringLiteral("floor-after"));
        QSqlDatabase target = openPlain(before, QStringLiteral("floor-before"));
        QSqlQuery tables(source);
        tables.exec(QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'table' "
                                   "AND name LIKE 'fwt%' ORDER BY rowid"));
        QList<QPair<QString, QList<QSqlRecord>>> added;
        while (tables.next()) {
            const QString table = tables.value(0).toString();
            QSqlQuery count(target);
            count.exec(QStringLiteral("SELECT COUNT(*) FROM ") + table);
            count.next();
            const long long existing = count.value(0).toLongLong();
            QSqlQuery read(source);
            read.setForwardOnly(true);
            read.exec(QStringLiteral("SELECT * FROM ") + table +
                      QStringLiteral(" ORDER BY rowid LIMIT -1 OFFSET ") +
                      QString::number(existing));
            QList<QSqlRecord> newRows;
            while (read.next()) {
                newRows << read.record();
            }
            if (!newRows.isEmpty()) {
                added.append({table, newRows});
            }
        }

        QElapsedTimer timer;
        timer.start();
        target.transaction();
        for (const auto& [table, tableRows] : added) {
            const QSqlRecord& shape = tableRows.first();
            QSqlQuery insert(target);
            insert.prepare(QStringLiteral("INSERT INTO ") + table + QStringLiteral(" VALUES (") +
                           QStringList(shape.count(), QStringLiteral("?")).join(u',') + u')');
            for (const QSqlRecord& row : tableRows) {
                for (int i = 0; i < row.count(); ++i) {
                    insert.bindValue(i, row.value(i));
                }
                insert.exec();
                ++rows;
            }
        }
        target.commit();
        elapsed = timer.elapsed();
        source.close();
        target.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("floor-after"));
    QSqlDatabase::removeDatabase(QStringLiteral("floor-before"));
    return elapsed;
}

namespace {

// Inserts the rows through statements of up to 100 rows (and 2,100 values) each.
void insertRows(DbConnection& connection, const QString& table, const QList<QSqlRecord>& rows)
{
    if (rows.isEmpty()) {
        return;
    }
    const int columns = rows.first().count();
    QStringList names;
    for (int i = 0; i < columns; ++i) {
        names << rows.first().fieldName(i);
    }
    const int perStatement = qMin(100, 2100 / columns);
    const QString tuple = u'(' + QStringList(columns, QStringLiteral("?")).join(u',') + u')';
    for (qsizetype first = 0; first < rows.size(); first += perStatement) {
        const qsizetype count = qMin<qsizetype>(perStatement, rows.size() - first);
        QVariantList values;
        for (qsizetype r = first; r < first + count; ++r) {
            for (int i = 0; i < columns; ++i) {
                values << rows.at(r).value(i);
            }
        }
        connection.execute(QStringLiteral("INSERT INTO ") + table + u'(' + names.join(u',') +
                               QStringLiteral(") VALUES ") +
                               QStringList(int(count), tuple).join(u','),
                           values);
    }
}

} // namespace

long long sqlServerFloor(const QString& runDirectory, const QString& floorDirectory,
                         int firstNewUserID, long long& rows)
{
    QList<QSqlRecord> users;
    QList<QSqlRecord> services;
    QList<QSqlRecord> settings;
    {
        DbConnection run(runDirectory);
        const QVariantList first = {firstNewUserID};
        users = run.select(
            QStringLiteral("SELECT * FROM fwtUser WHERE UserID >= ? ORDER BY UserID"), first);
        services = run.select(QStringLiteral("SELECT * FROM fwtService WHERE OwnerUserID >= ? "
                                             "ORDER BY ServiceID"),
                              first);
        settings =
            run.select(QStringLiteral("SELECT s.* FROM fwtServiceSetting s JOIN fwtService v ON "
                                      "v.ServiceID = s.ServiceID WHERE v.OwnerUserID >= ? "
                                      "ORDER BY s.ServiceID, s.Position"),
                       first);
    }
    rows = users.size() + services.size() + settings.size();
    QElapsedTimer timer;
    timer.start();
    DbConnection floor(floorDirectory);
    floor.inTransaction([&] {
        // The default service points at a service written after the user.
        insertRows(floor, QStringLiteral("fwtUser"), [&] {
            QList<QSqlRecord> plain = users;
            for (QSqlRecord& user : plain) {
                user.setNull(QStringLiteral("DefaultServiceID"));
            }
            return plain;
        }());
        insertRows(floor, QStringLiteral("fwtService"), services);
        insertRows(floor, QStringLiteral("fwtServiceSetting"), settings);
    });
    return timer.elapsed();
}

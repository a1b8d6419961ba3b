#include "db/AdministrativeSql.h"
#include "db/DbConnection.h"
#include "db/UserConflicts.h"
#include "db/VarnelBuilder.h"
#include "frame/MigrationError.h"

#include <QSqlDatabase>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QTest>

using namespace AdministrativeDBCon;

namespace {

struct Person
{
    int id;
    QString first;
    QString last;
    QString login;
};

QString writeSource(const QString& folder, const QList<Person>& people)
{
    VarnelSource source;
    for (const Person& p : people) {
        VarnelSourceUser user;
        user.userID = p.id;
        user.givenName = p.first;
        user.familyName = p.last;
        user.loginID = p.login;
        source.users.append(user);
    }
    return VarnelBuilder::Write(folder, QStringLiteral("Varnel"), source);
}

// The shape GetDirectoryUsers returns: "LoginIDs", "Names" (last name first), "IDs",
// parallel and keyed by the user ID.
CollectionPtr directoryUsers(const QList<Person>& people)
{
    const CollectionPtr loginIDs = Collection::create();
    const CollectionPtr names = Collection::create();
    const CollectionPtr ids = Collection::create();
    for (const Person& p : people) {
        const QString key = QString::number(p.id);
        ids->add(p.id, key);
        names->add(p.last + QLatin1Char(' ') + p.first, key);
        loginIDs->add(p.login, key);
    }
    const CollectionPtr users = Collection::create();
    users->add(toVariant(loginIDs), QStringLiteral("LoginIDs"));
    users->add(toVariant(names), QStringLiteral("Names"));
    users->add(toVariant(ids), QStringLiteral("IDs"));
    return users;
}

QStringList workingTables(const QString& connectionString)
{
    DbConnection connection(connectionString);
    QStringList names;
    for (const QSqlRecord& row : connection.select(QStringLiteral(
             "SELECT name FROM sqlite_master WHERE type = 'table' AND name LIKE 'MT!_%' "
             "ESCAPE '!' ORDER BY name"))) {
        names.append(row.value(0).toString());
    }
    return names;
}

// "va/ze/vaName/zeName/login" per conflict, in result order, with the keys checked.
QStringList describe(const CollectionPtr& result)
{
    const QStringList lists = {QStringLiteral("VaUserID"), QStringLiteral("ZeUserID"),
                               QStringLiteral("VaName"), QStringLiteral("ZeName"),
                               QStringLiteral("LoginID")};
    if (result->keys() != lists) {
        return {QStringLiteral("wrong lists: ") + result->keys().join(QLatin1Char(','))};
    }
    QStringList rows;
    const CollectionPtr va = result->collection(1);
    for (int i = 1; i <= va->count(); ++i) {
        QStringList fields;
        for (const QString& list : lists) {
            const CollectionPtr c = result->collection(list);
            if (c->count() != va->count() || c->key(i) != va->item(i).toString()) {
                return {QStringLiteral("wrong key in ") + list};
            }
            fields.append(c->item(i).toString());
        }
        rows.append(fields.join(QLatin1Char('/')));
    }
    return rows;
}

CollectionPtr record(const QString& first, const QString& last)
{
    const CollectionPtr r = Collection::create();
    r->add(first, QStringLiteral("FirstName"));
    r->add(last, QStringLiteral("LastName"));
    return r;
}

CollectionPtr list(const QList<CollectionPtr>& records)
{
    const CollectionPtr c = Collection::create();
    for (const CollectionPtr& r : records) {
        c->add(toVariant(r));
    }
    return c;
}

} // namespace

class TestUserConflicts : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void conflicts_data();
    void conflicts();
    void quoteInLoginID();
    void leftoverTables();
    void oneSourceUserTwoTargets();
    void sortByName();
    void sortFailures();
    void sqlServerBatches();

private:
    QTemporaryDir* mDir = nullptr;
};

void TestUserConflicts::init()
{
    mDir = new QTemporaryDir;
    QVERIFY(mDir->isValid());
}

void TestUserConflicts::cleanup()
{
    QCOMPARE(QSqlDatabase::connectionNames(), QStringList());
    delete mDir;
    mDir = nullptr;
}

void TestUserConflicts::conflicts_data()
{
    QTest::addColumn<QList<Person>>("source");
    QTest::addColumn<QList<Person>>("target");
    QTest::addColumn<QStringList>("expected");

    const QList<Person> target = {{101, "Ann", "Adams", "aadams"},
                                  {102, "Bob", "Brown", "BBROWN"},
                                  {103, "Dee", "D'Arcy", "ddarcy"},
                                  {104, "Eve", "Evans", "eve"}};
    QTest::newRow("planted") << QList<Person>{{1, "Ann", "Adams", "aadams"},
                                              {2, "Robert", "Brown", "bbrown"}, // case only
                                              {3, "Carl", "Cole", "ccole"},     // no conflict
                                              {4, "Dana", "O'Day",
                                               "ddarcy"}, // quotes in both names
                                              {5, "Eve", "Evans", "eve "}}
                             // trailing blank differs here
                             << target
                             << QStringList{"1/101/Ann Adams/Adams Ann/aadams",
                                            "2/102/Robert Brown/Brown Bob/bbrown",
                                            "4/103/Dana O'Day/D'Arcy Dee/ddarcy"};
    QTest::newRow("no source users") << QList<Person>{} << target << QStringList{};
    QTest::newRow("no target users")
        << QList<Person>{{1, "Ann", "Adams", "aadams"}} << QList<Person>{} << QStringList{};
    QTest::newRow("source order by user ID")
        << QList<Person>{{9, "Zed", "Z", "EVE"}, {3, "Al", "A", "Aadams"}} << target
        << QStringList{"3/101/Al A/Adams Ann/Aadams", "9/104/Zed Z/Evans Eve/EVE"};
}

void TestUserConflicts::conflicts()
{
    QFETCH(QList<Person>, source);
    QFETCH(QList<Person>, target);
    QFETCH(QStringList, expected);
    const QString cs = writeSource(mDir->path(), source);
    const CollectionPtr result = CheckForUserConflicts(cs, directoryUsers(target));
    QCOMPARE(describe(result), expected);
    QCOMPARE(result->count(), 5);
    QCOMPARE(workingTables(cs), QStringList());
}

void TestUserConflicts::quoteInLoginID()
{
    const QList<Person> target = {{101, "Ann", "Adams", "aadams"}};
    const QString cs =
        writeSource(mDir->path(), {{1, "Ann", "Adams", "aadams"}, {2, "Pat", "O'Hara", "o'hara"}});
    try {
        CheckForUserConflicts(cs, directoryUsers(target));
        QFAIL("a login ID with a quote went through");
    } catch (const MigrationError& error) {
        // The database's own error: a syntax error in the insert batch.
        QVERIFY(error.number() != 0);
        QVERIFY2(error.description().contains(QStringLiteral("syntax error")),
                 qPrintable(error.description()));
    }
    // The quote on the target side fails the same way.
    const QString clean = writeSource(mDir->path(), {{1, "Ann", "Adams", "aadams"}});
    QVERIFY_THROWS_EXCEPTION(MigrationError,
                             CheckForUserConflicts(clean, directoryUsers({{7, "X", "Y", "x'y"}})));
}

void TestUserConflicts::leftoverTables()
{
    const QString cs = writeSource(mDir->path(), {{1, "Ann", "Adams", "aadams"}});
    {
        DbConnection connection(cs);
        connection.execute(QStringLiteral("CREATE TABLE MT_VarnelUsers (junk TEXT)"));
        connection.execute(QStringLiteral("INSERT INTO MT_VarnelUsers VALUES ('x')"));
        connection.execute(QStringLiteral(
            "CREATE TABLE MT_ZephrinUsers (UserID INTEGER, Name TEXT, LoginID TEXT)"));
        connection.execute(
            QStringLiteral("INSERT INTO MT_ZephrinUsers VALUES (1, 'Old', 'aadams')"));
    }
    // A failed run leaves its tables behind too.
    QVERIFY_THROWS_EXCEPTION(MigrationError,
                             CheckForUserConflicts(cs, directoryUsers({{5, "Q", "Q", "q'q"}})));
    QCOMPARE(workingTables(cs),
             QStringList({QStringLiteral("MT_VarnelUsers"), QStringLiteral("MT_ZephrinUsers")}));

    const CollectionPtr result =
        CheckForUserConflicts(cs, directoryUsers({{5, "Ann", "Adams", "AADAMS"}}));
    QCOMPARE(describe(result), QStringList{QStringLiteral("1/5/Ann Adams/Adams Ann/aadams")});
    QCOMPARE(workingTables(cs), QStringList());
}

void TestUserConflicts::oneSourceUserTwoTargets()
{
    const QString cs = writeSource(mDir->path(), {{1, "Ann", "Adams", "ann"}});
    try {
        CheckForUserConflicts(cs, directoryUsers({{10, "A", "A", "ANN"}, {11, "B", "B", "Ann"}}));
        QFAIL("a source user matching two targets went through");
    } catch (const MigrationError& error) {
        QCOMPARE(error.number(), long(ErrorNumber::DuplicateKey));
    }
}

void TestUserConflicts::sortByName()
{
    const QString cs = writeSource(mDir->path(), {});
    const CollectionPtr young = record(QStringLiteral("Yan"), QStringLiteral("Young"));
    const CollectionPtr vries = record(QStringLiteral("Jan"), QStringLiteral("de Vries"));
    const CollectionPtr adams = record(QStringLiteral("Ann"), QStringLiteral("ADAMS"));
    const CollectionPtr adams2 = record(QStringLiteral("Ann"), QStringLiteral("Adams"));
    const CollectionPtr brown = record(QStringLiteral("bob"), QStringLiteral("Brown"));
    const CollectionPtr input = list({young, vries, adams, brown, adams2});

    const CollectionPtr sorted = SortUsersByName(input, cs);
    QStringList names;
    for (int i = 1; i <= sorted->count(); ++i) {
        QCOMPARE(sorted->key(i), QString::number(i));
        names.append(sorted->collection(i)->item(QStringLiteral("FullName")).toString());
    }
    // "de Vries" sorts among the upper-case names; equal names keep both records.
    QCOMPARE(names, QStringList({QStringLiteral("ADAMS, Ann"), QStringLiteral("Adams, Ann"),
                                 QStringLiteral("Brown, bob"), QStringLiteral("de Vries, Jan"),
                                 QStringLiteral("Young, Yan")}));
    // The records are the input's own, now carrying "FullName".
    QVERIFY(sorted->collection(4) == vries);
    QCOMPARE(vries->item(QStringLiteral("FullName")).toString(), QStringLiteral("de Vries, Jan"));
    QCOMPARE(input->count(), 5);
    QCOMPARE(workingTables(cs), QStringList());

    QCOMPARE(SortUsersByName(Collection::create(), cs)->count(), 0);
    QCOMPARE(workingTables(cs), QStringList());
}

void TestUserConflicts::sortFailures()
{
    const QString cs = writeSource(mDir->path(), {});
    // Names are not quoted: a "'" breaks the batch, and the table waits for the next call.
    QVERIFY_THROWS_EXCEPTION(
        MigrationError,
        SortUsersByName(list({record(QStringLiteral("Pat"), QStringLiteral("O'Hara"))}), cs));
    QCOMPARE(workingTables(cs), QStringList{QStringLiteral("MT_SortTable")});
    const CollectionPtr sorted =
        SortUsersByName(list({record(QStringLiteral("B"), QStringLiteral("B")),
                              record(QStringLiteral("A"), QStringLiteral("A"))}),
                        cs);
    QCOMPARE(sorted->collection(1)->item(QStringLiteral("FullName")).toString(),
             QStringLiteral("A, A"));
    QCOMPARE(workingTables(cs), QStringList());
}

void TestUserConflicts::sqlServerBatches()
{
    const CollectionPtr sourceUsers = Collection::create();
    const CollectionPtr ann = Collection::create();
    ann->add(3, QStringLiteral("UserID"));
    ann->add(QStringLiteral("Ann"), QStringLiteral("FirstName"));
    ann->add(QStringLiteral("O'Neil"), QStringLiteral("LastName"));
    ann->add(QStringLiteral("a'neil"), QStringLiteral("LoginID"));
    sourceUsers->add(toVariant(ann));
    const CollectionPtr bob = Collection::create();
    bob->add(12, QStringLiteral("UserID"));
    bob->add(QStringLiteral("Bob"), QStringLiteral("FirstName"));
    bob->add(QStringLiteral("Brown"), QStringLiteral("LastName"));
    bob->add(QStringLiteral("bbrown"), QStringLiteral("LoginID"));
    sourceUsers->add(toVariant(bob));

    QCOMPARE(VarnelUsersInsertBatch(VarnelUserRows(sourceUsers)),
             QStringLiteral("INSERT MT_VarnelUsers(UserID,[Name],LoginID) "
                            "Values(3,'Ann O''Neil','a'neil') "
                            "INSERT MT_VarnelUsers(UserID,[Name],LoginID) "
                            "Values(12,'Bob Brown','bbrown')"));
    QCOMPARE(ZephrinUsersInsertBatch(
                 ZephrinUserRows(directoryUsers({{101, "Dee", "D'Arcy", "ddarcy"}}))),
             QStringLiteral("INSERT MT_ZephrinUsers(UserID,[Name],LoginID) "
                            "Values(101,'D''Arcy Dee','ddarcy')"));
    QCOMPARE(VarnelUsersInsertBatch({}), QString());

    const CollectionPtr users = list({record(QStringLiteral("Ann"), QStringLiteral("O'Neil")),
                                      record(QStringLiteral("Bob"), QStringLiteral("Brown"))});
    QCOMPARE(SortTableInsertBatch(SortNames(users)),
             QStringLiteral("Insert MT_SortTable(UserName,[Index]) VALUES('O'Neil, Ann',1) "
                            "Insert MT_SortTable(UserName,[Index]) VALUES('Brown, Bob',2)"));

    QCOMPARE(AdministrativeSql::SelectConflicts,
             QStringLiteral("select t1.userid as VaUserID,t2.userid as ZeUserID,t1.[name] as "
                            "VaName,t2.[name] as ZeName,t1.LoginID from MT_VarnelUsers as "
                            "t1,MT_ZephrinUSers as t2 WHERE t1.LoginID=t2.LoginID"));
    QCOMPARE(AdministrativeSql::CreateSortTable,
             QStringLiteral(
                 "if exists (select * from dbo.sysobjects where id = "
                 "object_id(N'[dbo].[MT_SortTable]') and OBJECTPROPERTY(id, N'IsUserTable') = 1) "
                 "drop table [dbo].[MT_SortTable] CREATE TABLE [dbo].[MT_SortTable] ([UserName] "
                 "[varchar] (100) COLLATE Latin1_General_CI_AS NOT NULL , [Index] [Int] NOT NULL) "
                 "ON [PRIMARY] ALTER TABLE [dbo].[MT_SortTable] WITH NOCHECK ADD CONSTRAINT "
                 "[PK_MT_SortTable] PRIMARY KEY  CLUSTERED ([Index])  ON [PRIMARY]"));
    QCOMPARE(AdministrativeSql::SelectSorted,
             QStringLiteral("Select UserName,[Index] From MT_SortTable order by UserName"));
}

QTEST_GUILESS_MAIN(TestUserConflicts)
#include "tst_userconflicts.moc"

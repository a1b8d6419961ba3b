#include "db/AdministrativeSql.h"
#include "db/DbConnection.h"
#include "db/UserConflicts.h"
#include "db/VarnelBuilder.h"
#include "frame/MigrationError.h"
#include "support/EmbeddedDatabase.h"

#include <QRegularExpression>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTest>

using namespace AdministrativeDBCon;
using namespace Qt::Literals::StringLiterals;

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
    return VarnelBuilder::Write(folder, u"Varnel"_s, source);
}

// The shape GetDirectoryUsers returns: "LoginIDs", "Names" (last name first), "IDs",
// parallel and keyed by the user ID.
CollectionPtr directoryUsers(const QList<Person>& people)
{
    const CollectionPtr lists[3] = {Collection::create(), Collection::create(),
                                    Collection::create()};
    for (const Person& p : people) {
        const QString key = QString::number(p.id);
        lists[0]->add(p.login, key);
        lists[1]->add(p.last + ' ' + p.first, key);
        lists[2]->add(p.id, key);
    }
    const CollectionPtr users = Collection::create();
    users->add(toVariant(lists[0]), u"LoginIDs"_s);
    users->add(toVariant(lists[1]), u"Names"_s);
    users->add(toVariant(lists[2]), u"IDs"_s);
    return users;
}

QStringList workingTables(const QString& connectionString)
{
    return EmbeddedDatabase::tables(connectionString).filter(QRegularExpression(u"^MT_"_s));
}

// "va/ze/vaName/zeName/login" per conflict, in result order, with the keys checked.
QStringList describe(const CollectionPtr& result)
{
    const QStringList lists = {u"VaUserID"_s, u"ZeUserID"_s, u"VaName"_s, u"ZeName"_s,
                               u"LoginID"_s};
    if (result->keys() != lists) {
        return {u"wrong lists: "_s + result->keys().join(',')};
    }
    QStringList rows;
    const CollectionPtr va = result->collection(1);
    for (int i = 1; i <= va->count(); ++i) {
        QStringList fields;
        for (const QString& list : lists) {
            const CollectionPtr c = result->collection(list);
            if (c->count() != va->count() || c->key(i) != va->item(i).toString()) {
                return {u"wrong key in "_s + list};
            }
            fields.append(c->item(i).toString());
        }
        rows.append(fields.join('/'));
    }
    return rows;
}

// Records with a first and a last name, in a list.
CollectionPtr records(const QStringList& names)
{
    const CollectionPtr list = Collection::create();
    for (const QString& name : names) {
        const CollectionPtr r = Collection::create();
        r->add(name.section('/', 0, 0), u"FirstName"_s);
        r->add(name.section('/', 1), u"LastName"_s);
        list->add(toVariant(r));
    }
    return list;
}

} // namespace

class TestUserConflicts : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mDir = std::make_unique<QTemporaryDir>();
        QVERIFY(mDir->isValid());
    }

    void cleanup()
    {
        QCOMPARE(QSqlDatabase::connectionNames(), QStringList());
        mDir.reset();
    }

    void conflicts_data()
    {
        QTest::addColumn<QList<Person>>("source");
        QTest::addColumn<QList<Person>>("target");
        QTest::addColumn<QStringList>("expected");

        const QList<Person> target = {{101, "Ann", "Adams", "aadams"},
                                      {102, "Bob", "Brown", "BBROWN"},
                                      {103, "Dee", "D'Arcy", "ddarcy"},
                                      {104, "Eve", "Evans", "eve"},
                                      {105, "Emile", "Zola", "\u00c9mile"}};
        // Same login, in other case (accented capitals too), with quotes in both names,
        // or with a trailing blank, which the server's comparison ignores; an accent
        // alone or another login is no conflict.
        QTest::newRow("planted")
            << QList<Person>{{1, "Ann", "Adams", "aadams"},     {2, "Robert", "Brown", "bbrown"},
                             {3, "Carl", "Cole", "ccole"},      {4, "Dana", "O'Day", "ddarcy"},
                             {5, "Eve", "Evans", "eve "},       {6, "Emil", "Zolan", "emile"},
                             {7, "Emile", "Zola", "\u00e9mile"}}
            << target
            << QStringList{"1/101/Ann Adams/Adams Ann/aadams",
                           "2/102/Robert Brown/Brown Bob/bbrown",
                           "4/103/Dana O'Day/D'Arcy Dee/ddarcy", "5/104/Eve Evans/Evans Eve/eve ",
                           u"7/105/Emile Zola/Zola Emile/\u00e9mile"_s};
        QTest::newRow("no source users") << QList<Person>{} << target << QStringList{};
        QTest::newRow("no target users")
            << QList<Person>{{1, "Ann", "Adams", "aadams"}} << QList<Person>{} << QStringList{};
        QTest::newRow("source order by user ID")
            << QList<Person>{{9, "Zed", "Z", "EVE"}, {3, "Al", "A", "Aadams"}} << target
            << QStringList{"3/101/Al A/Adams Ann/Aadams", "9/104/Zed Z/Evans Eve/EVE"};
    }

    void conflicts()
    {
        QFETCH(QList<Person>, source);
        QFETCH(QList<Person>, target);
        const QString cs = writeSource(mDir->path(), source);
        const CollectionPtr result = CheckForUserConflicts(cs, directoryUsers(target));
        QTEST(describe(result), "expected"); // five lists, empty ones too
        QCOMPARE(workingTables(cs), QStringList());
    }

    // A quote in a login ID fails with the database's own error, on either side; the
    // working tables left behind do not stop the next run, which removes them.
    void failedRunsLeaveTablesForTheNext()
    {
        const QList<Person> target = {{101, "Ann", "Adams", "aadams"}};
        const QString cs = writeSource(
            mDir->path(), {{1, "Ann", "Adams", "aadams"}, {2, "Pat", "O'Hara", "o'hara"}});
        try {
            CheckForUserConflicts(cs, directoryUsers(target));
            QFAIL("a login ID with a quote went through");
        } catch (const MigrationError& error) {
            QVERIFY(error.number() != 0);
            QVERIFY2(error.description().contains(u"syntax error"_s),
                     qPrintable(error.description()));
        }
        const QString clean = writeSource(mDir->path(), {{1, "Ann", "Adams", "aadams"}});
        {
            DbConnection connection(clean);
            connection.execute(u"CREATE TABLE MT_VarnelUsers (junk TEXT)"_s);
            connection.execute(u"INSERT INTO MT_VarnelUsers VALUES ('x')"_s);
        }
        QVERIFY_THROWS_EXCEPTION(
            MigrationError, CheckForUserConflicts(clean, directoryUsers({{7, "X", "Y", "x'y"}})));
        QCOMPARE(workingTables(clean), QStringList({"MT_VarnelUsers", "MT_ZephrinUsers"}));
        QCOMPARE(describe(CheckForUserConflicts(clean, directoryUsers({{5, "A", "B", "AADAMS"}}))),
                 QStringList{"1/5/Ann Adams/B A/aadams"});
        QCOMPARE(workingTables(clean), QStringList());

        // One source user matching two Directory users is a duplicate key.
        try {
            CheckForUserConflicts(clean, directoryUsers({{10, "A", "A", "AADAMS"},
                                                         {11, "B", "B", "x"},
                                                         {12, "C", "C", "aadams"}}));
            QFAIL("a source user matching two targets went through");
        } catch (const MigrationError& error) {
            QCOMPARE(error.number(), long(ErrorNumber::DuplicateKey));
        }
    }

    void sortByName()
    {
        const QString cs = writeSource(mDir->path(), {});
        const CollectionPtr input = records(
            {"Yan/Young", "Jan/de Vries", "Ann/ADAMS", "bob/Brown", "Ann/Adams", "Eva/\u00c5berg"});
        const CollectionPtr vries = input->collection(2);
        const CollectionPtr sorted = SortUsersByName(input, cs);
        QStringList names;
        for (int i = 1; i <= sorted->count(); ++i) {
            QCOMPARE(sorted->key(i), QString::number(i));
            names.append(sorted->collection(i)->item(u"FullName"_s).toString());
        }
        // "de Vries" sorts among the upper-case names and an accented capital among its
        // letter, in dictionary order; equal names keep both records.
        QCOMPARE(names, QStringList({u"\u00c5berg, Eva"_s, "ADAMS, Ann", "Adams, Ann", "Brown, bob",
                                     "de Vries, Jan", "Young, Yan"}));
        // The records are the input's own, now carrying "FullName".
        QVERIFY(sorted->collection(5) == vries);
        QCOMPARE(vries->item(u"FullName"_s).toString(), u"de Vries, Jan"_s);
        QCOMPARE(SortUsersByName(Collection::create(), cs)->count(), 0);
        QCOMPARE(workingTables(cs), QStringList());

        // Names are not quoted: a "'" breaks the batch, and the table waits for the next call.
        QVERIFY_THROWS_EXCEPTION(MigrationError, SortUsersByName(records({"Pat/O'Hara"}), cs));
        QCOMPARE(workingTables(cs), QStringList{"MT_SortTable"});
        QCOMPARE(SortUsersByName(records({"B/B", "A/A"}), cs)
                     ->collection(1)
                     ->item(u"FullName"_s)
                     .toString(),
                 u"A, A"_s);
        QCOMPARE(workingTables(cs), QStringList());
    }

    void sqlServerBatches()
    {
        const CollectionPtr sourceUsers = Collection::create();
        for (const Person& p :
             QList<Person>{{3, "Ann", "O'Neil", "a'neil"}, {12, "B", "C", "bc"}}) {
            const CollectionPtr user = Collection::create();
            user->add(p.id, u"UserID"_s);
            user->add(p.first, u"FirstName"_s);
            user->add(p.last, u"LastName"_s);
            user->add(p.login, u"LoginID"_s);
            sourceUsers->add(toVariant(user));
        }
        QCOMPARE(VarnelUsersInsertBatch(VarnelUserRows(sourceUsers)),
                 u"INSERT MT_VarnelUsers(UserID,[Name],LoginID) Values(3,'Ann O''Neil','a'neil') "
                 "INSERT MT_VarnelUsers(UserID,[Name],LoginID) Values(12,'B C','bc')"_s);
        QCOMPARE(ZephrinUsersInsertBatch(
                     ZephrinUserRows(directoryUsers({{101, "Dee", "D'Arcy", "dd"}}))),
                 u"INSERT MT_ZephrinUsers(UserID,[Name],LoginID) Values(101,'D''Arcy Dee','dd')"_s);
        QCOMPARE(VarnelUsersInsertBatch({}), QString());
        QCOMPARE(SortTableInsertBatch(SortNames(records({"Ann/O'Neil", "Bob/Brown"}))),
                 u"Insert MT_SortTable(UserName,[Index]) VALUES('O'Neil, Ann',1) "
                 "Insert MT_SortTable(UserName,[Index]) VALUES('Brown, Bob',2)"_s);

        QCOMPARE(
            AdministrativeSql::SelectConflicts,
            u"select t1.userid as VaUserID,t2.userid as ZeUserID,t1.[name] as VaName,t2.[name] "
            "as ZeName,t1.LoginID from MT_VarnelUsers as t1,MT_ZephrinUSers as t2 WHERE "
            "t1.LoginID=t2.LoginID"_s);
        QCOMPARE(AdministrativeSql::CreateSortTable,
                 u"if exists (select * from dbo.sysobjects where id = "
                 "object_id(N'[dbo].[MT_SortTable]') and OBJECTPROPERTY(id, N'IsUserTable') = 1) "
                 "drop table [dbo].[MT_SortTable] CREATE TABLE [dbo].[MT_SortTable] ([UserName] "
                 "[varchar] (100) COLLATE Latin1_General_CI_AS NOT NULL , [Index] [Int] NOT NULL) "
                 "ON [PRIMARY] ALTER TABLE [dbo].[MT_SortTable] WITH NOCHECK ADD CONSTRAINT "
                 "[PK_MT_SortTable] PRIMARY KEY  CLUSTERED ([Index])  ON [PRIMARY]"_s);
        QCOMPARE(AdministrativeSql::SelectSorted,
                 u"Select UserName,[Index] From MT_SortTable order by UserName"_s);
    }

private:
    std::unique_ptr<QTemporaryDir> mDir;
};

QTEST_GUILESS_MAIN(TestUserConflicts)
#include "tst_userconflicts.moc"

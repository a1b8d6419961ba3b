#include "engine/MigrationEngine.h"
#include "engine/StatusReport.h"
#include "frame/GlobalVariables.h"
#include "frame/StatusHolder.h"
#include "support/EmbeddedDatabase.h"
#include "support/Golden.h"
#include "support/RunState.h"

#include <QFile>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

CollectionPtr record(const QList<std::pair<QString, QVariant>>& members)
{
    const CollectionPtr result = Collection::create();
    for (const auto& [key, value] : members) {
        result->add(value, key);
    }
    return result;
}

CollectionPtr store(const QString& server, bool status, int type)
{
    return record({{u"Server"_s, server},
                   {u"Status"_s, status},
                   {u"Type"_s, QVariant::fromValue<qint16>(static_cast<qint16>(type))}});
}

// A user record as the run leaves it.
CollectionPtr user(const QString& first, const QString& last, int id, int action, bool status)
{
    return record({{u"Firstname"_s, first},
                   {u"Lastname"_s, last},
                   {u"LoginID"_s, u"login%1"_s.arg(id)},
                   {u"VaUserID"_s, id},
                   {u"Action"_s, action},
                   {u"Status"_s, status}});
}

// A grade record: every field good but the ones given, and their largest as Total.
CollectionPtr grades(const QMap<QString, int>& changed = {})
{
    const CollectionPtr result = Collection::create();
    for (const QString& field : {u"LoginID"_s, u"Password"_s, u"Exchange Server"_s, u"Alias"_s,
                                 u"Email"_s, u"GraphicsSetting"_s, u"LanguageID"_s, u"TimezoneID"_s,
                                 u"Enabled"_s, u"MobileTelephoneNumber"_s}) {
        result->add(changed.value(field), field);
    }
    const QList<int> values = changed.values();
    result->add(values.isEmpty() ? 0 : *std::max_element(values.begin(), values.end()), u"Total"_s);
    return result;
}

} // namespace

// Each report is compared whole with its file in tests/data/engine_report.
class EngineReportTest : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        StatusHolder::Reset();
        GlobalVariables::Reset();
        GlobalVariables::gsProgramFolder = folder.path();
        GlobalVariables::gsLogFileName = u"MigrationLog20031204153012.log"_s;
        QFile::remove(folder.filePath(GlobalVariables::gsLogFileName));
        engine = std::make_unique<MigrationEngine>(progress);
        engine->Load();
        engine->sVaConnectionString =
            EmbeddedDatabase::make(folder.path(), u"Varnel"_s, {u"CREATE TABLE VA_User (x)"_s});
    }
    void cleanup()
    {
        engine.reset();
        QFile::remove(folder.filePath(u"Varnel.sqlite"_s));
        QCOMPARE(QSqlDatabase::connectionNames(), QStringList());
    }

    // The stores by type; failed users are listed with their error only when the last
    // store gone through was not registered.
    void storesAndTheLastStoresStatus_data()
    {
        QTest::addColumn<bool>("addStores");
        QTest::addColumn<bool>("lastStore");
        QTest::newRow("last-store-registered") << true << true;
        QTest::newRow("last-store-failed") << true << false;
        QTest::newRow("no-store-page") << false << true;
    }
    void storesAndTheLastStoresStatus()
    {
        QFETCH(bool, addStores);
        QFETCH(bool, lastStore);
        GlobalVariables::gbAddStores = addStores;
        for (const CollectionPtr& result : {store(u"E2K1"_s, true, 2), store(u"E55A"_s, false, 5),
                                            store(u"E2K2"_s, lastStore, 2)}) {
            engine->cStoreResults->add(toVariant(result));
        }
        add(user(u"Bo"_s, u"Ek"_s, 1, 0, true), grades());
        add(user(u"Ann"_s, u"Lee"_s, 2, 1, false), grades());
        expectReport(u"stores-"_s + QTest::currentDataTag());
    }

    // Users by outcome: without a grade record successful, with a Total above 0 (1 or
    // 2) with warnings, a failed one with its warnings and error; one that could not be read
    // by its ID alone.
    void usersByOutcome()
    {
        add(user(u"Eva"_s, u"Berg"_s, 3, 7, false), grades({{u"LanguageID"_s, 1}}));
        add(user(u"Tom"_s, u"Hale"_s, 4, 0, true), grades({{u"GraphicsSetting"_s, 2}}));
        add(user(u"Bo"_s, u"Ek"_s, 5, 0, true), nullptr);
        add(user(QString(), QString(), 17, 4, false), nullptr);
        add(user(u"Kim"_s, u"Ray"_s, 6, 5, false),
            grades({{u"Alias"_s, 3}, {u"GraphicsSetting"_s, 2}}));
        add(user(u"Al"_s, u"Fox"_s, 7, 1, true), grades());
        add(user(u"Ida"_s, u"Moe"_s, 8, 0, true), grades({{u"MobileTelephoneNumber"_s, 1}}));
        expectReport(u"users-by-outcome"_s);
    }

    // The users whose login ID or password changed, in name order as the source sorts
    // them (case ignored); a long name pushes the next columns to the right. A second
    // report comes out the same. When the sort fails (the source is gone), the table
    // keeps the queue's order and the log says why.
    void changedLoginsAndPasswords_data()
    {
        QTest::addColumn<bool>("sourceGone");
        QTest::newRow("sorted") << false;
        QTest::newRow("unsorted") << true;
    }
    void changedLoginsAndPasswords()
    {
        QFETCH(bool, sourceGone);
        if (sourceGone) {
            engine->sVaConnectionString =
                EmbeddedDatabase::connectionString(folder.path(), u"Gone"_s);
        }
        engine->cMailQueue = Collection::create();
        queue(user(u"Zoe"_s, u"Adams"_s, 1, 7, true), u"ZoAd0"_s, u"k3Xq9a"_s);
        queue(user(u"Amanda Josephine Carolina"_s, u"Someone-Longfamilyname"_s, 2, 7, true),
              QString(), u"P4ssw0"_s);
        queue(user(u"bob"_s, u"smith"_s, 3, 7, true), QString(), QString());
        queue(user(u"Pat"_s, u"O'Brien"_s, 4, 7, true), QString(), u"pw4"_s);
        const QString name = u"changed-"_s + QTest::currentDataTag();
        expectReport(name);
        expectReport(name);
        QFile log(folder.filePath(GlobalVariables::gsLogFileName));
        QCOMPARE(log.open(QIODevice::ReadOnly), sourceGone);
        QCOMPARE_GOLDEN(
            Golden::fromCrlf(
                QString::fromLatin1(log.readAll()).replace(folder.path(), u"<folder>"_s)),
            u"engine_report/"_s + name + u".log"_s);
    }

private:
    void add(const CollectionPtr& result, const CollectionPtr& grade)
    {
        const QString key = result->item(u"VaUserID"_s).toString();
        engine->cUserResults->add(toVariant(result), key);
        if (grade) {
            engine->cUserWarnings->add(toVariant(grade), key);
        }
    }
    void queue(const CollectionPtr& result, const QString& login, const QString& password)
    {
        if (!login.isEmpty()) {
            result->add(login, u"LoginIDChanged"_s);
        }
        if (!password.isEmpty()) {
            result->add(password, u"PasswordClear"_s);
        }
        engine->cMailQueue->add(toVariant(result));
        engine->AddUserResult(result, result->item(u"VaUserID"_s).toInt());
    }
    void expectReport(const QString& name)
    {
        engine->GenerateReport();
        QCOMPARE_GOLDEN(Golden::fromCrlf(engine->gsReport), u"engine_report/"_s + name + u".txt"_s);
    }

    QTemporaryDir folder;
    RecordingProgress progress;
    std::unique_ptr<MigrationEngine> engine;
};

QTEST_GUILESS_MAIN(EngineReportTest)
#include "tst_engine_report.moc"

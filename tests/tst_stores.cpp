#include "directory/ComponentFactory.h"
#include "directory/TargetComponents.h"
#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"
#include "support/TargetDirectory.h"
#include "target/TargetComponentFactory.h"

#include <QTest>

// Stores of a real embedded Directory through the reference installation.
class TestStores : public QObject
{
    Q_OBJECT
private slots:
    void findStoreID_data();
    void findStoreID();
    void storeExists_data();
    void storeExists();
    void storeExistsFailurePrefixed();
    void addStoreSendsVersionTwice();
    void addStoreTwiceRefused();
};

namespace {

VariantTable storeList(const QList<std::pair<int, QString>>& stores)
{
    if (stores.isEmpty()) {
        return VariantTable();
    }
    VariantTable list(0, 3, static_cast<int>(stores.size()));
    for (int record = 0; record < stores.size(); ++record) {
        list.set(0, record, stores.at(record).first);
        list.set(1, record, stores.at(record).second);
    }
    return list;
}

// The real store-maintenance component, remembering what AddStoreEntry was given.
struct SeenEntry
{
    VariantTable record;
    VariantTable settings;
    QString reserved;
};

class RecordingStoreMaintenance : public StoreMaintenanceComponent
{
public:
    RecordingStoreMaintenance(std::unique_ptr<StoreMaintenanceComponent> real, SeenEntry& seen)
        : mReal(std::move(real)), mSeen(seen)
    {
    }
    VariantTable GetStores(int which, const QString& connectionString) override
    {
        return mReal->GetStores(which, connectionString);
    }
    QVariant AddStoreEntry(const VariantTable& record, const VariantTable& settings,
                           const QString& reserved, const QString& connectionString) override
    {
        mSeen = {record, settings, reserved};
        return mReal->AddStoreEntry(record, settings, reserved, connectionString);
    }

private:
    std::unique_ptr<StoreMaintenanceComponent> mReal;
    SeenEntry& mSeen;
};

class RecordingFactory : public TargetComponentFactory
{
public:
    explicit RecordingFactory(SeenEntry& seen) : TargetComponentFactory(QString()), mSeen(seen) {}
    std::unique_ptr<StoreMaintenanceComponent> CreateStoreMaintenance() override
    {
        return std::make_unique<RecordingStoreMaintenance>(
            TargetComponentFactory::CreateStoreMaintenance(), mSeen);
    }

private:
    SeenEntry& mSeen;
};

DirectoryDescription withStores(const QStringList& names)
{
    DirectoryDescription description;
    for (const QString& name : names) {
        description.stores << DirectoryDescription::Store{name, 2, QString()};
    }
    return description;
}

} // namespace

void TestStores::findStoreID_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<int>("expected");
    QTest::newRow("exact, other case") << QStringLiteral("mail01") << 11;
    QTest::newRow("first equal wins") << QStringLiteral("MAIL02") << 12;
    QTest::newRow("short name of server") << QStringLiteral("mail01.corp.example.com") << 11;
    QTest::newRow("short name of store") << QStringLiteral("exch") << 14;
    QTest::newRow("exact before short") << QStringLiteral("mail02.corp") << 15;
    QTest::newRow("none") << QStringLiteral("mail03") << -1;
    QTest::newRow("empty") << QString() << -1;
}

void TestStores::findStoreID()
{
    QFETCH(QString, server);
    QFETCH(int, expected);
    const VariantTable list = storeList({{11, QStringLiteral("MAIL01")},
                                         {12, QStringLiteral("mail02")},
                                         {13, QStringLiteral("Mail02")},
                                         {14, QStringLiteral("EXCH.corp.example.com")},
                                         {15, QStringLiteral("MAIL02.CORP")}});
    QCOMPARE(ZephrinFunctions::FindStoreID(server, list), expected);
    QCOMPARE(ZephrinFunctions::FindStoreID(server, VariantTable()), -1);
}

void TestStores::storeExists_data()
{
    QTest::addColumn<QStringList>("stores");
    QTest::addColumn<QString>("server");
    QTest::addColumn<bool>("exists");
    QTest::addColumn<QString>("serverAfter");
    QTest::newRow("other case") << QStringList{QStringLiteral("mail01")} << QStringLiteral("MAIL01")
                                << true << QStringLiteral("mail01");
    QTest::newRow("domain not shortened")
        << QStringList{QStringLiteral("mail01")} << QStringLiteral("Mail01.Example.com") << false
        << QStringLiteral("mail01.example.com");
    QTest::newRow("no stores") << QStringList{} << QStringLiteral("MAIL01") << false
                               << QStringLiteral("mail01");
}

void TestStores::storeExists()
{
    QFETCH(QStringList, stores);
    QFETCH(QString, server);
    QFETCH(bool, exists);
    QFETCH(QString, serverAfter);
    TargetDirectory directory(withStores(stores));
    QCOMPARE(ZephrinFunctions::StoreExists(server, directory.connectionString()), exists);
    QCOMPARE(server, serverAfter);
}

void TestStores::storeExistsFailurePrefixed()
{
    TargetDirectory directory;
    QString server = QStringLiteral("MAIL01");
    const QString missing =
        DirectoryBuilder::EmbeddedConnectionString(directory.folder(), QStringLiteral("Nowhere"));
    try {
        ZephrinFunctions::StoreExists(server, missing);
        QFAIL("a Directory that does not exist was read");
    } catch (const MigrationError& error) {
        QVERIFY2(error.description().startsWith(
                     QStringLiteral("VarnelMigrationTool.ZephrinFunctions.StoreExists - ")),
                 qPrintable(error.description()));
        QVERIFY(error.description().contains(QStringLiteral("Nowhere")));
    }
}

void TestStores::addStoreSendsVersionTwice()
{
    TargetDirectory directory;
    SeenEntry seen;
    Components::setFactory(std::make_shared<RecordingFactory>(seen));
    const QString description =
        QStringLiteral("This Exchange 5.5 store was manually added at 2024-01-02 10:00:00");
    ZephrinFunctions::AddStore(QStringLiteral("OLDMAIL"), 1, description,
                               directory.connectionString());

    QVERIFY(seen.record.isOneDimensional());
    QCOMPARE(seen.record.upperField(), 3);
    QVERIFY(seen.record.at(0).isNull());
    QCOMPARE(seen.record.at(1).toString(), QStringLiteral("OLDMAIL"));
    QCOMPARE(seen.record.at(2).toInt(), 1);
    QCOMPARE(seen.record.at(3).toString(), description);
    QCOMPARE(seen.settings.upperRecord(), 0);
    QCOMPARE(seen.settings.at(0, 0).toString(), QStringLiteral("exchangeversion"));
    QCOMPARE(seen.settings.at(1, 0).toString(), QStringLiteral("store"));
    QVERIFY(seen.settings.at(2, 0).isNull());
    QCOMPARE(seen.settings.at(3, 0).toInt(), 1);
    QVERIFY(seen.reserved.isEmpty());

    const auto stores = directory.rows(
        QStringLiteral("SELECT StoreID, Name, ExchangeVersion, Description FROM fwtStore"));
    QCOMPARE(stores.size(), 1);
    QCOMPARE(stores.first().value(1).toString(), QStringLiteral("OLDMAIL"));
    QCOMPARE(stores.first().value(2).toInt(), 1);
    QCOMPARE(stores.first().value(3).toString(), description);
    const auto settings = directory.rows(
        QStringLiteral("SELECT Name, Kind, Value FROM fwtStoreSetting WHERE StoreID = ?"),
        {stores.first().value(0)});
    QCOMPARE(settings.size(), 1);
    QCOMPARE(settings.first().value(0).toString(), QStringLiteral("exchangeversion"));
    QCOMPARE(settings.first().value(1).toString(), QStringLiteral("store"));
    QCOMPARE(settings.first().value(2).toString(), QStringLiteral("1"));

    // A store added now is found by the next user added on that server.
    QString server = QStringLiteral("oldmail");
    QVERIFY(ZephrinFunctions::StoreExists(server, directory.connectionString()));
}

void TestStores::addStoreTwiceRefused()
{
    TargetDirectory directory(withStores({QStringLiteral("mail01")}));
    QVERIFY_THROWS_EXCEPTION(MigrationError,
                             ZephrinFunctions::AddStore(QStringLiteral("MAIL01"), 2, QString(),
                                                        directory.connectionString()));
    QCOMPARE(directory.scalar(QStringLiteral("SELECT COUNT(*) FROM fwtStore")).toInt(), 1);
}

QTEST_GUILESS_MAIN(TestStores)
#include "tst_stores.moc"

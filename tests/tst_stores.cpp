#include "directory/TargetComponents.h"
#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"
#include "reference/TargetComponentFactory.h"
#include "support/Describe.h"
#include "support/Engines.h"
#include "support/TargetDirectory.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

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

// Stores of a real Directory through the reference installation, on each engine.
class TestStores : public QObject
{
    Q_OBJECT
private slots:
    // An exact name first (the first of equal ones), then the short names before the
    // first dot of both sides.
    void findStoreID()
    {
        const QStringList names = {"MAIL01", "mail02", "Mail02", "EXCH.corp.example.com",
                                   "MAIL02.CORP"};
        VariantTable list(0, 3, static_cast<int>(names.size()));
        for (int record = 0; record < names.size(); ++record) {
            list.set(0, record, 11 + record);
            list.set(1, record, names.at(record));
        }
        QStringList found;
        for (const QString& server : QStringList{"mail01", "MAIL02", "mail01.corp.example.com",
                                                 "exch", "mail02.corp", "mail03", ""}) {
            found << u"%1>%2/%3"_s.arg(server)
                         .arg(ZephrinFunctions::FindStoreID(server, list))
                         .arg(ZephrinFunctions::FindStoreID(server, VariantTable()));
        }
        QCOMPARE(found,
                 QStringList({"mail01>11/-1", "MAIL02>12/-1", "mail01.corp.example.com>11/-1",
                              "exch>14/-1", "mail02.corp>15/-1", "mail03>-1/-1", ">-1/-1"}));
    }

    void storeExists_data()
    {
        Engines::addColumn();
        QTest::addColumn<QStringList>("stores");
        QTest::addColumn<QString>("server");
        QTest::addColumn<bool>("exists");
        QTest::addColumn<QString>("serverAfter"); // the caller's variable, lower-cased
        Engines::newRows("other case", QStringList{"mail01"}, u"MAIL01"_s, true, u"mail01"_s);
        Engines::newRows("domain not shortened", QStringList{"mail01"}, u"Mail01.Example.com"_s,
                         false, u"mail01.example.com"_s);
        Engines::newRows("no stores", QStringList{}, u"MAIL01"_s, false, u"mail01"_s);
    }

    void storeExists()
    {
        QFETCH(QString, engine);
        QFETCH(QStringList, stores);
        QFETCH(QString, server);
        TargetDirectory directory(withStores(stores), engine);
        QTEST(ZephrinFunctions::StoreExists(server, directory.connectionString()), "exists");
        QTEST(server, "serverAfter");

        // A failure names the procedure and what it could not read (the test server
        // names a database in lower case).
        try {
            ZephrinFunctions::StoreExists(server, directory.connectionStringOf(u"Nowhere"_s));
            QFAIL("a Directory that does not exist was read");
        } catch (const MigrationError& error) {
            QVERIFY2(error.description().startsWith(
                         u"VarnelMigrationTool.ZephrinFunctions.StoreExists - "_s) &&
                         error.description().contains(u"Nowhere"_s, Qt::CaseInsensitive),
                     qPrintable(error.description()));
        }
    }

    // The version goes to the record and to the one setting; the next user on that
    // server finds the new store, and a second one of the same name is refused. The
    // stores are listed in the order they were added, so that of two stores with the
    // same short name a user lands on the older one.
    void addStore_data() { Engines::rows(); }

    void addStore()
    {
        QFETCH(QString, engine);
        TargetDirectory directory(DirectoryDescription(), engine);
        SeenEntry seen;
        Components::setFactory(std::make_shared<RecordingFactory>(seen));
        const QString description = u"This Exchange 5.5 store was manually added at 2024"_s;
        ZephrinFunctions::AddStore(u"OLDMAIL.corp"_s, 1, description, directory.connectionString());

        QStringList given;
        for (int field = seen.record.lowerField(); field <= seen.record.upperField(); ++field) {
            given << describe(seen.record.at(field));
        }
        for (int field = 0; field <= seen.settings.upperField(); ++field) {
            given << describe(seen.settings.at(field, 0));
        }
        QCOMPARE(given, QStringList({"(null)", "OLDMAIL.corp", "1", description, "exchangeversion",
                                     "store", "(null)", "1"}));
        QVERIFY(seen.record.isOneDimensional() && seen.settings.upperRecord() == 0);
        QVERIFY(seen.reserved.isEmpty());

        QString server = u"oldmail.corp"_s;
        QVERIFY(ZephrinFunctions::StoreExists(server, directory.connectionString()));
        QVERIFY_THROWS_EXCEPTION(MigrationError,
                                 ZephrinFunctions::AddStore(u"OldMail.Corp"_s, 2, QString(),
                                                            directory.connectionString()));
        // A server named with blanks around it is found again by the same text.
        ZephrinFunctions::AddStore(u" mail02 "_s, 2, QString(), directory.connectionString());
        server = u" MAIL02 "_s;
        QVERIFY(ZephrinFunctions::StoreExists(server, directory.connectionString()));
        ZephrinFunctions::AddStore(u"oldmail.example.com"_s, 2, QString(),
                                   directory.connectionString());

        QCOMPARE(describe(directory.rows(u"SELECT s.Name, s.ExchangeVersion, s.Description, "
                                         "st.Name, st.Kind, st.Value FROM fwtStore s JOIN "
                                         "fwtStoreSetting st ON st.StoreID = s.StoreID "
                                         "ORDER BY s.StoreID"_s)),
                 QStringList({u"OLDMAIL.corp/1/%1/exchangeversion/store/1"_s.arg(description),
                              u" mail02 /2//exchangeversion/store/2"_s,
                              u"oldmail.example.com/2//exchangeversion/store/2"_s}));
        const VariantTable stores =
            TargetComponentFactory(QString()).CreateStoreMaintenance()->GetStores(
                -1, directory.connectionString());
        QStringList listed;
        for (int record = 0; record <= stores.upperRecord(); ++record) {
            listed << stores.at(1, record).toString();
        }
        QCOMPARE(listed, QStringList({"OLDMAIL.corp", " mail02 ", "oldmail.example.com"}));
        QCOMPARE(ZephrinFunctions::FindStoreID(u"OLDMAIL"_s, stores),
                 directory.scalar(u"SELECT MIN(StoreID) FROM fwtStore"_s).toInt());
    }
};

QTEST_GUILESS_MAIN(TestStores)
#include "tst_stores.moc"

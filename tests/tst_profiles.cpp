#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"
#include "support/TargetDirectory.h"

#include <QTest>

// Device Provisioning profiles converted and stored in a real embedded Directory.
class TestProfiles : public QObject
{
    Q_OBJECT
private slots:
    void normalisation_data();
    void normalisation();
    void normalisedKeyOrder();
    void storedWithBearerFields_data();
    void storedWithBearerFields();
    void unknownBearerRefused_data();
    void unknownBearerRefused();
    void missingBearerFieldStoresNothing();
    void missingConnectionFieldsStoredAsMinusOne();
};

namespace {

// A profile as the source reader builds it, every field of every bearer present.
CollectionPtr fullProfile(const QString& bearer)
{
    auto profile = Collection::create();
    const QList<std::pair<QString, QString>> pairs = {
        {QStringLiteral("UrlValue"), QStringLiteral("http://wap.example.com/")},
        {QStringLiteral("Bearer"), bearer},
        {QStringLiteral("ConnectionPort"), QStringLiteral("9201")},
        {QStringLiteral("AuthenticationType"), QStringLiteral("1")},
        {QStringLiteral("CallType"), QStringLiteral("2")},
        {QStringLiteral("CallSpeed"), QStringLiteral("9600")},
        {QStringLiteral("WAPProxy"), QStringLiteral("10.0.0.1")},
        {QStringLiteral("ProxyType"), QStringLiteral("MSISDN")},
        {QStringLiteral("USSDProxy"), QStringLiteral("*100#")},
        {QStringLiteral("USSDServiceCode"), QStringLiteral("77")},
        {QStringLiteral("SMSCAddress"), QStringLiteral("+3165")},
        {QStringLiteral("ModemPoolNumber"), QStringLiteral("+3120")},
        {QStringLiteral("GPRSAccessPointName"), QStringLiteral("internet")},
        {QStringLiteral("AuthenticationName"), QStringLiteral("wap")},
        {QStringLiteral("AuthenticationPassword"), QStringLiteral("wappw")},
        {QStringLiteral("ProxyAuthenticationName"), QStringLiteral("proxy")},
        {QStringLiteral("ProxyAuthenticationPassword"), QStringLiteral("proxypw")},
        {QStringLiteral("UserRecognisableName"), QStringLiteral("Office WAP")},
        {QStringLiteral("ProfileID"), QStringLiteral("{6F9619FF-8B86-D011-B42D-00C04FC964FF}")},
        {QStringLiteral("ProfileName"), QStringLiteral("Office")},
        {QStringLiteral("ProfileDescription"), QStringLiteral("The office gateway")}};
    for (const auto& [key, value] : pairs) {
        profile->add(value, key);
    }
    return profile;
}

QStringList settingsOf(const TargetDirectory& directory, const QString& column)
{
    QStringList result;
    for (const QSqlRecord& row :
         directory.rows(QStringLiteral("SELECT %1 FROM fwtDeviceProfileSetting "
                                       "ORDER BY ProfileID, Position")
                            .arg(column))) {
        result << row.value(0).toString();
    }
    return result;
}

} // namespace

void TestProfiles::normalisation_data()
{
    QTest::addColumn<QString>("dropped");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("expected");
    QTest::newRow("ConnectionPort missing")
        << QStringLiteral("ConnectionPort") << QStringLiteral("ConnectionPort")
        << QStringLiteral("-1");
    QTest::newRow("AuthenticationType missing")
        << QStringLiteral("AuthenticationType") << QStringLiteral("AuthenticationType")
        << QStringLiteral("-1");
    QTest::newRow("CallType missing")
        << QStringLiteral("CallType") << QStringLiteral("CallType") << QStringLiteral("-1");
    QTest::newRow("CallSpeed missing")
        << QStringLiteral("CallSpeed") << QStringLiteral("CallSpeed") << QStringLiteral("-1");
    QTest::newRow("CallType present, unchanged")
        << QString() << QStringLiteral("CallType") << QStringLiteral("2");
    QTest::newRow("ConnectionPort present")
        << QString() << QStringLiteral("ConnectionPort") << QStringLiteral("9201");
    QTest::newRow("bearer named") << QString() << QStringLiteral("Bearer")
                                  << QStringLiteral("IS-136/CSD");
}

void TestProfiles::normalisation()
{
    QFETCH(QString, dropped);
    QFETCH(QString, key);
    QFETCH(QString, expected);
    const CollectionPtr profile = fullProfile(QStringLiteral("3"));
    if (!dropped.isEmpty()) {
        profile->remove(dropped);
    }
    const int sizeBefore = profile->count();
    const CollectionPtr normalised = ZephrinFunctions::NormaliseProfile(profile);
    QCOMPARE(normalised->item(key).toString(), expected);
    // The input is left as it was.
    QCOMPARE(profile->count(), sizeBefore);
    QCOMPARE(profile->item(QStringLiteral("Bearer")).toString(), QStringLiteral("3"));
}

void TestProfiles::normalisedKeyOrder()
{
    auto profile = Collection::create();
    profile->add(QStringLiteral("b"), QStringLiteral("ProfileName"));
    profile->add(QStringLiteral("1"), QStringLiteral("CallType"));
    profile->add(QStringLiteral("4"), QStringLiteral("Bearer"));
    profile->add(QStringLiteral("80"), QStringLiteral("ConnectionPort"));
    const CollectionPtr normalised = ZephrinFunctions::NormaliseProfile(profile);
    QCOMPARE(normalised->keys(),
             (QStringList{QStringLiteral("ConnectionPort"), QStringLiteral("AuthenticationType"),
                          QStringLiteral("CallSpeed"), QStringLiteral("Bearer"),
                          QStringLiteral("ProfileName"), QStringLiteral("CallType")}));
    QCOMPARE(normalised->item(QStringLiteral("Bearer")).toString(), QStringLiteral("GPRS"));
    QCOMPARE(normalised->item(QStringLiteral("CallType")).toString(), QStringLiteral("1"));
    QCOMPARE(normalised->item(QStringLiteral("ConnectionPort")).toString(), QStringLiteral("80"));
}

void TestProfiles::storedWithBearerFields_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("bearer");
    QTest::addColumn<QStringList>("specific");
    const QStringList circuit = {
        QStringLiteral("AuthenticationName"), QStringLiteral("AuthenticationPassword"),
        QStringLiteral("ProxyAuthenticationName"), QStringLiteral("ProxyAuthenticationPassword")};
    QTest::newRow("0") << QStringLiteral("0") << QStringLiteral("GSM/CSD")
                       << (circuit + QStringList{QStringLiteral("ModemPoolNumber"),
                                                 QStringLiteral("UserRecognisableName")});
    QTest::newRow("1") << QStringLiteral("1") << QStringLiteral("GSM/SMS")
                       << QStringList{QStringLiteral("SMSCAddress")};
    QTest::newRow("2") << QStringLiteral("2") << QStringLiteral("GSM/USSD")
                       << QStringList{QStringLiteral("ProxyType"), QStringLiteral("USSDProxy"),
                                      QStringLiteral("USSDServiceCode")};
    QTest::newRow("3") << QStringLiteral("3") << QStringLiteral("IS-136/CSD")
                       << (circuit + QStringList{QStringLiteral("ModemPoolNumber"),
                                                 QStringLiteral("UserRecognisableName")});
    QTest::newRow("4") << QStringLiteral("4") << QStringLiteral("GPRS")
                       << (circuit + QStringList{QStringLiteral("GPRSAccessPointName"),
                                                 QStringLiteral("UserRecognisableName")});
}

void TestProfiles::storedWithBearerFields()
{
    QFETCH(QString, code);
    QFETCH(QString, bearer);
    QFETCH(QStringList, specific);
    TargetDirectory directory;
    const CollectionPtr profile = fullProfile(code);
    ZephrinFunctions::AddDPProfileToDirectory(directory.connectionString(), profile);

    const auto rows = directory.rows(QStringLiteral(
        "SELECT Name, Description, UrlValue, WAPProxy, Bearer, ProvisioningMode, ConnectionMode "
        "FROM fwtDeviceProfile"));
    QCOMPARE(rows.size(), 1);
    const QSqlRecord row = rows.first();
    QCOMPARE(row.value(0).toString(), QStringLiteral("Office"));
    QCOMPARE(row.value(1).toString(), QStringLiteral("The office gateway"));
    QCOMPARE(row.value(2).toString(), QStringLiteral("http://wap.example.com/"));
    QCOMPARE(row.value(3).toString(), QStringLiteral("10.0.0.1"));
    QCOMPARE(row.value(4).toString(), bearer);
    QCOMPARE(row.value(5).toString(), QStringLiteral("AUTOMATIC"));
    QCOMPARE(row.value(6).toString(), QStringLiteral("AUTOMATIC"));

    const QStringList names = settingsOf(directory, QStringLiteral("Name"));
    QCOMPARE(names,
             (QStringList{QStringLiteral("ConnectionPort"), QStringLiteral("AuthenticationType"),
                          QStringLiteral("CallType"), QStringLiteral("CallSpeed")} +
              specific));
    const QStringList values = settingsOf(directory, QStringLiteral("Value"));
    for (int index = 0; index < names.size(); ++index) {
        QCOMPARE(values.at(index), profile->item(names.at(index)).toString());
    }

    const auto flags = directory.rows(
        QStringLiteral("SELECT Name, Value FROM fwtDeviceProfileChangeFlag ORDER BY Position"));
    const QStringList flagNames = {
        QStringLiteral("CHANGE_PPP_AUTHNAME"),      QStringLiteral("CHANGE_PROXY_AUTHNAME"),
        QStringLiteral("CHANGE_PPP_AUTHSECRET"),    QStringLiteral("CHANGE_PROXY_AUTHSECRET"),
        QStringLiteral("ENCRYPTED_PPP_AUTHSECRET"), QStringLiteral("ENCRYPTED_PROXY_AUTHSECRET")};
    QCOMPARE(flags.size(), flagNames.size());
    for (int index = 0; index < flags.size(); ++index) {
        QCOMPARE(flags.at(index).value(0).toString(), flagNames.at(index));
        QCOMPARE(flags.at(index).value(1).toString(), QStringLiteral("FALSE"));
    }
}

void TestProfiles::unknownBearerRefused_data()
{
    QTest::addColumn<QString>("code");
    QTest::newRow("5") << QStringLiteral("5");
    QTest::newRow("-1") << QStringLiteral("-1");
    QTest::newRow("text") << QStringLiteral("GPRS");
}

void TestProfiles::unknownBearerRefused()
{
    QFETCH(QString, code);
    TargetDirectory directory;
    try {
        ZephrinFunctions::AddDPProfileToDirectory(directory.connectionString(), fullProfile(code));
        QFAIL("a profile with an unknown bearer was stored");
    } catch (const MigrationError& error) {
        QVERIFY2(error.description().contains(QStringLiteral("\"%1\"").arg(code)),
                 qPrintable(error.description()));
        QVERIFY(error.description().contains(QStringLiteral("Office")));
    }
    QCOMPARE(directory.scalar(QStringLiteral("SELECT COUNT(*) FROM fwtDeviceProfile")).toInt(), 0);
}

void TestProfiles::missingBearerFieldStoresNothing()
{
    TargetDirectory directory;
    const CollectionPtr profile = fullProfile(QStringLiteral("1"));
    profile->remove(QStringLiteral("SMSCAddress"));
    try {
        ZephrinFunctions::AddDPProfileToDirectory(directory.connectionString(), profile);
        QFAIL("a profile without its SMSC address was stored");
    } catch (const MigrationError& error) {
        QVERIFY2(error.description().contains(QStringLiteral("SMSCAddress")),
                 qPrintable(error.description()));
    }
    QCOMPARE(directory.scalar(QStringLiteral("SELECT COUNT(*) FROM fwtDeviceProfile")).toInt(), 0);
    QCOMPARE(
        directory.scalar(QStringLiteral("SELECT COUNT(*) FROM fwtDeviceProfileSetting")).toInt(),
        0);
}

void TestProfiles::missingConnectionFieldsStoredAsMinusOne()
{
    TargetDirectory directory;
    const CollectionPtr profile = fullProfile(QStringLiteral("4"));
    for (const QString& key :
         {QStringLiteral("ConnectionPort"), QStringLiteral("AuthenticationType"),
          QStringLiteral("CallType"), QStringLiteral("CallSpeed")}) {
        profile->remove(key);
    }
    ZephrinFunctions::AddDPProfileToDirectory(directory.connectionString(), profile);
    QCOMPARE(settingsOf(directory, QStringLiteral("Value")).mid(0, 4),
             QStringList(4, QStringLiteral("-1")));
}

QTEST_GUILESS_MAIN(TestProfiles)
#include "tst_profiles.moc"

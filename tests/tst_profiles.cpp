#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"
#include "support/Describe.h"
#include "support/Engines.h"
#include "support/TargetDirectory.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

// A profile as the source reader builds it, every field of every bearer present.
CollectionPtr fullProfile(const QString& bearer)
{
    auto profile = Collection::create();
    const QStringList pairs = {"UrlValue=http://wap.example.com/",
                               "Bearer=" + bearer,
                               "ConnectionPort=9201",
                               "AuthenticationType=1",
                               "CallType=2",
                               "CallSpeed=9600",
                               "WAPProxy=10.0.0.1",
                               "ProxyType=MSISDN",
                               "USSDProxy=*100#",
                               "USSDServiceCode=77",
                               "SMSCAddress=+3165",
                               "ModemPoolNumber=+3120",
                               "GPRSAccessPointName=internet",
                               "AuthenticationName=wap",
                               "AuthenticationPassword=wappw",
                               "ProxyAuthenticationName=proxy",
                               "ProxyAuthenticationPassword=proxypw",
                               "UserRecognisableName=Office WAP",
                               "ProfileID={6F9619FF-8B86-D011-B42D-00C04FC964FF}",
                               "ProfileName=Office",
                               "ProfileDescription=The office gateway"};
    for (const QString& pair : pairs) {
        profile->add(pair.section('=', 1), pair.section('=', 0, 0));
    }
    return profile;
}

QStringList stored(const TargetDirectory& directory, const QString& sql)
{
    return describe(directory.rows(sql));
}

} // namespace

// Device Provisioning profiles converted and stored in a real Directory, on each engine.
class TestProfiles : public QObject
{
    Q_OBJECT
private slots:
    // Missing connection fields come first as "-1", the bearer code becomes its name,
    // a CallType of 1 stays; the input is left as it was.
    void normalisation()
    {
        auto profile = Collection::create();
        profile->add(u"b"_s, u"ProfileName"_s);
        profile->add(u"1"_s, u"CallType"_s);
        profile->add(u"4"_s, u"Bearer"_s);
        profile->add(u"80"_s, u"ConnectionPort"_s);
        const QStringList before = describe(profile);
        QCOMPARE(describe(ZephrinFunctions::NormaliseProfile(profile)),
                 QStringList({"ConnectionPort=80", "AuthenticationType=-1", "CallSpeed=-1",
                              "Bearer=GPRS", "ProfileName=b", "CallType=1"}));
        QCOMPARE(describe(profile), before);
    }

    void storedWithBearerFields_data()
    {
        Engines::addColumn();
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("bearer");
        QTest::addColumn<QStringList>("specific");
        const QStringList circuit = {"AuthenticationName", "AuthenticationPassword",
                                     "ProxyAuthenticationName", "ProxyAuthenticationPassword"};
        const QStringList csd = circuit + QStringList{"ModemPoolNumber", "UserRecognisableName"};
        Engines::newRows("0", u"0"_s, u"GSM/CSD"_s, csd);
        Engines::newRows("1", u"1"_s, u"GSM/SMS"_s, QStringList{"SMSCAddress"});
        Engines::newRows("2", u"2"_s, u"GSM/USSD"_s,
                         QStringList{"ProxyType", "USSDProxy", "USSDServiceCode"});
        Engines::newRows("3", u"3"_s, u"IS-136/CSD"_s, csd);
        Engines::newRows("4", u"4"_s, u"GPRS"_s,
                         circuit + QStringList{"GPRSAccessPointName", "UserRecognisableName"});
    }

    void storedWithBearerFields()
    {
        QFETCH(QString, engine);
        QFETCH(QString, code);
        QFETCH(QString, bearer);
        QFETCH(QStringList, specific);
        TargetDirectory directory(DirectoryDescription(), engine);
        const CollectionPtr profile = fullProfile(code);
        ZephrinFunctions::AddDPProfileToDirectory(directory.connectionString(), profile);

        QCOMPARE(stored(directory, u"SELECT Name, Description, UrlValue, WAPProxy, Bearer, "
                                   "ProvisioningMode, ConnectionMode FROM fwtDeviceProfile"_s),
                 QStringList{u"Office/The office gateway/http://wap.example.com//10.0.0.1/%1/"
                             "AUTOMATIC/AUTOMATIC"_s.arg(bearer)});
        QStringList settings;
        for (const QString& name :
             QStringList{"ConnectionPort", "AuthenticationType", "CallType", "CallSpeed"} +
                 specific) {
            settings << name + '/' + profile->item(name).toString();
        }
        QCOMPARE(stored(directory, u"SELECT Name, Value FROM fwtDeviceProfileSetting ORDER BY "
                                   "ProfileID, Position"_s),
                 settings);
        QCOMPARE(
            stored(directory,
                   u"SELECT Name, Value FROM fwtDeviceProfileChangeFlag ORDER BY Position"_s),
            QStringList({"CHANGE_PPP_AUTHNAME/FALSE", "CHANGE_PROXY_AUTHNAME/FALSE",
                         "CHANGE_PPP_AUTHSECRET/FALSE", "CHANGE_PROXY_AUTHSECRET/FALSE",
                         "ENCRYPTED_PPP_AUTHSECRET/FALSE", "ENCRYPTED_PROXY_AUTHSECRET/FALSE"}));
    }

    void refusedProfileStoresNothing_data()
    {
        Engines::addColumn();
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("removed");
        QTest::addColumn<QString>("named"); // what the error names besides the profile
        Engines::newRows("bearer 5", u"5"_s, QString(), u"\"5\""_s);
        Engines::newRows("bearer -1", u"-1"_s, QString(), u"\"-1\""_s);
        Engines::newRows("bearer as text", u"GPRS"_s, QString(), u"\"GPRS\""_s);
        Engines::newRows("bearer field missing", u"1"_s, u"SMSCAddress"_s, u"SMSCAddress"_s);
    }

    void refusedProfileStoresNothing()
    {
        QFETCH(QString, engine);
        QFETCH(QString, code);
        QFETCH(QString, removed);
        QFETCH(QString, named);
        TargetDirectory directory(DirectoryDescription(), engine);
        const CollectionPtr profile = fullProfile(code);
        if (!removed.isEmpty()) {
            profile->remove(removed);
        }
        try {
            ZephrinFunctions::AddDPProfileToDirectory(directory.connectionString(), profile);
            QFAIL("the profile was stored");
        } catch (const MigrationError& error) {
            QVERIFY2(error.description().contains(named) &&
                         error.description().contains(u"Office"_s),
                     qPrintable(error.description()));
        }
        QCOMPARE(stored(directory, u"SELECT (SELECT COUNT(*) FROM fwtDeviceProfile), "
                                   "(SELECT COUNT(*) FROM fwtDeviceProfileSetting)"_s),
                 QStringList{"0/0"});
    }

    void missingConnectionFieldsStoredAsMinusOne_data() { Engines::rows(); }

    void missingConnectionFieldsStoredAsMinusOne()
    {
        QFETCH(QString, engine);
        TargetDirectory directory(DirectoryDescription(), engine);
        const CollectionPtr profile = fullProfile(u"4"_s);
        for (const char* key : {"ConnectionPort", "AuthenticationType", "CallType", "CallSpeed"}) {
            profile->remove(QString::fromLatin1(key));
        }
        ZephrinFunctions::AddDPProfileToDirectory(directory.connectionString(), profile);
        QCOMPARE(stored(directory, u"SELECT Name, Value FROM fwtDeviceProfileSetting WHERE "
                                   "Position < 4 ORDER BY Position"_s),
                 QStringList({"ConnectionPort/-1", "AuthenticationType/-1", "CallType/-1",
                              "CallSpeed/-1"}));
    }
};

QTEST_GUILESS_MAIN(TestProfiles)
#include "tst_profiles.moc"

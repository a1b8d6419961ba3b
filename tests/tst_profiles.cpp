#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"
#include "support/Describe.h"
#include "support/Engines.h"
#include "support/Golden.h"
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

    // Each bearer's own fields are stored after the connection fields (a missing one as
    // "-1"); a bearer the Directory does not know, or one of its fields missing, is
    // refused with nothing stored. Compared with tests/data/profiles/<row>.txt.
    void stored_data()
    {
        Engines::addColumn();
        QTest::addColumn<QString>("bearer");
        QTest::addColumn<QStringList>("removed");
        for (const char* bearer : {"0", "1", "2", "3", "4"}) {
            const QByteArray name = QByteArray("bearer ") + bearer;
            Engines::newRows(name.constData(), QString::fromLatin1(bearer), QStringList());
        }
        Engines::newRows(
            "bearer 4 without connection fields", u"4"_s,
            QStringList{"ConnectionPort", "AuthenticationType", "CallType", "CallSpeed"});
        Engines::newRows("bearer 5", u"5"_s, QStringList());
        Engines::newRows("bearer minus 1", u"-1"_s, QStringList());
        Engines::newRows("bearer as text", u"GPRS"_s, QStringList());
        Engines::newRows("bearer 1 without its field", u"1"_s, QStringList{"SMSCAddress"});
    }
    void stored()
    {
        QFETCH(QString, engine);
        QFETCH(QString, bearer);
        QFETCH(QStringList, removed);
        TargetDirectory directory(DirectoryDescription(), engine);
        const CollectionPtr profile = fullProfile(bearer);
        for (const QString& key : removed) {
            profile->remove(key);
        }
        QStringList text;
        try {
            ZephrinFunctions::AddDPProfileToDirectory(directory.connectionString(), profile);
        } catch (const MigrationError& error) {
            text << u"refused: "_s + error.description();
        }
        for (const QString& sql :
             {u"SELECT Name, Description, UrlValue, WAPProxy, Bearer, ProvisioningMode, "
              "ConnectionMode FROM fwtDeviceProfile"_s,
              u"SELECT Name, Value FROM fwtDeviceProfileSetting ORDER BY ProfileID, Position"_s,
              u"SELECT Name, Value FROM fwtDeviceProfileChangeFlag ORDER BY Position"_s}) {
            text << u"## "_s + sql << describe(directory.rows(sql));
        }
        QCOMPARE_GOLDEN(text, Golden::rowFile(u"profiles/"_s));
    }
};

QTEST_GUILESS_MAIN(TestProfiles)
#include "tst_profiles.moc"

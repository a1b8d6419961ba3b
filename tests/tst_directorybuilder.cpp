#include "db/AdministrativeDBCon.h"
#include "frame/MigrationError.h"
#include "support/TargetDirectory.h"
#include "target/DirectorySchema.h"
#include "target/ReferencePasswordEncoder.h"

#include <QTest>

// The Directory that the builder writes, and the reference password encoder.
class TestDirectoryBuilder : public QObject
{
    Q_OBJECT
private slots:
    void describedContentWritten();
    void existingDirectoryNotOverwritten();
    void passwordEncoder();
};

void TestDirectoryBuilder::describedContentWritten()
{
    DirectoryDescription description;
    description.stores = {{QStringLiteral("MAIL01"), 2, QStringLiteral("main")}};
    description.users = {TargetDirectory::user(QStringLiteral("Anna"), QStringLiteral("Li"),
                                               QStringLiteral("AnLi"), QStringLiteral("mail01")),
                         TargetDirectory::user(QStringLiteral("No"), QStringLiteral("Mail"),
                                               QStringLiteral("nomail"))};
    description.baseHref = QStringLiteral("http://z/");
    description.serviceAccount = QStringLiteral("MAIL01;svc;svc@example.com");
    description.serviceAccountName = QStringLiteral("svc");
    TargetDirectory directory(description);

    // The mark that the wizard's identity check looks for.
    QVERIFY(AdministrativeDBCon::CheckImportDatabase(directory.connectionString()));
    QCOMPARE(directory
                 .scalar(QStringLiteral("SELECT COUNT(*) FROM sysprocedures WHERE name = "
                                        "'fwupDirectoryStoresGet'"))
                 .toInt(),
             1);
    QCOMPARE(directory
                 .scalar(QStringLiteral("SELECT COUNT(*) FROM fwtService s JOIN fwtUser u "
                                        "ON u.UserID = s.OwnerUserID WHERE u.LoginID = "
                                        "'anli' AND s.StoreID = 1"))
                 .toInt(),
             10);
    QCOMPARE(directory
                 .scalar(QStringLiteral("SELECT COUNT(*) FROM fwtService s JOIN fwtUser u "
                                        "ON u.UserID = s.OwnerUserID WHERE u.LoginID = "
                                        "'nomail'"))
                 .toInt(),
             0);
    QCOMPARE(directory
                 .scalar(QStringLiteral("SELECT Value FROM fwtSystemSetting WHERE "
                                        "Category = 'mail' AND Name = 'serviceaccount'"))
                 .toString(),
             description.serviceAccount);
    QCOMPARE(directory
                 .scalar(QStringLiteral("SELECT Value FROM fwtSystemSetting WHERE "
                                        "Category = 'mail' AND Name = 'serviceaccountname'"))
                 .toString(),
             QStringLiteral("svc"));
}

void TestDirectoryBuilder::existingDirectoryNotOverwritten()
{
    DirectoryDescription description;
    description.users = {TargetDirectory::user(QStringLiteral("Anna"), QStringLiteral("Li"),
                                               QStringLiteral("AnLi"))};
    TargetDirectory directory(description);
    QVERIFY_THROWS_EXCEPTION(MigrationError, DirectoryBuilder::Build(directory.connectionString(),
                                                                     DirectoryDescription()));
    QCOMPARE(directory.scalar(QStringLiteral("SELECT COUNT(*) FROM fwtUser")).toInt(), 1);
}

void TestDirectoryBuilder::passwordEncoder()
{
    ReferencePasswordEncoder encoder;
    const QString clear = QStringLiteral("aB3xY9");
    const QString encoded = encoder.EncodePassword(clear);
    QVERIFY(encoded != clear);
    QVERIFY(!encoded.contains(clear));
    QVERIFY(encoded.startsWith(QStringLiteral("pbkdf2-sha256$")));
    QVERIFY(ReferencePasswordEncoder::VerifyPassword(clear, encoded));
    QVERIFY(!ReferencePasswordEncoder::VerifyPassword(QStringLiteral("aB3xY8"), encoded));
    QVERIFY(!ReferencePasswordEncoder::VerifyPassword(clear, QStringLiteral("aB3xY9")));
    // A fresh salt for every encoding.
    QVERIFY(encoder.EncodePassword(clear) != encoded);
}

QTEST_GUILESS_MAIN(TestDirectoryBuilder)
#include "tst_directorybuilder.moc"

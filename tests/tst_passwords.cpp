#include "directory/ComponentFactory.h"
#include "directory/ZephrinFunctions.h"
#include "frame/Clock.h"
#include "frame/MigrationError.h"
#include "reference/ReferencePasswordEncoder.h"
#include "reference/TargetComponentFactory.h"
#include "support/Failure.h"
#include "support/ManualClock.h"

#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace ZephrinFunctions;

namespace {

// Only the reference encoder, so the test does not hang on the other components.
class EncoderFactory : public ComponentFactory
{
public:
    std::unique_ptr<PasswordEncoderComponent> CreatePasswordEncoder() override
    {
        return std::make_unique<ReferencePasswordEncoder>(1000);
    }
};

const QRegularExpression passwordForm(u"^[0-9A-Za-z]*$"_s);

} // namespace

class TestPasswords : public QObject
{
    Q_OBJECT
private slots:
    void cleanup()
    {
        Components::setFactory(nullptr);
        AppClock::setClock(nullptr);
    }

    void generatedCharacters()
    {
        QCOMPARE(GeneratePassword(0), QString());
        QHash<QChar, int> counts;
        for (int drawn = 0; drawn < 20000; drawn += 500) {
            const QString password = GeneratePassword(500);
            QCOMPARE(password.size(), 500);
            QVERIFY2(passwordForm.match(password).hasMatch(), qPrintable(password));
            for (const QChar c : password) {
                ++counts[c];
            }
        }
        QCOMPARE(counts.size(), 62);
        // Each of the 62 characters is equally likely (about 323 of 20,000); a character
        // that took the place of the skipped punctuation would come up about twice as often.
        for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
            QVERIFY2(it.value() > 200 && it.value() < 460,
                     qPrintable(u"%1 drawn %2 times"_s.arg(it.key()).arg(it.value())));
        }

        // Users created within the same moment must not share a password.
        AppClock::setClock(
            std::make_shared<ManualClock>(QDateTime(QDate(2024, 1, 1), QTime(9, 0))));
        QStringList passwords;
        for (int i = 0; i < 20; ++i) {
            passwords << GeneratePassword(6);
        }
        passwords.removeDuplicates();
        QCOMPARE(passwords.size(), 20);
    }

    void newPassword()
    {
        Components::setFactory(std::make_shared<EncoderFactory>());
        QString clear;
        QString encoded;
        CreateNewPassword(clear, encoded);
        QCOMPARE(clear.size(), 6);
        QVERIFY2(passwordForm.match(clear).hasMatch(), qPrintable(clear));
        QVERIFY(ReferencePasswordEncoder::VerifyPassword(clear, encoded));

        // Without an encoder the failure goes to the caller and nothing is handed back.
        Components::setFactory(nullptr);
        QString otherClear = u"kept"_s;
        QString otherEncoded = u"kept"_s;
        QCOMPARE(Failure::of([&] { CreateNewPassword(otherClear, otherEncoded); }).number,
                 ErrorNumber::CannotCreateComponent);
        QCOMPARE(otherClear + otherEncoded, u"keptkept"_s);
    }

    void referenceEncoder()
    {
        ReferencePasswordEncoder encoder(1000);
        const QString clear = u"aB3xY9"_s;
        const QString encoded = encoder.EncodePassword(clear);
        QVERIFY2(encoded.startsWith(u"pbkdf2-sha256$"_s) && !encoded.contains(clear),
                 qPrintable(encoded));
        QVERIFY(ReferencePasswordEncoder::VerifyPassword(clear, encoded));
        QVERIFY(!ReferencePasswordEncoder::VerifyPassword(u"aB3xY8"_s, encoded));
        QVERIFY(!ReferencePasswordEncoder::VerifyPassword(clear, clear));
        // A fresh salt for every encoding.
        QVERIFY(encoder.EncodePassword(clear) != encoded);
        QVERIFY(encoded.startsWith(u"pbkdf2-sha256$1000$"_s));
        QVERIFY(ReferencePasswordEncoder().EncodePassword(clear).startsWith(
            u"pbkdf2-sha256$600000$"_s));
        // A password that an earlier build encoded at its cost keeps verifying whatever
        // the cost of new ones; a stored cost beyond any that is written is refused at
        // once instead of holding the caller for minutes.
        const QString stored =
            u"$MDEyMzQ1Njc4OWFiY2RlZg==$fYpQoDjKiIfNXL+3279PoJSSechs3JL0I+IBevx6/YM="_s;
        QList<bool> verified;
        for (const char* cost : {"2000", "2001", "2000000000"}) {
            verified << ReferencePasswordEncoder::VerifyPassword(
                clear, u"pbkdf2-sha256$"_s + QLatin1String(cost) + stored);
        }
        QCOMPARE(verified, QList<bool>({true, false, false}));
    }

    // The reference installation encodes new passwords at the cost its configuration
    // sets.
    void configuredCost()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"zephrin.ini"_s);
        QFile ini(path);
        QVERIFY(ini.open(QIODevice::WriteOnly) &&
                ini.write("[directory]\npassworditerations = 1500 ; kept low for the test\n") > 0);
        ini.close();
        Components::setFactory(std::make_shared<TargetComponentFactory>(path));
        QString clear;
        QString encoded;
        CreateNewPassword(clear, encoded);
        QVERIFY2(encoded.startsWith(u"pbkdf2-sha256$1500$"_s), qPrintable(encoded));
        QVERIFY(ReferencePasswordEncoder::VerifyPassword(clear, encoded));
    }
};

QTEST_GUILESS_MAIN(TestPasswords)
#include "tst_passwords.moc"

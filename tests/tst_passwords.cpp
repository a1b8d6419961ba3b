#include "directory/ComponentFactory.h"
#include "directory/TargetComponents.h"
#include "directory/ZephrinFunctions.h"
#include "frame/Clock.h"
#include "frame/MigrationError.h"
#include "target/ReferencePasswordEncoder.h"

#include <QHash>
#include <QTest>
#include <memory>

namespace {

// Only the reference encoder, so the test does not hang on the other components.
class EncoderFactory : public ComponentFactory
{
public:
    std::unique_ptr<PasswordEncoderComponent> CreatePasswordEncoder() override
    {
        return std::make_unique<ReferencePasswordEncoder>();
    }
};

bool isPasswordCharacter(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= '0' && u <= '9') || (u >= 'A' && u <= 'Z') || (u >= 'a' && u <= 'z');
}

} // namespace

class TestPasswords : public QObject
{
    Q_OBJECT
private slots:
    void cleanup();
    void generatedCharacters();
    void passwordsDifferUnderAStillClock();
    void newPassword();
};

void TestPasswords::cleanup()
{
    Components::setFactory(nullptr);
    AppClock::setClock(nullptr);
}

void TestPasswords::generatedCharacters()
{
    QCOMPARE(ZephrinFunctions::GeneratePassword(0), QString());
    QCOMPARE(ZephrinFunctions::GeneratePassword(6).size(), 6);

    QHash<QChar, int> counts;
    int drawn = 0;
    while (drawn < 20000) {
        const QString password = ZephrinFunctions::GeneratePassword(500);
        QCOMPARE(password.size(), 500);
        for (const QChar c : password) {
            QVERIFY2(isPasswordCharacter(c),
                     qPrintable(QStringLiteral("code %1").arg(c.unicode())));
            ++counts[c];
        }
        drawn += 500;
    }
    QCOMPARE(counts.size(), 62);
    // Each of the 62 characters is equally likely (about 323 of 20,000); a character
    // that took the place of the skipped punctuation would come up about twice as often.
    for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
        QVERIFY2(it.value() > 200 && it.value() < 460,
                 qPrintable(QStringLiteral("%1 drawn %2 times").arg(it.key()).arg(it.value())));
    }
}

void TestPasswords::passwordsDifferUnderAStillClock()
{
    // Users created within the same moment must not share a password.
    AppClock::setClock(std::make_shared<ManualClock>(QDateTime(QDate(2024, 1, 1), QTime(9, 0))));
    QStringList passwords;
    for (int i = 0; i < 20; ++i) {
        passwords << ZephrinFunctions::GeneratePassword(6);
    }
    passwords.removeDuplicates();
    QCOMPARE(passwords.size(), 20);
}

void TestPasswords::newPassword()
{
    Components::setFactory(std::make_shared<EncoderFactory>());
    QString clear;
    QString encoded;
    ZephrinFunctions::CreateNewPassword(clear, encoded);
    QCOMPARE(clear.size(), 6);
    for (const QChar c : clear) {
        QVERIFY(isPasswordCharacter(c));
    }
    QVERIFY(encoded != clear);
    QVERIFY(ReferencePasswordEncoder::VerifyPassword(clear, encoded));
    QVERIFY(!ReferencePasswordEncoder::VerifyPassword(clear + QLatin1Char('x'), encoded));

    // Without an encoder the failure goes to the caller and nothing is handed back.
    Components::setFactory(nullptr);
    QString otherClear = QStringLiteral("kept");
    QString otherEncoded = QStringLiteral("kept");
    try {
        ZephrinFunctions::CreateNewPassword(otherClear, otherEncoded);
        QFAIL("CreateNewPassword without an encoder did not fail");
    } catch (const MigrationError& error) {
        QCOMPARE(error.number(), ErrorNumber::CannotCreateComponent);
    }
    QCOMPARE(otherClear, QStringLiteral("kept"));
    QCOMPARE(otherEncoded, QStringLiteral("kept"));
}

QTEST_GUILESS_MAIN(TestPasswords)
#include "tst_passwords.moc"

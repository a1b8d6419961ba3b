#include "reference/ReferencePasswordEncoder.h"

#include "frame/MigrationError.h"
#include "reference/IniConfiguration.h"
#include "reference/PooledPasswordEncoding.h"

#include <QFileInfo>
#include <QRandomGenerator>

#include <openssl/evp.h>

namespace {

constexpr int SaltBytes = 16;
constexpr int KeyBytes = 32;
const QString Scheme = QStringLiteral("pbkdf2-sha256");
const QString Source = QStringLiteral("PasswordEncoder");

} // namespace

ReferencePasswordEncoder::ReferencePasswordEncoder(int iterations) : mIterations(iterations)
{
    if (iterations < 1 || iterations > MaxIterations) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("A password encoding cost of %1 iterations is "
                                            "outside 1 to %2")
                                 .arg(iterations)
                                 .arg(MaxIterations),
                             Source);
    }
}

int ReferencePasswordEncoder::ConfiguredIterations(const QString& configurationPath)
{
    if (!QFileInfo(configurationPath).isFile()) {
        return DefaultIterations;
    }
    const QString text = IniConfiguration(configurationPath)
                             .GetSetting(QStringLiteral("directory:passworditerations"))
                             .trimmed();
    if (text.isEmpty()) {
        return DefaultIterations;
    }
    bool ok = false;
    const int iterations = text.toInt(&ok);
    if (!ok || iterations < 1 || iterations > MaxIterations) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("The password encoding cost \"%1\" set in %2 "
                                            "([directory] passworditerations) is not a number "
                                            "from 1 to %3")
                                 .arg(text, configurationPath)
                                 .arg(MaxIterations),
                             Source);
    }
    return iterations;
}

QByteArray ReferencePasswordEncoder::DeriveKey(const QString& clearPassword, const QByteArray& salt,
                                               int iterations)
{
    const QByteArray password = clearPassword.toUtf8();
    QByteArray key(KeyBytes, Qt::Uninitialized);
    const int done = PKCS5_PBKDF2_HMAC(password.constData(), static_cast<int>(password.size()),
                                       reinterpret_cast<const unsigned char*>(salt.constData()),
                                       static_cast<int>(salt.size()), iterations, EVP_sha256(),
                                       KeyBytes, reinterpret_cast<unsigned char*>(key.data()));
    return done == 1 ? key : QByteArray();
}

QString ReferencePasswordEncoder::EncodePassword(const QString& clearPassword)
{
    QByteArray salt(SaltBytes, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32*>(salt.data()),
                                          SaltBytes / int(sizeof(quint32)));
    const QByteArray key = DeriveKey(clearPassword, salt, mIterations);
    if (key.isEmpty()) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("The password could not be encoded"), Source);
    }
    return Scheme + QLatin1Char('$') + QString::number(mIterations) + QLatin1Char('$') +
           QString::fromLatin1(salt.toBase64()) + QLatin1Char('$') +
           QString::fromLatin1(key.toBase64());
}

std::shared_ptr<PreparedPasswords> ReferencePasswordEncoder::PreparePasswords()
{
    const int iterations = mIterations;
    return std::make_shared<PooledPasswordEncoding>([iterations](const QString& clear) {
        return ReferencePasswordEncoder(iterations).EncodePassword(clear);
    });
}

bool ReferencePasswordEncoder::VerifyPassword(const QString& clearPassword,
                                              const QString& encodedPassword)
{
    const QStringList parts = encodedPassword.split(QLatin1Char('$'));
    if (parts.size() != 4 || parts.at(0) != Scheme) {
        return false;
    }
    bool ok = false;
    const int iterations = parts.at(1).toInt(&ok);
    // A cost beyond the highest that is ever written is no encoded password of ours,
    // and would hold the caller up for minutes.
    if (!ok || iterations < 1 || iterations > MaxIterations) {
        return false;
    }
    const QByteArray salt = QByteArray::fromBase64(parts.at(2).toLatin1());
    const QByteArray expected = QByteArray::fromBase64(parts.at(3).toLatin1());
    const QByteArray key = DeriveKey(clearPassword, salt, iterations);
    // Compare every byte, so the time taken does not tell where they differ.
    if (key.isEmpty() || key.size() != expected.size()) {
        return false;
    }
    unsigned char difference = 0;
    for (qsizetype index = 0; index < key.size(); ++index) {
        difference |= static_cast<unsigned char>(key.at(index) ^ expected.at(index));
    }
    return difference == 0;
}

#include "reference/ReferencePasswordEncoder.h"

#include <QCryptographicHash>
#include <QPasswordDigestor>
#include <QRandomGenerator>

namespace {

constexpr int SaltBytes = 16;
constexpr int KeyBytes = 32;
const QString Scheme = QStringLiteral("pbkdf2-sha256");

QByteArray deriveKey(const QString& clearPassword, const QByteArray& salt, int iterations)
{
    return QPasswordDigestor::deriveKeyPbkdf2(QCryptographicHash::Sha256, clearPassword.toUtf8(),
                                              salt, iterations, KeyBytes);
}

} // namespace

QString ReferencePasswordEncoder::EncodePassword(const QString& clearPassword)
{
    QByteArray salt(SaltBytes, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32*>(salt.data()),
                                          SaltBytes / int(sizeof(quint32)));
    const QByteArray key = deriveKey(clearPassword, salt, Iterations);
    return Scheme + QLatin1Char('$') + QString::number(Iterations) + QLatin1Char('$') +
           QString::fromLatin1(salt.toBase64()) + QLatin1Char('$') +
           QString::fromLatin1(key.toBase64());
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
    if (!ok || iterations < 1) {
        return false;
    }
    const QByteArray salt = QByteArray::fromBase64(parts.at(2).toLatin1());
    const QByteArray expected = QByteArray::fromBase64(parts.at(3).toLatin1());
    const QByteArray key = deriveKey(clearPassword, salt, iterations);
    // Compare every byte, so the time taken does not tell where they differ.
    if (key.size() != expected.size()) {
        return false;
    }
    unsigned char difference = 0;
    for (qsizetype index = 0; index < key.size(); ++index) {
        difference |= static_cast<unsigned char>(key.at(index) ^ expected.at(index));
    }
    return difference == 0;
}

#pragma once

#include "directory/TargetComponents.h"

#include <QByteArray>
#include <QString>

// The password encoder of the reference installation: PBKDF2 with HMAC-SHA256
// (OpenSSL's) over the UTF-8 text and a random 16-byte salt from the system's
// cryptographic source, written as
//   pbkdf2-sha256$<iterations>$<salt, base64>$<key, base64>
// The cost (iterations) is stored with every encoded password, so a password
// encoded at another cost keeps verifying when the configured cost changes.
// Passwords handed to PreparePasswords are encoded on threads of their own
// (PooledPasswordEncoding), so a run that gives many users new passwords keeps
// every core busy with them.
// zephrin.ini sets the cost for new passwords:
//   [directory]  passworditerations  (600000 unless set)
class ReferencePasswordEncoder : public PasswordEncoderComponent
{
public:
    static constexpr int DefaultIterations = 600000;
    static constexpr int MaxIterations = 10000000;

    explicit ReferencePasswordEncoder(int iterations = DefaultIterations);
    // The cost set in the configuration file, the default when the file or the
    // setting is missing; a setting that is no number from 1 to MaxIterations raises,
    // naming the file and the key.
    static int ConfiguredIterations(const QString& configurationPath);

    QString EncodePassword(const QString& clearPassword) override;
    // Encodes ahead on one thread per processor core, at this encoder's cost.
    std::shared_ptr<PreparedPasswords> PreparePasswords() override;
    int iterations() const { return mIterations; }

    // True when the clear text yields the encoded form.
    static bool VerifyPassword(const QString& clearPassword, const QString& encodedPassword);
    // The derived key itself; empty when the derivation failed.
    static QByteArray DeriveKey(const QString& clearPassword, const QByteArray& salt,
                                int iterations);

private:
    int mIterations;
};

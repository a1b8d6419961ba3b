#pragma once

#include "directory/TargetComponents.h"

// The password encoder of the reference installation: PBKDF2 with HMAC-SHA256 over
// the UTF-8 text and a random 16-byte salt, written as
//   pbkdf2-sha256$<iterations>$<salt, base64>$<key, base64>
class ReferencePasswordEncoder : public PasswordEncoderComponent
{
public:
    static constexpr int Iterations = 2000;

    QString EncodePassword(const QString& clearPassword) override;

    // True when the clear text yields the encoded form.
    static bool VerifyPassword(const QString& clearPassword, const QString& encodedPassword);
};

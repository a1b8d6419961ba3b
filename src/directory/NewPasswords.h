#pragma once

#include <QString>

#include <deque>
#include <memory>

class PreparedPasswords;

// The new passwords of a run's coming users, made ahead of the user loop: when the
// target's password encoder offers to prepare encodings (PreparePasswords), the
// passwords of the next users are generated and handed to it, so they are encoded on
// every core while the loop writes the users before them. Without such an encoder
// (or when it cannot be created) every password is made when it is taken, exactly as
// CreateNewPassword makes it.
//
// Memory stays bounded: no more passwords are prepared than a window ahead of the
// loop. The encodings not taken are dropped, and no encoding thread is left, when
// the object goes.
class NewPasswords
{
public:
    // window 0: four passwords per processor core.
    explicit NewPasswords(int window = 0);
    ~NewPasswords();
    NewPasswords(const NewPasswords&) = delete;
    NewPasswords& operator=(const NewPasswords&) = delete;

    // The coming users (the one in hand and those after it) may each take a password:
    // prepares as many as they could take, at most the window ahead.
    void prepare(int comingUsers);
    // The next new password in its clear and its encoded form, as CreateNewPassword
    // gives them; raises what the encoding raised. While the encoding is still under
    // way the interface handles its pending events every 20 ms.
    void take(QString& clearPassword, QString& encodedPassword);

    // Whether the encoder prepares ahead (for the tests and the benchmark).
    bool preparesAhead() const { return mPrepared != nullptr; }
    int window() const { return mWindow; }

private:
    int mWindow = 0;
    std::shared_ptr<PreparedPasswords> mPrepared;
    // Prepared, not taken yet, in the order they were handed in.
    std::deque<QString> mAhead;
};

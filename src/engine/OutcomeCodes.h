#pragma once

#include <QString>

// The conflict action of a user on the migration list, as the user selection page
// records it; 6 is accepted from elsewhere and always sends the introduction e-mail.
namespace ActionCode {
constexpr int Create = 0;
constexpr int Update = 1;
constexpr int DeleteAndReinsert = 2;
constexpr int CreateAndMail = 6;
} // namespace ActionCode

// The "Action" of a user outcome record: for a migrated user its action code, for a
// failed one the reason below.
namespace OutcomeCode {
constexpr int CreateFailed = 0;
constexpr int UpdateFailed = 1;
constexpr int DeleteFailed = 2;
constexpr int ReinsertFailed = 3;
constexpr int ReadFailed = 4;
constexpr int Corrupt = 5;
constexpr int MailFailed = 7;
// A failed user whose report lists no error text.
constexpr int NoText = -1;
// Failures that wrote nothing, with texts of their own but no number in the outcome
// file: a replacement stopped before its delete (a password or time zone that
// cannot be converted, no Directory user named), and an action code the run does
// not know.
constexpr int NothingDeleted = -2;
constexpr int UnknownAction = -3;

// The report's error text of a code; empty for a code without one.
QString Text(int code);
} // namespace OutcomeCode

// How usable one field of a source user record is.
namespace Grade {
constexpr int Good = 0;
constexpr int Invalid = 1;
constexpr int Missing = 2;
constexpr int Unusable = 3;
} // namespace Grade

#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

// The introduction e-mail as it goes over the wire or into the pickup folder: an
// Internet message with CR LF line ends, UTF-8 text, the body quoted-printable.
namespace MailMessage {

struct Recipient
{
    QString address;
    // 1 a copy (Cc); every other kind, 0 among them, a direct recipient (To).
    int kind = 0;
};

// The longest address that mail carries.
inline constexpr qsizetype MaxAddressLength = 254;

// A plain mailbox address: one "@" with text on both sides, no blanks, no control
// characters (NUL and DEL among them), none of the characters that separate accounts
// and recipient lists, at most MaxAddressLength characters.
bool IsAddress(const QString& text);
// Why the text is not an address, naming it (control characters shown as "?");
// empty when it is one.
QString AddressProblem(const QString& text);
bool HasControlCharacter(const QString& text);
// The text as an error message may show it: control characters as "?", cut after
// 80 characters.
QString Shown(const QString& text);

// "addr|#|kind" entries separated by ";"; an entry without "|#|" is of kind 0.
// Empty entries are skipped; an entry whose address is not an address raises (and
// says why), and so does a list without any address.
QList<Recipient> ParseRecipients(const QString& recipients);

// The whole message: Date, From, To (and Cc), Subject, Message-ID, the MIME headers,
// an empty line and the body. No header line is longer than 998 bytes: the subject
// is folded into encoded words, address lists after each comma.
QByteArray Compose(const QString& fromAddress, const QList<Recipient>& recipients,
                   const QString& subject, const QString& body, const QDateTime& date);

// A header text as it stands when it is short printable ASCII, else as UTF-8
// encoded words, one per folded line; line breaks and other control characters in
// the text become blanks.
QByteArray EncodeHeaderText(const QString& text);

// The text in UTF-8, quoted-printable, lines of at most 76 characters; every line
// break of the text (CR LF, LF or CR) becomes a CR LF.
QByteArray QuotedPrintable(const QString& text);

} // namespace MailMessage

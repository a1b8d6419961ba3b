#include "reference/MailMessage.h"

#include "frame/MigrationError.h"

#include <QRegularExpression>
#include <QStringList>
#include <QUuid>

namespace {

const QByteArray Crlf("\r\n");

bool isPrintableAscii(const QString& text)
{
    for (const QChar c : text) {
        if (c.unicode() < 0x20 || c.unicode() > 0x7E) {
            return false;
        }
    }
    return true;
}

QByteArray hexByte(unsigned char byte)
{
    static const char digits[] = "0123456789ABCDEF";
    QByteArray encoded("=");
    encoded.append(digits[byte >> 4]);
    encoded.append(digits[byte & 0x0F]);
    return encoded;
}

// One line of text without its line break, quoted-printable, with soft breaks.
QByteArray quotedPrintableLine(const QByteArray& line)
{
    constexpr int MaxLine = 76;
    QByteArray out;
    int lineLength = 0;
    for (int i = 0; i < line.size(); ++i) {
        const auto byte = static_cast<unsigned char>(line.at(i));
        const bool last = i == line.size() - 1;
        QByteArray token;
        if ((byte == ' ' || byte == '\t') && !last) {
            token = QByteArray(1, static_cast<char>(byte));
        } else if (byte >= 33 && byte <= 126 && byte != '=') {
            token = QByteArray(1, static_cast<char>(byte));
        } else {
            token = hexByte(byte);
        }
        // A soft break takes one more character: "=" at the end of the line.
        const int room = last ? MaxLine : MaxLine - 1;
        if (lineLength + token.size() > room) {
            out.append('=');
            out.append(Crlf);
            lineLength = 0;
        }
        out.append(token);
        lineLength += static_cast<int>(token.size());
    }
    return out;
}

// An address header, folded after each comma so that a long list of recipients
// never makes a line longer than mail allows; empty without addresses of the kind.
QByteArray addressHeader(const char* name, const QList<MailMessage::Recipient>& recipients,
                         bool copies)
{
    QByteArray header;
    for (const auto& recipient : recipients) {
        if ((recipient.kind == 1) != copies) {
            continue;
        }
        header.append(header.isEmpty() ? QByteArray(name) + ": " : QByteArray(",\r\n "));
        header.append(recipient.address.toUtf8());
    }
    return header.isEmpty() ? header : header + Crlf;
}

QString domainOf(const QString& address)
{
    const int at = address.lastIndexOf(QLatin1Char('@'));
    const QString domain = at >= 0 ? address.mid(at + 1) : QString();
    return domain.isEmpty() ? QStringLiteral("localhost") : domain;
}

} // namespace

bool MailMessage::IsAddress(const QString& text)
{
    static const QRegularExpression pattern(
        QStringLiteral(R"(^[^@\s;|<>,"()\[\]\\]+@[^@\s;|<>,"()\[\]\\]+$)"));
    return text.size() <= MaxAddressLength && !HasControlCharacter(text) &&
           pattern.match(text).hasMatch();
}

bool MailMessage::HasControlCharacter(const QString& text)
{
    for (const QChar c : text) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F || c.category() == QChar::Other_Control) {
            return true;
        }
    }
    return false;
}

QString MailMessage::Shown(const QString& text)
{
    QString shown = text.left(80);
    for (QChar& c : shown) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F || c.category() == QChar::Other_Control) {
            c = QLatin1Char('?');
        }
    }
    return text.size() > 80 ? shown + QStringLiteral("...") : shown;
}

QString MailMessage::AddressProblem(const QString& text)
{
    if (HasControlCharacter(text)) {
        return QStringLiteral("\"%1\" is not an e-mail address: it holds a control character "
                              "(such as NUL or DEL), which a mail header cannot carry")
            .arg(Shown(text));
    }
    if (text.size() > MaxAddressLength) {
        return QStringLiteral("\"%1\" is not an e-mail address: it has %2 characters, more than "
                              "the %3 that mail allows")
            .arg(Shown(text))
            .arg(text.size())
            .arg(MaxAddressLength);
    }
    if (!IsAddress(text)) {
        return QStringLiteral("\"%1\" is not an e-mail address").arg(Shown(text));
    }
    return QString();
}

QList<MailMessage::Recipient> MailMessage::ParseRecipients(const QString& recipients)
{
    QList<Recipient> parsed;
    const QString separator = QStringLiteral("|#|");
    for (const QString& entry : recipients.split(QLatin1Char(';'))) {
        const QString trimmed = entry.trimmed();
        const int mark = trimmed.indexOf(separator);
        Recipient recipient;
        recipient.address = (mark >= 0 ? trimmed.left(mark) : trimmed).trimmed();
        if (mark >= 0) {
            recipient.kind = trimmed.mid(mark + separator.size()).trimmed().toInt();
        }
        if (recipient.address.isEmpty()) {
            continue;
        }
        const QString problem = AddressProblem(recipient.address);
        if (!problem.isEmpty()) {
            throw MigrationError(ErrorNumber::InvalidProcedureCall, problem,
                                 QStringLiteral("MailMessage"));
        }
        parsed.append(recipient);
    }
    if (parsed.isEmpty()) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("The message has no recipient with an e-mail address"),
                             QStringLiteral("MailMessage"));
    }
    return parsed;
}

QByteArray MailMessage::EncodeHeaderText(const QString& text)
{
    QString flat = text;
    flat.replace(QStringLiteral("\r\n"), QStringLiteral(" "));
    // Line breaks and the other control characters (NUL, DEL, ...) have no place in
    // a header, not even encoded: each becomes a blank.
    for (QChar& c : flat) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F || c.category() == QChar::Other_Control) {
            c = QLatin1Char(' ');
        }
    }
    if (isPrintableAscii(flat) && flat.size() <= 66 && !flat.contains(QStringLiteral("=?"))) {
        return flat.toLatin1();
    }
    // Encoded words of at most 42 bytes of text each (56 in base 64), never
    // splitting a character, one per folded line, so that even the first line with
    // its "Subject: " stays within 78 characters.
    QList<QByteArray> words;
    QByteArray chunk;
    for (int i = 0; i < flat.size(); ++i) {
        int length = 1;
        if (flat.at(i).isHighSurrogate() && i + 1 < flat.size()) {
            length = 2;
        }
        const QByteArray bytes = flat.mid(i, length).toUtf8();
        i += length - 1;
        if (chunk.size() + bytes.size() > 42) {
            words.append(chunk);
            chunk.clear();
        }
        chunk.append(bytes);
    }
    if (!chunk.isEmpty() || words.isEmpty()) {
        words.append(chunk);
    }
    QByteArray encoded;
    for (const QByteArray& word : words) {
        if (!encoded.isEmpty()) {
            encoded.append(Crlf);
            encoded.append(' ');
        }
        encoded.append("=?UTF-8?B?");
        encoded.append(word.toBase64());
        encoded.append("?=");
    }
    return encoded;
}

QByteArray MailMessage::QuotedPrintable(const QString& text)
{
    static const QRegularExpression lineBreak(QStringLiteral("\r\n|\r|\n"));
    const QStringList lines = text.split(lineBreak);
    QByteArray out;
    for (int i = 0; i < lines.size(); ++i) {
        if (i > 0) {
            out.append(Crlf);
        }
        out.append(quotedPrintableLine(lines.at(i).toUtf8()));
    }
    return out;
}

QByteArray MailMessage::Compose(const QString& fromAddress, const QList<Recipient>& recipients,
                                const QString& subject, const QString& body, const QDateTime& date)
{
    const QString messageId = QUuid::createUuid().toString(QUuid::WithoutBraces) +
                              QLatin1Char('@') + domainOf(fromAddress);

    QByteArray message;
    message.append("Date: " + date.toString(Qt::RFC2822Date).toLatin1() + Crlf);
    message.append("From: " + fromAddress.toUtf8() + Crlf);
    message.append(addressHeader("To", recipients, false));
    message.append(addressHeader("Cc", recipients, true));
    message.append("Subject: " + EncodeHeaderText(subject) + Crlf);
    message.append("Message-ID: <" + messageId.toUtf8() + ">" + Crlf);
    message.append("MIME-Version: 1.0" + Crlf);
    message.append("Content-Type: text/plain; charset=UTF-8" + Crlf);
    message.append("Content-Transfer-Encoding: quoted-printable" + Crlf);
    message.append(Crlf);
    message.append(QuotedPrintable(body));
    message.append(Crlf);
    return message;
}

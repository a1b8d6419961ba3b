// The introduction e-mail: recipients, subject and body from anywhere. Addresses a
// header cannot carry are refused; a composed message has CR LF line ends only, no
// control character in its headers, no header line over 998 bytes and no body line
// over 78.
#include "frame/MigrationError.h"
#include "reference/MailMessage.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>

namespace {

QString take(FuzzedDataProvider& input, size_t longest)
{
    const std::string bytes = input.ConsumeRandomLengthString(longest);
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

void check(const QByteArray& message)
{
    const qsizetype end = message.indexOf("\r\n\r\n");
    if (end < 0 || !message.endsWith("\r\n")) {
        std::abort();
    }
    const QList<QByteArray> lines = message.split('\n');
    for (qsizetype i = 0; i + 1 < lines.size(); ++i) {
        const QByteArray& line = lines.at(i);
        // Every line ends in CR LF, and no CR stands anywhere else.
        if (!line.endsWith('\r') || line.chopped(1).contains('\r')) {
            std::abort();
        }
    }
    if (!lines.last().isEmpty()) {
        std::abort();
    }
    const QList<QByteArray> headers = message.left(end).split('\n');
    for (const QByteArray& header : headers) {
        const QByteArray line = header.endsWith('\r') ? header.chopped(1) : header;
        if (line.size() > 998) {
            std::abort();
        }
        for (const char c : line) {
            const auto byte = static_cast<unsigned char>(c);
            if ((byte < 0x20 && byte != '\t') || byte == 0x7F) {
                std::abort();
            }
        }
    }
    for (const QByteArray& line : message.mid(end + 4).split('\n')) {
        if (line.size() > 77) { // 76 characters and the CR
            std::abort();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider input(data, size);
    const QString from = take(input, 300);
    const QString recipients = take(input, 2000);
    const QString subject = take(input, 2000);
    const std::string rest = input.ConsumeRemainingBytesAsString();
    const QString body = QString::fromUtf8(rest.data(), static_cast<qsizetype>(rest.size()));

    if (MailMessage::IsAddress(from) != MailMessage::AddressProblem(from).isEmpty()) {
        std::abort();
    }
    try {
        const QList<MailMessage::Recipient> parsed = MailMessage::ParseRecipients(recipients);
        for (const auto& recipient : parsed) {
            if (!MailMessage::IsAddress(recipient.address)) {
                std::abort();
            }
        }
        if (MailMessage::IsAddress(from)) {
            check(MailMessage::Compose(from, parsed, subject, body,
                                       QDateTime(QDate(2024, 3, 5), QTime(14, 7, 9), Qt::UTC)));
        }
    } catch (const MigrationError&) {
    }
    return 0;
}

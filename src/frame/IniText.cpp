#include "frame/IniText.h"

#include <QStringDecoder>

namespace IniText {

QString decode(const QByteArray& contents)
{
    QByteArray bytes = contents;
    if (bytes.startsWith("\xEF\xBB\xBF")) {
        bytes.remove(0, 3);
    }
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8.decode(bytes);
    return utf8.hasError() ? QString::fromLatin1(bytes) : text;
}

QString withoutComment(const QString& text)
{
    bool quoted = false;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('"')) {
            quoted = !quoted;
        } else if (c == QLatin1Char(';') && !quoted && i > 0 && text.at(i - 1).isSpace()) {
            return text.left(i).trimmed();
        }
    }
    return text.trimmed();
}

bool isComment(const QString& line)
{
    return line.startsWith(QLatin1Char(';')) || line.startsWith(QLatin1Char('#'));
}

} // namespace IniText

// Character-code lists of source passwords ("0,72,105,0"): a text of one character
// per inner element, each within 8 bits, or a MigrationError; nothing else.
#include "frame/CommonFunctions.h"
#include "frame/MigrationError.h"

#include <QString>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString list =
        QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    try {
        const QString text = CommonFunctions::CharCodesToText(list);
        const qsizetype inner = qMax<qsizetype>(list.count(QLatin1Char(',')) - 1, 0);
        if (text.size() != inner) {
            std::abort();
        }
        for (const QChar c : text) {
            if (c.unicode() > 255) {
                std::abort();
            }
        }
    } catch (const MigrationError&) {
    }
    return 0;
}

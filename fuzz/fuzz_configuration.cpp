// zephrin.ini as any editor may leave it: read, or refused with error 321 naming the
// line; a value never holds a line break.
#include "frame/MigrationError.h"
#include "reference/IniConfiguration.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray contents(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    try {
        IniConfiguration configuration(QStringLiteral("/fuzz/zephrin.ini"), contents);
        for (const char* name :
             {"global:productname", "directory:connectionstring", "mail:transport", "mail:smtpport",
              "mail:timeout", "odbc:driver", ":", "", "a:b:c"}) {
            const QString value = configuration.GetSetting(QString::fromLatin1(name));
            if (value.contains(QLatin1Char('\n'))) {
                std::abort();
            }
        }
        try {
            if (configuration.GetDirectoryConnectionString().trimmed().isEmpty()) {
                std::abort(); // an empty string is refused, not handed out
            }
        } catch (const MigrationError&) {
        }
    } catch (const MigrationError& error) {
        if (error.number() != ErrorNumber::InvalidFileFormat ||
            !error.description().contains(QStringLiteral(", line "))) {
            std::abort();
        }
    }
    return 0;
}

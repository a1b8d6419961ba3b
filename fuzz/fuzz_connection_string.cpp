// Connection strings: any text parses without harm, and a string built from parts
// that carry no separator or placeholder reads back as those parts.
#include "db/ConnectionString.h"

#include <QString>
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>

namespace {

QString take(FuzzedDataProvider& input)
{
    const std::string bytes = input.ConsumeRandomLengthString(64);
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

// A part that the connection-string form can carry as it is.
bool plain(const QString& part)
{
    return part == part.trimmed() && !part.contains(QLatin1Char(';')) &&
           !part.contains(QLatin1Char('<'));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider input(data, size);
    const QString server = take(input);
    const QString database = take(input);
    const QString login = take(input);
    const QString password = take(input);
    const std::string remaining = input.ConsumeRemainingBytesAsString();
    const QString rest =
        QString::fromUtf8(remaining.data(), static_cast<qsizetype>(remaining.size()));

    const ConnectionParts any = ParseConnectionString(rest);
    if (any.isEmbedded()) {
        (void)any.embeddedFile();
    }

    const ConnectionParts sql =
        ParseConnectionString(BuildSqlConnectionString(server, database, login, password));
    const ConnectionParts trusted =
        ParseConnectionString(BuildTrustedConnectionString(server, database));
    if (plain(server) && plain(database) && plain(login) && plain(password)) {
        if (sql.dataSource != server || sql.initialCatalog != database || sql.userID != login ||
            sql.password != password || sql.integratedSecurity) {
            std::abort();
        }
        if (trusted.dataSource != server || trusted.initialCatalog != database ||
            !trusted.integratedSecurity) {
            std::abort();
        }
    }
    return 0;
}

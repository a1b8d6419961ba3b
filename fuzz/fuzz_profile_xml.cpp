// Profile XML as the source database may hold it: never a crash, never a slow parse
// (libFuzzer's -timeout catches one), and a profile is read only within the limits.
#include "db/VarnelDBCon.h"

#include <QString>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString xml =
        QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    QString why;
    const CollectionPtr profile =
        VarnelDBCon::ParseProfileXml(xml, QStringLiteral("N"), QStringLiteral("D"), &why);
    if (profile) {
        // A profile read ends with its three own members.
        if (profile->count() < 3 || !profile->contains(QStringLiteral("ProfileID")) ||
            xml.size() > VarnelDBCon::MaxProfileXmlLength) {
            std::abort();
        }
    } else if (why.isEmpty()) {
        std::abort(); // a refused profile always says why
    }
    return 0;
}

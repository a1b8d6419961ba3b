// Times what the hardening changed: the reference password encoder (OpenSSL's
// PBKDF2-HMAC-SHA256 against Qt's own derivation of the same key, the floor and the
// former implementation) and the profile reader on deeply nested XML (refused by the
// depth check against what the DOM parser takes for the same text).
// Usage: bench_hardening [iterations], default 600000.
#include "db/VarnelDBCon.h"
#include "reference/ReferencePasswordEncoder.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDomDocument>
#include <QElapsedTimer>
#include <QPasswordDigestor>

#include <cstdio>

namespace {

double seconds(const QElapsedTimer& timer)
{
    return static_cast<double>(timer.nsecsElapsed()) / 1e9;
}

void passwords(int iterations)
{
    const QByteArray salt("0123456789abcdef");
    QElapsedTimer timer;
    timer.start();
    const QByteArray openssl =
        ReferencePasswordEncoder::DeriveKey(QStringLiteral("aB3xY9"), salt, iterations);
    const double opensslSeconds = seconds(timer);
    timer.restart();
    const QByteArray qt = QPasswordDigestor::deriveKeyPbkdf2(
        QCryptographicHash::Sha256, QByteArray("aB3xY9"), salt, iterations, 32);
    const double qtSeconds = seconds(timer);
    std::printf("password encoding, %d iterations: OpenSSL %.3f s, Qt %.3f s, "
                "ratio %.1f, same key: %s\n",
                iterations, opensslSeconds, qtSeconds, qtSeconds / opensslSeconds,
                openssl == qt ? "yes" : "NO");
}

QString nested(int levels)
{
    QString xml;
    xml.reserve(levels * 7 + 16);
    for (int i = 0; i < levels; ++i) {
        xml += QStringLiteral("<a>");
    }
    for (int i = 0; i < levels; ++i) {
        xml += QStringLiteral("</a>");
    }
    return xml;
}

// The largest profile that is read: pairs at the depth a profile has, up to the
// length limit.
QString widest()
{
    QString xml = QStringLiteral("<Profile>");
    const QString end = QStringLiteral("</Profile>");
    for (int i = 0;; ++i) {
        const QString pair =
            QStringLiteral("<Pair><Name>Key%1</Name><Value>value %1</Value></Pair>").arg(i);
        if (xml.size() + pair.size() + end.size() > VarnelDBCon::MaxProfileXmlLength) {
            break;
        }
        xml += pair;
    }
    return xml + end;
}

void profiles()
{
    {
        const QString xml = widest();
        QElapsedTimer timer;
        timer.start();
        const CollectionPtr profile =
            VarnelDBCon::ParseProfileXml(xml, QStringLiteral("N"), QString());
        std::printf("largest profile read (%lld characters, %d pairs): %.3f s\n",
                    static_cast<long long>(xml.size()), profile ? profile->count() - 3 : -1,
                    seconds(timer));
    }
    for (const int levels : {3000, 10000, 30000}) {
        const QString xml = nested(levels);
        QElapsedTimer timer;
        timer.start();
        QString why;
        const bool read =
            VarnelDBCon::ParseProfileXml(xml, QStringLiteral("N"), QString(), &why) != nullptr;
        const double refused = seconds(timer);
        timer.restart();
        QDomDocument document;
        document.setContent(xml);
        const double dom = seconds(timer);
        std::printf("profile XML nested %d levels (%lld characters): reader %.4f s (%s), DOM "
                    "parser alone %.3f s\n",
                    levels, static_cast<long long>(xml.size()), refused, read ? "read" : "refused",
                    dom);
    }
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const int iterations =
        argc > 1 ? QByteArray(argv[1]).toInt() : ReferencePasswordEncoder::DefaultIterations;
    passwords(iterations);
    profiles();
    return 0;
}

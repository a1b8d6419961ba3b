#include "db/EmbeddedCollations.h"

#include "frame/MigrationError.h"

#include <QCollator>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <sqlite3.h>

namespace {

int withoutTrailingBlanks(const char* text, int length)
{
    while (length > 0 && text[length - 1] == ' ') {
        --length;
    }
    return length;
}

unsigned char foldAscii(unsigned char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

// Texts arrive as UTF-8. Plain ASCII, which nearly every login ID is, is compared
// byte by byte; from the first byte of another letter on, both rests are compared
// as Unicode text with case folded.
int compareEquality(void* /*context*/, int lengthA, const void* a, int lengthB, const void* b)
{
    const auto* textA = static_cast<const char*>(a);
    const auto* textB = static_cast<const char*>(b);
    lengthA = withoutTrailingBlanks(textA, lengthA);
    lengthB = withoutTrailingBlanks(textB, lengthB);
    int i = 0;
    for (; i < lengthA && i < lengthB; ++i) {
        const auto ca = static_cast<unsigned char>(textA[i]);
        const auto cb = static_cast<unsigned char>(textB[i]);
        if (ca >= 0x80 || cb >= 0x80) {
            return QString::fromUtf8(textA + i, lengthA - i)
                .compare(QString::fromUtf8(textB + i, lengthB - i), Qt::CaseInsensitive);
        }
        if (foldAscii(ca) != foldAscii(cb)) {
            return foldAscii(ca) < foldAscii(cb) ? -1 : 1;
        }
    }
    return lengthA == lengthB ? 0 : (lengthA < lengthB ? -1 : 1);
}

int compareSort(void* context, int lengthA, const void* a, int lengthB, const void* b)
{
    const auto* collator = static_cast<const QCollator*>(context);
    const int order = collator->compare(QString::fromUtf8(static_cast<const char*>(a), lengthA),
                                        QString::fromUtf8(static_cast<const char*>(b), lengthB));
    if (order != 0) {
        return order;
    }
    // Names the dictionary order takes as equal still need a fixed order.
    return compareEquality(nullptr, lengthA, a, lengthB, b);
}

void destroyCollator(void* context)
{
    delete static_cast<QCollator*>(context);
}

[[noreturn]] void fail(const QString& description)
{
    throw MigrationError(ErrorNumber::InvalidProcedureCall, description,
                         QStringLiteral("EmbeddedCollations"));
}

} // namespace

void EmbeddedCollations::Register(QSqlDatabase& database)
{
    const QVariant handle = database.driver()->handle();
    if (!handle.isValid() || qstrcmp(handle.typeName(), "sqlite3*") != 0) {
        fail(QStringLiteral("The connection is not an embedded database"));
    }
    sqlite3* connection = *static_cast<sqlite3* const*>(handle.constData());
    if (connection == nullptr) {
        fail(QStringLiteral("The embedded database is not open"));
    }
    if (sqlite3_create_collation_v2(connection, Equality, SQLITE_UTF8, nullptr, &compareEquality,
                                    nullptr) != SQLITE_OK) {
        fail(QString::fromUtf8(sqlite3_errmsg(connection)));
    }
    auto* collator = new QCollator(QLocale(QLocale::English, QLocale::UnitedStates));
    collator->setCaseSensitivity(Qt::CaseInsensitive);
    if (sqlite3_create_collation_v2(connection, Sort, SQLITE_UTF8, collator, &compareSort,
                                    &destroyCollator) != SQLITE_OK) {
        delete collator;
        fail(QString::fromUtf8(sqlite3_errmsg(connection)));
    }
}

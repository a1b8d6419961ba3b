#include "db/OdbcText.h"

#include "db/DbConnection.h"
#include "frame/MigrationError.h"

#include <QSqlField>
#include <QSqlQuery>
#include <QSqlResult>
#include <array>
#include <sql.h>
#include <sqlext.h>

QList<int> OdbcText::textColumns(const QSqlRecord& shape)
{
    QList<int> columns;
    for (int i = 0; i < shape.count(); ++i) {
        if (shape.field(i).metaType().id() == QMetaType::QString) {
            columns << i;
        }
    }
    return columns;
}

QVariant OdbcText::read(const QSqlQuery& query, int column)
{
    const QVariant handle = query.result()->handle();
    // The Qt driver hands its statement handle out as a pointer.
    if (handle.metaType() != QMetaType::fromType<void*>()) {
        return query.value(column);
    }
    const SQLHANDLE statement = *static_cast<void* const*>(handle.constData());
    // SQLWCHAR holds UTF-16 on this platform's driver manager.
    static_assert(sizeof(SQLWCHAR) == sizeof(char16_t));
    // One piece for every read: most texts fit it, longer ones take several.
    static thread_local std::array<SQLWCHAR, 4096> piece;
    constexpr SQLLEN PieceBytes = SQLLEN(sizeof(piece));
    // An empty value is an empty text, not a null one.
    QString text = QStringLiteral("");
    while (true) {
        SQLLEN indicator = 0;
        const SQLRETURN result = SQLGetData(statement, static_cast<SQLUSMALLINT>(column + 1),
                                            SQL_C_WCHAR, piece.data(), PieceBytes, &indicator);
        if (result == SQL_NO_DATA) {
            break;
        }
        if (!SQL_SUCCEEDED(result)) {
            throw MigrationError(
                DbConnection::ProviderFailure,
                QStringLiteral("The text of column %1 could not be read").arg(column + 1),
                QStringLiteral("ODBC"));
        }
        if (indicator == SQL_NULL_DATA) {
            return QVariant(QMetaType::fromType<QString>());
        }
        // A piece that did not hold the rest is full but for its terminating NUL.
        const bool more = result == SQL_SUCCESS_WITH_INFO &&
                          (indicator == SQL_NO_TOTAL || indicator >= PieceBytes);
        const qsizetype characters =
            more ? qsizetype(piece.size()) - 1 : qsizetype(indicator / SQLLEN(sizeof(SQLWCHAR)));
        text.append(QStringView(reinterpret_cast<const char16_t*>(piece.data()), characters));
        if (!more) {
            break;
        }
    }
    return text;
}

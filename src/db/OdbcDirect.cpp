#include "db/OdbcDirect.h"

#include <QSqlDatabase>
#include <QSqlDriver>

#include <sql.h>
#include <sqlext.h>

#include <limits>
#include <string>
#include <vector>

namespace {

static_assert(sizeof(SQLWCHAR) == sizeof(char16_t));

// The diagnostic records of a handle, as the Qt driver joins them: the messages with
// a blank between them (a message repeated at once only once), and the native number
// of the last record.
QSqlError errorOf(SQLSMALLINT handleType, SQLHANDLE handle)
{
    QString text;
    SQLINTEGER native = 0;
    for (SQLSMALLINT record = 1;; ++record) {
        SQLWCHAR state[SQL_SQLSTATE_SIZE + 1] = {};
        SQLWCHAR message[SQL_MAX_MESSAGE_LENGTH] = {};
        SQLSMALLINT length = 0;
        SQLINTEGER number = 0;
        const SQLRETURN result = SQLGetDiagRecW(handleType, handle, record, state, &number, message,
                                                SQL_MAX_MESSAGE_LENGTH, &length);
        if (!SQL_SUCCEEDED(result)) {
            break;
        }
        native = number;
        const QString line =
            QString::fromUtf16(reinterpret_cast<const char16_t*>(message),
                               qMin<qsizetype>(length, SQL_MAX_MESSAGE_LENGTH - 1));
        if (line != text) {
            text += (text.isEmpty() ? QString() : QStringLiteral(" ")) + line;
        }
    }
    return QSqlError(QStringLiteral("Unable to execute statement"), text, QSqlError::StatementError,
                     QString::number(native));
}

// A whole number that an int column takes as it is (a flag as 0 or 1).
bool isWholeNumber(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Bool:
        return true;
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong: {
        const qint64 number = value.toLongLong();
        return number >= std::numeric_limits<int>::min() &&
               number <= std::numeric_limits<int>::max();
    }
    default:
        return false;
    }
}

} // namespace

bool OdbcDirect::Run(const QSqlDatabase& database, const QString& sql, const QVariantList& values,
                     QSqlError& error, QVariant* firstValue)
{
    const QVariant handle = database.driver() ? database.driver()->handle() : QVariant();
    if (handle.metaType() != QMetaType::fromType<void*>()) {
        return false;
    }
    SQLHANDLE connection = *static_cast<void* const*>(handle.constData());
    SQLHSTMT statement = SQL_NULL_HSTMT;
    if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_STMT, connection, &statement))) {
        error = errorOf(SQL_HANDLE_DBC, connection);
        return true;
    }
    struct Release
    {
        SQLHSTMT statement;
        ~Release() { SQLFreeHandle(SQL_HANDLE_STMT, statement); }
    } release{statement};

    // The bound buffers live until the statement has run.
    const size_t count = static_cast<size_t>(values.size());
    std::vector<std::u16string> texts(count);
    std::vector<SQLINTEGER> numbers(count);
    std::vector<SQLLEN> indicators(count);
    for (size_t i = 0; i < count; ++i) {
        const QVariant& value = values.at(qsizetype(i));
        const auto position = static_cast<SQLUSMALLINT>(i + 1);
        SQLRETURN bound = SQL_SUCCESS;
        if (value.isNull()) {
            indicators[i] = SQL_NULL_DATA;
            bound = SQLBindParameter(statement, position, SQL_PARAM_INPUT, SQL_C_WCHAR,
                                     SQL_WVARCHAR, 1, 0, nullptr, 0, &indicators[i]);
        } else if (isWholeNumber(value)) {
            numbers[i] = value.toInt();
            bound = SQLBindParameter(statement, position, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER,
                                     0, 0, &numbers[i], 0, nullptr);
        } else {
            texts[i] = value.toString().toStdU16String();
            const auto characters = static_cast<SQLULEN>(texts[i].size());
            indicators[i] = SQLLEN(characters * sizeof(char16_t));
            bound = SQLBindParameter(statement, position, SQL_PARAM_INPUT, SQL_C_WCHAR,
                                     characters > 4000 ? SQL_WLONGVARCHAR : SQL_WVARCHAR,
                                     qMax<SQLULEN>(1, characters), 0, texts[i].data(),
                                     indicators[i], &indicators[i]);
        }
        if (!SQL_SUCCEEDED(bound)) {
            error = errorOf(SQL_HANDLE_STMT, statement);
            return true;
        }
    }

    std::u16string text = sql.toStdU16String();
    SQLRETURN result = SQLExecDirectW(statement, reinterpret_cast<SQLWCHAR*>(text.data()), SQL_NTS);
    if (!SQL_SUCCEEDED(result) && result != SQL_NO_DATA) {
        error = errorOf(SQL_HANDLE_STMT, statement);
        return true;
    }
    bool first = true;
    do {
        SQLSMALLINT columns = 0;
        SQLNumResultCols(statement, &columns);
        while (columns > 0 && SQL_SUCCEEDED(result = SQLFetch(statement))) {
            if (first && firstValue != nullptr) {
                SQLBIGINT number = 0;
                SQLLEN indicator = 0;
                SQLGetData(statement, 1, SQL_C_SBIGINT, &number, 0, &indicator);
                *firstValue = indicator == SQL_NULL_DATA ? QVariant() : QVariant(qint64(number));
            }
            first = false;
        }
        if (result == SQL_ERROR) {
            error = errorOf(SQL_HANDLE_STMT, statement);
            return true;
        }
        result = SQLMoreResults(statement);
    } while (SQL_SUCCEEDED(result));
    if (result == SQL_ERROR) {
        error = errorOf(SQL_HANDLE_STMT, statement);
    }
    return true;
}

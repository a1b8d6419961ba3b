#pragma once

#include <QString>
#include <sqlite3.h>

namespace JournalSql {

// One prepared statement, finalized when it goes out of scope.
class Statement
{
public:
    Statement(sqlite3* db, const char* sql) : mDb(db)
    {
        if (sqlite3_prepare_v2(db, sql, -1, &mStatement, nullptr) != SQLITE_OK) {
            mStatement = nullptr;
        }
    }
    ~Statement() { sqlite3_finalize(mStatement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool ok() const { return mStatement != nullptr; }
    void bind(int index, int value) { sqlite3_bind_int(mStatement, index, value); }
    void bind(int index, const QString& value)
    {
        const QByteArray bytes = value.toUtf8();
        sqlite3_bind_text(mStatement, index, bytes.constData(), static_cast<int>(bytes.size()),
                          SQLITE_TRANSIENT);
    }
    void bindNull(int index) { sqlite3_bind_null(mStatement, index); }
    void bindText(int index, const QString& value)
    {
        if (value.isNull()) {
            bindNull(index);
        } else {
            bind(index, value);
        }
    }
    // Runs the statement once; false on an error.
    bool run()
    {
        const int result = sqlite3_step(mStatement);
        sqlite3_reset(mStatement);
        sqlite3_clear_bindings(mStatement);
        return result == SQLITE_DONE;
    }
    // SQLITE_ROW, SQLITE_DONE or an error.
    int step() { return sqlite3_step(mStatement); }
    int integer(int column) const { return sqlite3_column_int(mStatement, column); }
    bool isNull(int column) const { return sqlite3_column_type(mStatement, column) == SQLITE_NULL; }
    QString text(int column) const
    {
        const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(mStatement, column));
        return bytes ? QString::fromUtf8(bytes) : QString();
    }

private:
    sqlite3* mDb;
    sqlite3_stmt* mStatement = nullptr;
};

} // namespace JournalSql

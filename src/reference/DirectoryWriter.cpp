#include "reference/DirectoryWriter.h"

#include "db/DbConnection.h"
#include "directory/DefaultServices.h"
#include "directory/VariantTable.h"
#include "frame/MigrationError.h"

#include <QSqlError>

namespace {

// SQLITE_CONSTRAINT_UNIQUE, the number the embedded engine gives a duplicate key.
constexpr long SqliteUniqueFailure = 2067;

} // namespace

DirectoryWriter::DirectoryWriter(DbConnection& connection) : mConnection(connection) {}

DirectoryWriter::~DirectoryWriter() = default;

QString DirectoryWriter::text(const QVariant& value)
{
    const QString result = value.toString();
    return result.isNull() ? QStringLiteral("") : result;
}

namespace {

// The longest text each position of the user field array may hold. The login ID
// is held to the 50 characters that the wizard's conflict check can compare.
int maximumLength(int position)
{
    switch (position) {
    case 8:
        return 50;
    case 10:
    case 11:
        return 20;
    case 16:
        return 50;
    default:
        return 255;
    }
}

bool holdsControlCharacter(const QString& text)
{
    for (const QChar c : text) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F) {
            return true;
        }
    }
    return false;
}

[[noreturn]] void refuseField(const QString& description)
{
    throw MigrationError(ErrorNumber::InvalidProcedureCall, description,
                         QStringLiteral("DirectoryUser"));
}

} // namespace

void DirectoryWriter::checkUserFields(const QVariantList& userFields)
{
    const QStringList& columns = userColumns();
    for (int position = 1; position < qMin(userFields.size(), columns.size()); ++position) {
        const QVariant value = userFields.at(position);
        if (value.isNull() || value.typeId() != QMetaType::QString) {
            continue;
        }
        const QString field = columns.at(position);
        const QString text = value.toString();
        if (text.contains(QChar(0)) || (position == 8 && holdsControlCharacter(text))) {
            refuseField(QStringLiteral("The field %1 holds a NUL or another control character, "
                                       "which the Directory cannot hold")
                            .arg(field));
        }
        if (text.size() > maximumLength(position)) {
            refuseField(QStringLiteral("The field %1 holds %2 characters; the Directory holds at "
                                       "most %3")
                            .arg(field)
                            .arg(text.size())
                            .arg(maximumLength(position)));
        }
    }
    // A user's services show the first and last name, with a blank between them.
    if (userFields.size() > 2 && !userFields.at(1).isNull() && !userFields.at(2).isNull()) {
        const qsizetype fullName =
            userFields.at(1).toString().size() + 1 + userFields.at(2).toString().size();
        if (fullName > 255) {
            refuseField(QStringLiteral("The fields FirstName and LastName make a full name of %1 "
                                       "characters; the Directory holds at most 255")
                            .arg(fullName));
        }
    }
}

const QStringList& DirectoryWriter::userColumns()
{
    static const QStringList columns = {QStringLiteral("UserID"),
                                        QStringLiteral("FirstName"),
                                        QStringLiteral("LastName"),
                                        QStringLiteral("Text3"),
                                        QStringLiteral("Text4"),
                                        QStringLiteral("Enabled"),
                                        QStringLiteral("LanguageID"),
                                        QStringLiteral("TimeZoneID"),
                                        QStringLiteral("LoginID"),
                                        QStringLiteral("Password"),
                                        QStringLiteral("DateFormat"),
                                        QStringLiteral("TimeFormat"),
                                        QStringLiteral("Option12"),
                                        QStringLiteral("Option13"),
                                        QStringLiteral("Option14"),
                                        QStringLiteral("GraphicsOn"),
                                        QStringLiteral("MobileNumber"),
                                        QStringLiteral("Option17"),
                                        QStringLiteral("LogonFailureCount")};
    return columns;
}

QVariant DirectoryWriter::userFieldValue(int position, const QVariant& columnValue)
{
    if (columnValue.isNull()) {
        return QVariant();
    }
    switch (position) {
    case 5:
    case 15:
    case 17:
        return columnValue.toInt() != 0;
    case 12:
    case 13:
    case 14:
        return QVariant::fromValue<qint16>(static_cast<qint16>(columnValue.toInt()));
    case 0:
    case 6:
    case 7:
    case 18:
        return columnValue.toInt();
    default:
        return columnValue.toString();
    }
}

void DirectoryWriter::readNextIDs(const QList<QPair<QString, QString>>& tables)
{
    QStringList reads;
    QStringList names;
    for (const auto& [table, idColumn] : tables) {
        if (!mNextIDs.contains(table)) {
            reads << QStringLiteral("(SELECT COALESCE(MAX(%2), 0) + 1 FROM %1 WITH (UPDLOCK, "
                                    "HOLDLOCK))")
                         .arg(table, idColumn);
            names << table;
        }
    }
    if (mConnection.isEmbedded() || names.size() < 2) {
        return; // read table by table, as nextID does
    }
    const auto rows =
        mConnection.select(QStringLiteral("SELECT ") + reads.join(QStringLiteral(", ")));
    for (int i = 0; i < names.size(); ++i) {
        mNextIDs.insert(names.at(i), rows.isEmpty() ? 1 : rows.first().value(i).toInt());
    }
}

int DirectoryWriter::nextID(const QString& table, const QString& idColumn)
{
    auto found = mNextIDs.find(table);
    if (found == mNextIDs.end()) {
        // On SQL Server the range lock keeps a second writer from taking the same
        // ID until this transaction ends.
        const QString sql =
            mConnection.isEmbedded()
                ? QStringLiteral("SELECT COALESCE(MAX(%2), 0) + 1 FROM %1")
                : QStringLiteral(
                      "SELECT COALESCE(MAX(%2), 0) + 1 FROM %1 WITH (UPDLOCK, HOLDLOCK)");
        const auto rows = mConnection.select(sql.arg(table, idColumn));
        found = mNextIDs.insert(table, rows.isEmpty() ? 1 : rows.first().value(0).toInt());
    }
    return found.value()++;
}

bool DirectoryWriter::loginIDTaken(const QString& loginID, int exceptUserID)
{
    QString sql = QStringLiteral("SELECT COUNT(*) FROM fwtUser WHERE ");
    QVariantList values;
    if (mConnection.isEmbedded()) {
        // The ASCII characters before the first one beyond ASCII, trailing blanks
        // dropped: every login ID equal under CI_AS begins with them, in some case.
        QString prefix;
        for (const QChar c : loginID) {
            if (c.unicode() >= 0x80) {
                break;
            }
            prefix += c;
        }
        while (prefix.endsWith(QLatin1Char(' '))) {
            prefix.chop(1);
        }
        if (!prefix.isEmpty()) {
            // The column's NOCASE order keeps them between the prefix and the prefix
            // followed by the last character there is.
            sql += QStringLiteral("LoginID >= ? AND LoginID < ? AND ");
            values << prefix << prefix + QString::fromUcs4(U"\U0010FFFF");
        }
        sql += QStringLiteral("LoginID = ? COLLATE CI_AS");
    } else {
        sql += QStringLiteral("LoginID = ?");
    }
    values << loginID;
    if (exceptUserID != 0) {
        sql += QStringLiteral(" AND UserID <> ?");
        values << exceptUserID;
    }
    if (!mConnection.isEmbedded()) {
        return mConnection.number(sql, values).toLongLong() > 0;
    }
    QSqlQuery& query = prepared(sql, sql);
    run(query, values);
    const bool taken = query.next() && query.value(0).toInt() > 0;
    // The answer is read to its end: a statement closed with its end unread makes the
    // SQL Server driver cancel it, one more round trip.
    while (query.next()) {
    }
    query.finish();
    return taken;
}

void DirectoryWriter::refuseTakenLoginID(const QString& loginID, int exceptUserID)
{
    if (mConnection.isEmbedded() && loginIDTaken(loginID, exceptUserID)) {
        // The number and words of the engine's own unique-key failure.
        throw MigrationError(SqliteUniqueFailure,
                             QStringLiteral("UNIQUE constraint failed: fwtUser.LoginID (\"%1\" "
                                            "is the login ID of another directory user, letter "
                                            "case and trailing blanks aside)")
                                 .arg(loginID),
                             QStringLiteral("DirectoryUser"));
    }
}

QSqlQuery& DirectoryWriter::prepared(const QString& key, const QString& sql)
{
    auto found = mQueries.find(key);
    if (found == mQueries.end()) {
        found = mQueries.insert(key, std::make_shared<QSqlQuery>(mConnection.prepare(sql)));
    }
    return *found.value();
}

void DirectoryWriter::runPrepared(const QString& key, const QString& sql,
                                  const QVariantList& values)
{
    // On SQL Server: one round trip sent directly, two prepared (see OdbcDirect).
    if (!mConnection.isEmbedded()) {
        mConnection.execute(sql, values);
        return;
    }
    run(prepared(key, sql), values);
}

void DirectoryWriter::run(QSqlQuery& query, const QVariantList& values)
{
    for (int index = 0; index < values.size(); ++index) {
        query.bindValue(index, values.at(index));
    }
    if (!query.exec()) {
        mConnection.fail(query.lastError());
    }
}

int DirectoryWriter::insertUser(const QVariantList& userFields, const QList<QVariantList>& services)
{
    if (userFields.size() < 19) {
        throw MigrationError(
            ErrorNumber::SubscriptOutOfRange,
            QStringLiteral("A user is described by 19 fields, not %1").arg(userFields.size()),
            QStringLiteral("DirectoryUser"));
    }
    checkUserFields(userFields);
    const auto number = [&](int position, int fallback) {
        const QVariant value = userFields.at(position);
        return value.isNull() ? fallback : value.toInt();
    };
    refuseTakenLoginID(text(userFields.at(8)));
    if (!services.isEmpty()) {
        readNextIDs({{QStringLiteral("fwtUser"), QStringLiteral("UserID")},
                     {QStringLiteral("fwtService"), QStringLiteral("ServiceID")}});
    }
    const int userID = nextID(QStringLiteral("fwtUser"), QStringLiteral("UserID"));
    runPrepared(
        QStringLiteral("user"),
        QStringLiteral("INSERT INTO fwtUser (UserID, FirstName, LastName, Text3, Text4, Enabled, "
                       "LanguageID, TimeZoneID, LoginID, Password, DateFormat, TimeFormat, "
                       "Option12, Option13, Option14, GraphicsOn, MobileNumber, Option17, "
                       "LogonFailureCount) "
                       "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
        {userID, text(userFields.at(1)), text(userFields.at(2)), text(userFields.at(3)),
         text(userFields.at(4)), userFields.at(5).toBool() ? 1 : 0, number(6, 1033), number(7, 24),
         text(userFields.at(8)), text(userFields.at(9)), text(userFields.at(10)),
         text(userFields.at(11)), number(12, 0), number(13, 0), number(14, 0),
         userFields.at(15).toBool() ? 1 : 0, text(userFields.at(16)),
         userFields.at(17).toBool() ? 1 : 0, number(18, 0)});

    // A user's services and their settings go in with one statement each.
    QVariantList serviceValues;
    QVariantList settingValues;
    int position = 0;
    for (const QVariantList& entry : services) {
        const int serviceID = nextID(QStringLiteral("fwtService"), QStringLiteral("ServiceID"));
        const QVariant storeID = entry.value(DefaultServices::StoreValue);
        serviceValues << serviceID << userID << position++
                      << text(entry.value(DefaultServices::GuidValue))
                      << text(entry.value(DefaultServices::DisplayNameValue))
                      << (storeID.isNull() ? -1 : storeID.toInt())
                      << (entry.value(DefaultServices::EnabledValue).toBool() ? 1 : 0);
        const VariantTable settings =
            entry.value(DefaultServices::SettingsValue).value<VariantTable>();
        if (!settings.hasBounds() || settings.isOneDimensional()) {
            continue;
        }
        // A setting without a name is an unused row of the table.
        int settingPosition = 0;
        for (int record = settings.lowerRecord(); record <= settings.upperRecord(); ++record) {
            const QVariant name = settings.at(DefaultServices::SettingNameField, record);
            if (name.isNull()) {
                continue;
            }
            const QVariant value = settings.at(DefaultServices::SettingValueField, record);
            settingValues << serviceID << settingPosition++ << text(name)
                          << text(settings.at(DefaultServices::SettingKindField, record))
                          << (value.isNull() ? QVariant() : QVariant(value.toString()));
        }
    }
    insertRows(QStringLiteral("INSERT INTO fwtService (ServiceID, OwnerUserID, Position, "
                              "ApplicationID, DisplayName, StoreID, Enabled) VALUES "),
               7, serviceValues);
    insertRows(QStringLiteral("INSERT INTO fwtServiceSetting (ServiceID, Position, Name, Kind, "
                              "Value) VALUES "),
               5, settingValues);
    return userID;
}

void DirectoryWriter::insertRows(const QString& insertText, int columns, const QVariantList& values)
{
    // Up to 100 rows per statement on SQL Server, which takes several rows in one
    // VALUES list (and at most 2100 parameters), saving round trips. The embedded
    // engine has no round trips to save, and binds a statement's parameters faster
    // the fewer it has: there one prepared single-row insert is reused.
    const int maxRowsPerStatement = mConnection.isEmbedded() ? 1 : 100;
    const int rows = static_cast<int>(values.size()) / columns;
    for (int first = 0; first < rows; first += maxRowsPerStatement) {
        const int count = qMin(maxRowsPerStatement, rows - first);
        const QString tuple = QLatin1Char('(') +
                              QStringList(columns, QStringLiteral("?")).join(QStringLiteral(", ")) +
                              QLatin1Char(')');
        runPrepared(insertText + QString::number(count),
                    insertText + QStringList(count, tuple).join(QStringLiteral(", ")),
                    values.mid(qsizetype(first) * columns, qsizetype(count) * columns));
    }
}

int DirectoryWriter::insertStore(const VariantTable& storeRecord, const VariantTable& settings)
{
    // The name is kept as given, blanks and all: the wizard later looks the store up
    // by exactly the text its users name.
    const QString name = text(storeRecord.at(1));
    if (name.trimmed().isEmpty()) {
        throw MigrationError(ErrorNumber::InvalidProcedureCall,
                             QStringLiteral("A store needs the name of its mail server"),
                             QStringLiteral("StoreMaintenance"));
    }
    const int storeID = nextID(QStringLiteral("fwtStore"), QStringLiteral("StoreID"));
    QSqlQuery& store =
        prepared(QStringLiteral("store"),
                 QStringLiteral("INSERT INTO fwtStore (StoreID, Name, "
                                "ExchangeVersion, Description) VALUES (?, ?, ?, ?)"));
    run(store, {storeID, name, storeRecord.at(2).toInt(), text(storeRecord.at(3))});

    if (settings.hasBounds() && !settings.isOneDimensional()) {
        QSqlQuery& setting = prepared(
            QStringLiteral("storeSetting"),
            QStringLiteral("INSERT INTO fwtStoreSetting (StoreID, Position, Name, Kind, Value) "
                           "VALUES (?, ?, ?, ?, ?)"));
        int position = 0;
        for (int record = settings.lowerRecord(); record <= settings.upperRecord(); ++record) {
            const QVariant settingName = settings.at(0, record);
            if (settingName.isNull()) {
                continue;
            }
            const QVariant value = settings.at(3, record);
            run(setting, {storeID, position++, text(settingName), text(settings.at(1, record)),
                          value.isNull() ? QVariant() : QVariant(value.toString())});
        }
    }
    return storeID;
}

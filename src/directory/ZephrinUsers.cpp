#include "directory/ComponentFactory.h"
#include "directory/DefaultServices.h"
#include "directory/DirectoryErrors.h"
#include "directory/TargetComponents.h"
#include "directory/ZephrinFunctions.h"
#include "frame/MigrationError.h"

#include <QtMath>
#include <cmath>
#include <limits>

namespace {

constexpr int UserFieldCount = 19;

// The language text of the source as a 32-bit number; text that is no number is
// a type mismatch, which fails the operation.
int languageNumber(const QString& languageID)
{
    const QString text = languageID.trimmed();
    bool ok = false;
    const int whole = text.toInt(&ok);
    if (ok) {
        return whole;
    }
    const double number = text.toDouble(&ok);
    if (ok && std::isfinite(number) && number >= std::numeric_limits<int>::min() &&
        number <= std::numeric_limits<int>::max()) {
        return qRound(number);
    }
    throw MigrationError(
        ErrorNumber::TypeMismatch,
        QStringLiteral("Type mismatch: the language ID \"%1\" is not a number").arg(languageID),
        QStringLiteral("VarnelMigrationTool.ZephrinFunctions"));
}

// The whole description of one user as the directory user component takes it.
// Adding leaves position 0 empty and puts zero at 12 and 13; updating puts the
// user's ID at 0 and null at 12 and 13, which leaves those two as they are.
QVariantList userFields(const QVariant& userID, bool adding, const QString& firstName,
                        const QString& lastName, const QString& languageID, int timezoneID,
                        const QString& loginID, const QString& password,
                        const QString& mobileTelephoneNumber, const QString& graphicsSetting,
                        bool enabled, int userLogonFailureCounter)
{
    QVariantList fields(UserFieldCount);
    fields[0] = userID;
    fields[1] = firstName;
    fields[2] = lastName;
    fields[3] = QStringLiteral("");
    fields[4] = QStringLiteral("");
    fields[5] = enabled;
    fields[6] = languageNumber(languageID);
    fields[7] = timezoneID;
    fields[8] = loginID;
    fields[9] = password;
    fields[10] = QStringLiteral("yy-mm-dd");
    fields[11] = QStringLiteral("hh:mm");
    fields[12] = adding ? QVariant::fromValue<qint16>(0) : QVariant();
    fields[13] = adding ? QVariant::fromValue<qint16>(0) : QVariant();
    fields[14] = QVariant::fromValue<qint16>(0);
    fields[15] = graphicsSetting.toUpper() == QLatin1String("ON");
    fields[16] = mobileTelephoneNumber;
    fields[17] = true;
    fields[18] = userLogonFailureCounter;
    return fields;
}

// The short form of a server or store name: the part before the first ".".
QString shortName(const QString& name)
{
    const int dot = name.indexOf(QLatin1Char('.'));
    return (dot < 0 ? name : name.left(dot)).toLower();
}

} // namespace

bool ZephrinFunctions::AddUserToDirectory(
    const QString& firstName, const QString& lastName, const QString& exchangeServer,
    const QString& alias, const QString& email, const QString& languageID, int timezoneID,
    QString& loginID, int& newUserID, const QString& password, const QString& mobileTelephoneNumber,
    const QString& graphicsSetting, bool enabled, int userLogonFailureCounter,
    const QString& directoryConnectionString, long& errorNumber, QString& errorDescription)
{
    try {
        const auto users = Components::factory().CreateDirectoryUser();
        QVariantList fields = userFields(QVariant(), true, firstName, lastName, languageID,
                                         timezoneID, loginID, password, mobileTelephoneNumber,
                                         graphicsSetting, enabled, userLogonFailureCounter);

        const auto storeMaint = Components::factory().CreateStoreMaintenance();
        const VariantTable stores = storeMaint->GetStores(-1, directoryConnectionString);
        const int storeID = FindStoreID(exchangeServer, stores);

        const QString fullName = firstName + QLatin1Char(' ') + lastName;
        const QList<QVariantList> services = DefaultServices::BuildServiceEntries(
            DefaultServices::MailConnection(exchangeServer, alias, email), fullName, storeID);

        // A taken login ID becomes the first two letters of each name and a counter.
        int counter = 0;
        while (users->LoginIDExists(loginID, directoryConnectionString)) {
            loginID = firstName.left(2) + lastName.left(2) + QString::number(counter);
            fields[8] = loginID;
            ++counter;
        }

        newUserID = users->AddUser(fields, services, QString(), directoryConnectionString);
        return true;
    } catch (const std::exception& failure) {
        DirectoryErrors::HandBack(failure, errorNumber, errorDescription);
        return false;
    }
}

bool ZephrinFunctions::UpdateUser(int zeUserID, const QString& firstName, const QString& lastName,
                                  const QString& /*exchangeServer*/, const QString& /*alias*/,
                                  const QString& /*email*/, const QString& languageID,
                                  int timezoneID, QString& loginID, const QString& password,
                                  const QString& mobileTelephoneNumber,
                                  const QString& graphicsSetting, bool enabled,
                                  int userLogonFailureCounter,
                                  const QString& directoryConnectionString, long& errorNumber,
                                  QString& errorDescription)
{
    // The mail fields are taken and left unused: an update keeps the user's services.
    try {
        const auto users = Components::factory().CreateDirectoryUser();
        const QVariantList fields = userFields(zeUserID, false, firstName, lastName, languageID,
                                               timezoneID, loginID, password, mobileTelephoneNumber,
                                               graphicsSetting, enabled, userLogonFailureCounter);
        users->ModifyUser(fields, QString(), directoryConnectionString);
        return true;
    } catch (const std::exception& failure) {
        DirectoryErrors::HandBack(failure, errorNumber, errorDescription);
        return false;
    }
}

bool ZephrinFunctions::DeleteUser(int zeUserID, const QString& directoryConnectionString,
                                  long& errorNumber, QString& errorDescription)
{
    try {
        const auto users = Components::factory().CreateDirectoryUser();
        users->RemoveUser(zeUserID, QString(), directoryConnectionString);
        return true;
    } catch (const std::exception& failure) {
        DirectoryErrors::HandBack(failure, errorNumber, errorDescription);
        return false;
    }
}

int ZephrinFunctions::ConvertTimezoneID(int timezoneID)
{
    // The Directory merged two bands of zones; the rest are numbered alike.
    if (timezoneID >= 21 && timezoneID <= 23) {
        return 22;
    }
    if (timezoneID >= 24 && timezoneID <= 27) {
        return 24;
    }
    if (timezoneID == 47 || timezoneID == 48) {
        return 48;
    }
    return timezoneID;
}

int ZephrinFunctions::FindStoreID(const QString& serverName, const VariantTable& storeList)
{
    if (!storeList.hasBounds() || storeList.isOneDimensional()) {
        return -1;
    }
    const QString name = serverName.toLower();
    for (int store = storeList.lowerRecord(); store <= storeList.upperRecord(); ++store) {
        if (storeList.at(1, store).toString().toLower() == name) {
            return storeList.at(0, store).toInt();
        }
    }
    // A server given with its domain still finds its store by the short name.
    const QString shortServer = shortName(serverName);
    for (int store = storeList.lowerRecord(); store <= storeList.upperRecord(); ++store) {
        if (shortName(storeList.at(1, store).toString()) == shortServer) {
            return storeList.at(0, store).toInt();
        }
    }
    return -1;
}

CollectionPtr ZephrinFunctions::GetDirectoryIDList(const QString& directoryConnectionString)
{
    const auto listing = Components::factory().CreateDirectoryListing();
    const VariantTable list = listing->GetList(-1, directoryConnectionString);
    auto ids = Collection::create();
    if (!list.hasBounds() || list.isOneDimensional()) {
        return ids;
    }
    for (int record = list.lowerRecord(); record <= list.upperRecord(); ++record) {
        const int id = list.at(0, record).toInt();
        ids->add(id, QString::number(id));
    }
    return ids;
}

CollectionPtr ZephrinFunctions::GetDirectoryUsers(const QString& directoryConnectionString)
{
    const auto users = Components::factory().CreateDirectoryUser();
    const int count = users->CountUsers(directoryConnectionString);
    const VariantTable list = users->ListUsers(0, 0, -1, -1, QString(), directoryConnectionString);

    auto loginIDs = Collection::create();
    auto names = Collection::create();
    auto ids = Collection::create();
    // The count bounds the walk, not the list.
    for (int record = 0; record < count; ++record) {
        const int id = list.at(0, record).toInt();
        const QString firstName = list.at(1, record).toString();
        const QString lastName = list.at(2, record).toString();
        const QString key = QString::number(id);
        ids->add(id, key);
        names->add(lastName + QLatin1Char(' ') + firstName, key);
        loginIDs->add(list.at(8, record).toString(), key);
    }
    auto result = Collection::create();
    result->add(toVariant(loginIDs), QStringLiteral("LoginIDs"));
    result->add(toVariant(names), QStringLiteral("Names"));
    result->add(toVariant(ids), QStringLiteral("IDs"));
    return result;
}

QVariantList ZephrinFunctions::GetDirectoryUser(int userID,
                                                const QString& directoryConnectionString)
{
    const auto users = Components::factory().CreateDirectoryUser();
    // The third argument names the one user to list (-1 lists them all); a listing that
    // ignores it still has the user among the others.
    const VariantTable list =
        users->ListUsers(0, 0, userID, -1, QString(), directoryConnectionString);
    QVariantList fields;
    if (!list.hasBounds() || list.isOneDimensional()) {
        return fields;
    }
    for (int record = list.lowerRecord(); record <= list.upperRecord(); ++record) {
        if (list.at(0, record).toInt() != userID) {
            continue;
        }
        for (int field = list.lowerField(); field <= list.upperField(); ++field) {
            fields << list.at(field, record);
        }
        break;
    }
    return fields;
}

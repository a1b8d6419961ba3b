#include "engine/MigrationEngine.h"
#include "engine/StatusReport.h"
#include "frame/GlobalVariables.h"
#include "frame/StatusHolder.h"
#include "support/EmbeddedDatabase.h"
#include "support/RunState.h"

#include <QFile>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString Dashes(70, u'-');
const QString NoProfiles =
    Dashes + u"\r\n\r\n0 of 0 Device Provisioning profile(s) were successfully migrated.\r\n\r\n"_s;

CollectionPtr store(const QString& server, bool status, int type)
{
    const CollectionPtr record = Collection::create();
    record->add(server, u"Server"_s);
    record->add(status, u"Status"_s);
    record->add(QVariant::fromValue<qint16>(static_cast<qint16>(type)), u"Type"_s);
    return record;
}

// A user record as the run leaves it.
CollectionPtr user(const QString& first, const QString& last, int id, int action, bool status)
{
    const CollectionPtr record = Collection::create();
    record->add(first, u"Firstname"_s);
    record->add(last, u"Lastname"_s);
    record->add(u"login%1"_s.arg(id), u"LoginID"_s);
    record->add(id, u"VaUserID"_s);
    record->add(action, u"Action"_s);
    record->add(status, u"Status"_s);
    return record;
}

// A grade record: every field good but the ones given, and their largest as Total.
CollectionPtr grades(const QList<QPair<QString, int>>& changed = {})
{
    const CollectionPtr record = Collection::create();
    int total = 0;
    for (const QString& field : {u"LoginID"_s, u"Password"_s, u"Exchange Server"_s, u"Alias"_s,
                                 u"Email"_s, u"GraphicsSetting"_s, u"LanguageID"_s, u"TimezoneID"_s,
                                 u"Enabled"_s, u"MobileTelephoneNumber"_s}) {
        int grade = 0;
        for (const auto& [name, value] : changed) {
            if (name == field) {
                grade = value;
            }
        }
        total = qMax(total, grade);
        record->add(grade, field);
    }
    record->add(total, u"Total"_s);
    return record;
}

} // namespace

class EngineReportTest : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        StatusHolder::Reset();
        GlobalVariables::Reset();
        GlobalVariables::gsProgramFolder = folder.path();
        GlobalVariables::gsLogFileName = u"MigrationLog20031204153012.log"_s;
        QFile::remove(folder.filePath(GlobalVariables::gsLogFileName));
        engine = std::make_unique<MigrationEngine>(progress);
        engine->Load();
        engine->sVaConnectionString =
            EmbeddedDatabase::make(folder.path(), u"Varnel"_s, {u"CREATE TABLE VA_User (x)"_s});
    }
    void cleanup()
    {
        engine.reset();
        QFile::remove(folder.filePath(u"Varnel.sqlite"_s));
        QCOMPARE(QSqlDatabase::connectionNames(), QStringList());
    }

    // The stores by type, and the rule that failed users are listed with their error
    // only when the last store gone through was not registered.
    void storesAndTheLastStoresStatus_data()
    {
        QTest::addColumn<bool>("addStores");
        QTest::addColumn<bool>("lastStore");
        QTest::addColumn<QString>("expected");

        const QString stores = u"Status, migrated stores: \r\n\r\n"
                               "Exchange 2000/2003: \r\n"
                               "    Migrated E2K1 successfully\r\n"
                               "    %1\r\n\r\n\r\n"
                               "Exchange 5.5: \r\n"
                               "    Failed to migrate E55A\r\n\r\n\r\n"_s;
        const QString users = u"\r\nStatus, migrated users:\r\n\r\n"
                              "1 of 2 user(s) successfully migrated\r\n\r\n"
                              "1 of 2 user(s) not migrated due to error\r\n\r\n"
                              "    Ann Lee\r\n\r\n"
                              "        Warning(s):\r\n"
                              "        Error:\r\n\r\n"
                              "%1\r\n\r\n"_s;
        QTest::newRow("last store registered: no error texts")
            << true << true
            << stores.arg(u"Migrated E2K2 successfully"_s) + users.arg(u"\r\n"_s) + NoProfiles;
        QTest::newRow("last store failed: error texts")
            << true << false
            << stores.arg(u"Failed to migrate E2K2"_s) +
                   users.arg(u"        Failed to update user.\r\n"_s) + NoProfiles;
        QTest::newRow("no store page: error texts")
            << false << true << users.arg(u"        Failed to update user.\r\n"_s) + NoProfiles;
    }
    void storesAndTheLastStoresStatus()
    {
        QFETCH(bool, addStores);
        QFETCH(bool, lastStore);
        QFETCH(QString, expected);
        GlobalVariables::gbAddStores = addStores;
        engine->cStoreResults->add(toVariant(store(u"E2K1"_s, true, 2)));
        engine->cStoreResults->add(toVariant(store(u"E55A"_s, false, 5)));
        engine->cStoreResults->add(toVariant(store(u"E2K2"_s, lastStore, 2)));
        engine->cUserResults->add(toVariant(user(u"Bo"_s, u"Ek"_s, 1, 0, true)), u"1"_s);
        engine->cUserWarnings->add(toVariant(grades()), u"1"_s);
        engine->cUserResults->add(toVariant(user(u"Ann"_s, u"Lee"_s, 2, 1, false)), u"2"_s);
        engine->cUserWarnings->add(toVariant(grades()), u"2"_s);

        engine->GenerateReport();
        QCOMPARE(engine->gsReport, expected);
    }

    // Users in the order of their outcomes: a user without a grade record is
    // successful, one with a Total above 0 has warnings, a failed one is listed with
    // its warnings and error; one that could not be read by its ID alone.
    void usersByOutcome()
    {
        const auto add = [this](const CollectionPtr& record, const CollectionPtr& grade) {
            const QString key = record->item(u"VaUserID"_s).toString();
            engine->cUserResults->add(toVariant(record), key);
            if (grade) {
                engine->cUserWarnings->add(toVariant(grade), key);
            }
        };
        add(user(u"Eva"_s, u"Berg"_s, 3, 7, false), grades({{u"LanguageID"_s, 1}}));
        add(user(u"Tom"_s, u"Hale"_s, 4, 0, true), grades({{u"GraphicsSetting"_s, 2}}));
        add(user(u"Bo"_s, u"Ek"_s, 5, 0, true), CollectionPtr());
        add(user(QString(), QString(), 17, 4, false), CollectionPtr());
        add(user(u"Kim"_s, u"Ray"_s, 6, 5, false),
            grades({{u"Alias"_s, 3}, {u"GraphicsSetting"_s, 2}}));
        add(user(u"Al"_s, u"Fox"_s, 7, 1, true), grades());

        engine->GenerateReport();
        QCOMPARE(engine->gsReport,
                 u"\r\nStatus, migrated users:\r\n\r\n"
                 "2 of 6 user(s) successfully migrated\r\n\r\n"
                 "1 of 6 user(s) migrated with warning(s)\r\n\r\n"
                 "    Tom Hale\r\n\r\n"
                 "        Warning(s):\r\n\r\n"
                 "        PROBLEM: Graphics setting missing\r\n"
                 "        ACTION: Graphics setting set to false\r\n\r\n\r\n"
                 "3 of 6 user(s) not migrated due to error\r\n\r\n"
                 "    Eva Berg\r\n\r\n"
                 "        Warning(s):\r\n"
                 "        PROBLEM: Language not supported\r\n"
                 "        ACTION: User's language set to english\r\n\r\n"
                 "        Error:\r\n\r\n"
                 "        Failed to send introduction E-mail to user\r\n\r\n\r\n"
                 "    17 No firstname No Surname\r\n\r\n"
                 "        Warning(s):\r\n"
                 "        Error:\r\n\r\n"
                 "        Failed to retrieve user information.\r\n\r\n\r\n"
                 "    Kim Ray\r\n\r\n"
                 "        Warning(s):\r\n"
                 "        PROBLEM: Alias missing\r\n"
                 "        ACTION: User not migrated\r\n\r\n"
                 "        Error:\r\n\r\n"
                 "        User information was corrupt (See Warnings for details)\r\n\r\n\r\n"_s +
                     NoProfiles);
    }

    // The users whose login ID or password changed, in name order as the source
    // database sorts them (letter case ignored); a name longer than its column pushes
    // the next columns to the right. A second report comes out the same.
    void changedLoginsAndPasswords()
    {
        const auto queue = [this](const CollectionPtr& record, const QString& login,
                                  const QString& password) {
            if (!login.isEmpty()) {
                record->add(login, u"LoginIDChanged"_s);
            }
            if (!password.isEmpty()) {
                record->add(password, u"PasswordClear"_s);
            }
            engine->cMailQueue = engine->cMailQueue ? engine->cMailQueue : Collection::create();
            engine->cMailQueue->add(toVariant(record));
            engine->AddUserResult(record, record->item(u"VaUserID"_s).toInt());
        };
        queue(user(u"Zoe"_s, u"Adams"_s, 1, 7, true), u"ZoAd0"_s, u"k3Xq9a"_s);
        queue(user(u"Amanda Josephine Carolina"_s, u"Someone-Longfamilyname"_s, 2, 7, true),
              QString(), u"P4ssw0"_s);
        queue(user(u"bob"_s, u"smith"_s, 3, 7, true), QString(), QString());

        engine->GenerateReport();
        const QString expected =
            u"\r\nStatus, migrated users:\r\n\r\n"
            "3 of 3 user(s) successfully migrated\r\n\r\n"
            "\r\nUsers with changed Login ID and/or password:\r\n\r\n"
            "Name                           Login ID                       Password\r\n"_s +
            Dashes +
            u"\r\n"
            "Adams, Zoe                     ZoAd0                          k3Xq9a\r\n"
            "smith, bob                     Not Changed                    Not Changed\r\n"
            "Someone-Longfamilyname, Amanda Josephine Carolina Not Changed                    "
            "P4ssw0\r\n"_s +
            NoProfiles;
        QCOMPARE(engine->gsReport, expected);
        engine->GenerateReport();
        QCOMPARE(engine->gsReport, expected);
        QCOMPARE(StatusReport::PadRight(u"abc"_s, 5), u"abc  "_s);
        QCOMPARE(StatusReport::PadRight(u"abcdef"_s, 5), u"abcdef"_s);
    }

    // A source database that cannot be reached for the sort: the table keeps the
    // order the users were queued in, and the log says why.
    void aSortThatFails()
    {
        engine->sVaConnectionString = EmbeddedDatabase::connectionString(folder.path(), u"Gone"_s);
        engine->cMailQueue = Collection::create();
        for (const auto& [first, last, id] :
             {std::tuple{u"Pat"_s, u"O'Brien"_s, 1}, std::tuple{u"Al"_s, u"Adams"_s, 2}}) {
            const CollectionPtr record = user(first, last, id, 7, true);
            record->add(u"pw%1"_s.arg(id), u"PasswordClear"_s);
            engine->cMailQueue->add(toVariant(record));
            engine->AddUserResult(record, id);
        }
        engine->GenerateReport();
        QVERIFY2(engine->gsReport.contains(
                     u"O'Brien, Pat                   Not Changed                    pw1\r\n"
                     "Adams, Al                      Not Changed                    pw2\r\n"_s),
                 qPrintable(engine->gsReport));
        QFile log(folder.filePath(GlobalVariables::gsLogFileName));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().startsWith(
            "The users with changed login ID and/or password could not be sorted by name: "
            "Error Number: -2147467259 Error Description: Cannot open database \"Gone\""));
    }

private:
    QTemporaryDir folder;
    RecordingProgress progress;
    std::unique_ptr<MigrationEngine> engine;
};

QTEST_GUILESS_MAIN(EngineReportTest)
#include "tst_engine_report.moc"

// New passwords encoded ahead of the user loop, on threads of the encoder's own: the
// run writes the same Directory, log and report as a run whose encoder encodes each
// password when the loop needs it, and leaves no encoding thread behind. On both
// engines: the Directory writes between the encodings are the engine's.
#include "db/DbConnection.h"
#include "db/VarnelBuilder.h"
#include "demo/DemoData.h"
#include "directory/ComponentFactory.h"
#include "engine/MigrationEngine.h"
#include "frame/MigrationError.h"
#include "frame/StatusHolder.h"
#include "reference/DirectoryBuilder.h"
#include "reference/PooledPasswordEncoding.h"
#include "reference/ReferencePasswordEncoder.h"
#include "reference/TargetComponentFactory.h"
#include "support/Describe.h"
#include "support/Engines.h"
#include "support/PageFixture.h"
#include "support/RunState.h"

#include <QDir>
#include <QRegularExpression>

using namespace Qt::Literals::StringLiterals;

namespace {

QString refuse(const QString&)
{
    throw MigrationError(ErrorNumber::InvalidProcedureCall, u"The password could not be encoded"_s,
                         u"PasswordEncoder"_s);
}

int threadCount()
{
    return static_cast<int>(
        QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
}

// The reference encoder, encoding only when asked, or (failing) refusing every
// password; prepareAhead offers the encodings ahead as the reference encoder does.
class Encoder : public PasswordEncoderComponent
{
public:
    Encoder(std::unique_ptr<PasswordEncoderComponent> inner, bool prepareAhead, bool failing)
        : mInner(std::move(inner)), mPrepareAhead(prepareAhead), mFailing(failing)
    {
    }
    QString EncodePassword(const QString& clear) override
    {
        return mFailing ? refuse(clear) : mInner->EncodePassword(clear);
    }
    std::shared_ptr<PreparedPasswords> PreparePasswords() override
    {
        if (!mPrepareAhead) {
            return nullptr;
        }
        if (!mFailing) {
            return mInner->PreparePasswords(); // the reference encoder's own
        }
        return std::make_shared<PooledPasswordEncoding>(refuse);
    }

private:
    std::unique_ptr<PasswordEncoderComponent> mInner;
    bool mPrepareAhead;
    bool mFailing;
};

class Factory : public TargetComponentFactory
{
public:
    Factory(const QString& configuration, bool prepareAhead, bool failing)
        : TargetComponentFactory(configuration), mPrepareAhead(prepareAhead), mFailing(failing)
    {
    }
    std::unique_ptr<PasswordEncoderComponent> CreatePasswordEncoder() override
    {
        return std::make_unique<Encoder>(TargetComponentFactory::CreatePasswordEncoder(),
                                         mPrepareAhead, mFailing);
    }

private:
    bool mPrepareAhead;
    bool mFailing;
};

struct Outcome
{
    QStringList log;
    QString report;
    QStringList directory;
    int mostThreads = 0;
    int threadsAfter = 0;
};

} // namespace

class PreparedPasswordsTest : public QObject
{
    Q_OBJECT
private slots:
    void init() { fixture = std::make_unique<PageFixture>(); }
    void cleanup()
    {
        fixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    void sameRunAsEncodingWhenAsked_data()
    {
        Engines::addColumn();
        QTest::addColumn<bool>("failing");
        Engines::newRows("reference encoder", false);
        Engines::newRows("every encoding fails", true);
    }
    void sameRunAsEncodingWhenAsked()
    {
        QFETCH(QString, engine);
        QFETCH(bool, failing);
        const int threadsBefore = threadCount();
        demo = &fixture->useDemo();
        Outcome whenAsked;
        run(engine, false, failing, whenAsked);
        Outcome ahead;
        run(engine, true, failing, ahead);
        if (QTest::currentTestFailed()) {
            return;
        }

        QCOMPARE(ahead.log, whenAsked.log);
        QCOMPARE(ahead.report, whenAsked.report);
        QCOMPARE(ahead.directory, whenAsked.directory);
        QVERIFY(ahead.log.contains(failing ? u"CreateNewPassword Failed Va User ID: 1 Error "
                                             "Number: 5 Error Description: The password could "
                                             "not be encoded"_s
                                           : u"Mail sent to 1 James Smith"_s));
        // The encodings ran on threads of their own, and none is left.
        QVERIFY2(ahead.mostThreads > threadsBefore, qPrintable(QString::number(ahead.mostThreads)));
        QCOMPARE(whenAsked.threadsAfter, threadsBefore);
        QCOMPARE(ahead.threadsAfter, threadsBefore);
    }

private:
    // The whole demo, every user with a new password and an e-mail; the log with the
    // connection strings named, the report with each password named by its user, and
    // the Directory's users, services and settings without the password hashes, which
    // are checked against the e-mailed passwords.
    void run(const QString& engine, bool prepareAhead, bool failing, Outcome& outcome)
    {
        Components::setFactory(
            std::make_shared<Factory>(demo->configurationPath, prepareAhead, failing));
        const DemoData::DemoContent content = DemoData::Generate(DemoData::DefaultUserCount);
        const TestDatabase source(engine, u"Varnel"_s);
        const TestDatabase target(engine, u"Directory"_s);
        VarnelBuilder::WriteTo(source.connectionString(), content.source);
        DirectoryBuilder::Build(target.connectionString(), content.directory);
        DemoInstallation installation = *demo;
        installation.sourceConnectionString = source.connectionString();
        installation.directoryConnectionString = target.connectionString();
        StatusHolder::SetVarnelDatabase(u"server"_s, u"Varnel"_s, 1,
                                        StatusHolder::SqlServerAuthentication, u"sa"_s, QString(),
                                        true, source.connectionString());
        StatusHolder::SetZephrinDatabase(u"server"_s, u"Directory"_s, 0,
                                         StatusHolder::SqlServerAuthentication, u"sa"_s, QString(),
                                         true, target.connectionString());
        RunChoices choices;
        choices.users = RunState::AllUsers(installation);
        choices.profiles = RunState::AllProfiles(installation);
        RunState::Fill(installation, choices);

        RecordingProgress progress;
        progress.onEvents = [&] { outcome.mostThreads = qMax(outcome.mostThreads, threadCount()); };
        fixture->markLog();
        {
            MigrationEngine run(progress);
            run.Load();
            RunState::Run(run);
            outcome.report = run.gsReport;
            outcome.log = fixture->newLogEntries();
            outcome.log.replaceInStrings(source.connectionString(), u"<source>"_s);
            outcome.log.replaceInStrings(target.connectionString(), u"<directory>"_s);

            QString mails;
            for (const QString& name : QDir(demo->mailFolder).entryList({u"*.eml"_s})) {
                QFile file(QDir(demo->mailFolder).filePath(name));
                if (file.open(QIODevice::ReadOnly)) {
                    mails += QString::fromUtf8(file.readAll());
                }
                file.remove();
            }
            for (int position = 1; position <= run.cUserResults->count(); ++position) {
                const CollectionPtr user = run.cUserResults->collection(position);
                const QString clear = user->value(u"PasswordClear"_s).toString();
                if (!user->item(u"Status"_s).toBool() || clear.isEmpty()) {
                    continue;
                }
                const QString login =
                    user->value(u"LoginIDChanged"_s, user->item(u"LoginID"_s)).toString();
                const auto stored =
                    DbConnection(target.connectionString())
                        .select(u"SELECT Password FROM fwtUser WHERE LoginID = ?"_s, {login});
                QVERIFY2(stored.size() == 1 && ReferencePasswordEncoder::VerifyPassword(
                                                   clear, stored.first().value(0).toString()),
                         qPrintable(login));
                QVERIFY2(mails.contains(u"Password: "_s + clear + u"\r\n"_s), qPrintable(login));
                outcome.report.replace(clear, u"<password of %1>"_s.arg(login));
            }
        }
        outcome.threadsAfter = threadCount();
        DbConnection directory(target.connectionString());
        outcome.directory =
            describe(directory.select(u"SELECT UserID, FirstName, LastName, LoginID, LanguageID, "
                                      "TimeZoneID, Enabled, DefaultServiceID FROM fwtUser ORDER "
                                      "BY UserID"_s)) +
            describe(directory.select(u"SELECT * FROM fwtService ORDER BY ServiceID"_s)) +
            describe(directory.select(
                u"SELECT * FROM fwtServiceSetting ORDER BY ServiceID, Position"_s));
    }

    std::unique_ptr<PageFixture> fixture;
    const DemoInstallation* demo = nullptr;
};

QTEST_MAIN(PreparedPasswordsTest)
#include "tst_preparedpasswords.moc"

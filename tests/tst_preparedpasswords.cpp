// New passwords encoded ahead of the user loop, on threads of the encoder's own: the
// run writes the same Directory, log and report as a run whose encoder encodes each
// password when the loop needs it, and leaves no encoding thread behind. On both
// engines: the Directory writes between the encodings are the engine's.
#include "directory/ComponentFactory.h"
#include "engine/MigrationEngine.h"
#include "frame/MigrationError.h"
#include "reference/PooledPasswordEncoding.h"
#include "reference/ReferencePasswordEncoder.h"
#include "reference/TargetComponentFactory.h"
#include "support/PageFixture.h"
#include "support/RunState.h"

#include <QDir>

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

// The test's encoder: the reference encoder, or one that refuses every password;
// without encodeAhead it offers no encodings ahead and encodes each password when
// asked.
bool encodeAhead = false;
bool refuseAll = false;

struct Encoder : PasswordEncoderComponent
{
    QString EncodePassword(const QString& clear) override
    {
        return refuseAll ? refuse(clear) : reference.EncodePassword(clear);
    }
    std::shared_ptr<PreparedPasswords> PreparePasswords() override
    {
        if (!encodeAhead) {
            return nullptr;
        }
        return refuseAll ? std::make_shared<PooledPasswordEncoding>(refuse)
                         : reference.PreparePasswords();
    }
    ReferencePasswordEncoder reference{DemoInstallation::PasswordIterations};
};

struct Factory : TargetComponentFactory
{
    using TargetComponentFactory::TargetComponentFactory;
    std::unique_ptr<PasswordEncoderComponent> CreatePasswordEncoder() override
    {
        return std::make_unique<Encoder>();
    }
};

} // namespace

class PreparedPasswordsTest : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        fixture = std::make_unique<PageFixture>();
        Components::setFactory(std::make_shared<Factory>(fixture->useDemo().configurationPath));
    }
    void cleanup()
    {
        MigrationEngine::journalEnabled = true;
        fixture.reset();
        QCOMPARE(PageFixture::openConnections(), QStringList());
    }

    void sameRunAsEncodingWhenAsked_data()
    {
        Engines::addColumn();
        QTest::addColumn<bool>("failing");
        QTest::addColumn<bool>("journal");
        Engines::newRows("reference encoder", false, true);
        Engines::newRows("every encoding fails", true, true);
        // The journal cannot be made (a full disk): the loop takes its own passwords.
        Engines::newRows("reference encoder, no journal", false, false);
    }
    void sameRunAsEncodingWhenAsked()
    {
        QFETCH(QString, engine);
        QFETCH(bool, failing);
        QFETCH(bool, journal);
        refuseAll = failing;
        MigrationEngine::journalEnabled = journal;
        const int threadsBefore = threadCount();
        const QStringList whenAsked = run(engine, false);
        QCOMPARE(threadCount(), threadsBefore);
        const QStringList ahead = run(engine, true);
        QCOMPARE(threadCount(), threadsBefore);
        // The encodings ran on threads of their own, and none is left.
        QVERIFY2(mostThreads > threadsBefore, qPrintable(QString::number(mostThreads)));

        QCOMPARE(ahead, whenAsked);
        QVERIFY(!ahead.join(u'\n').contains(u"<wrong password"_s));
        QVERIFY(ahead.contains(failing ? u"CreateNewPassword Failed Va User ID: 1 Error Number: "
                                         "5 Error Description: The password could not be "
                                         "encoded"_s
                                       : u"Mail sent to 1 James Smith"_s));
    }

private:
    // The whole demo on the engine, every user with a new password and an e-mail: the
    // report with the passwords named by their users (each checked against the
    // Directory and the mails), the Directory without the password hashes, the log.
    QStringList run(const QString& engine, bool ahead)
    {
        encodeAhead = ahead;
        mostThreads = 0;
        const EngineDemo on(engine, fixture->demo());
        RecordingProgress progress;
        progress.onEvents = [&] { mostThreads = qMax(mostThreads, threadCount()); };
        fixture->markLog();
        const QStringList text = on.run(
            progress, on.everything,
            {u"SELECT UserID, FirstName, LastName, LoginID, LanguageID, TimeZoneID, Enabled, "
             "DefaultServiceID FROM fwtUser ORDER BY UserID"_s,
             u"SELECT * FROM fwtService ORDER BY ServiceID"_s,
             u"SELECT * FROM fwtServiceSetting ORDER BY ServiceID, Position"_s});
        return text + fixture->newLogEntries()
                          .replaceInStrings(on.source.connectionString(), u"<source>"_s)
                          .replaceInStrings(on.target.connectionString(), u"<directory>"_s);
    }

    std::unique_ptr<PageFixture> fixture;
    int mostThreads = 0;
};

QTEST_MAIN(PreparedPasswordsTest)
#include "tst_preparedpasswords.moc"

#include "support/FullDisk.h"
#include "support/Golden.h"
#include "support/PlainRights.h"

#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

using namespace Qt::Literals::StringLiterals;

using namespace CommonFunctions;

namespace {

QByteArray logBytes(const QString& folder)
{
    QFile file(folder + u"/"_s + GlobalVariables::gsLogFileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

constexpr QFileDevice::Permissions OwnerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

// The permission bits for owner, group and others, without Qt's "user" bits.
QFileDevice::Permissions modeOf(const QString& path)
{
    return QFile::permissions(path) &
           (QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
            QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup |
            QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther);
}

} // namespace

class TestCommonFunctions : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        // The per-user fallback folder goes to a test location, not the real one.
        QStandardPaths::setTestModeEnabled(true);
    }

    void init()
    {
        mFolder = std::make_unique<QTemporaryDir>();
        QVERIFY(mFolder->isValid());
        GlobalVariables::gsProgramFolder = mFolder->path();
        GlobalVariables::gsLogFileName = u"MigrationLog20031204153012.log"_s;
    }

    void cleanup()
    {
        QFile::remove(FallbackLogFolder() + u"/"_s + GlobalVariables::gsLogFileName);
        mFolder.reset();
    }

    void writeLogBytes_data()
    {
        QTest::addColumn<QStringList>("entries");
        QTest::addColumn<QByteArray>("bytes");
        const auto row = [](const char* name, const QStringList& entries, const QByteArray& bytes) {
            QTest::newRow(name) << entries << bytes;
        };
        row("two lines", {"a\r\nb"}, "a\r\nb\r\n\r\n");
        row("lone line feed", {"a\nb"}, "a\nb\r\n\r\n");
        row("latin-1 name", {u"SelectUsers: Zo\u00eb Brandt"_s},
            "SelectUsers: Zo\xeb Brandt\r\n\r\n");
        // Two runs started within the same second share one file, entry after entry.
        row("entries append", {"Introduction Launched2003-12-04 15:30:12", "<EXAPP>=3.1x", "x"},
            "Introduction Launched2003-12-04 15:30:12\r\n\r\n<EXAPP>=3.1x\r\n\r\nx\r\n\r\n");
    }

    void writeLogBytes()
    {
        QFETCH(QStringList, entries);
        for (const QString& entry : entries) {
            QVERIFY(WriteLog(entry));
        }
        QTEST(logBytes(mFolder->path()), "bytes");
        QCOMPARE(LastLogFilePath(), mFolder->path() + u"/"_s + GlobalVariables::gsLogFileName);
    }

    // A program folder that cannot be written (here: one that cannot exist, below a
    // regular file) sends the log to the per-user folder, same name and format.
    void unwritableProgramFolderFallsBack()
    {
        QFile blocker(mFolder->filePath(u"program"_s));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        GlobalVariables::gsProgramFolder = blocker.fileName() + u"/bin"_s;

        QVERIFY(WriteLog(u"a\r\nZo\u00eb"_s));
        QVERIFY(WriteLog(u"b"_s));
        const QString fallback = FallbackLogFolder();
        QVERIFY(!fallback.isEmpty());
        QCOMPARE(LastLogFilePath(), fallback + u"/"_s + GlobalVariables::gsLogFileName);
        QCOMPARE(logBytes(fallback), QByteArray("a\r\nZo\xeb\r\n\r\nb\r\n\r\n"));
    }

    // A program installed under /usr writes its log to the per-user folder even where
    // it could write its own folder (root's runs): nothing of a run lands in /usr.
    void installedProgramLogsPerUser_data()
    {
        QTest::addColumn<QString>("programFolder");
        QTest::addColumn<bool>("perUser");
        QTest::newRow("package") << u"/usr/bin"_s << true;
        QTest::newRow("cmake --install") << u"/usr/local/bin"_s << true;
        QTest::newRow("written as /usr//bin/..") << u"/usr//bin/../bin"_s << true;
        QTest::newRow("a folder called usr elsewhere") << u"usr/bin"_s << false;
    }

    void installedProgramLogsPerUser()
    {
        QFETCH(QString, programFolder);
        QFETCH(bool, perUser);
        const QString folder =
            programFolder.startsWith(u'/') ? programFolder : mFolder->filePath(programFolder);
        QVERIFY(QDir().mkpath(perUser ? FallbackLogFolder() : folder));
        GlobalVariables::gsProgramFolder = folder;
        const QString inProgramFolder = folder + u"/"_s + GlobalVariables::gsLogFileName;
        const bool wasThere = QFile::exists(inProgramFolder);

        QVERIFY(WriteLog(u"Introduction Launched"_s));
        QCOMPARE(LastLogFilePath(), (perUser ? FallbackLogFolder() : folder) + u"/"_s +
                                        GlobalVariables::gsLogFileName);
        if (perUser && !wasThere) {
            QVERIFY2(!QFile::remove(inProgramFolder), "the log was written into /usr");
        }
    }

    // On a full disk an entry goes whole into the per-user file, and nothing of it is
    // left in the program folder's file; an entry that fits again goes back there.
    void logOnFullDisk()
    {
        FullDisk disk;
        if (!disk.isMounted()) {
            QSKIP(qPrintable(disk.skipReason()));
        }
        GlobalVariables::gsProgramFolder = disk.path();
        QVERIFY(WriteLog(u"first"_s));
        QVERIFY(disk.leaveFree(4096));
        const QString big = QString(20000, u'x');
        QVERIFY(WriteLog(big));
        QCOMPARE(logBytes(disk.path()), QByteArray("first\r\n\r\n"));
        QCOMPARE(logBytes(FallbackLogFolder()), big.toLatin1() + "\r\n\r\n");
        QCOMPARE(LastLogFilePath(), FallbackLogFolder() + u"/"_s + GlobalVariables::gsLogFileName);

        QVERIFY(WriteLog(u"small"_s));
        QCOMPARE(logBytes(disk.path()), QByteArray("first\r\n\r\nsmall\r\n\r\n"));
        QCOMPARE(logBytes(FallbackLogFolder()), big.toLatin1() + "\r\n\r\n");
    }

    // A saved report that does not fit is a failure that says so, and the file keeps
    // what it held before: no half report at its end.
    void reportOnFullDisk()
    {
        FullDisk disk;
        if (!disk.isMounted()) {
            QSKIP(qPrintable(disk.skipReason()));
        }
        const QString path = disk.filePath(u"report.txt"_s);
        AppendTextToFile(path, u"earlier run\r\n"_s);
        QVERIFY(disk.leaveFree(4096));
        try {
            AppendTextToFile(path, QString(20000, u'r'));
            QFAIL("a report that did not fit was taken as saved");
        } catch (const MigrationError& error) {
            QCOMPARE(error.number(), ErrorNumber::DiskFull);
            QVERIFY2(error.description().startsWith(path + u" could not be written: the disk that "
                                                           "holds it is full"_s),
                     qPrintable(error.description()));
        }
        QCOMPARE(fileBytes(path), QByteArray("earlier run\r\n"));
    }

    // The log and a saved report are made readable by their owner only, and the
    // per-user log folder is open to its owner only; a report file that exists keeps
    // the rights it has.
    void filesArePrivate()
    {
        QVERIFY(WriteLog(u"Introduction Launched"_s));
        QCOMPARE(modeOf(LastLogFilePath()), OwnerOnly);

        const QString report = mFolder->filePath(u"report.txt"_s);
        AppendTextToFile(report, u"x"_s);
        QCOMPARE(modeOf(report), OwnerOnly);
        const QString shared = mFolder->filePath(u"shared.txt"_s);
        QFile existing(shared);
        QVERIFY(existing.open(QIODevice::WriteOnly));
        existing.close();
        const auto readable = OwnerOnly | QFileDevice::ReadGroup | QFileDevice::ReadOther;
        QVERIFY(QFile::setPermissions(shared, readable));
        AppendTextToFile(shared, u"x"_s);
        QCOMPARE(modeOf(shared), readable);

        GlobalVariables::gsProgramFolder = mFolder->filePath(u"not-a-folder/bin"_s);
        QFile blocker(mFolder->filePath(u"not-a-folder"_s));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        QVERIFY(QDir(FallbackLogFolder()).removeRecursively());
        QVERIFY(WriteLog(u"to the user's folder"_s));
        QCOMPARE(modeOf(FallbackLogFolder()), OwnerOnly | QFileDevice::ExeOwner);
        QCOMPARE(modeOf(LastLogFilePath()), OwnerOnly);
    }

    // Saving into a folder that may not be written is told apart from saving over a
    // read-only file.
    void reportWhereNothingMayBeWritten_data()
    {
        QTest::addColumn<bool>("fileExists");
        QTest::addColumn<QString>("why");
        QTest::newRow("read-only file") << true << u"report.txt is read-only"_s;
        QTest::newRow("read-only folder")
            << false << u"report.txt cannot be made: the folder %1 may not be written to"_s;
    }

    void reportWhereNothingMayBeWritten()
    {
        QFETCH(bool, fileExists);
        QFETCH(QString, why);
        const QString folder = mFolder->filePath(u"reports"_s);
        QVERIFY(QDir().mkpath(folder));
        const QString path = folder + u"/report.txt"_s;
        if (fileExists) {
            AppendTextToFile(path, u"kept"_s);
            QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner));
        } else {
            QVERIFY(QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        }
        {
            PlainRights plain;
            if (!plain.isActive()) {
                QSKIP(qPrintable(plain.skipReason()));
            }
            try {
                AppendTextToFile(path, u"x"_s);
                QFAIL("the report was written where it may not be");
            } catch (const MigrationError& error) {
                QCOMPARE(error.number(), ErrorNumber::PathFileAccess);
                QCOMPARE(error.description(),
                         folder + u"/"_s + (fileExists ? why : why.arg(folder)));
            }
        }
        QVERIFY(QFile::setPermissions(folder, OwnerOnly | QFileDevice::ExeOwner));
        QVERIFY(QFile::setPermissions(path, OwnerOnly) || !fileExists);
    }

    // The text functions, each case as "function(arguments) -> result" in
    // tests/data/commonfunctions/text-functions.txt. Product names: the import name goes
    // in first, then the export name, every occurrence, in that case only. Indenting:
    // empty lines stay unindented and a lone LF is no break. Character codes: the first
    // and last element frame the codes and are never read; fewer than three elements
    // make an empty text.
    void textFunctions()
    {
        const auto shown = [](QString text) {
            return u'"' + text.replace(u'\r', u"\\r"_s).replace(u'\n', u"\\n"_s) + u'"';
        };
        QStringList results;
        for (const auto& [importApp, exportApp, text] :
             QList<std::tuple<QString, QString, QString>>{
                 {u"Z 5.0"_s, u"3.1x"_s, u"<IMAPP> from <EXAPP>, <IMAPP>!"_s},
                 {u"Z"_s, u"3.1x"_s, u"<imapp> <Exapp>"_s},
                 {u"<EXAPP> successor"_s, u"3.1x"_s, u"<IMAPP>"_s},
                 {u"Z"_s, u"<IMAPP> old"_s, u"<EXAPP>"_s},
                 {QString(), u"3.1x"_s, u"an <IMAPP> Directory"_s}}) {
            GlobalVariables::gsImportApp = importApp;
            GlobalVariables::gsExportApp = exportApp;
            results << u"ReplaceAppNames(%1 %2 %3) -> %4"_s.arg(
                shown(importApp), shown(exportApp), shown(text), shown(ReplaceAppNames(text)));
        }
        for (const auto& [text, count] : QList<std::pair<QString, int>>{
                 {u"x\r\n\r\ny"_s, 4}, {u"x\r\n"_s, 2}, {u"x\ny"_s, 1}, {QString(), 4}}) {
            results << u"IndentLines(%1 %2) -> %3"_s.arg(shown(text))
                           .arg(count)
                           .arg(shown(IndentLines(text, count)));
        }
        for (const QString& list : {u"0,72,105,0"_s, u"x,72,105,y"_s, u"72,105"_s, u"0,235,0"_s,
                                    u"0,72,abc,0"_s, u"0,300,0"_s}) {
            QString result;
            try {
                result = shown(CharCodesToText(list));
            } catch (const MigrationError& error) {
                result = u"error %1"_s.arg(error.number());
            }
            results << u"CharCodesToText(%1) -> %2"_s.arg(shown(list), result);
        }
        QCOMPARE_GOLDEN(results, u"commonfunctions/text-functions.txt"_s);
    }

    // The object check finds only collections (an absent one too), the value check
    // only plain values; a missing key or a missing collection is false for both.
    void keyExists()
    {
        auto record = Collection::create();
        record->add(u"Zo\u00eb"_s, u"FirstName"_s);
        record->add(QVariant(), u"Email"_s);
        record->add(toVariant(Collection::create()), u"Settings"_s);
        record->add(toVariant(CollectionPtr()), u"Stores"_s);
        QString values;
        QString objects;
        for (const char* key : {"firstname", "Email", "SETTINGS", "Stores", "LastName", ""}) {
            values += ValueKeyExists(record, key) ? '1' : '0';
            objects += ObjectKeyExists(record, key) ? '1' : '0';
        }
        QCOMPARE(values, u"110000"_s);
        QCOMPARE(objects, u"001100"_s);
        QVERIFY(!ValueKeyExists(nullptr, u"FirstName"_s));
        QVERIFY(!ObjectKeyExists(nullptr, u"Settings"_s));
    }

private:
    std::unique_ptr<QTemporaryDir> mFolder;
};

QTEST_GUILESS_MAIN(TestCommonFunctions)
#include "tst_commonfunctions.moc"

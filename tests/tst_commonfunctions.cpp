#include "support/FullDisk.h"
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

    void replaceAppNames_data()
    {
        QTest::addColumn<QString>("importApp");
        QTest::addColumn<QString>("exportApp");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("result");
        const auto row = [](const char* name, const char* im, const char* ex, const char* text,
                            const char* result) {
            QTest::newRow(name) << im << ex << text << result;
        };
        row("both, every occurrence", "Z 5.0", "3.1x", "<IMAPP> from <EXAPP>, <IMAPP>!",
            "Z 5.0 from 3.1x, Z 5.0!");
        row("lower case stays", "Z", "3.1x", "<imapp> <Exapp>", "<imapp> <Exapp>");
        // The import name goes in first, then the export name.
        row("import name holding the export placeholder", "<EXAPP> successor", "3.1x", "<IMAPP>",
            "3.1x successor");
        row("export name holding the import placeholder", "Z", "<IMAPP> old", "<EXAPP>",
            "<IMAPP> old");
        row("empty product name", "", "3.1x", "an <IMAPP> Directory", "an  Directory");
    }

    void replaceAppNames()
    {
        QFETCH(QString, text);
        QFETCH(QString, importApp);
        QFETCH(QString, exportApp);
        GlobalVariables::gsImportApp = importApp;
        GlobalVariables::gsExportApp = exportApp;
        QTEST(ReplaceAppNames(text), "result");
    }

    void indentLines_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("result");
        QTest::newRow("empty line kept unindented")
            << "x\r\n\r\ny" << 4 << "    x\r\n\r\n    y\r\n";
        QTest::newRow("trailing CR LF gains an empty line") << "x\r\n" << 2 << "  x\r\n\r\n";
        QTest::newRow("lone LF is not a break") << "x\ny" << 1 << " x\ny\r\n";
        QTest::newRow("empty text") << "" << 4 << "\r\n";
    }

    void indentLines()
    {
        QFETCH(QString, text);
        QFETCH(int, count);
        QTEST(IndentLines(text, count), "result");
    }

    // The first and last element frame the codes and are never read; fewer than
    // three elements make an empty text.
    void charCodesToText_data()
    {
        QTest::addColumn<QString>("list");
        QTest::addColumn<QString>("result");
        QTest::addColumn<long>("number"); // the error raised, 0 for none
        const auto row = [](const char* name, const char* list, const QString& result,
                            long number) { QTest::newRow(name) << list << result << number; };
        row("framed list", "0,72,105,0", "Hi", 0);
        row("frame elements are never read", "x,72,105,y", "Hi", 0);
        row("two elements", "72,105", "", 0);
        row("8-bit character", "0,235,0", u"\u00eb"_s, 0);
        row("not a number", "0,72,abc,0", "", ErrorNumber::TypeMismatch);
        row("beyond 8 bits", "0,300,0", "", ErrorNumber::InvalidProcedureCall);
    }

    void charCodesToText()
    {
        QFETCH(QString, list);
        QFETCH(long, number);
        try {
            QTEST(CharCodesToText(list), "result");
            QCOMPARE(number, 0L);
        } catch (const MigrationError& error) {
            QCOMPARE(error.number(), number);
        }
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

#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

using namespace CommonFunctions;

class TestCommonFunctions : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void writeLogBytes_data();
    void writeLogBytes();
    void entriesAppendToOneFile();
    void unwritableProgramFolderFallsBack();
    void replaceAppNames_data();
    void replaceAppNames();
    void indentLines_data();
    void indentLines();
    void charCodesToText_data();
    void charCodesToText();
    void charCodesToTextRaises_data();
    void charCodesToTextRaises();
    void appendTextToFile();
    void keyExists();

private:
    QByteArray logBytes(const QString& folder) const;
    std::unique_ptr<QTemporaryDir> mFolder;
};

void TestCommonFunctions::initTestCase()
{
    // The per-user fallback folder goes to a test location, not the real one.
    QStandardPaths::setTestModeEnabled(true);
}

void TestCommonFunctions::init()
{
    mFolder = std::make_unique<QTemporaryDir>();
    QVERIFY(mFolder->isValid());
    GlobalVariables::gsProgramFolder = mFolder->path();
    GlobalVariables::gsLogFileName = QStringLiteral("MigrationLog20031204153012.log");
    GlobalVariables::gsImportApp = QStringLiteral("Zephrin 5.0");
    GlobalVariables::gsExportApp = QStringLiteral("3.1x");
}

void TestCommonFunctions::cleanup()
{
    QFile::remove(FallbackLogFolder() + QStringLiteral("/") + GlobalVariables::gsLogFileName);
    mFolder.reset();
}

QByteArray TestCommonFunctions::logBytes(const QString& folder) const
{
    QFile file(folder + QStringLiteral("/") + GlobalVariables::gsLogFileName);
    if (!file.open(QIODevice::ReadOnly)) {
        return QByteArray("<missing>");
    }
    return file.readAll();
}

void TestCommonFunctions::writeLogBytes_data()
{
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("two lines") << QStringLiteral("a\r\nb") << QByteArray("a\r\nb\r\n\r\n");
    QTest::newRow("empty entry") << QString() << QByteArray("\r\n\r\n");
    QTest::newRow("lone line feed") << QStringLiteral("a\nb") << QByteArray("a\nb\r\n\r\n");
    QTest::newRow("lone carriage return") << QStringLiteral("a\rb") << QByteArray("a\rb\r\n\r\n");
    QTest::newRow("ends with CR LF") << QStringLiteral("a\r\n") << QByteArray("a\r\n\r\n\r\n");
    QTest::newRow("latin-1 name") << QStringLiteral("SelectUsers: Zo\u00eb Brandt")
                                  << QByteArray("SelectUsers: Zo\xeb Brandt\r\n\r\n");
    QTest::newRow("launched line") << QStringLiteral("SelectUsers Launched2003-12-04 15:30:12")
                                   << QByteArray("SelectUsers Launched2003-12-04 15:30:12\r\n\r\n");
}

void TestCommonFunctions::writeLogBytes()
{
    QFETCH(QString, entry);
    QFETCH(QByteArray, bytes);
    QVERIFY(WriteLog(entry));
    QCOMPARE(logBytes(mFolder->path()), bytes);
    QCOMPARE(LastLogFilePath(),
             mFolder->path() + QStringLiteral("/") + GlobalVariables::gsLogFileName);
}

// Two runs started within the same second share one file, entry after entry.
void TestCommonFunctions::entriesAppendToOneFile()
{
    QVERIFY(WriteLog(QStringLiteral("Introduction Launched2003-12-04 15:30:12")));
    QVERIFY(WriteLog(QStringLiteral("<EXAPP>=3.1x")));
    QVERIFY(WriteLog(QStringLiteral("Introduction Launched2003-12-04 15:30:12")));
    QCOMPARE(logBytes(mFolder->path()),
             QByteArray("Introduction Launched2003-12-04 15:30:12\r\n\r\n"
                        "<EXAPP>=3.1x\r\n\r\n"
                        "Introduction Launched2003-12-04 15:30:12\r\n"
                        "\r\n"));
}

// A program folder that cannot be written (here: one that cannot exist, below a
// regular file) sends the log to the per-user folder, same name and format.
void TestCommonFunctions::unwritableProgramFolderFallsBack()
{
    QFile blocker(mFolder->filePath(QStringLiteral("program")));
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    GlobalVariables::gsProgramFolder = blocker.fileName() + QStringLiteral("/bin");

    QVERIFY(WriteLog(QStringLiteral("a\r\nZo\u00eb")));
    QVERIFY(WriteLog(QStringLiteral("b")));

    const QString fallback = FallbackLogFolder();
    QVERIFY(!fallback.isEmpty());
    QCOMPARE(LastLogFilePath(), fallback + QStringLiteral("/") + GlobalVariables::gsLogFileName);
    QCOMPARE(logBytes(fallback), QByteArray("a\r\nZo\xeb\r\n\r\nb\r\n\r\n"));
}

void TestCommonFunctions::replaceAppNames_data()
{
    QTest::addColumn<QString>("importApp");
    QTest::addColumn<QString>("exportApp");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("result");
    QTest::newRow("both, every occurrence") << "Zephrin 5.0"
                                            << "3.1x"
                                            << "<IMAPP> from <EXAPP>, <IMAPP>!"
                                            << "Zephrin 5.0 from 3.1x, Zephrin 5.0!";
    QTest::newRow("lower case stays") << "Zephrin"
                                      << "3.1x"
                                      << "<imapp> <Exapp>"
                                      << "<imapp> <Exapp>";
    QTest::newRow("import name holding the export placeholder") << "<EXAPP> successor"
                                                                << "3.1x"
                                                                << "<IMAPP>"
                                                                << "3.1x successor";
    QTest::newRow("export name holding the import placeholder") << "Zephrin"
                                                                << "<IMAPP> old"
                                                                << "<EXAPP>"
                                                                << "<IMAPP> old";
    QTest::newRow("empty product name removes the placeholder") << ""
                                                                << "3.1x"
                                                                << "an <IMAPP> Directory"
                                                                << "an  Directory";
    QTest::newRow("no placeholder") << "Zephrin"
                                    << "3.1x"
                                    << "plain"
                                    << "plain";
}

void TestCommonFunctions::replaceAppNames()
{
    QFETCH(QString, importApp);
    QFETCH(QString, exportApp);
    QFETCH(QString, text);
    QFETCH(QString, result);
    GlobalVariables::gsImportApp = importApp;
    GlobalVariables::gsExportApp = exportApp;
    QCOMPARE(ReplaceAppNames(text), result);
}

void TestCommonFunctions::indentLines_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("result");
    QTest::newRow("empty line kept unindented") << "x\r\n\r\ny" << 4 << "    x\r\n\r\n    y\r\n";
    QTest::newRow("trailing CR LF gains an empty line") << "x\r\n" << 2 << "  x\r\n\r\n";
    QTest::newRow("lone LF is not a break") << "x\ny" << 1 << " x\ny\r\n";
    QTest::newRow("empty text") << "" << 4 << "\r\n";
    QTest::newRow("no indent") << "a\r\nb" << 0 << "a\r\nb\r\n";
}

void TestCommonFunctions::indentLines()
{
    QFETCH(QString, text);
    QFETCH(int, count);
    QFETCH(QString, result);
    QCOMPARE(IndentLines(text, count), result);
}

void TestCommonFunctions::charCodesToText_data()
{
    QTest::addColumn<QString>("list");
    QTest::addColumn<QString>("result");
    QTest::newRow("framed list") << "0,72,105,0"
                                 << "Hi";
    QTest::newRow("frame elements are never read") << "x,72,105,y"
                                                   << "Hi";
    QTest::newRow("two elements") << "72,105"
                                  << "";
    QTest::newRow("one element") << "72"
                                 << "";
    QTest::newRow("empty text") << ""
                                << "";
    QTest::newRow("three elements") << "0,65,0"
                                    << "A";
    QTest::newRow("8-bit character") << "0,235,0" << QStringLiteral("\u00eb");
}

void TestCommonFunctions::charCodesToText()
{
    QFETCH(QString, list);
    QFETCH(QString, result);
    QCOMPARE(CharCodesToText(list), result);
}

void TestCommonFunctions::charCodesToTextRaises_data()
{
    QTest::addColumn<QString>("list");
    QTest::addColumn<long>("number");
    QTest::newRow("not a number") << "0,72,abc,0" << ErrorNumber::TypeMismatch;
    QTest::newRow("empty element") << "0,,0" << ErrorNumber::TypeMismatch;
    QTest::newRow("beyond 8 bits") << "0,300,0" << ErrorNumber::InvalidProcedureCall;
}

void TestCommonFunctions::charCodesToTextRaises()
{
    QFETCH(QString, list);
    QFETCH(long, number);
    try {
        CharCodesToText(list);
        QFAIL("no error raised");
    } catch (const MigrationError& error) {
        QCOMPARE(error.number(), number);
    }
}

void TestCommonFunctions::appendTextToFile()
{
    const QString path = mFolder->filePath(QStringLiteral("report.txt"));
    AppendTextToFile(path, QStringLiteral("Zo\u00eb\r\n"));
    AppendTextToFile(path, QStringLiteral("end"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("Zo\xeb\r\nend"));

    QVERIFY_THROWS_EXCEPTION(
        MigrationError,
        AppendTextToFile(path + QStringLiteral("/below-a-file.txt"), QStringLiteral("x")));
}

// The object check finds only collections (an absent one too), the value check
// only plain values; a missing key or a missing collection is false for both.
void TestCommonFunctions::keyExists()
{
    auto record = Collection::create();
    record->add(QStringLiteral("Zo\u00eb"), QStringLiteral("FirstName"));
    record->add(QVariant(), QStringLiteral("Email"));
    record->add(toVariant(Collection::create()), QStringLiteral("Settings"));
    record->add(toVariant(CollectionPtr()), QStringLiteral("Stores"));

    QVERIFY(ValueKeyExists(record, QStringLiteral("firstname")));
    QVERIFY(ValueKeyExists(record, QStringLiteral("Email")));
    QVERIFY(!ValueKeyExists(record, QStringLiteral("Settings")));
    QVERIFY(!ValueKeyExists(record, QStringLiteral("Stores")));
    QVERIFY(!ValueKeyExists(record, QStringLiteral("LastName")));

    QVERIFY(ObjectKeyExists(record, QStringLiteral("SETTINGS")));
    QVERIFY(ObjectKeyExists(record, QStringLiteral("Stores")));
    QVERIFY(!ObjectKeyExists(record, QStringLiteral("FirstName")));
    QVERIFY(!ObjectKeyExists(record, QStringLiteral("LastName")));

    QVERIFY(!ValueKeyExists(nullptr, QStringLiteral("FirstName")));
    QVERIFY(!ObjectKeyExists(nullptr, QStringLiteral("Settings")));
    QVERIFY(!ValueKeyExists(record, QString()));
}

QTEST_GUILESS_MAIN(TestCommonFunctions)
#include "tst_commonfunctions.moc"

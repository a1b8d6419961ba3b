#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "reference/IniConfiguration.h"
#include "reference/ReferencePasswordEncoder.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

// zephrin.ini as administrators write it by hand.
class TestConfiguration : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        mDir = std::make_unique<QTemporaryDir>();
        QVERIFY(mDir->isValid());
        mPath = mDir->filePath(u"zephrin.ini"_s);
    }

    void readAsWritten_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("setting");
        QTest::addColumn<QString>("value");
        const auto row = [](const char* name, const QByteArray& file, const char* setting,
                            const QString& value) {
            QTest::newRow(name) << file << QString::fromLatin1(setting) << value;
        };
        row("comment after a section header",
            "[global]\nproductname=Z\n[mail] ; how mail goes\n"
            "transport=pickup\n",
            "mail:transport", u"pickup"_s);
        row("'#' comment after a section header", "[mail]\t# how mail goes\ntransport=smtp\n",
            "mail:transport", u"smtp"_s);
        row("comment after a value", "[mail]\nsmtpport = 2525   ; 25 unless set\n", "mail:smtpport",
            u"2525"_s);
        row("';' without a blank before it is part of the value",
            "[directory]\nconnectionstring=Provider=SQLOLEDB.1;Data Source=db,1433;pwd=a;b\n",
            "directory:connectionstring", u"Provider=SQLOLEDB.1;Data Source=db,1433;pwd=a;b"_s);
        row("' ;' between double quotes stays", "[directory]\nconnectionstring=\"pwd=a ;b\" ; ok\n",
            "directory:connectionstring", u"pwd=a ;b"_s);
        row("a comma in a quoted value", "[Global]\nProductName = \"Zephrin, Inc. 5.0\"\n",
            "global:productname", u"Zephrin, Inc. 5.0"_s);
        row("Latin-1 file", "[global]\r\nproductname=Zephrin f\xfcr Z\xfcrich\r\n",
            "global:productname", u"Zephrin für Zürich"_s);
        row("UTF-8 file with a byte-order mark",
            "\xef\xbb\xbf[global]\nproductname=Zephrin f\xc3\xbcr Z\xc3\xbcrich\n",
            "global:productname", u"Zephrin für Zürich"_s);
        row("the first of a key counts, in any case",
            "[Mail]\nTransport=pickup\n[mail]\n"
            "transport=smtp\n",
            "mail:transport", u"pickup"_s);
    }

    void readAsWritten()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, setting);
        write(file);
        IniConfiguration configuration(mPath);
        QTEST(configuration.GetSetting(setting), "value");
    }

    // A line that is no section header, setting or comment would move the settings
    // after it into the section before it; the file is refused instead, naming the
    // line.
    void lineThatCannotBeRead_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<int>("line");
        QTest::addColumn<QString>("shown");
        QTest::newRow("header without its bracket")
            << QByteArray("[global]\nproductname=Z\n[mail\ntransport=pickup\n") << 3 << u"[mail"_s;
        QTest::newRow("text after a header")
            << QByteArray("[mail] transport\n") << 1 << u"[mail] transport"_s;
        QTest::newRow("setting without '='")
            << QByteArray("; made by hand\r\n[mail]\r\ntransport pickup\r\n") << 3
            << u"transport pickup"_s;
        QTest::newRow("setting without a name")
            << QByteArray("[mail]\n=pickup\n") << 2 << u"=pickup"_s;
        QTest::newRow("control character shown as '?'")
            << QByteArray("[mail]\n\x01transport\n") << 2 << u"?transport"_s;
    }

    void lineThatCannotBeRead()
    {
        QFETCH(QByteArray, file);
        QFETCH(int, line);
        QFETCH(QString, shown);
        write(file);
        try {
            IniConfiguration configuration(mPath);
            QFAIL("a file with a line that cannot be read was taken");
        } catch (const MigrationError& error) {
            QCOMPARE(error.number(), ErrorNumber::InvalidFileFormat);
            QCOMPARE(error.description(),
                     u"The configuration file %1, line %2, is neither a [section], a name=value "
                     "setting nor a comment: \"%3\""_s.arg(mPath)
                         .arg(line)
                         .arg(shown));
        }
    }

    void missingDirectoryConnectionString()
    {
        write("[global]\nproductname=Z\n[directory]\nconnectionstring=\n");
        IniConfiguration configuration(mPath);
        try {
            configuration.GetDirectoryConnectionString();
            QFAIL("an empty connection string was handed out");
        } catch (const MigrationError& error) {
            QCOMPARE(error.description(),
                     u"The configuration file %1 names no Directory database: connectionstring "
                     "under [directory] is missing or empty"_s.arg(mPath));
        }
        write("[directory]\nconnectionstring=Data Source=db;Initial Catalog=Directory; ; set up\n");
        QCOMPARE(IniConfiguration(mPath).GetDirectoryConnectionString(),
                 u"Data Source=db;Initial Catalog=Directory;"_s);
    }

    // The cost of new passwords comes from the file; a value that is no cost is
    // named, never taken for the default.
    void passwordCost_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<int>("iterations"); // 0: refused
        QTest::newRow("no file") << QByteArray() << 600000;
        QTest::newRow("not set") << QByteArray("[directory]\n") << 600000;
        QTest::newRow("set low for a test")
            << QByteArray("[directory]\npassworditerations=1000\n") << 1000;
        QTest::newRow("not a number")
            << QByteArray("[directory]\npassworditerations=600k ; current guidance\n") << 0;
        QTest::newRow("zero") << QByteArray("[directory]\npassworditerations=0\n") << 0;
    }

    void passwordCost()
    {
        QFETCH(QByteArray, file);
        QFETCH(int, iterations);
        if (!file.isEmpty()) {
            write(file);
        }
        try {
            QCOMPARE(ReferencePasswordEncoder::ConfiguredIterations(mPath), iterations);
        } catch (const MigrationError& error) {
            QCOMPARE(iterations, 0);
            QVERIFY2(error.description().contains(u"set in %1 ([directory] passworditerations) is "
                                                  "not a number from 1 to 10000000"_s.arg(mPath)),
                     qPrintable(error.description()));
        }
    }

    // The file is read once while it stays as it is; written again (even to the same
    // size at once), replaced or made unreadable, it is read anew.
    void aChangedFileIsReadAgain()
    {
        write("[mail]\ntransport=smtp\n");
        QCOMPARE(IniConfiguration(mPath).GetSetting(u"mail:transport"_s), u"smtp"_s);
        write("[mail]\ntransport=SMTP\n");
        QCOMPARE(IniConfiguration(mPath).GetSetting(u"mail:transport"_s), u"SMTP"_s);

        const QString other = mDir->filePath(u"other.ini"_s);
        QFile replacement(other);
        QVERIFY(replacement.open(QIODevice::WriteOnly));
        replacement.write("[mail]\ntransport=pick\n");
        replacement.close();
        QVERIFY(QFile::remove(mPath));
        QVERIFY(QFile::rename(other, mPath));
        QCOMPARE(IniConfiguration(mPath).GetSetting(u"mail:transport"_s), u"pick"_s);

        if (geteuid() != 0) { // root reads whatever the rights say
            QVERIFY(QFile::setPermissions(mPath, QFileDevice::WriteOwner));
            QVERIFY_THROWS_EXCEPTION(MigrationError, IniConfiguration{mPath});
        }
    }

private:
    // --config first, then ZEPHRIN_CONFIG; without either, an installed program reads
    // the system's file and one run from its build folder the file beside it.
    void whereTheFileIsLooked_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<QString>("environment");
        QTest::addColumn<QString>("programFolder");
        QTest::addColumn<QString>("path");
        QTest::newRow("option") << u"/a.ini"_s << u"/b.ini"_s << u"/usr/bin"_s << u"/a.ini"_s;
        QTest::newRow("environment") << QString() << u"/b.ini"_s << u"/usr/bin"_s << u"/b.ini"_s;
        QTest::newRow("package") << QString() << QString() << u"/usr/bin"_s
                                 << u"/etc/varnel-migrate/zephrin.ini"_s;
        QTest::newRow("cmake --install") << QString() << QString() << u"/usr/local/bin"_s
                                         << u"/etc/varnel-migrate/zephrin.ini"_s;
        QTest::newRow("build folder") << QString() << QString() << u"/home/a/usr/build"_s
                                      << u"/home/a/usr/build/zephrin.ini"_s;
        QTest::newRow("opt") << QString() << QString() << u"/opt/varnel-migrate"_s
                             << u"/opt/varnel-migrate/zephrin.ini"_s;
    }

    void whereTheFileIsLooked()
    {
        QFETCH(QString, option);
        QFETCH(QString, environment);
        QFETCH(QString, programFolder);
        const QByteArray saved = qgetenv("ZEPHRIN_CONFIG");
        qputenv("ZEPHRIN_CONFIG", environment.toLocal8Bit());
        GlobalVariables::gsProgramFolder = programFolder;
        const QString path = IniConfiguration::locate(option);
        qputenv("ZEPHRIN_CONFIG", saved);
        GlobalVariables::gsProgramFolder.clear();
        QTEST(path, "path");
    }

    void write(const QByteArray& contents)
    {
        QFile file(mPath);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(contents);
    }

    std::unique_ptr<QTemporaryDir> mDir;
    QString mPath;
};

QTEST_GUILESS_MAIN(TestConfiguration)
#include "tst_configuration.moc"

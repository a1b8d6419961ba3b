#include "frame/GlobalVariables.h"
#include "frame/MigrationError.h"
#include "reference/IniConfiguration.h"
#include "reference/ReferencePasswordEncoder.h"
#include "support/Golden.h"

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
    // Each file (as bytes) with what the program reads from it, in
    // configuration/read.txt: a setting (section:name), the Directory's connection
    // string ("directory") or the cost of new passwords ("cost"); or the message that
    // refuses it. Comments after headers and values, quotes, commas, Latin-1 and UTF-8
    // files; the first of a key counts. A line that is no section header, setting or
    // comment would move the settings after it into the section before it: the file
    // is refused, naming the line. A cost that is no number is named, never taken for
    // the default.
    void read()
    {
        const QList<std::pair<const char*, QByteArray>> cases = {
            {"mail:transport",
             "[global]\nproductname=Z\n[mail] ; how mail goes\ntransport=pickup\n"},
            {"mail:transport", "[mail]\t# how mail goes\ntransport=smtp\n"},
            {"mail:smtpport", "[mail]\nsmtpport = 2525   ; 25 unless set\n"},
            {"directory",
             "[directory]\nconnectionstring=Provider=SQLOLEDB.1;Data Source=db,1433;pwd=a;b\n"},
            {"directory", "[directory]\nconnectionstring=\"pwd=a ;b\" ; ok\n"},
            {"global:productname", "[Global]\nProductName = \"Zephrin, Inc. 5.0\"\n"},
            {"global:productname", "[global]\r\nproductname=Zephrin f\xfcr Z\xfcrich\r\n"},
            {"global:productname",
             "\xef\xbb\xbf[global]\nproductname=Zephrin f\xc3\xbcr Z\xc3\xbcrich\n"},
            {"mail:transport", "[Mail]\nTransport=pickup\n[mail]\ntransport=smtp\n"},
            {"mail:transport", "[global]\nproductname=Z\n[mail\ntransport=pickup\n"},
            {"mail:transport", "[mail] transport\n"},
            {"mail:transport", "; made by hand\r\n[mail]\r\ntransport pickup\r\n"},
            {"mail:transport", "[mail]\n=pickup\n"},
            {"mail:transport", "[mail]\n\x01transport\n"},
            {"directory", "[global]\nproductname=Z\n[directory]\nconnectionstring=\n"},
            {"directory",
             "[directory]\nconnectionstring=Data Source=db;Initial Catalog=Directory; ; set up\n"},
            {"cost", QByteArray()},
            {"cost", "[directory]\n"},
            {"cost", "[directory]\npassworditerations=1000\n"},
            {"cost", "[directory]\npassworditerations=600k ; current guidance\n"},
            {"cost", "[directory]\npassworditerations=0\n"}};
        QStringList results;
        for (const auto& [setting, file] : cases) {
            const QString path = mDir.filePath(u"%1.ini"_s.arg(results.size()));
            if (!file.isNull()) {
                write(path, file);
            }
            QString result;
            try {
                result = setting == "cost"_L1
                             ? QString::number(ReferencePasswordEncoder::ConfiguredIterations(path))
                         : setting == "directory"_L1
                             ? IniConfiguration(path).GetDirectoryConnectionString()
                             : IniConfiguration(path).GetSetting(QLatin1String(setting));
            } catch (const MigrationError& error) {
                result = u"error %1: %2"_s.arg(error.number()).arg(error.description());
            }
            const std::unique_ptr<char[]> shown(QTest::toString(file));
            results << u"%1 from %2 -> %3"_s.arg(QLatin1String(setting), QLatin1String(shown.get()),
                                                 result.replace(path, u"<file>"_s));
        }
        QCOMPARE_GOLDEN(results, u"configuration/read.txt"_s);
    }

    // --config first, then ZEPHRIN_CONFIG; without either, an installed program reads
    // the system's file and one run from elsewhere the file beside it.
    void whereTheFileIsLooked()
    {
        const QByteArray saved = qgetenv("ZEPHRIN_CONFIG");
        QStringList results;
        for (const auto& [option, environment, folder] :
             QList<std::tuple<QString, QString, QString>>{
                 {u"/a.ini"_s, u"/b.ini"_s, u"/usr/bin"_s},
                 {QString(), u"/b.ini"_s, u"/usr/bin"_s},
                 {QString(), QString(), u"/usr/bin"_s},
                 {QString(), QString(), u"/usr/local/bin"_s},
                 {QString(), QString(), u"/home/a/usr/build"_s},
                 {QString(), QString(), u"/opt/varnel-migrate"_s}}) {
            qputenv("ZEPHRIN_CONFIG", environment.toLocal8Bit());
            GlobalVariables::gsProgramFolder = folder;
            results << u"--config %1, ZEPHRIN_CONFIG %2, run from %3 -> %4"_s.arg(
                option, environment, folder, IniConfiguration::locate(option));
        }
        qputenv("ZEPHRIN_CONFIG", saved);
        GlobalVariables::gsProgramFolder.clear();
        QCOMPARE_GOLDEN(results, u"configuration/locate.txt"_s);
    }

    // The file is read once while it stays as it is; written again (even to the same
    // size at once), replaced or made unreadable, it is read anew.
    void aChangedFileIsReadAgain()
    {
        const QString path = mDir.filePath(u"zephrin.ini"_s);
        const auto transport = [&] {
            return IniConfiguration(path).GetSetting(u"mail:transport"_s);
        };
        write(path, "[mail]\ntransport=smtp\n");
        QCOMPARE(transport(), u"smtp"_s);
        write(path, "[mail]\ntransport=SMTP\n");
        QCOMPARE(transport(), u"SMTP"_s);
        const QString other = mDir.filePath(u"other.ini"_s);
        write(other, "[mail]\ntransport=pick\n");
        QVERIFY(QFile::remove(path) && QFile::rename(other, path));
        QCOMPARE(transport(), u"pick"_s);
        if (geteuid() != 0) { // root reads whatever the rights say
            QVERIFY(QFile::setPermissions(path, QFileDevice::WriteOwner));
            QVERIFY_THROWS_EXCEPTION(MigrationError, transport());
        }
    }

private:
    static void write(const QString& path, const QByteArray& contents)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(contents);
    }

    QTemporaryDir mDir;
};

QTEST_GUILESS_MAIN(TestConfiguration)
#include "tst_configuration.moc"

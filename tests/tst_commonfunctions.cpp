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

#include <sys/stat.h>

using namespace Qt::Literals::StringLiterals;

using namespace CommonFunctions;

namespace {

QByteArray bytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

// The permission bits for owner, group and others, in octal.
QString mode(const QString& path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0
               ? QString::number(status.st_mode & 0777, 8)
               : u"<missing>"_s;
}

QString fallbackLog()
{
    return FallbackLogFolder() + u"/"_s + GlobalVariables::gsLogFileName;
}

} // namespace

class TestCommonFunctions : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true); // the per-user folder: a test location
        GlobalVariables::gsLogFileName = u"MigrationLog20031204153012.log"_s;
    }
    void cleanup() { QFile::remove(fallbackLog()); }

    // Entries go into the program folder's log, one after the other (two runs started
    // within the same second share a file), in Latin-1, each ending in a blank line,
    // readable by their owner only. A program folder that cannot be written (here:
    // one below a regular file) sends them to the per-user folder, open to its owner
    // only; so does a program installed under /usr even where it could write its own
    // folder (root's runs): nothing of a run lands in /usr. Where each program folder
    // sends the log: commonfunctions/where-the-log-goes.txt.
    void whereTheLogGoes()
    {
        QVERIFY(QFile(mFolder.filePath(u"file"_s)).open(QIODevice::WriteOnly));
        QStringList results;
        for (const QString& programFolder :
             {u"program"_s, u"file/bin"_s, u"/usr/bin"_s, u"/usr/local/bin"_s,
              u"/usr//bin/../bin"_s, u"usr/bin"_s}) {
            const QString folder =
                programFolder.startsWith(u'/') ? programFolder : mFolder.filePath(programFolder);
            QDir().mkpath(folder);
            GlobalVariables::gsProgramFolder = folder;
            const QString inProgramFolder = folder + u"/"_s + GlobalVariables::gsLogFileName;
            const bool wasThere = QFile::exists(inProgramFolder);
            QFile::remove(fallbackLog());
            for (const QString& entry :
                 {u"Introduction Launched2003-12-04 15:30:12"_s, u"two\r\nlines"_s,
                  u"lone\nline feed"_s, u"SelectUsers: Zo\u00eb Brandt"_s}) {
                QVERIFY(WriteLog(entry));
            }
            const QString log = LastLogFilePath();
            QCOMPARE(bytes(log),
                     QByteArray("Introduction Launched2003-12-04 15:30:12\r\n\r\ntwo\r\n"
                                "lines\r\n\r\nlone\nline feed\r\n\r\nSelectUsers: "
                                "Zo\xeb Brandt\r\n\r\n"));
            results << u"%1 -> %2, mode %3, per-user folder %4"_s.arg(
                programFolder,
                QString(log)
                    .replace(FallbackLogFolder(), u"<per-user>"_s)
                    .replace(mFolder.path(), u"<tmp>"_s),
                mode(log),
                log.startsWith(FallbackLogFolder()) ? mode(FallbackLogFolder()) : u"-"_s);
            QVERIFY2(wasThere || log == inProgramFolder || !QFile::remove(inProgramFolder),
                     "the log went to /usr");
        }
        QCOMPARE_GOLDEN(results, u"commonfunctions/where-the-log-goes.txt"_s);
    }

    // On a full disk a log entry goes whole into the per-user file, and nothing of it
    // is left in the program folder's file; an entry that fits again goes back there.
    // A saved report that does not fit is a failure that says so, and the file keeps
    // what it held before: no half report at its end.
    void fullDisk()
    {
        FullDisk disk;
        if (!disk.isMounted()) {
            QSKIP(qPrintable(disk.skipReason()));
        }
        GlobalVariables::gsProgramFolder = disk.path();
        const QString report = disk.filePath(u"report.txt"_s);
        QVERIFY(WriteLog(u"first"_s));
        AppendTextToFile(report, u"earlier run\r\n"_s);
        QVERIFY(disk.leaveFree(4096));
        const QString big = QString(20000, u'x');
        QVERIFY(WriteLog(big));
        QCOMPARE(LastLogFilePath(), fallbackLog());
        QVERIFY(WriteLog(u"small"_s));
        QCOMPARE(bytes(disk.filePath(GlobalVariables::gsLogFileName)),
                 QByteArray("first\r\n\r\nsmall\r\n\r\n"));
        QCOMPARE(bytes(fallbackLog()), big.toLatin1() + "\r\n\r\n");
        try {
            AppendTextToFile(report, QString(20000, u'r'));
            QFAIL("a report that did not fit was taken as saved");
        } catch (const MigrationError& error) {
            QCOMPARE(error.number(), ErrorNumber::DiskFull);
            QVERIFY2(error.description().startsWith(report + u" could not be written: the disk "
                                                             "that holds it is full"_s),
                     qPrintable(error.description()));
        }
        QCOMPARE(bytes(report), QByteArray("earlier run\r\n"));
    }

    // A new report is readable by its owner only, one that exists keeps its rights;
    // saving into a folder that may not be written is told apart from saving over a
    // read-only file. What each case gave: commonfunctions/saved-report.txt.
    void savedReport()
    {
        PlainRights plain;
        if (!plain.isActive()) {
            QSKIP(qPrintable(plain.skipReason()));
        }
        QStringList results;
        for (const auto& [name, fileMode, folderMode] :
             QList<std::tuple<QString, int, int>>{{u"new"_s, 0, 0700},
                                                  {u"readable by all"_s, 0644, 0700},
                                                  {u"read-only file"_s, 0400, 0700},
                                                  {u"read-only folder"_s, 0, 0500}}) {
            const QString folder = mFolder.filePath(name);
            const QString path = folder + u"/report.txt"_s;
            QVERIFY(QDir().mkpath(folder));
            if (fileMode != 0) {
                AppendTextToFile(path, u"kept"_s);
                QCOMPARE(::chmod(QFile::encodeName(path).constData(), mode_t(fileMode)), 0);
            }
            QCOMPARE(::chmod(QFile::encodeName(folder).constData(), mode_t(folderMode)), 0);
            QString result = name + u": "_s;
            try {
                AppendTextToFile(path, u"x"_s);
                result += u"written, mode "_s + mode(path);
            } catch (const MigrationError& error) {
                result += u"error %1: %2"_s.arg(error.number()).arg(error.description());
            }
            results << result.replace(folder, u"<folder>"_s) + u", holds "_s + bytes(path);
            QCOMPARE(::chmod(QFile::encodeName(folder).constData(), 0700), 0);
        }
        QCOMPARE_GOLDEN(results, u"commonfunctions/saved-report.txt"_s);
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
        for (const QString& names :
             {u"Z 5.0|3.1x|<IMAPP> from <EXAPP>, <IMAPP>!"_s, u"Z|3.1x|<imapp> <Exapp>"_s,
              u"<EXAPP> successor|3.1x|<IMAPP>"_s, u"Z|<IMAPP> old|<EXAPP>"_s,
              u"|3.1x|an <IMAPP> Directory"_s}) {
            const QStringList in = names.split(u'|');
            GlobalVariables::gsImportApp = in[0];
            GlobalVariables::gsExportApp = in[1];
            results << u"ReplaceAppNames(%1 %2 %3) -> %4"_s.arg(
                shown(in[0]), shown(in[1]), shown(in[2]), shown(ReplaceAppNames(in[2])));
        }
        for (const QString& indent : {u"x\r\n\r\ny|4"_s, u"x\r\n|2"_s, u"x\ny|1"_s, u"|4"_s}) {
            const QStringList in = indent.split(u'|');
            results << u"IndentLines(%1 %2) -> %3"_s.arg(shown(in[0]), in[1],
                                                         shown(IndentLines(in[0], in[1].toInt())));
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
        // The object check finds only collections (an absent one too), the value check
        // only plain values; a missing key or a missing collection is false for both.
        auto record = Collection::create();
        record->add(u"Zo\u00eb"_s, u"FirstName"_s);
        record->add(QVariant(), u"Email"_s);
        record->add(toVariant(Collection::create()), u"Settings"_s);
        record->add(toVariant(CollectionPtr()), u"Stores"_s);
        for (const QString& key :
             {u"firstname"_s, u"Email"_s, u"SETTINGS"_s, u"Stores"_s, u"LastName"_s, QString()}) {
            results << u"ValueKeyExists(%1) -> %2, ObjectKeyExists -> %3"_s.arg(shown(key))
                           .arg(int(ValueKeyExists(record, key)))
                           .arg(int(ObjectKeyExists(record, key)));
        }
        results << u"on no collection: %1 %2"_s.arg(int(ValueKeyExists(nullptr, u"FirstName"_s)))
                       .arg(int(ObjectKeyExists(nullptr, u"Settings"_s)));
        QCOMPARE_GOLDEN(results, u"commonfunctions/text-functions.txt"_s);
    }

private:
    QTemporaryDir mFolder;
};

QTEST_GUILESS_MAIN(TestCommonFunctions)
#include "tst_commonfunctions.moc"

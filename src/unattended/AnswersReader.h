#pragma once

#include "unattended/AnswersFile.h"

#include <QHash>
#include <QLatin1String>
#include <QList>
#include <QString>
#include <QStringList>

// The lines of an answers file: sections, keys and values, each answer with the line
// it stands on. What each section means is read from here (AnswersSections).
namespace AnswersText {

inline const QLatin1String SectionSource{"source"};
inline const QLatin1String SectionTarget{"target"};
inline const QLatin1String SectionStores{"stores"};
inline const QLatin1String SectionUsers{"users"};
inline const QLatin1String SectionConflicts{"conflicts"};
inline const QLatin1String SectionEmail{"email"};
inline const QLatin1String SectionService{"service-account"};
inline const QLatin1String SectionProfiles{"profiles"};
inline const QLatin1String SectionReport{"report"};

inline const QLatin1String LoginPrefix{"login:"};

// A line or a name as the messages show it: control characters as '?', cut after 60.
QString shown(const QString& line);

struct Setting
{
    QString section;
    QString key;
    AnswersFile::Answer answer;
};

class Reader
{
public:
    explicit Reader(AnswersFile& file) : mFile(file) {}

    // Splits the text into sections and answers; a line that is neither, an unknown
    // section or key, or a key answered twice fails naming its line.
    void read(const QString& text);

    bool hasSection(QLatin1String section) const { return mSections.contains(section); }
    // The answer to a key of a section, not given when the file has none.
    AnswersFile::Answer answer(QLatin1String section, const char* key) const;
    QList<Setting> settingsOf(QLatin1String section) const;

    [[noreturn]] void fail(int line, const QString& what) const;

private:
    void checkKey(int number, const QString& section, const QString& key) const;

    AnswersFile& mFile;
    QList<Setting> mSettings;
    QHash<QString, int> mLines;
    QHash<QString, int> mSections;
};

// The items of a list: separated by commas outside double quotes, each trimmed and
// unquoted. An empty item is refused.
QStringList listItems(const Reader& reader, const QString& section, const QString& key,
                      const AnswersFile::Answer& answer);

} // namespace AnswersText

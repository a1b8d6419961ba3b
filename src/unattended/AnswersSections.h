#pragma once

#include "unattended/AnswersReader.h"

// What each section of an answers file means: every reader fills its part of the file
// and fails naming the line of an answer that is wrong or missing.
namespace AnswersText {

void readDatabases(const Reader& reader, AnswersFile& file);
void readStores(const Reader& reader, AnswersFile& file);
void readUsers(const Reader& reader, AnswersFile& file);
void readConflicts(const Reader& reader, AnswersFile& file);
void readEmail(const Reader& reader, AnswersFile& file);
void readServiceAccount(const Reader& reader, AnswersFile& file);
void readProfiles(const Reader& reader, AnswersFile& file);
// The report file is found relative to the answers file's folder.
void readReport(const Reader& reader, AnswersFile& file);

} // namespace AnswersText

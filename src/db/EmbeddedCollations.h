#pragma once

class QSqlDatabase;

// Collations that the embedded engine lacks and the working tables need, registered
// on every embedded connection:
//
//   CI_AS       equality and order as the server's case-insensitive, accent-sensitive
//               collation: letter case ignored in every alphabet (É = é), accents
//               kept (é <> e), trailing blanks ignored ('abc' = 'abc ').
//   CI_AS_SORT  a dictionary order for names, case ignored: "Ångström" among the A's,
//               "de Vries" among the D's.
//
// They are used only by the working tables, which live for one call: a stored
// database never depends on them, so any other tool can still read the files.
namespace EmbeddedCollations {
inline constexpr const char* Equality = "CI_AS";
inline constexpr const char* Sort = "CI_AS_SORT";
// Throws MigrationError when the connection is not an open embedded one.
void Register(QSqlDatabase& database);
} // namespace EmbeddedCollations

#pragma once

#include <QByteArray>
#include <QString>
#include <exception>

// A failure as the wizard reports it: a number, a description and the text that
// names where it arose. Procedures that raise throw it; procedures that hand an
// error back catch it and copy number and description into their outputs.
class MigrationError : public std::exception
{
public:
    MigrationError(long number, const QString& description, const QString& source = QString());

    long number() const { return mNumber; }
    QString description() const { return mDescription; }
    QString source() const { return mSource; }
    const char* what() const noexcept override { return mWhat.constData(); }

    // The same failure raised again with another source text.
    MigrationError withSource(const QString& source) const;

private:
    long mNumber;
    QString mDescription;
    QString mSource;
    QByteArray mWhat;
};

// Error numbers that the wizard raises itself.
namespace ErrorNumber {
constexpr long InvalidProcedureCall = 5;
constexpr long SubscriptOutOfRange = 9;
constexpr long TypeMismatch = 13;
constexpr long DiskFull = 61;
constexpr long PermissionDenied = 70;
constexpr long PathFileAccess = 75;
constexpr long InvalidFileFormat = 321;
constexpr long CannotCreateComponent = 429;
constexpr long DuplicateKey = 457;
} // namespace ErrorNumber

// Times the reading of an answers file that chooses its users by a long list: N login
// IDs (logins=) and N source user IDs (ids=), each read and checked in full (every
// item unquoted, every duplicate looked for).
//
// Prints, per count, the milliseconds to read each form, the best of five reads.
//
// Usage: bench_answersfile [count ...], default 20000.
#include "unattended/AnswersFile.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QStringList>

#include <algorithm>
#include <cstdio>

namespace {

QByteArray fileOf(const QString& usersLine)
{
    return (QStringLiteral("[source]\nserver=sqlite:/tmp\ndatabase=Varnel\n[users]\n") + usersLine +
            QStringLiteral("\n[profiles]\nmigrate=none\n"))
        .toUtf8();
}

double bestOfFive(const QByteArray& contents, int expected)
{
    double best = 1e9;
    for (int round = 0; round < 5; ++round) {
        QElapsedTimer timer;
        timer.start();
        const AnswersFile file = AnswersFile::Parse(QStringLiteral("answers.ini"), contents);
        const double ms = timer.nsecsElapsed() / 1e6;
        if (file.userLogins.size() + file.userIDs.size() != expected) {
            std::fprintf(stderr, "read %lld users, expected %d\n",
                         static_cast<long long>(file.userLogins.size() + file.userIDs.size()),
                         expected);
            std::exit(1);
        }
        best = std::min(best, ms);
    }
    return best;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QList<int> counts;
    for (int i = 1; i < argc; ++i) {
        counts << QString::fromLocal8Bit(argv[i]).toInt();
    }
    if (counts.isEmpty()) {
        counts << 20000;
    }
    std::printf("%8s %12s %12s\n", "users", "logins= ms", "ids= ms");
    for (const int count : counts) {
        QStringList logins;
        QStringList ids;
        for (int i = 1; i <= count; ++i) {
            logins << QStringLiteral("User%1").arg(i);
            ids << QString::number(i);
        }
        const double byLogin =
            bestOfFive(fileOf(QStringLiteral("logins=") + logins.join(u", ")), count);
        const double byID = bestOfFive(fileOf(QStringLiteral("ids=") + ids.join(u", ")), count);
        std::printf("%8d %12.1f %12.1f\n", count, byLogin, byID);
    }
    return 0;
}

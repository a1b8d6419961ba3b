#pragma once

#include <QString>

#include <array>
#include <atomic>
#include <thread>

// Counts the requests a program sends to a SQL Server: a relay on a loopback port of
// its own forwards every connection to the server and reads the TDS packet headers
// of what the client sends. A request is one message (its last packet marked end of
// message), and each answer waits for it: one round trip. Connect to port() instead
// of the server's port; the relay stops and closes every connection when it goes.
class TdsCounter
{
public:
    TdsCounter(const QString& host, int port);
    ~TdsCounter();
    TdsCounter(const TdsCounter&) = delete;
    TdsCounter& operator=(const TdsCounter&) = delete;

    bool listening() const { return mListen >= 0; }
    int port() const { return mPort; }

    // Requests sent so far: logins (a new session), SQL batches, remote procedure
    // calls (prepared and parameterised statements, cursor calls), transaction
    // requests (begin, commit, rollback), and the rest.
    struct Counts
    {
        long long connections = 0;
        long long logins = 0;
        long long batches = 0;
        long long procedureCalls = 0;
        long long transactions = 0;
        long long other = 0;
        long long requests() const
        {
            return logins + batches + procedureCalls + transactions + other;
        }
    };
    Counts counts() const;

private:
    void relay();

    QString mHost;
    int mServerPort = 0;
    int mListen = -1;
    int mPort = 0;
    std::array<int, 2> mWake = {-1, -1};
    std::atomic<long long> mConnections{0};
    // By TDS packet type (first byte of its header).
    std::array<std::atomic<long long>, 256> mMessages{};
    std::thread mThread;
};

#include "TdsCounter.h"

#include <QByteArray>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <vector>

namespace {

constexpr int HeaderBytes = 8;
constexpr unsigned char EndOfMessage = 0x01;
constexpr unsigned char Batch = 0x01;
constexpr unsigned char ProcedureCall = 0x03;
constexpr unsigned char TransactionRequest = 0x0E;
constexpr unsigned char Login = 0x10;

// What the client has sent so far of the packet in hand.
struct Reader
{
    unsigned char header[HeaderBytes] = {};
    int headerRead = 0;
    long remaining = 0;
};

struct Pair
{
    int client = -1;
    int server = -1;
    Reader reader;
};

bool sendAll(int socket, const char* data, ssize_t size)
{
    while (size > 0) {
        const ssize_t sent = ::send(socket, data, static_cast<size_t>(size), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        data += sent;
        size -= sent;
    }
    return true;
}

int connectTo(const QString& host, int port)
{
    addrinfo hints = {};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.toUtf8().constData(), QByteArray::number(port).constData(), &hints,
                    &found) != 0) {
        return -1;
    }
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    if (socket >= 0 && ::connect(socket, found->ai_addr, found->ai_addrlen) != 0) {
        ::close(socket);
        freeaddrinfo(found);
        return -1;
    }
    freeaddrinfo(found);
    return socket;
}

} // namespace

TdsCounter::TdsCounter(const QString& host, int port) : mHost(host), mServerPort(port)
{
    mListen = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof(address);
    if (mListen < 0 || ::bind(mListen, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::listen(mListen, 64) != 0 ||
        ::getsockname(mListen, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
        ::pipe(mWake.data()) != 0) {
        if (mListen >= 0) {
            ::close(mListen);
        }
        mListen = -1;
        return;
    }
    mPort = ntohs(address.sin_port);
    mThread = std::thread([this] { relay(); });
}

TdsCounter::~TdsCounter()
{
    if (mListen < 0) {
        return;
    }
    const char stop = 's';
    [[maybe_unused]] const ssize_t written = ::write(mWake[1], &stop, 1);
    mThread.join();
    ::close(mListen);
    ::close(mWake[0]);
    ::close(mWake[1]);
}

TdsCounter::Counts TdsCounter::counts() const
{
    Counts counts;
    counts.connections = mConnections.load();
    for (int type = 0; type < 256; ++type) {
        const long long messages = mMessages[static_cast<size_t>(type)].load();
        switch (type) {
        case Login:
            counts.logins += messages;
            break;
        case Batch:
            counts.batches += messages;
            break;
        case ProcedureCall:
            counts.procedureCalls += messages;
            break;
        case TransactionRequest:
            counts.transactions += messages;
            break;
        default:
            counts.other += messages;
        }
    }
    return counts;
}

void TdsCounter::relay()
{
    std::vector<Pair> pairs;
    std::vector<char> buffer(65536);
    for (;;) {
        std::vector<pollfd> watched = {{mWake[0], POLLIN, 0}, {mListen, POLLIN, 0}};
        for (const Pair& pair : pairs) {
            watched.push_back({pair.client, POLLIN, 0});
            watched.push_back({pair.server, POLLIN, 0});
        }
        if (::poll(watched.data(), watched.size(), -1) < 0) {
            continue;
        }
        if (watched[0].revents != 0) {
            break;
        }
        if (watched[1].revents & POLLIN) {
            const int client = ::accept(mListen, nullptr, nullptr);
            const int server = client >= 0 ? connectTo(mHost, mServerPort) : -1;
            if (server >= 0) {
                pairs.push_back({client, server, {}});
                ++mConnections;
            } else if (client >= 0) {
                ::close(client);
            }
        }
        std::vector<size_t> closed;
        for (size_t i = 0; i < pairs.size(); ++i) {
            Pair& pair = pairs[i];
            const short fromClient = watched[2 + 2 * i].revents;
            const short fromServer = watched[3 + 2 * i].revents;
            bool open = true;
            if (fromClient != 0) {
                const ssize_t read = ::recv(pair.client, buffer.data(), buffer.size(), 0);
                open = read > 0 && sendAll(pair.server, buffer.data(), read);
                // Walk the packet headers in what the client sent.
                Reader& reader = pair.reader;
                for (ssize_t at = 0; open && at < read;) {
                    if (reader.remaining > 0) {
                        const long step = qMin<long>(reader.remaining, long(read - at));
                        reader.remaining -= step;
                        at += step;
                        continue;
                    }
                    reader.header[reader.headerRead++] =
                        static_cast<unsigned char>(buffer[size_t(at++)]);
                    if (reader.headerRead == HeaderBytes) {
                        const long length = (long(reader.header[2]) << 8) | reader.header[3];
                        reader.remaining = qMax(0L, length - HeaderBytes);
                        reader.headerRead = 0;
                        if (reader.header[1] & EndOfMessage) {
                            ++mMessages[reader.header[0]];
                        }
                    }
                }
            }
            if (open && fromServer != 0) {
                const ssize_t read = ::recv(pair.server, buffer.data(), buffer.size(), 0);
                open = read > 0 && sendAll(pair.client, buffer.data(), read);
            }
            if (!open) {
                closed.push_back(i);
            }
        }
        for (auto it = closed.rbegin(); it != closed.rend(); ++it) {
            ::close(pairs[*it].client);
            ::close(pairs[*it].server);
            pairs.erase(pairs.begin() + static_cast<long>(*it));
        }
    }
    for (const Pair& pair : pairs) {
        ::close(pair.client);
        ::close(pair.server);
    }
}

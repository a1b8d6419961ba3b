#include "support/SilentSmtpServer.h"

#include <QByteArray>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

void say(int client, const char* line)
{
    const QByteArray bytes = QByteArray(line) + "\r\n";
    const ssize_t sent = ::send(client, bytes.constData(), bytes.size(), MSG_NOSIGNAL);
    (void)sent;
}

} // namespace

SilentSmtpServer::SilentSmtpServer(Silence silence) : mSilence(silence)
{
    mListener = ::socket(AF_INET, SOCK_STREAM, 0);
    if (mListener < 0) {
        return;
    }
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (::bind(mListener, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::listen(mListener, 4) != 0 ||
        ::getsockname(mListener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        ::close(mListener);
        mListener = -1;
        return;
    }
    mPort = ntohs(address.sin_port);
    mThread = std::thread([this] { serve(); });
}

SilentSmtpServer::~SilentSmtpServer()
{
    mStop = true;
    if (mThread.joinable()) {
        mThread.join();
    }
    if (mListener >= 0) {
        ::close(mListener);
    }
}

void SilentSmtpServer::serve()
{
    while (!mStop) {
        pollfd waiting = {mListener, POLLIN, 0};
        if (::poll(&waiting, 1, 50) <= 0) {
            continue;
        }
        const int client = ::accept(mListener, nullptr, nullptr);
        if (client >= 0) {
            talk(client);
            ::close(client);
        }
    }
}

// Answers as a plain SMTP server until the chosen point, then reads on without a
// word until the client hangs up or the server stops.
void SilentSmtpServer::talk(int client)
{
    bool silent = mSilence == Silence::Greeting;
    if (!silent) {
        say(client, "220 silent.test ESMTP");
    }
    QByteArray pending;
    bool inData = false;
    while (!mStop) {
        pollfd waiting = {client, POLLIN, 0};
        if (::poll(&waiting, 1, 50) <= 0) {
            continue;
        }
        char buffer[4096];
        const ssize_t got = ::recv(client, buffer, sizeof(buffer), 0);
        if (got <= 0) {
            return;
        }
        if (silent) {
            continue;
        }
        pending.append(buffer, got);
        for (;;) {
            if (inData) {
                const qsizetype end = pending.indexOf("\r\n.\r\n");
                if (end < 0) {
                    break;
                }
                pending.remove(0, end + 5);
                inData = false;
                ++mMessages;
                silent = mSilence == Silence::EndOfData;
                if (!silent) {
                    say(client, "250 2.0.0 queued");
                }
                continue;
            }
            const qsizetype end = pending.indexOf("\r\n");
            if (end < 0 || silent) {
                break;
            }
            const QByteArray command = pending.left(end).toUpper();
            pending.remove(0, end + 2);
            if (command.startsWith("DATA")) {
                say(client, "354 end with <CR><LF>.<CR><LF>");
                inData = true;
                // The message may start right behind the command.
                pending.prepend("\r\n");
            } else if (command.startsWith("QUIT")) {
                silent = mSilence == Silence::Quit;
                if (!silent) {
                    say(client, "221 2.0.0 bye");
                    return;
                }
            } else {
                say(client, "250 OK");
            }
        }
    }
}

#pragma once

#include <atomic>
#include <thread>

// An SMTP server on loopback that stops answering at one chosen point and keeps the
// line open: the mail component must give up on its own time-out. It runs on a
// thread of its own, since the component waits on the test's thread.
class SilentSmtpServer
{
public:
    enum class Silence
    {
        Greeting,  // accepts the connection and never greets
        EndOfData, // takes the whole message and never confirms it
        Quit       // confirms the message and never answers the QUIT
    };

    explicit SilentSmtpServer(Silence silence);
    ~SilentSmtpServer();
    SilentSmtpServer(const SilentSmtpServer&) = delete;
    SilentSmtpServer& operator=(const SilentSmtpServer&) = delete;

    bool isRunning() const { return mPort != 0; }
    int port() const { return mPort; }
    // Messages taken whole so far.
    int messages() const { return mMessages; }

private:
    void serve();
    void talk(int client);

    Silence mSilence;
    int mListener = -1;
    int mPort = 0;
    std::atomic<bool> mStop{false};
    std::atomic<int> mMessages{0};
    std::thread mThread;
};

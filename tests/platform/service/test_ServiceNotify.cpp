#include "ServiceNotify.h"
#include "fake/TempDir.h"
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace
{
/// A service manager with a socket that it reads only when told to.
class Manager
{
  public:
    Manager()
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        m_path.string().copy(address.sun_path, sizeof(address.sun_path) - 1);
        EXPECT_EQ(bind(m_nSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
        setenv("NOTIFY_SOCKET", m_path.c_str(), 1);
    }
    ~Manager()
    {
        Close();
        unsetenv("NOTIFY_SOCKET");
    }
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    void Close()
    {
        if (m_nSocket >= 0)
            close(m_nSocket);
        m_nSocket = -1;
    }
    std::vector<std::string> ReadAll() const
    {
        std::vector<std::string> vecText;
        char text[4096];
        for (ssize_t nSize = 0; (nSize = recv(m_nSocket, text, sizeof(text), MSG_DONTWAIT)) >= 0;)
            vecText.emplace_back(text, static_cast<std::size_t>(nSize));
        return vecText;
    }

  private:
    const CTempDir m_dir;
    const std::filesystem::path m_path = m_dir.Path() / "notify";
    int m_nSocket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};
} // namespace

TEST(ServiceNotify, AManagerThatDoesNotReadHoldsNobodyUp)
{
    using namespace std::chrono_literals;
    Manager manager;
    // More than any system buffers for a reader.
    auto done = std::async(std::launch::async,
                           []
                           {
                               for (int n = 0; n < 5000; ++n)
                                   NotifyServiceManager("WATCHDOG=1");
                               NotifyServiceManager("READY=1\nSTATUS=running");
                               NotifyServiceManager("STOPPING=1");
                           });
    if (done.wait_for(60s) != std::future_status::ready)
    {
        manager.Close(); // unblocks it
        FAIL() << "waits for the manager";
    }
    EXPECT_LT(manager.ReadAll().size(), 5000U);
    // The states are late but not lost; the watchdog messages are lost.
    NotifyServiceManager({});
    EXPECT_EQ(manager.ReadAll(), std::vector<std::string>{"READY=1\nSTATUS=running\nSTOPPING=1\n"});
    NotifyServiceManager({});
    EXPECT_EQ(manager.ReadAll(), std::vector<std::string>{});
}

TEST(ServiceNotify, WithoutAManagerItSaysSo)
{
    EXPECT_FALSE(NotifyServiceManager("READY=1"));
    setenv("NOTIFY_SOCKET", "/nowhere/notify", 1);
    EXPECT_FALSE(NotifyServiceManager("READY=1"));
    unsetenv("NOTIFY_SOCKET");
}

#include "WinService.h"
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

using testing::ElementsAre;

namespace
{
/// The manager's end of the notifications.
class CManager
{
  public:
    CManager()
    {
        m_path = std::filesystem::temp_directory_path() / ("oma_notify_" + std::to_string(getpid()));
        std::filesystem::remove(m_path);
        m_nSocket = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        m_path.string().copy(address.sun_path, sizeof(address.sun_path) - 1);
        EXPECT_EQ(bind(m_nSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
        setenv("NOTIFY_SOCKET", m_path.c_str(), 1);
    }
    ~CManager()
    {
        unsetenv("NOTIFY_SOCKET");
        close(m_nSocket);
        std::filesystem::remove(m_path);
    }
    std::vector<std::string> Messages() const
    {
        std::vector<std::string> vecText;
        char text[256];
        for (ssize_t n = 0; (n = recv(m_nSocket, text, sizeof(text), 0)) >= 0;)
            vecText.emplace_back(text, static_cast<std::size_t>(n));
        return vecText;
    }

  private:
    std::filesystem::path m_path;
    int m_nSocket = -1;
};

wchar_t g_wstrName[] = L"Test-Service";
std::atomic<std::thread::id> g_serviceThread;
std::atomic<std::thread::id> g_handlerThread;
std::atomic<DWORD> g_nControl{0};
std::atomic<DWORD> g_nArgc{0};
HANDLE g_hControl = nullptr;
SERVICE_STATUS_HANDLE g_hStatus = nullptr;

void Report(DWORD p_nState)
{
    SERVICE_STATUS status;
    status.dwCurrentState = p_nState;
    EXPECT_TRUE(SetServiceStatus(g_hStatus, &status));
}

void Handler(DWORD p_nControl)
{
    g_nControl = p_nControl;
    g_handlerThread = std::this_thread::get_id();
    Report(SERVICE_STOP_PENDING);
    SetEvent(g_hControl);
}

void Service(DWORD p_nArgc, wchar_t** p_ppArgv)
{
    g_serviceThread = std::this_thread::get_id();
    g_nArgc = p_nArgc;
    EXPECT_EQ(std::wstring(p_ppArgv[0]), g_wstrName);
    EXPECT_EQ(RegisterServiceCtrlHandlerW(L"Another", Handler), nullptr);
    g_hStatus = RegisterServiceCtrlHandlerW(g_wstrName, Handler);
    ASSERT_NE(g_hStatus, nullptr);
    Report(SERVICE_START_PENDING);
    kill(getpid(), SIGTERM); // comes early: held back until the service runs
    EXPECT_EQ(WaitForSingleObject(g_hControl, 0), WAIT_TIMEOUT);
    Report(SERVICE_RUNNING);
    EXPECT_EQ(WaitForSingleObject(g_hControl, 20000), WAIT_OBJECT_0);
    Report(SERVICE_STOPPED);
}

void ServiceThatFails(DWORD, wchar_t**) {}

std::atomic<bool> g_bHealthy{true};
std::atomic<int> g_nAsked{0};
HANDLE g_hEnd = nullptr;

void ServiceUntilTold(DWORD, wchar_t**)
{
    EXPECT_EQ(WaitForSingleObject(g_hEnd, INFINITE), WAIT_OBJECT_0);
}
} // namespace

TEST(WinService, WithoutAManagerTheProcessIsNoService)
{
    unsetenv("NOTIFY_SOCKET");
    const SERVICE_TABLE_ENTRYW table[] = {{g_wstrName, Service}, {nullptr, nullptr}};
    EXPECT_FALSE(StartServiceCtrlDispatcherW(table));
    EXPECT_EQ(RegisterServiceCtrlHandlerW(g_wstrName, Handler), nullptr);
}

TEST(WinService, RunsOnAThreadOfItsOwnAndReportsItsStates)
{
    const CManager manager;
    g_hControl = CreateEventW(nullptr, 0, 0, nullptr);
    const SERVICE_TABLE_ENTRYW table[] = {{g_wstrName, Service}, {nullptr, nullptr}};
    EXPECT_TRUE(StartServiceCtrlDispatcherW(table));
    EXPECT_NE(g_serviceThread.load(), std::this_thread::get_id());
    EXPECT_EQ(g_handlerThread.load(), std::this_thread::get_id()) << "controls come on the dispatcher's thread";
    EXPECT_EQ(g_nControl, SERVICE_CONTROL_STOP);
    EXPECT_EQ(g_nArgc, 1U);
    EXPECT_THAT(manager.Messages(), ElementsAre("STATUS=starting", "READY=1\nSTATUS=running",
                                                "STOPPING=1\nSTATUS=stopping", "STATUS=stopped"));
    CloseHandle(g_hControl);
}

TEST(WinService, DispatcherReturnsWhenTheServiceEndsByItself)
{
    const CManager manager;
    const SERVICE_TABLE_ENTRYW table[] = {{g_wstrName, ServiceThatFails}, {nullptr, nullptr}};
    EXPECT_TRUE(StartServiceCtrlDispatcherW(table));
    EXPECT_TRUE(manager.Messages().empty());
}

TEST(WinService, WatchdogHearsOfAHealthyServiceOnly)
{
    const CManager manager;
    setenv("WATCHDOG_USEC", "30000000", 1);
    EventsUseFakeClock(true);
    g_hEnd = CreateEventW(nullptr, 0, 0, nullptr);
    SetServiceHealthCheck(
        [](DWORD p_nPassed_ms)
        {
            EXPECT_EQ(p_nPassed_ms, 10000U);
            ++g_nAsked;
            return g_bHealthy.load();
        });
    std::thread helper(
        [&manager]
        {
            const auto Pings = [&manager](int p_nPeriods)
            {
                const int nBegin = g_nAsked;
                for (int n = 1; n <= p_nPeriods; ++n)
                {
                    EXPECT_TRUE(EventsAwaitParked(2, 20000));
                    EventsAdvance(10000);
                    EXPECT_TRUE(EventsAwaitParked(2, 20000));
                    EXPECT_EQ(g_nAsked, nBegin + n);
                }
                const std::vector<std::string> vecText = manager.Messages();
                return std::count(vecText.begin(), vecText.end(), "WATCHDOG=1");
            };
            EXPECT_EQ(Pings(4), 4);
            g_bHealthy = false;
            EXPECT_EQ(Pings(3), 0);
            g_bHealthy = true;
            EXPECT_EQ(Pings(1), 1);
            SetEvent(g_hEnd);
        });
    const SERVICE_TABLE_ENTRYW table[] = {{g_wstrName, ServiceUntilTold}, {nullptr, nullptr}};
    EXPECT_TRUE(StartServiceCtrlDispatcherW(table));
    helper.join();
    EXPECT_TRUE(manager.Messages().empty()) << "nothing from a service that has ended";
    SetServiceHealthCheck(nullptr);
    CloseHandle(g_hEnd);
    EventsUseFakeClock(false);
    unsetenv("WATCHDOG_USEC");
}

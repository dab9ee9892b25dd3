#include "ServiceNotify.h"
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

namespace
{
constexpr std::size_t g_nMaxKept = 1024; ///< characters; a manager absent for longer loses the oldest states

std::mutex g_mtxNotify;
std::string g_strKept; ///< states that the manager has not received yet, one per line

/// The manager's address; length 0 if it is missing or not a local socket.
socklen_t ManagerAddress(sockaddr_un& r_address)
{
    const char* const pName = std::getenv("NOTIFY_SOCKET");
    const std::size_t nName = pName ? std::strlen(pName) : 0;
    if (nName < 2 || nName >= sizeof(r_address.sun_path) || (*pName != '/' && *pName != '@'))
        return 0;
    r_address.sun_family = AF_UNIX;
    std::memcpy(r_address.sun_path, pName, nName);
    if (*pName == '@') // abstract socket: the address starts with a zero byte
        r_address.sun_path[0] = '\0';
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + nName);
}

/// @return 0, or the error number.
int SendNow(std::string_view p_strText)
{
    sockaddr_un address{};
    const socklen_t nAddress = ManagerAddress(address);
    if (nAddress == 0)
        return ENOENT;
    const int nSocket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (nSocket < 0)
        return errno;
    const ssize_t nSent = sendto(nSocket, p_strText.data(), p_strText.size(), MSG_NOSIGNAL,
                                 reinterpret_cast<const sockaddr*>(&address), nAddress);
    const int nError = nSent < 0 ? errno : 0;
    close(nSocket);
    return nError;
}

bool MayPass(int p_nError)
{
    return p_nError == EAGAIN || p_nError == EWOULDBLOCK || p_nError == ENOBUFS || p_nError == EINTR;
}
} // namespace

bool NotifyServiceManager(std::string_view p_strText)
{
    const std::lock_guard lock(g_mtxNotify);
    const std::string strAll = g_strKept + std::string(p_strText);
    if (strAll.empty())
        return true;
    const int nError = SendNow(strAll);
    if (!MayPass(nError))
    {
        g_strKept.clear();
        return nError == 0;
    }
    // A watchdog message is useless later.
    if (!p_strText.empty() && p_strText != "WATCHDOG=1")
        g_strKept = strAll + '\n';
    while (g_strKept.size() > g_nMaxKept)
        g_strKept.erase(0, g_strKept.find('\n') + 1);
    return true;
}

unsigned WatchdogPeriod_ms()
{
    constexpr std::uint64_t nLongest_ms = 3600000;
    std::uint64_t nLimit_us = 0;
    if (sd_watchdog_enabled(0, &nLimit_us) <= 0)
        return 0;
    return static_cast<unsigned>(std::clamp<std::uint64_t>(nLimit_us / 3000, 1, nLongest_ms));
}

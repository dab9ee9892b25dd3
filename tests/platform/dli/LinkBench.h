#pragma once
#include "fake/TempDir.h"
#include "link/dli/CChannelAnalog.h"
#include "link/dli/CChanneldata.h"
#include "link/dli/CChanneldataWrite.h"
#include "link/dli/CEventdata.h"
#include "link/dli/EDli.h"
#include "vds/base/IsoTime.h"
#include "vds/core/CServer.h"
#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace Norvik::Energy::Kestrel;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;

/// First stamp of the test sources: 2026-01-01T00:00:00Z.
inline const std::int64_t g_nT0 = *TicksFromIso("2026-01-01T00:00:00Z");

/// Waits for a condition; the limit only ends a failing test.
inline bool Eventually(const std::function<bool()>& p_fnTrue)
{
    const auto tLimit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!p_fnTrue())
    {
        if (std::chrono::steady_clock::now() > tLimit)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// Ids 1, 2, 3 at a rate; sample of id k in cycle n: magnitude 100 k + n, angle k. Id 3 only in every second cycle.
class CTestSource : public ISource
{
  public:
    CTestSource(std::int32_t p_nRate, std::uint64_t p_nCycles, std::int64_t p_nT0 = g_nT0)
        : m_nRate(p_nRate), m_nCycles(p_nCycles), m_nT0(p_nT0)
    {
    }

    const std::vector<unsigned long>& Ids() const override { return m_vecnId; }
    std::int32_t Rate() const override { return m_nRate; }
    bool Next(SSourceCycle& r_cycle) override
    {
        if (m_nNext == m_nCycles)
            return false;
        const auto nIdx = static_cast<std::int64_t>(m_nNext % static_cast<std::uint64_t>(m_nRate));
        const auto nSec = static_cast<std::int64_t>(m_nNext / static_cast<std::uint64_t>(m_nRate));
        r_cycle.nTicks = m_nT0 + nSec * g_nTicksPerSec + GridTicks(nIdx, m_nRate);
        r_cycle.vecSample.clear();
        for (unsigned long k = 1; k <= 3; ++k)
            r_cycle.vecSample.push_back(
                {static_cast<float>(100 * k + m_nNext), static_cast<float>(k), 0, k != 3 || m_nNext % 2 == 0});
        ++m_nNext;
        return true;
    }
    bool Rewind() override
    {
        m_nNext = 0;
        return true;
    }
    const std::string& Error() const override { return m_strError; }

  private:
    const std::vector<unsigned long> m_vecnId = {1, 2, 3};
    const std::int32_t m_nRate;
    const std::uint64_t m_nCycles;
    const std::int64_t m_nT0;
    std::uint64_t m_nNext = 0;
    std::string m_strError;
};

using TStatus = std::tuple<unsigned long, unsigned long, unsigned long>;

/// Common to all callbacks of the tests: a list of the status calls, and a hook inside them.
template <class TCallBack>
class TLog : public TCallBack
{
  public:
    void Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) override
    {
        std::function<void(unsigned long)> fnHook;
        {
            const std::lock_guard<std::mutex> lock(m_mtx);
            m_vecStatus.emplace_back(p_eStatus, p_lReqNum, p_lAddInfo);
            fnHook = m_fnOnStatus;
        }
        if (fnHook)
            fnHook(p_eStatus);
    }
    std::vector<TStatus> StatusCalls() const
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        return m_vecStatus;
    }
    std::size_t Count(unsigned long p_eStatus) const
    {
        const std::vector<TStatus> vec = StatusCalls();
        return static_cast<std::size_t>(std::count_if(vec.begin(), vec.end(),
                                                      [p_eStatus](const TStatus& p_status)
                                                      { return std::get<0>(p_status) == p_eStatus; }));
    }
    void OnStatus(std::function<void(unsigned long)> p_fn)
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_fnOnStatus = std::move(p_fn);
    }

  protected:
    mutable std::mutex m_mtx;
    std::vector<TStatus> m_vecStatus;
    std::function<void(unsigned long)> m_fnOnStatus;
};

struct SSeen
{
    std::int64_t nTicks = 0;
    std::vector<float> vecfMagn;
    std::vector<std::int64_t> vecnState;
};

class CDataLog : public TLog<CChannelDataCallBack>
{
  public:
    void Receive(std::vector<CChannel*>& p_vecChannel) override
    {
        if (++m_nInside != 1)
            m_bOverlap = true;
        SSeen seen;
        for (const CChannel* pChannel : p_vecChannel)
        {
            CChannel::vdsData data;
            static_cast<const CChannelAnalog*>(pChannel)->GetValue(data, CChannel::eValuePhasor);
            seen.nTicks = pChannel->GetTime();
            seen.vecfMagn.push_back(data.fValue1);
            seen.vecnState.push_back(pChannel->GetState());
        }
        std::function<void()> fnHook;
        {
            const std::lock_guard<std::mutex> lock(m_mtx);
            m_vecSeen.push_back(seen);
            fnHook = m_fnOnReceive;
        }
        if (fnHook)
            fnHook();
        --m_nInside;
    }
    std::vector<SSeen> Seen() const
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        return m_vecSeen;
    }
    void OnReceive(std::function<void()> p_fn)
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_fnOnReceive = std::move(p_fn);
    }
    std::atomic<bool> m_bOverlap{false};

  private:
    std::atomic<int> m_nInside{0};
    std::vector<SSeen> m_vecSeen;
    std::function<void()> m_fnOnReceive;
};

using CWriteLog = TLog<CChannelDataWriteCallBack>;

class CEventLog : public TLog<CEventDataCallBack>
{
  public:
    void Receive(std::vector<CEvent*>& p_vecEvent, unsigned long p_lReqNum) override
    {
        std::function<void(unsigned long)> fnHook;
        {
            const std::lock_guard<std::mutex> lock(m_mtx);
            m_vecReplies.push_back(p_lReqNum);
            m_nEvents += p_vecEvent.size();
            for (const CEvent* pEvent : p_vecEvent)
                m_vecstrEvent.push_back(std::string(p_lReqNum != 0 ? "read " : "live ") +
                                        (pEvent->Transition() == eAPP ? "APP " : "DIS ") +
                                        std::to_string(pEvent->IncidenceKey()) + " " + pEvent->Addition());
            fnHook = m_fnOnReceive;
        }
        if (fnHook)
            fnHook(p_lReqNum);
    }
    /// "read" or "live", transition, key, text; clears the list.
    std::vector<std::string> TakeEvents()
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        return std::exchange(m_vecstrEvent, {});
    }
    std::size_t Events() const
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        return m_nEvents;
    }
    std::vector<unsigned long> Replies() const
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        return m_vecReplies;
    }
    void OnReceive(std::function<void(unsigned long)> p_fn)
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_fnOnReceive = std::move(p_fn);
    }

  private:
    std::size_t m_nEvents = 0;
    std::vector<std::string> m_vecstrEvent;
    std::vector<unsigned long> m_vecReplies;
    std::function<void(unsigned long)> m_fnOnReceive;
};

/// A server in this process and access to it. The system chooses the ports; they are kept across a restart.
class CLinkBench : public testing::Test
{
  protected:
    CLinkBench()
    {
        m_options.fSpeed = 0.0;
        m_options.nQuiet_ms = 50;
        m_options.strLogDir = m_strDir;
        m_options.fnLine = [this](const std::string& p_strLine)
        {
            const std::lock_guard<std::mutex> lock(m_mtxLine);
            m_vecstrLine.push_back(p_strLine);
        };
    }
    ~CLinkBench() override { m_pServer.reset(); }

    void StartServer(std::int32_t p_nRate = 50, std::uint64_t p_nCycles = 100, std::int64_t p_nT0 = g_nT0)
    {
        m_pServer =
            std::make_unique<CServer>(m_config, std::make_unique<CTestSource>(p_nRate, p_nCycles, p_nT0), m_options);
        m_pServer->OnEnd([this] { m_bEnded = true; });
        m_pServer->Start();
        m_config.nPortEvent = m_pServer->PortEvent();
        m_config.nPortData = m_pServer->PortData();
    }
    unsigned long ConnectEvent() const { return Init(eElemOMA, "OMA_1st_Socket", "127.0.0.1", m_config.nPortEvent); }
    unsigned long ConnectData() const { return Init(eElemOMA, "OMA_2nd_Socket", "127.0.0.1", m_config.nPortData); }
    bool HasLine(const std::string& p_strPart) const
    {
        const std::lock_guard<std::mutex> lock(m_mtxLine);
        return std::any_of(m_vecstrLine.begin(), m_vecstrLine.end(),
                           [&](const std::string& p_strLine)
                           { return p_strLine.find(p_strPart) != std::string::npos; });
    }
    std::vector<std::string> FileLines(const std::string& p_strName) const
    {
        std::ifstream file(m_strDir + "/" + p_strName);
        std::vector<std::string> vecstrLine;
        for (std::string strLine; std::getline(file, strLine);)
            vecstrLine.push_back(strLine);
        return vecstrLine;
    }

    SServerConfig m_config;
    SServerOptions m_options;
    const CTempDir m_dir;
    const std::string m_strDir = m_dir.Path();
    std::unique_ptr<CServer> m_pServer;
    std::atomic<bool> m_bEnded{false};
    mutable std::mutex m_mtxLine;
    std::vector<std::string> m_vecstrLine;
};

/// A read channel with its callback, used as by a session: starts on each status 1, stops on a loss.
class CReader
{
  public:
    CReader(unsigned long p_hConn, std::vector<unsigned long> p_vecnId, int p_nRate, bool p_bSet = true)
        : m_data(p_hConn)
    {
        std::vector<int> vecnType(p_vecnId.size(), 8);
        m_data.Add(p_vecnId, vecnType, 0, 0, 0);
        m_log.OnStatus(
            [this, p_nRate](unsigned long p_eStatus)
            {
                if (p_eStatus == eConnected)
                    m_data.Start(1, 2, static_cast<ESampleRate>(p_nRate), 0);
                else if (p_eStatus == eNotConnected)
                    m_data.Stop();
            });
        if (p_bSet)
            m_data.SetCallBack(&m_log);
    }
    ~CReader() { m_data.SetCallBack(nullptr); }

    CDataLog m_log;
    CChanneldata m_data;
};

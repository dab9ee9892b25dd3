#include "bench/CPacedSource.h"
#include "bench/Percentile.h"
#include "link/dli/CEventdata.h"
#include "vds/config/CommandLine.h"
#include "vds/core/CServer.h"
#include "vds/source/OpenSource.h"
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <thread>

// bench_events CONFIG SCENARIO INTERVAL_US: runs a server that plays a scenario, one cycle every INTERVAL_US, and a
// client that receives its events. Prints as one line of JSON how long after the cycle that completed a second each
// swing event arrived. bench/load.py starts the application next to it.

namespace
{
using namespace Norvik::Energy::Kestrel;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;
using Clock = CPacedSource::Clock;

/// A client of the server: the times it records include one extra trip through the link.
class CWitness final : public CEventDataCallBack
{
  public:
    explicit CWitness(std::shared_ptr<CPacedSource::SMoments> p_pMoments) : m_pMoments(std::move(p_pMoments)) {}

    void Receive(std::vector<CEvent*>& p_vecpEvent, unsigned long) override
    {
        const Clock::duration tPassed = Clock::now().time_since_epoch() - Clock::duration(m_pMoments->tSecond.load());
        const std::lock_guard lock(m_mtx);
        for (const CEvent* pEvent : p_vecpEvent)
        {
            if (pEvent->ElementType() == eElemOMA)
                m_vecfTime_us.push_back(static_cast<double>(std::chrono::nanoseconds(tPassed).count()) * 1e-3);
        }
    }
    void Status(unsigned long, unsigned long, unsigned long) override {}
    std::vector<double> Times_us() const
    {
        const std::lock_guard lock(m_mtx);
        return m_vecfTime_us;
    }

  private:
    const std::shared_ptr<CPacedSource::SMoments> m_pMoments;
    mutable std::mutex m_mtx;
    std::vector<double> m_vecfTime_us;
};

void Play(const char* p_pConfig, const char* p_pScenario, std::chrono::microseconds p_tInterval)
{
    std::string strError;
    std::unique_ptr<ISource> pScenario = OpenSimulator(p_pScenario, &strError);
    if (!pScenario)
        throw std::runtime_error(strError);
    const auto pMoments = std::make_shared<CPacedSource::SMoments>();
    SServerOptions options;
    options.bLive = true;
    options.fSpeed = 0.0;
    options.fnLine = [](const std::string&) {};
    CServer server(ReadServerConfig(p_pConfig, ""),
                   std::make_unique<CPacedSource>(std::move(pScenario), p_tInterval, pMoments), options);
    server.Start();

    CWitness witness(pMoments);
    unsigned long hConn = Init(eElemPlatform, "witness", "127.0.0.1", server.PortEvent());
    CEventdata& eventdata = CEventdata::GetInstance(hConn);
    eventdata.AddCallBack(&witness, eElemOMA);
    eventdata.Subscribe(0, 0, 0, 0);
    while (!pMoments->bEnded)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::this_thread::sleep_for(std::chrono::seconds(1)); // for events still in transit
    eventdata.RemoveCallBack(&witness);
    std::vector<double> vecfTime_us = witness.Times_us();
    std::printf("{\"events\": %zu, \"median_us\": %.0f, \"p99_us\": %.0f, \"worst_us\": %.0f}\n", vecfTime_us.size(),
                Percentile(vecfTime_us, 0.5), Percentile(vecfTime_us, 0.99), Percentile(vecfTime_us, 1.0));
}
} // namespace

int main(int p_nArgc, char* p_ppArgv[])
{
    if (p_nArgc != 4)
        return std::fprintf(stderr, "usage: bench_events CONFIG SCENARIO INTERVAL_US\n") < 0 ? 1 : 2;
    try
    {
        Play(p_ppArgv[1], p_ppArgv[2], std::chrono::microseconds(std::atoi(p_ppArgv[3])));
        return 0;
    }
    catch (const std::exception& ex)
    {
        std::fprintf(stderr, "bench_events: %s\n", ex.what());
        return 1;
    }
}

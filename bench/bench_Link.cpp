#include "bench/CPacedSource.h"
#include "bench/Percentile.h"
#include "link.pb.h"
#include "link/dli/CChanneldata.h"
#include "vds/core/CServer.h"
#include <benchmark/benchmark.h>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <condition_variable>
#include <mutex>
#include <sched.h>
#include <thread>

// Time of one cycle of 900 phasors through the link, from the moment the server has it to the entry of Receive,
// compared with a plain TCP echo (there and back, one thread at each end) of the same size. Both on loopback,
// alternating in one run. Either way two threads have to be woken: the link thread and the calling thread; the echo
// thread and the waiting one. The two ends of the echo run on different cores, like server and application, which both
// have other work. Without pinning, the system keeps both on one core, where an echo costs little more than two calls;
// that time is reported too, as echo_one_core_us.

namespace
{
namespace asio = boost::asio;
using namespace Norvik::Energy::Kestrel;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;
using Clock = CPacedSource::Clock;

constexpr unsigned long g_nPhasors = 900;
constexpr std::int32_t g_nRate = 50;
constexpr std::int64_t g_nTicksPerSec = 10000000;
constexpr auto g_tInterval = std::chrono::microseconds(4000); ///< long enough for both ends to go to sleep
constexpr int g_nCycles = 2000;

/// The same values in every cycle.
class CSteadySource final : public ISource
{
  public:
    CSteadySource()
    {
        for (unsigned long nId = 1; nId <= g_nPhasors; ++nId)
            m_vecnId.push_back(nId);
    }
    const std::vector<unsigned long>& Ids() const override { return m_vecnId; }
    std::int32_t Rate() const override { return g_nRate; }
    bool Rewind() override { return true; }
    bool Next(SSourceCycle& r_cycle) override
    {
        r_cycle.nTicks = m_nTicks += g_nTicksPerSec / g_nRate;
        r_cycle.vecSample.assign(g_nPhasors, {230940.0F, 17.3F, 0, true});
        return true;
    }

  private:
    std::vector<unsigned long> m_vecnId;
    std::int64_t m_nTicks = 63871200000LL * g_nTicksPerSec;
};

/// Records when its Receive is entered.
class CEntry final : public CChannelDataCallBack
{
  public:
    void Receive(std::vector<CChannel*>& p_vecpChannel) override
    {
        const auto tNow = Clock::now();
        const std::lock_guard lock(m_mtx);
        m_tEntry = tNow;
        m_nCycles += p_vecpChannel.size() == g_nPhasors ? 1 : 0;
        m_cv.notify_one();
    }
    void Status(unsigned long p_eStatus, unsigned long, unsigned long) override
    {
        const std::lock_guard lock(m_mtx);
        m_bConnected = m_bConnected || p_eStatus == eConnected;
        m_cv.notify_one();
    }
    bool WaitConnected()
    {
        std::unique_lock lock(m_mtx);
        return m_cv.wait_for(lock, std::chrono::seconds(10), [this] { return m_bConnected; });
    }
    /// Entry time of the next call; the minimum if none comes.
    Clock::time_point Wait()
    {
        std::unique_lock lock(m_mtx);
        const std::uint64_t nBefore = m_nCycles;
        return m_cv.wait_for(lock, std::chrono::seconds(10), [&] { return m_nCycles > nBefore; }) ? m_tEntry
                                                                                                  : Clock::time_point();
    }

  private:
    std::mutex m_mtx;
    std::condition_variable m_cv;
    Clock::time_point m_tEntry;
    std::uint64_t m_nCycles = 0;
    bool m_bConnected = false;
};

/// The cores that this process may use; the first and the last are used for the two ends.
cpu_set_t Cores()
{
    cpu_set_t setAll;
    CPU_ZERO(&setAll);
    sched_getaffinity(0, sizeof setAll, &setAll);
    return setAll;
}

cpu_set_t OneCore(const cpu_set_t& p_setAll, bool p_bFirst)
{
    int nFirst = -1;
    int nLast = -1;
    for (int nCore = 0; nCore < CPU_SETSIZE; ++nCore)
    {
        if (!CPU_ISSET(nCore, &p_setAll))
            continue;
        nFirst = nFirst < 0 ? nCore : nFirst;
        nLast = nCore;
    }
    cpu_set_t setOne;
    CPU_ZERO(&setOne);
    CPU_SET(p_bFirst ? nFirst : nLast, &setOne);
    return setOne;
}

/// Moves the calling thread to this core.
void GoTo(const cpu_set_t& p_set)
{
    sched_setaffinity(0, sizeof p_set, &p_set);
}

/// Sends back everything it receives, until the peer closes.
class CEcho
{
  public:
    CEcho(std::size_t p_nBytes, const cpu_set_t& p_setNear, const cpu_set_t& p_setFar)
        : m_bufData(p_nBytes), m_setNear(p_setNear), m_setFar(p_setFar),
          m_acceptor(m_io, {asio::ip::address_v4::loopback(), 0}), m_socket(m_io), m_thread([this] { Run(); })
    {
        m_socket.connect(m_acceptor.local_endpoint());
        m_socket.set_option(asio::ip::tcp::no_delay(true));
    }
    ~CEcho()
    {
        m_socket.close();
        m_thread.join();
    }
    /// Time of an echo in ns, with caches as cold as for a cycle.
    double Once()
    {
        GoTo(m_setNear);
        std::this_thread::sleep_for(g_tInterval / 4);
        const auto tBegin = Clock::now();
        asio::write(m_socket, asio::buffer(m_bufData));
        asio::read(m_socket, asio::buffer(m_bufData));
        return static_cast<double>(std::chrono::nanoseconds(Clock::now() - tBegin).count());
    }

  private:
    void Run()
    {
        GoTo(m_setFar);
        asio::ip::tcp::socket socket = m_acceptor.accept();
        socket.set_option(asio::ip::tcp::no_delay(true));
        std::vector<char> buf(m_bufData.size());
        boost::system::error_code ec;
        while (!ec)
        {
            asio::read(socket, asio::buffer(buf), ec);
            if (!ec)
                asio::write(socket, asio::buffer(buf), ec);
        }
    }

    std::vector<char> m_bufData;
    const cpu_set_t m_setNear;
    const cpu_set_t m_setFar;
    asio::io_context m_io;
    asio::ip::tcp::acceptor m_acceptor;
    asio::ip::tcp::socket m_socket;
    std::thread m_thread;
};

/// Bytes of a cycle on the link, without the few bytes of WebSocket framing.
std::size_t CycleBytes()
{
    Link::Frame frame;
    Link::Cycle& cycle = *frame.add_messages()->mutable_cycle();
    cycle.set_time(1);
    for (unsigned long n = 0; n < g_nPhasors; ++n)
    {
        cycle.add_magn(1.0F);
        cycle.add_angle(1.0F);
        cycle.add_state(0);
    }
    return frame.ByteSizeLong();
}

double Percentile_us(std::vector<double>& r_vecfTime_ns, double p_fPart)
{
    return Percentile(r_vecfTime_ns, p_fPart) * 1e-3;
}

void BM_Link(benchmark::State& r_state)
{
    const auto pMoments = std::make_shared<CPacedSource::SMoments>();
    SServerOptions options;
    options.bLive = true;
    options.fSpeed = 0.0;
    options.fnLine = [](const std::string&) {};
    CServer server({}, std::make_unique<CPacedSource>(std::make_unique<CSteadySource>(), g_tInterval, pMoments),
                   options);
    server.Start();

    CEntry entry;
    unsigned long hConn = Init(eElemOMA, "bench", "127.0.0.1", server.PortEvent());
    CChanneldata chanData(hConn);
    chanData.SetCallBack(&entry);
    std::vector<unsigned long> vecnId;
    for (unsigned long nId = 1; nId <= g_nPhasors; ++nId)
        vecnId.push_back(nId);
    std::vector<int> veceType(g_nPhasors, CChannel::eValuePhasor);
    if (!entry.WaitConnected())
        return r_state.SkipWithError("no connection");
    chanData.Add(vecnId, veceType, 0, 0, 0);
    chanData.Start(0, 0, static_cast<ESampleRate>(g_nRate), 0);

    const cpu_set_t setAll = Cores();
    CEcho echo(CycleBytes(), OneCore(setAll, true), OneCore(setAll, false));
    CEcho echoOneCore(CycleBytes(), OneCore(setAll, true), OneCore(setAll, true));
    std::vector<double> vecfLink_ns;
    std::vector<double> vecfEcho_ns;
    std::vector<double> vecfOneCore_ns;
    for (auto _ : r_state)
    {
        const auto tEntry = entry.Wait();
        if (tEntry == Clock::time_point())
            return r_state.SkipWithError("no cycle");
        const Clock::duration tLink = tEntry.time_since_epoch() - Clock::duration(pMoments->tCycle.load());
        vecfLink_ns.push_back(static_cast<double>(std::chrono::nanoseconds(tLink).count()));
        vecfEcho_ns.push_back(echo.Once());
        vecfOneCore_ns.push_back(echoOneCore.Once());
        GoTo(setAll);
        r_state.SetIterationTime(vecfLink_ns.back() * 1e-9);
    }
    chanData.SetCallBack(nullptr);
    r_state.counters["bytes"] = static_cast<double>(CycleBytes());
    r_state.counters["link_us"] = Percentile_us(vecfLink_ns, 0.5);
    r_state.counters["link_us_99"] = Percentile_us(vecfLink_ns, 0.99);
    r_state.counters["echo_us"] = Percentile_us(vecfEcho_ns, 0.5);
    r_state.counters["echo_us_99"] = Percentile_us(vecfEcho_ns, 0.99);
    r_state.counters["echo_one_core_us"] = Percentile_us(vecfOneCore_ns, 0.5);
    r_state.counters["ratio"] = Percentile_us(vecfLink_ns, 0.5) / Percentile_us(vecfEcho_ns, 0.5);
    r_state.counters["ratio_99"] = Percentile_us(vecfLink_ns, 0.99) / Percentile_us(vecfEcho_ns, 0.99);
}
BENCHMARK(BM_Link)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(g_nCycles);
} // namespace

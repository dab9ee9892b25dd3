#pragma once
#include "link/dli/EDli.h"
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

// What the applications of a server write, for those who watch. Nobody waits for a reader.

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// An event with all that the server knows of it.
struct SFeedEvent
{
    std::int64_t nTicks = 0;
    std::int32_t eKey = 0;
    std::int32_t eTrans = 0; ///< ETransition
    std::int32_t eElemType = 0;
    std::uint64_t nElemId = 0;
    std::string strText;
    std::string strSource; ///< name of the connection that has posted it
};

/// What has happened to the channels of one virtual PMU.
struct SFeedStep
{
    enum EKind : std::uint8_t
    {
        eWrite = 0,
        eStart = 1,
        eStop = 2
    };
    EKind eKind = eWrite;
    std::uint64_t nPmu = 0;
    std::int64_t nTicks = 0;                 ///< 0 for a start
    std::span<const std::uint64_t> vecnId;   ///< of the channels
    std::span<const float> vecfValue;        ///< of eWrite: one a channel
    std::span<const std::uint32_t> vecnQual; ///< of eWrite: 0 VALID, 1 SUSPECT, 2 INVALID
};

struct SFeedBatch
{
    std::uint64_t nLost = 0; ///< steps that the reader was too slow for, ahead of this batch
    std::vector<SFeedStep> vecStep;
    std::vector<SFeedEvent> vecEvent;
    std::vector<SFeedEvent> vecStanding; ///< after a start: what stands; in parts
    bool bStandingDone = false;          ///< vecStanding is the last part
};

struct SFeedHealth
{
    struct SStream
    {
        std::string strName;
        bool bConnected = false;
        std::uint64_t nFrames = 0;
        std::uint64_t nGaps = 0;
        std::uint64_t nLost = 0; ///< frames missing in the gaps
        std::uint64_t nLate = 0;
        std::uint64_t nBadClock = 0;
        std::uint64_t nErrors = 0;
    };
    struct SClient
    {
        std::string strName;
        std::uint64_t nClient = 0; ///< the same for all connections of one process
        bool bDataPort = false;
        std::int64_t nSince = 0; ///< wall clock, ticks
        unsigned nReadSets = 0;
    };
    struct SClass
    {
        double fBound_s = 0.0;
        std::uint64_t nCount = 0; ///< cumulative
    };
    std::string strVersion;
    bool bLive = false;
    std::int32_t nRate = 0;  ///< of the source
    std::int64_t nTicks = 0; ///< present time of the data
    std::uint64_t nCycles = 0;
    std::uint64_t nGaps = 0; ///< places where cycles are missing
    std::uint64_t nSamples = 0;
    std::uint64_t nInvalid = 0; ///< samples that are missing or INVALID
    std::uint64_t nOutputChannels = 0;
    // ---- cycles, from the moment they are handed to the link until they have been taken ----
    std::uint64_t nDeliveries = 0;
    double fDeliverySum_s = 0.0;
    double fDelivery99_s = 0.0;
    double fDeliveryMax_s = 0.0;
    std::vector<SClass> vecDelivery;
    std::vector<SStream> vecStream;
    std::vector<SClient> vecClient;
};

/// Called on the library's threads, one call of Receive or Health at a time; Status may overlap with them.
class CResultFeedCallBack
{
  public:
    virtual ~CResultFeedCallBack() = default;
    virtual void Receive(const SFeedBatch& p_batch) = 0;
    virtual void Health(const SFeedHealth& p_health) = 0;
    virtual void Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) = 0;
};

/// All results of all applications of a server: output values, events, health. One for each connection.
class CResultFeed
{
  public:
    /// @throws CDliError for an unknown handle.
    explicit CResultFeed(unsigned long& p_hConn);
    ~CResultFeed();
    CResultFeed(const CResultFeed&) = delete;
    CResultFeed& operator=(const CResultFeed&) = delete;

    /// Null clears it; when this has returned, no call into the old object is under way or will come.
    void SetCallBack(CResultFeedCallBack* p_pCallBack);
    /// To be called when the connection is up (status 1), and again after each return of it.
    /// @param p_nEventsSince ticks: events of the history from then on come first; 0: only what stands.
    void Start(std::int64_t p_nEventsSince);

  private:
    struct SImpl;
    std::shared_ptr<SImpl> m_pImpl;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

#pragma once
#include "link/dli/CallBacks.h"
#include "link/dli/EDli.h"
#include <memory>
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// Read channel, one per read session. The connection frees at exit any object that was not deleted.
class CChanneldata
{
  public:
    /// Binds to a connection. @throws CDliError for an unknown handle.
    explicit CChanneldata(unsigned long& p_hConn);
    ~CChanneldata();
    CChanneldata(const CChanneldata&) = delete;
    CChanneldata& operator=(const CChanneldata&) = delete;

    /// Null removes the callback; once this has returned, no call to the old object is running or will follow.
    void SetCallBack(CChannelDataCallBack* p_pCallBack);
    /// Declares the channels, in the order in which Receive delivers them; p_types holds 8 for each id.
    /// @throws CDliError
    unsigned long Add(std::vector<unsigned long>& p_ids, std::vector<int>& p_types, std::int64_t p_n1,
                      std::int64_t p_n2, unsigned long p_n3);
    /// Starts delivery at a rate in Hz. The server replies with status 9 and the actual cycle time. @throws CDliError
    unsigned long Start(std::int64_t p_n1, std::int64_t p_n2, ESampleRate p_eRate, unsigned long p_n3);
    /// Starts delivery at a cycle time in ms. @throws CDliError
    unsigned long Start(std::int64_t p_n1, std::int64_t p_n2, std::int64_t p_nCycle_ms, unsigned long p_n3);
    /// @throws CDliError
    void Stop();

  private:
    struct SImpl;
    std::shared_ptr<SImpl> m_pImpl;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

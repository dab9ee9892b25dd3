#pragma once
#include "link/dli/CallBacks.h"
#include "link/dli/EDli.h"
#include <memory>
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// Write channel, one per output object.
class CChanneldataWrite
{
  public:
    /// @throws CDliError for an unknown handle.
    explicit CChanneldataWrite(unsigned long& p_hConn);
    ~CChanneldataWrite();
    CChanneldataWrite(const CChanneldataWrite&) = delete;
    CChanneldataWrite& operator=(const CChanneldataWrite&) = delete;

    void SetCallBack(CChannelDataWriteCallBack* p_pCallBack);
    /// Declares a virtual PMU with its channels and rate; the server replies with status 10, lReqNum = p_nId. @throws
    /// CDliError
    void Start(unsigned long p_nId, std::vector<unsigned long>& p_ids, int p_nRate);
    /// @throws CDliError
    void Stop(unsigned long p_nId);
    /// Sends one value per channel; the caller keeps ownership of the vector. Discarded if there is no connection.
    void Write(unsigned long p_nId, std::vector<CChannel*>& p_values);

  private:
    struct SImpl;
    std::shared_ptr<SImpl> m_pImpl;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

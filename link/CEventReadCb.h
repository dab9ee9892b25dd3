#pragma once
#include "WinEvents.h"
#include "host/CTraceOMA.h"
#include "link/dli/CallBacks.h"
#include <atomic>
#include <cstdint>
#include <string>

/// Base of the event callback: status of the connection and the two commands.
class CEventReadCb : public Norvik::Energy::Kestrel::VDS::Runtime::CEventDataCallBack
{
  public:
    explicit CEventReadCb(CTraceOMA* p_pTrace);
    ~CEventReadCb() override;

    void Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) override;
    virtual bool OnUnknownData(std::int32_t p_eTrans, unsigned long p_nElemId, std::int32_t p_eKey,
                               const std::string& p_strAddition) = 0;
    bool OnRestart(std::int32_t p_eElem, std::int32_t p_eOwn);
    bool OnSuspend(std::int32_t p_eElem, std::int32_t p_eOwn);

    std::atomic<unsigned long> m_eStatus{3};   ///< the last status
    std::atomic<std::int32_t> m_eCommand{0};   ///< 0 restart, 1 stop of the service
    HANDLE m_hStatus = nullptr;                ///< signalled after each status
    HANDLE m_hReceive = nullptr;               ///< signalled by OnRestart and OnSuspend
    std::atomic<unsigned long> m_nUpcReq{0};   ///< number of the UPC request
    std::atomic<bool> m_bUpcFinished{false};

  protected:
    CTraceOMA* m_pTrace;
};

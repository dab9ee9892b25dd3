#pragma once
#include "WinEvents.h"
#include "host/base/CTraceOMA.h"
#include "link/dli/CallBacks.h"
#include <atomic>
#include <cstdint>
#include <string>

/// Commands of the server to the application.
enum EEventCommand : std::int32_t
{
    eCommandRestart = 0,
    eCommandSuspend = 1 ///< stop the service
};

/// Base of the event callback: connection status and the two commands.
/// Owner    CEventReadOMA. Threads: the library calls it; the event thread waits for its two handles.
class CEventReadCb : public Norvik::Energy::Kestrel::VDS::Runtime::CEventDataCallBack
{
  public:
    explicit CEventReadCb(CTraceOMA* p_pTrace);
    ~CEventReadCb() override;

    void Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) override;
    virtual bool OnUnknownData(std::int32_t p_eTrans, unsigned long p_nElemId, std::int32_t p_eKey,
                               const std::string& p_strAddition) = 0;
    /// @param p_eElem element type of the event. p_eOwn element type of this application.
    bool OnRestart(std::int32_t p_eElem, std::int32_t p_eOwn);
    bool OnSuspend(std::int32_t p_eElem, std::int32_t p_eOwn);

    std::atomic<unsigned long> m_eStatus{3};               ///< last status
    std::atomic<std::int32_t> m_eCommand{eCommandRestart}; ///< last command, an EEventCommand
    HANDLE m_hStatus = nullptr;                            ///< signalled after each status
    HANDLE m_hReceive = nullptr;                           ///< signalled by OnRestart and OnSuspend
    std::atomic<unsigned long> m_nUpcReq{0};               ///< number of the UPC request; set by the event thread
    std::atomic<bool> m_bUpcFinished{false};               ///< cleared by the event thread before the request

  protected:
    CTraceOMA* m_pTrace; ///< may be null

  private:
    void OnUnknownStatus(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) const;
};

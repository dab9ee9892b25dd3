#pragma once
#include "view/memory/CMemory.h"
#include "view/notice/CNoticeBoard.h"
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// Tells receivers of swings: rules decide, a queue in the memory's file keeps what has not been taken, a thread a
/// receiver sends it, in order, at least once. A receiver that does not take it is tried again after 1 s, growing to
/// 5 minutes, and delays no other. Beyond 10,000 notices of a receiver the oldest are dropped.
///
/// Threads  Look: that of the program. One a receiver, which works on the file through CMemory only.
class CNotices
{
  public:
    CNotices(CMemory& r_memory, const SViewModel& p_model, const Norvik::Energy::Kestrel::VDS::Runtime::CView& p_view);
    ~CNotices();
    CNotices(const CNotices&) = delete;
    CNotices& operator=(const CNotices&) = delete;

    /// Takes up what the last run has left. After the memory has started.
    void Start();
    void Look(const CViewState& p_state);
    boost::json::array HealthJson() const;
    void FillMetrics(std::string& r_strText) const;

  private:
    struct SReceiver
    {
        explicit SReceiver(const Norvik::Energy::Kestrel::VDS::Runtime::CReceiverConfig& p_config) : config(p_config) {}
        const Norvik::Energy::Kestrel::VDS::Runtime::CReceiverConfig& config;
        // ---- under m_mtx ----
        std::int64_t nWaiting = 0;
        std::uint64_t nSent = 0;
        std::uint64_t nFailed = 0;
        std::string strFault;
        bool bWork = true;
        std::thread thread;
    };
    void Tell(const std::string& p_strReceiver, const SViewEvent& p_event, const char* p_pWhat, int p_nLevel,
              std::int64_t p_nNow_ms);
    void Run(SReceiver& r_receiver);
    bool Next(const SReceiver& p_receiver, SNotice& r_notice);
    bool Send(SReceiver& r_receiver, const SNotice& p_notice);
    SReceiver* Find(const std::string& p_strName);

    CMemory& m_memory;
    const SViewModel& m_model;
    const Norvik::Energy::Kestrel::VDS::Runtime::CView& m_view;
    CNoticeBoard m_board;
    std::vector<std::unique_ptr<SReceiver>> m_vecpReceiver;
    mutable std::mutex m_mtx;
    std::condition_variable m_cv;
    bool m_bStop = false; ///< under m_mtx
};

#include "fake/FakeDli.h"
#include "link/dli/CChanneldata.h"
#include "link/dli/CChanneldataWrite.h"
#include "link/dli/CEventdata.h"
#include "link/dli/Elements.h"
#include "link/dli/Security.h"
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <thread>

using namespace Norvik::Energy::Kestrel;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
/// A registered callback. Clearing it waits until no delivery is running.
template <class T>
class TSlot
{
  public:
    void Set(T* p_pCallBack)
    {
        std::unique_lock lock(m_mtx);
        m_cond.wait(lock, [this] { return m_nBusy == 0; });
        m_pCallBack = p_pCallBack;
    }
    T* Get() const
    {
        const std::lock_guard lock(m_mtx);
        return m_pCallBack;
    }
    template <class TCall>
    bool Deliver(TCall p_fnCall)
    {
        T* pCallBack = nullptr;
        {
            const std::lock_guard lock(m_mtx);
            pCallBack = m_pCallBack;
            if (!pCallBack)
                return false;
            ++m_nBusy;
        }
        p_fnCall(*pCallBack);
        const std::lock_guard lock(m_mtx);
        --m_nBusy;
        m_cond.notify_all();
        return true;
    }

  private:
    mutable std::mutex m_mtx;
    std::condition_variable m_cond;
    T* m_pCallBack = nullptr;
    int m_nBusy = 0;
};

using SReadChannel = TSlot<CChannelDataCallBack>;

struct SWriteChannel : TSlot<CChannelDataWriteCallBack>
{
    std::thread thrConnected;

    ~SWriteChannel() { Join(); }
    void Join()
    {
        if (thrConnected.joinable())
            thrConnected.join();
    }
};

/// Everything that Reset clears.
struct SRecords
{
    FakeDli::SBehaviour behaviour;
    std::vector<FakeDli::SCall> vecCall;
    std::vector<FakeDli::SInit> vecInit;
    std::vector<FakeDli::SReadSet> vecReadSet;
    std::vector<FakeDli::SReadStart> vecReadStart;
    std::vector<FakeDli::SWriteStart> vecWriteStart;
    std::vector<unsigned long> vecWriteStop;
    std::vector<FakeDli::SWrite> vecWrite;
    std::vector<FakeDli::SPost> vecPost;
    std::vector<FakeDli::SEventRead> vecEventRead;
    std::vector<FakeDli::SSubscribe> vecSubscribe;
    std::vector<std::weak_ptr<SReadChannel>> vecRead;
    std::map<unsigned long, std::weak_ptr<SWriteChannel>> mapPmu;
};
struct SState : SRecords
{
    std::mutex mtx;
    std::set<CChanneldata*> setRead; ///< a channel that the application has released is still known to its connection
    std::atomic<int> nLiveWrite{0};
    TSlot<CEventDataCallBack> slotEvent; ///< the application registers only one at a time
};

SState& State()
{
    // Never destroyed: whatever the application releases stays reachable until the process ends.
    static SState& s_state = *new SState;
    return s_state;
}

/// Runs the action on behaviour and records, under the lock.
template <class TAction>
auto Locked(TAction p_fnAction)
{
    SState& state = State();
    const std::lock_guard lock(state.mtx);
    return p_fnAction(state);
}

template <class T>
T Copy(T SRecords::*p_pMember)
{
    return Locked([p_pMember](SState& p_state) { return p_state.*p_pMember; });
}

/// The entries of one virtual PMU; 0: all.
template <class T>
std::vector<T> OfPmu(std::vector<T> p_vecOf, unsigned long p_nPmu)
{
    std::erase_if(p_vecOf, [p_nPmu](const T& p_record) { return p_nPmu != 0 && p_record.nPmu != p_nPmu; });
    return p_vecOf;
}

/// Records a call, plus whatever p_fnNote records, and throws if the test requests it.
template <class TNote>
void Note(const std::string& p_strText, std::string FakeDli::SBehaviour::*p_pThrow, TNote p_fnNote)
{
    const std::string strThrow = Locked(
        [&](SState& p_state)
        {
            p_state.vecCall.push_back({p_strText});
            p_fnNote(p_state);
            return p_pThrow ? p_state.behaviour.*p_pThrow : std::string();
        });
    if (!strThrow.empty())
        throw CDliError(strThrow);
}
void Note(const std::string& p_strText, std::string FakeDli::SBehaviour::*p_pThrow = nullptr)
{
    Note(p_strText, p_pThrow, [](SState&) {});
}

template <class TCall>
void Answer(FakeDli::EAnswer p_eAnswer, TCall p_fnCall)
{
    if (p_eAnswer == FakeDli::EAnswer::eAtOnce)
        p_fnCall();
    else if (p_eAnswer == FakeDli::EAnswer::eOtherThread)
        std::thread(p_fnCall).join();
}

std::string ListText(const std::vector<unsigned long>& p_vecId)
{
    std::string strText = "[";
    for (std::size_t i = 0; i < p_vecId.size(); ++i)
        strText += (i ? "," : "") + std::to_string(p_vecId[i]);
    return strText + "]";
}

void NoteStart(const FakeDli::SReadStart& p_start)
{
    Note((p_start.bByRate ? "Read.Start rate " : "Read.Start ms ") + std::to_string(p_start.nValue),
         &FakeDli::SBehaviour::strThrowReadStart, [&](SState& p_state) { p_state.vecReadStart.push_back(p_start); });
}

void NotePost(const FakeDli::SPost& p_post)
{
    Note((p_post.bWithTime ? "Event.PostAt " : "Event.Post ") + std::to_string(p_post.eKey) +
             (p_post.eTrans == eAPP ? " APP " : " DIS ") + std::to_string(p_post.eElem) + " " +
             std::to_string(p_post.nElemId) + " " + p_post.strText,
         nullptr, [&](SState& p_state) { p_state.vecPost.push_back(p_post); });
}

class CFakeEventdata : public CEventdata
{
  public:
    ~CFakeEventdata() override = default;

    unsigned long Read(std::int64_t p_nTicks, unsigned long) override
    {
        Note("Event.Read " + std::to_string(p_nTicks), nullptr,
             [&](SState& p_state) { p_state.vecEventRead.push_back({p_nTicks}); });
        return Copy(&SState::vecEventRead).size();
    }
    void Subscribe(std::int64_t p_nTicks, int p_n1, int p_n2, int p_n3) override
    {
        Note("Event.Subscribe " + std::to_string(p_nTicks), nullptr,
             [&](SState& p_state) {
                 p_state.vecSubscribe.push_back({p_nTicks, p_n1, p_n2, p_n3});
             });
    }
    void Unsubscribe() override { Note("Event.Unsubscribe"); }
    void Reserved3() override {}
    void PostAt(std::int64_t p_nTicks, EIncidenceKey p_eKey, ETransition p_eTrans, EElementType p_eElem,
                unsigned long p_nElemId, const std::string& p_strText) override
    {
        NotePost({true, p_nTicks, p_eKey, p_eTrans, p_eElem, p_nElemId, p_strText});
    }
    void Post(EIncidenceKey p_eKey, ETransition p_eTrans, EElementType p_eElem, unsigned long p_nElemId,
              const std::string& p_strText) override
    {
        NotePost({false, 0, p_eKey, p_eTrans, p_eElem, p_nElemId, p_strText});
    }
    void Reserved6() override {}
    void AddCallBack(CEventDataCallBack* p_pCallBack, int p_nElem) override
    {
        Note("Event.AddCallBack " + std::to_string(p_nElem));
        State().slotEvent.Set(p_pCallBack);
    }
    void RemoveCallBack(CEventDataCallBack* p_pCallBack) override
    {
        Note("Event.RemoveCallBack");
        if (State().slotEvent.Get() == p_pCallBack)
            State().slotEvent.Set(nullptr);
    }
};

std::shared_ptr<SReadChannel> FindRead(unsigned p_nChannel)
{
    return Locked([&](SState& p_state)
                  { return p_nChannel < p_state.vecRead.size() ? p_state.vecRead[p_nChannel].lock() : nullptr; });
}
std::shared_ptr<SWriteChannel> FindWrite(unsigned long p_nPmu)
{
    return Locked(
        [&](SState& p_state) -> std::shared_ptr<SWriteChannel>
        {
            const auto it = p_state.mapPmu.find(p_nPmu);
            return it == p_state.mapPmu.end() ? nullptr : it->second.lock();
        });
}
template <class TSlotPtr>
bool DeliverStatus(const TSlotPtr& p_pSlot, unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo)
{
    return p_pSlot && p_pSlot->Deliver([&](auto& p_callBack) { p_callBack.Status(p_eStatus, p_lReqNum, p_lAddInfo); });
}
} // namespace

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
void SetSecurity(const SSecurity&) {}
void SetElements(const std::vector<unsigned long>&) {}

unsigned long Init(EElementType, const std::string& p_strName, const std::string& p_strIPAddr, unsigned int p_nPort)
{
    const FakeDli::SBehaviour behaviour = FakeDli::GetBehaviour();
    const bool bConcerned = behaviour.strInitName.empty() || behaviour.strInitName == p_strName;
    unsigned long hConn = 0;
    Note("Init " + p_strName + " " + p_strIPAddr + ":" + std::to_string(p_nPort),
         bConcerned ? &FakeDli::SBehaviour::strThrowInit : nullptr,
         [&](SState& p_state)
         {
             if (!(bConcerned && behaviour.bInitZero))
                 hConn = static_cast<unsigned long>(p_state.vecInit.size()) + 1;
             p_state.vecInit.push_back({p_strName, p_strIPAddr, p_nPort});
         });
    return hConn;
}

struct CChanneldata::SImpl : SReadChannel
{
};

CChanneldata::CChanneldata(unsigned long& p_hConn) : m_pImpl(std::make_shared<SImpl>())
{
    Note("Read.New " + std::to_string(p_hConn), &FakeDli::SBehaviour::strThrowReadNew,
         [this](SState& p_state) { p_state.vecRead.push_back(m_pImpl); });
    Locked([this](SState& p_state) { p_state.setRead.insert(this); });
}
CChanneldata::~CChanneldata()
{
    Note("Read.Delete", nullptr, [this](SState& p_state) { p_state.setRead.erase(this); });
    m_pImpl->Set(nullptr);
}
void CChanneldata::SetCallBack(CChannelDataCallBack* p_pCallBack)
{
    Note(p_pCallBack ? "Read.SetCallBack" : "Read.SetCallBack null");
    m_pImpl->Set(p_pCallBack);
}
unsigned long CChanneldata::Add(std::vector<unsigned long>& p_ids, std::vector<int>& p_types, std::int64_t,
                                std::int64_t, unsigned long)
{
    Note("Read.Add " + ListText(p_ids), &FakeDli::SBehaviour::strThrowAdd,
         [&](SState& p_state) { p_state.vecReadSet.push_back({p_types}); });
    return 0;
}
unsigned long CChanneldata::Start(std::int64_t p_n1, std::int64_t p_n2, ESampleRate p_eRate, unsigned long)
{
    NoteStart({true, p_eRate, p_n1, p_n2});
    return 0;
}
unsigned long CChanneldata::Start(std::int64_t p_n1, std::int64_t p_n2, std::int64_t p_nCycle_ms, unsigned long)
{
    NoteStart({false, p_nCycle_ms, p_n1, p_n2});
    return 0;
}
void CChanneldata::Stop()
{
    Note("Read.Stop", &FakeDli::SBehaviour::strThrowReadStop);
}

struct CChanneldataWrite::SImpl : SWriteChannel
{
};

CChanneldataWrite::CChanneldataWrite(unsigned long& p_hConn) : m_pImpl(std::make_shared<SImpl>())
{
    Note("Write.New " + std::to_string(p_hConn), &FakeDli::SBehaviour::strThrowWriteNew);
    ++State().nLiveWrite;
}
CChanneldataWrite::~CChanneldataWrite()
{
    Note("Write.Delete");
    m_pImpl->Join();
    m_pImpl->Set(nullptr);
    --State().nLiveWrite;
}
void CChanneldataWrite::SetCallBack(CChannelDataWriteCallBack* p_pCallBack)
{
    Note(p_pCallBack ? "Write.SetCallBack" : "Write.SetCallBack null");
    m_pImpl->Join();
    m_pImpl->Set(p_pCallBack);
    if (!p_pCallBack || !FakeDli::GetBehaviour().bWriteConnected)
        return;
    SImpl* const pImpl = m_pImpl.get();
    m_pImpl->thrConnected = std::thread([pImpl] { DeliverStatus(pImpl, eConnected, 0, 0); });
}
void CChanneldataWrite::Start(unsigned long p_nId, std::vector<unsigned long>& p_ids, int p_nRate)
{
    Note("Write.Start " + std::to_string(p_nId) + " " + ListText(p_ids) + " " + std::to_string(p_nRate),
         &FakeDli::SBehaviour::strThrowWriteStart,
         [&](SState& p_state)
         {
             p_state.vecWriteStart.push_back({p_nId, p_ids, p_nRate});
             p_state.mapPmu[p_nId] = m_pImpl;
         });
    const FakeDli::SBehaviour behaviour = FakeDli::GetBehaviour();
    const unsigned long nAnswerId = behaviour.nWriteAnswerId ? behaviour.nWriteAnswerId : p_nId;
    Answer(behaviour.eWriteAnswer,
           [&] { DeliverStatus(m_pImpl, eWriteResponse, nAnswerId, behaviour.nWriteAnswerError); });
}
void CChanneldataWrite::Stop(unsigned long p_nId)
{
    Note("Write.Stop " + std::to_string(p_nId), &FakeDli::SBehaviour::strThrowWriteStop,
         [&](SState& p_state)
         {
             p_state.vecWriteStop.push_back(p_nId);
             p_state.mapPmu[p_nId] = m_pImpl;
         });
}
void CChanneldataWrite::Write(unsigned long p_nId, std::vector<CChannel*>& p_values)
{
    FakeDli::SWrite write{p_nId, {}};
    for (const CChannel* pChan : p_values)
    {
        CChannel::vdsData data;
        static_cast<const CChannelAnalog*>(pChan)->GetValue(data, CChannel::eValuePhasor);
        write.vecValue.push_back({pChan->GetId(), pChan->GetTime(), pChan->GetState(), data.nKind, data.fValue1});
    }
    Note("Write.Write " + std::to_string(p_nId), nullptr,
         [&](SState& p_state)
         {
             p_state.vecWrite.push_back(write);
             p_state.mapPmu[p_nId] = m_pImpl;
         });
}

CEventdata& CEventdata::GetInstance(unsigned long& p_hConn)
{
    static CFakeEventdata s_eventData;
    Note("Event.GetInstance " + std::to_string(p_hConn), &FakeDli::SBehaviour::strThrowGetInstance);
    return s_eventData;
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

namespace FakeDli
{
void Reset()
{
    Locked([](SState& p_state) { static_cast<SRecords&>(p_state) = SRecords(); });
    State().slotEvent.Set(nullptr);
}
void SetBehaviour(const SBehaviour& p_behaviour)
{
    Locked([&](SState& p_state) { p_state.behaviour = p_behaviour; });
}
SBehaviour GetBehaviour()
{
    return Copy(&SState::behaviour);
}

std::vector<SCall> Calls()
{
    return Copy(&SState::vecCall);
}
std::size_t CountCalls(const std::string& p_strBegin)
{
    const std::vector<SCall> vecCall = Calls();
    return static_cast<std::size_t>(std::count_if(
        vecCall.begin(), vecCall.end(), [&](const SCall& p_call) { return p_call.strText.starts_with(p_strBegin); }));
}
std::vector<SInit> Inits()
{
    return Copy(&SState::vecInit);
}
std::vector<SReadSet> ReadSets()
{
    return Copy(&SState::vecReadSet);
}
std::vector<SReadStart> ReadStarts()
{
    return Copy(&SState::vecReadStart);
}
std::vector<SWriteStart> WriteStarts(unsigned long p_nPmu)
{
    return OfPmu(Copy(&SState::vecWriteStart), p_nPmu);
}
std::vector<unsigned long> WriteStops()
{
    return Copy(&SState::vecWriteStop);
}
std::vector<SWrite> Writes(unsigned long p_nPmu)
{
    return OfPmu(Copy(&SState::vecWrite), p_nPmu);
}
std::vector<SPost> Posts()
{
    return Copy(&SState::vecPost);
}
std::vector<SEventRead> EventReads()
{
    return Copy(&SState::vecEventRead);
}
std::vector<SSubscribe> Subscribes()
{
    return Copy(&SState::vecSubscribe);
}

int LiveReadChannels()
{
    return Locked([](SState& p_state) { return static_cast<int>(p_state.setRead.size()); });
}
int LiveWriteChannels()
{
    return State().nLiveWrite;
}
int RegisteredEventCallBacks()
{
    return State().slotEvent.Get() ? 1 : 0;
}

CChannelDataWriteCallBack* WriteCallBack(unsigned long p_nPmu)
{
    const auto pChannel = FindWrite(p_nPmu);
    return pChannel ? pChannel->Get() : nullptr;
}

bool ReadStatus(unsigned p_nChannel, unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo)
{
    return DeliverStatus(FindRead(p_nChannel), p_eStatus, p_lReqNum, p_lAddInfo);
}
bool ReadReceive(unsigned p_nChannel, std::vector<CChannel*>& p_vecChannel)
{
    const auto pChannel = FindRead(p_nChannel);
    return pChannel && pChannel->Deliver([&](CChannelDataCallBack& p_callBack) { p_callBack.Receive(p_vecChannel); });
}
bool WriteStatus(unsigned long p_nPmu, unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo)
{
    return DeliverStatus(FindWrite(p_nPmu), p_eStatus, p_lReqNum, p_lAddInfo);
}
bool EventStatus(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo)
{
    return DeliverStatus(&State().slotEvent, p_eStatus, p_lReqNum, p_lAddInfo);
}
bool EventReceive(std::vector<CEvent*>& p_vecEvent, unsigned long p_lReqNum)
{
    return State().slotEvent.Deliver([&](CEventDataCallBack& p_callBack)
                                     { p_callBack.Receive(p_vecEvent, p_lReqNum); });
}

std::unique_ptr<CChannelAnalog> MakeSample(unsigned long p_nId, std::int64_t p_nTicks, float p_fMagn,
                                           float p_fAngle_deg, std::int64_t p_nState)
{
    auto pSample = std::make_unique<CChannelAnalog>(p_nId, p_nTicks, p_fMagn, p_nState);
    CChannel::vdsData data;
    data.fValue1 = p_fMagn;
    data.fValue2 = p_fAngle_deg;
    pSample->SetValue(data, CChannel::eValuePhasor);
    return pSample;
}
} // namespace FakeDli

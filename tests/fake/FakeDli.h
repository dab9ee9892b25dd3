#pragma once
#include "link/dli/CChannelAnalog.h"
#include "link/dli/CallBacks.h"
#include "link/dli/EDli.h"
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// Replaces the client library of the link: records every call and behaves as the test specifies. Any thread.
///
/// It keeps the promises of the library that the application depends on. No call is made while a lock of the fake is
/// held. After SetCallBack(nullptr) or RemoveCallBack returns, no delivery by the functions below is running or will
/// follow.
namespace FakeDli
{
namespace Dli = Norvik::Energy::Kestrel::VDS::Runtime;

/// When, and on which thread, a request is answered.
enum class EAnswer
{
    eNone,       ///< never; the test delivers the answer
    eAtOnce,     ///< on the caller's thread, inside the request
    eOtherThread ///< on another thread, before the request returns
};

/// Behaviour of the fake. A text that is not empty is thrown by that call.
struct SBehaviour
{
    std::string strInitName = {}; ///< the two settings of Init below apply to this connection only; empty: to all
    bool bInitZero = false;       ///< Init returns 0
    std::string strThrowInit = {};
    std::string strThrowGetInstance = {};
    std::string strThrowReadNew = {}; ///< constructor of CChanneldata
    std::string strThrowAdd = {};
    std::string strThrowReadStart = {};
    std::string strThrowReadStop = {};
    std::string strThrowWriteNew = {}; ///< constructor of CChanneldataWrite
    std::string strThrowWriteStart = {};
    std::string strThrowWriteStop = {};
    EAnswer eWriteAnswer = EAnswer::eAtOnce; ///< status 10 after Start of a write channel
    unsigned long nWriteAnswerId = 0;        ///< virtual PMU in that answer; 0: the one being started
    unsigned long nWriteAnswerError = 0;     ///< error in that answer
    /// A callback registered with a write channel receives status 1 on a separate thread, which ends before the
    /// callback is cleared or the channel destroyed.
    bool bWriteConnected = false;
};

/// One call in readable form: "Write.Start 7 [71,72] 1".
struct SCall
{
    std::string strText;
};
struct SInit
{
    std::string strName;
    std::string strIPAddr;
    unsigned nPort;
};
struct SReadSet
{
    std::vector<int> vecType;
};
struct SReadStart
{
    bool bByRate; ///< nValue is a rate in Hz; false: a cycle time in ms
    std::int64_t nValue;
    std::int64_t n1;
    std::int64_t n2;
};
struct SWriteStart
{
    unsigned long nPmu;
    std::vector<unsigned long> vecId;
    int nRate;
};
struct SValue
{
    unsigned long nId;
    std::int64_t nTicks;
    std::int64_t nState;
    std::int32_t nKind;
    float fValue;
};
struct SWrite
{
    unsigned long nPmu;
    std::vector<SValue> vecValue;
};
struct SPost
{
    bool bWithTime;
    std::int64_t nTicks; ///< 0 if posted without time
    Dli::EIncidenceKey eKey;
    Dli::ETransition eTrans;
    Norvik::Energy::Kestrel::EElementType eElem;
    unsigned long nElemId;
    std::string strText;
};
struct SEventRead
{
    std::int64_t nTicks;
};
struct SSubscribe
{
    std::int64_t nTicks;
    int n1;
    int n2;
    int n3;
};

/// Clears all records, channels and behaviour. Live objects stay alive.
void Reset();
void SetBehaviour(const SBehaviour& p_behaviour);
SBehaviour GetBehaviour();

// ---- records, in order, as copies ----
std::vector<SCall> Calls();
/// Number of calls whose text starts with this.
std::size_t CountCalls(const std::string& p_strBegin);
std::vector<SInit> Inits();
std::vector<SReadSet> ReadSets();
std::vector<SReadStart> ReadStarts();
std::vector<SWriteStart> WriteStarts(unsigned long p_nPmu = 0); ///< 0: of all virtual PMUs
std::vector<unsigned long> WriteStops();                        ///< virtual PMUs
std::vector<SWrite> Writes(unsigned long p_nPmu = 0);
std::vector<SPost> Posts();
std::vector<SEventRead> EventReads();
std::vector<SSubscribe> Subscribes();

// ---- live objects; not affected by Reset ----
int LiveReadChannels();
int LiveWriteChannels();
int RegisteredEventCallBacks();

// ---- deliveries. Indices count the channels made since the last Reset. ----
/// The callback, null if there is none, of the newest channel that has started, stopped or written this virtual PMU.
Dli::CChannelDataWriteCallBack* WriteCallBack(unsigned long p_nPmu);

/// Each returns false if no callback is registered. A callback is not cleared while it is being called.
bool ReadStatus(unsigned p_nChannel, unsigned long p_eStatus, unsigned long p_lReqNum = 0,
                unsigned long p_lAddInfo = 0);
bool ReadReceive(unsigned p_nChannel, std::vector<Dli::CChannel*>& p_vecChannel);
bool WriteStatus(unsigned long p_nPmu, unsigned long p_eStatus, unsigned long p_lReqNum = 0,
                 unsigned long p_lAddInfo = 0);
bool EventStatus(unsigned long p_eStatus, unsigned long p_lReqNum = 0, unsigned long p_lAddInfo = 0);
bool EventReceive(std::vector<Dli::CEvent*>& p_vecEvent, unsigned long p_lReqNum = 0);

/// A received phasor.
std::unique_ptr<Dli::CChannelAnalog> MakeSample(unsigned long p_nId, std::int64_t p_nTicks, float p_fMagn,
                                                float p_fAngle_deg, std::int64_t p_nState = 0);
} // namespace FakeDli

#include "link/dli/CChanneldata.h"
#include "link/dli/CChanneldataWrite.h"
#include "link/dli/CEventdata.h"
#include "link/dli/Security.h"

// Replaces the client library of the link where only the application's own work is measured: a write channel starts at
// once; values and events are discarded at no cost.

using namespace Norvik::Energy::Kestrel;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
class CNullEventdata : public CEventdata
{
  public:
    ~CNullEventdata() override = default;
    unsigned long Read(std::int64_t, unsigned long) override { return 1; }
    void Subscribe(std::int64_t, int, int, int) override {}
    void Unsubscribe() override {}
    void Reserved3() override {}
    void PostAt(std::int64_t, EIncidenceKey, ETransition, EElementType, unsigned long, const std::string&) override {}
    void Post(EIncidenceKey, ETransition, EElementType, unsigned long, const std::string&) override {}
    void Reserved6() override {}
    void AddCallBack(CEventDataCallBack*, int) override {}
    void RemoveCallBack(CEventDataCallBack*) override {}
};
} // namespace

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
void SetSecurity(const SSecurity&) {}

unsigned long Init(EElementType, const std::string&, const std::string&, unsigned int)
{
    return 1;
}

struct CChanneldata::SImpl
{
};
CChanneldata::CChanneldata(unsigned long&) {}
CChanneldata::~CChanneldata() = default;
void CChanneldata::SetCallBack(CChannelDataCallBack*) {}
unsigned long CChanneldata::Add(std::vector<unsigned long>&, std::vector<int>&, std::int64_t, std::int64_t,
                                unsigned long)
{
    return 0;
}
unsigned long CChanneldata::Start(std::int64_t, std::int64_t, ESampleRate, unsigned long)
{
    return 0;
}
unsigned long CChanneldata::Start(std::int64_t, std::int64_t, std::int64_t, unsigned long)
{
    return 0;
}
void CChanneldata::Stop() {}

struct CChanneldataWrite::SImpl
{
    CChannelDataWriteCallBack* pCallBack = nullptr;
};
CChanneldataWrite::CChanneldataWrite(unsigned long&) : m_pImpl(std::make_shared<SImpl>()) {}
CChanneldataWrite::~CChanneldataWrite() = default;
void CChanneldataWrite::SetCallBack(CChannelDataWriteCallBack* p_pCallBack)
{
    m_pImpl->pCallBack = p_pCallBack;
}
void CChanneldataWrite::Start(unsigned long p_nId, std::vector<unsigned long>&, int)
{
    if (m_pImpl->pCallBack)
        m_pImpl->pCallBack->Status(eWriteResponse, p_nId, 0);
}
void CChanneldataWrite::Stop(unsigned long) {}
void CChanneldataWrite::Write(unsigned long, std::vector<CChannel*>&) {}

CEventdata& CEventdata::GetInstance(unsigned long&)
{
    static CNullEventdata s_eventData;
    return s_eventData;
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

#include "CTrace.h"
#include "CXMLConfiguration.h"
#include "host/base/AppState.h"
#include "link/input/CEventReadCbOMA.h"
#include <array>
#include <cstdlib>

using namespace Norvik::Energy::Kestrel;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
/// Constant once it has been read.
const CConfiguration* Config()
{
    static CXMLConfiguration xml;
    static const CConfiguration* const pConfig = xml.Read(OMA_TEST_DATA "/config/base.xml", "") == 0
                                                     ? CConfiguration::CreateInstance(&xml)
                                                     : (std::abort(), nullptr);
    return pConfig;
}
} // namespace

/// Bytes 0 to 2: transition, element type, key. Then the text of the event.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* p_pData, std::size_t p_nSize)
{
    if (p_nSize < 3)
        return 0;
    constexpr std::array vecnKey{eIkZoneValid,  eIkZoneSuspect,  eIkSubzone, eIkZoneSecond,
                                 eIkPsCritical, eIkNoPhasorData, eIkNone,    static_cast<EIncidenceKey>(-1)};
    CTrace::SetSink([](auto...) {});
    CTrace::SetLevel(ETraceLevel::eData);
    CTraceOMA trace("OMA_Fuzz");
    CEventReadCbOMA::VecOMA vecOMA;
    CVdsOMA& oma = *vecOMA.emplace_back(
        std::make_unique<CVdsOMA>(0, 0, 901, true, 0, 5000, true, std::make_unique<CTraceOMA>("OMA_Fuzz")));
    for (const std::uint32_t nId : {101U, 102U})
    {
        auto pPmu = std::make_unique<CPmu>();
        pPmu->m_nId = nId;
        oma.AddPmu(std::move(pPmu));
    }
    CEventReadCbOMA callback(Config(), &vecOMA, &trace);
    CEvent event(static_cast<ETransition>(p_pData[0] & 3U), static_cast<EElementType>(p_pData[1] & 3U), 901,
                 vecnKey[p_pData[2] % vecnKey.size()],
                 std::string(reinterpret_cast<const char*>(p_pData) + 3, p_nSize - 3));
    callback.ProcessEvent(&event, 0);
    g_eAppState = eAppRun;
    return 0;
}

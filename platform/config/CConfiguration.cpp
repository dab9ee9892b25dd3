#include "CConfiguration.h"
#include "CXMLConfiguration.h"

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
namespace
{
std::unique_ptr<CConfiguration>& Instance()
{
    static std::unique_ptr<CConfiguration> s_pInstance;
    return s_pInstance;
}
} // namespace

CConfiguration::CConfiguration() = default;
CConfiguration::~CConfiguration() = default;

CConfiguration* CConfiguration::CreateInstance(CXMLConfiguration* p_pReader)
{
    if (!p_pReader || !p_pReader->m_pTree)
        return nullptr;
    Instance() = std::move(p_pReader->m_pTree);
    return Instance().get();
}

void CConfiguration::DeleteInstance()
{
    Instance().reset();
}

const CLimitedDataObject& CDatapoints::Datapoint(unsigned long p_nId) const
{
    static const CLimitedDataObject s_unknown;
    const auto itDatapoint = m_mapDatapoint.find(p_nId);
    return itDatapoint != m_mapDatapoint.end() ? itDatapoint->second : s_unknown;
}

int CDatapoints::GetReportingRate(unsigned long p_nId) const
{
    return Datapoint(p_nId).m_nReportingRate;
}

std::vector<unsigned long> CDatapoints::Ids() const
{
    std::vector<unsigned long> vecId;
    vecId.reserve(m_mapDatapoint.size());
    for (const auto& [nId, datapoint] : m_mapDatapoint)
        vecId.push_back(nId);
    return vecId;
}

const std::string& CDatapoints::Name(unsigned long p_nId) const
{
    return Datapoint(p_nId).m_strName;
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

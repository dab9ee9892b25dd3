#pragma once
#include "link/dli/EDli.h"
#include <string>
#include <utility>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// A received event; read-only for the application.
class CEvent
{
  public:
    CEvent(ETransition p_eTrans, EElementType p_eElem, unsigned long p_nElemId, EIncidenceKey p_eKey,
           std::string p_strAddition, std::string p_strSource = "")
        : m_eTrans(p_eTrans), m_eElem(p_eElem), m_nElemId(p_nElemId), m_eKey(p_eKey),
          m_strAddition(std::move(p_strAddition)), m_strSource(std::move(p_strSource))
    {
    }
    ETransition Transition() const { return m_eTrans; }
    EElementType ElementType() const { return m_eElem; }
    unsigned long ElementID() const { return m_nElemId; }
    EIncidenceKey IncidenceKey() const { return m_eKey; }
    const std::string& Addition() const { return m_strAddition; }
    /// Name of the connection that posted the event; empty if unknown.
    const std::string& Source() const { return m_strSource; }

  private:
    ETransition m_eTrans;
    EElementType m_eElem;
    unsigned long m_nElemId;
    EIncidenceKey m_eKey;
    std::string m_strAddition;
    std::string m_strSource;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

#pragma once
#include "CTraceStream.h"
#include <string>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// The four streams of one trace area.
class CTraceHelper
{
  public:
    explicit CTraceHelper(const std::string& p_strName);
    virtual ~CTraceHelper() = default;
    CTraceHelper(const CTraceHelper&) = delete;
    CTraceHelper& operator=(const CTraceHelper&) = delete;

    CTraceStream& Error() { return m_streamError; }
    CTraceStream& Warning() { return m_streamWarning; }
    CTraceStream& Info() { return m_streamInfo; }
    CTraceStream& Data() { return m_streamData; }
    const std::string& Name() const { return m_strName; }

  private:
    CTraceHelper(const std::string& p_strName, const std::atomic<int>* p_pnAreaLevel);

    std::string m_strName;
    CTraceStream m_streamError;
    CTraceStream m_streamWarning;
    CTraceStream m_streamInfo;
    CTraceStream m_streamData;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

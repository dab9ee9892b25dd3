#include "offline/CFileBAS.h"
#include <utility>

CFileBAS::CFileBAS(std::wstring p_wstrPath, CTraceOMA* p_pTrace) : m_wstrPath(std::move(p_wstrPath)), m_pTrace(p_pTrace)
{
}

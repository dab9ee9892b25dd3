#include "host/base/CTraceOMA.h"
#include "CTrace.h"

using Norvik::Energy::Kestrel::VDS::Runtime::CTrace;
using Norvik::Energy::Kestrel::VDS::Runtime::CTraceStream;
using Norvik::Energy::Kestrel::VDS::Runtime::TEnd;

std::mutex g_mtxTrace;

CTraceOMA::CTraceOMA(const std::string& p_strArea) : CTraceHelper(p_strArea)
{
    CTrace::CreateTraceHelper(p_strArea);
    m_pTraceHelper = CTrace::GetInstancePtr(p_strArea);
}

void CTraceOMA::Emit(Stream p_fnStream, std::initializer_list<std::string_view> p_pieces)
{
    if (!m_pTraceHelper)
        return;
    CTraceStream& stream = (m_pTraceHelper->*p_fnStream)();
    if (!stream.IsActive())
        return;
    const std::lock_guard lock(g_mtxTrace);
    for (const std::string_view strPiece : p_pieces)
        stream << strPiece;
    stream << TEnd;
}

void CTraceOMA::TraceError(std::string_view p_strText)
{
    Emit(&CTraceHelper::Error, {p_strText});
}

void CTraceOMA::TraceError(std::string_view p_strMethod, std::string_view p_strText)
{
    Emit(&CTraceHelper::Error, {p_strMethod, "():", p_strText, "!"});
}

void CTraceOMA::TraceError(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText)
{
    Emit(&CTraceHelper::Error, {p_strClass, "::", p_strMethod, "():", p_strText, "!"});
}

void CTraceOMA::TraceWarning(std::string_view p_strText)
{
    Emit(&CTraceHelper::Warning, {p_strText});
}

void CTraceOMA::TraceWarning(std::string_view p_strMethod, std::string_view p_strText)
{
    Emit(&CTraceHelper::Warning, {p_strMethod, "():", p_strText, "!"});
}

void CTraceOMA::TraceWarning(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText)
{
    Emit(&CTraceHelper::Warning, {p_strClass, "::", p_strMethod, "():", p_strText, "!"});
}

void CTraceOMA::TraceInfo(std::string_view p_strText, bool p_bOn)
{
    if (p_bOn)
        Emit(&CTraceHelper::Info, {p_strText});
}

void CTraceOMA::TraceInfo(std::string_view p_strMethod, std::string_view p_strText, bool p_bOn)
{
    if (p_bOn)
        Emit(&CTraceHelper::Info, {p_strMethod, "():", p_strText, "."});
}

void CTraceOMA::TraceInfo(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText,
                          bool p_bOn)
{
    if (p_bOn)
        Emit(&CTraceHelper::Info, {p_strClass, "::", p_strMethod, "():", p_strText, "."});
}

void CTraceOMA::TraceData(std::string_view p_strText, bool p_bOn, std::string_view p_strMethod,
                          std::string_view p_strClass)
{
    if (!p_bOn)
        return;
    if (p_strMethod.empty())
        Emit(&CTraceHelper::Data, {p_strText});
    else if (p_strClass.empty())
        Emit(&CTraceHelper::Data, {p_strMethod, "():", p_strText});
    else
        Emit(&CTraceHelper::Data, {p_strClass, "::", p_strMethod, "():", p_strText});
}

void CTraceOMA::TraceSuspend(std::string_view p_strText)
{
    Emit(&CTraceHelper::Error, {p_strText, " -> Suspend Application."});
}

void CTraceOMA::TraceSuspend(std::string_view p_strMethod, std::string_view p_strText)
{
    Emit(&CTraceHelper::Error, {p_strMethod, "():", p_strText, "! -> Suspend Application."});
}

void CTraceOMA::TraceSuspend(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText)
{
    Emit(&CTraceHelper::Error, {p_strClass, "::", p_strMethod, "():", p_strText, "! -> Suspend Application."});
}

void CTraceOMA::TraceInvalidPtr(std::string_view p_strMethod, std::string_view p_strName)
{
    Emit(&CTraceHelper::Error, {p_strMethod, "():Invalid pointer: #", p_strName, "#!"});
}

void CTraceOMA::TraceBadPointer(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strName)
{
    Emit(&CTraceHelper::Error, {p_strClass, "::", p_strMethod, "():Invalid Pointer: ", p_strName, "!"});
}

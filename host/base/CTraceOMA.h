#pragma once
#include "CTraceHelper.h"
#include <initializer_list>
#include <mutex>
#include <string>
#include <string_view>

/// Serialises the lines of all areas.
extern std::mutex g_mtxTrace;

/// One trace area of the application. Gives all lines the same shape and serialises them.
///
/// Owner    whatever the area describes: the process, an instance, a job or a mode.
/// Threads  any. g_mtxTrace is held while one line is written and never longer; it is always the innermost lock.
/// Marks    ":" without a blank after "()", "!" after errors and warnings, "." after info lines.
class CTraceOMA : public Norvik::Energy::Kestrel::VDS::Runtime::CTraceHelper
{
  public:
    explicit CTraceOMA(const std::string& p_strArea);

    void TraceError(std::string_view p_strText);
    void TraceError(std::string_view p_strMethod, std::string_view p_strText);
    void TraceError(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText);
    void TraceWarning(std::string_view p_strText);
    void TraceWarning(std::string_view p_strMethod, std::string_view p_strText);
    void TraceWarning(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText);
    void TraceInfo(std::string_view p_strText, bool p_bOn);
    void TraceInfo(std::string_view p_strMethod, std::string_view p_strText, bool p_bOn);
    void TraceInfo(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText, bool p_bOn);
    /// Adds no closing mark. Method and class precede the text if they are given.
    void TraceData(std::string_view p_strText, bool p_bOn, std::string_view p_strMethod = {},
                   std::string_view p_strClass = {});
    void TraceSuspend(std::string_view p_strText);
    void TraceSuspend(std::string_view p_strMethod, std::string_view p_strText);
    void TraceSuspend(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText);
    /// Reports a null pointer in a free function.
    void TraceInvalidPtr(std::string_view p_strMethod, std::string_view p_strName);
    /// Reports a null pointer in a class.
    void TraceBadPointer(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strName);

    // ---- whether a line would be emitted; check before building its text ----
    bool IsWarningOn() const { return m_pTraceHelper && m_pTraceHelper->Warning().IsActive(); }
    bool IsInfoOn() const { return m_pTraceHelper && m_pTraceHelper->Info().IsActive(); }
    bool IsDataOn() const { return m_pTraceHelper && m_pTraceHelper->Data().IsActive(); }

  private:
    using Stream =
        Norvik::Energy::Kestrel::VDS::Runtime::CTraceStream& (Norvik::Energy::Kestrel::VDS::Runtime::CTraceHelper::*)();
    void Emit(Stream p_fnStream, std::initializer_list<std::string_view> p_pieces);

    /// Kept by the library under the area's name. If null, all lines are dropped.
    Norvik::Energy::Kestrel::VDS::Runtime::CTraceHelper* m_pTraceHelper = nullptr;
};

#pragma once
#include "host/base/ApplicationControl.h"
#include "host/base/CTraceOMA.h"
#include "host/base/TextOMA.h"
#include <concepts>
#include <string>
#include <string_view>
#include <type_traits>

/// Names a method in its trace lines. Create it first in the method; it costs two views and a pointer. Pass the pieces
/// of a line separately (text, numbers formatted as in TextOMA): they are joined only if the line is emitted. A null
/// trace drops the line, but Suspend still suspends the application. Error, BadPointer and Suspend return false, so
/// that a failing method can return their result.
class CMethodTrace
{
  public:
    CMethodTrace(CTraceOMA* p_pTrace, std::string_view p_strClass, std::string_view p_strMethod)
        : m_pTrace(p_pTrace), m_strClass(p_strClass), m_strMethod(p_strMethod)
    {
    }

    template <class... TPieces>
    bool Error(const TPieces&... p_pieces) const
    {
        if (m_pTrace)
            m_pTrace->TraceError(m_strClass, m_strMethod, Join(p_pieces...));
        return false;
    }
    template <class... TPieces>
    void Warning(const TPieces&... p_pieces) const
    {
        if (m_pTrace && m_pTrace->IsWarningOn())
            m_pTrace->TraceWarning(m_strClass, m_strMethod, Join(p_pieces...));
    }
    template <class... TPieces>
    void Info(const TPieces&... p_pieces) const
    {
        if (m_pTrace && m_pTrace->IsInfoOn())
            m_pTrace->TraceInfo(m_strClass, m_strMethod, Join(p_pieces...), true);
    }
    /// Data line without the class and method prefix; emitted only if p_bOn is true.
    template <class... TPieces>
    void Data(bool p_bOn, const TPieces&... p_pieces) const
    {
        if (p_bOn && m_pTrace && m_pTrace->IsDataOn())
            m_pTrace->TraceData(Join(p_pieces...), true);
    }
    /// Data line with the class and method prefix; emitted only if p_bOn is true.
    template <class... TPieces>
    void DataNamed(bool p_bOn, const TPieces&... p_pieces) const
    {
        if (p_bOn && m_pTrace && m_pTrace->IsDataOn())
            m_pTrace->TraceData(Join(p_pieces...), true, m_strMethod, m_strClass);
    }
    bool BadPointer(std::string_view p_strName) const
    {
        if (m_pTrace)
            m_pTrace->TraceBadPointer(m_strClass, m_strMethod, p_strName);
        return false;
    }
    /// Calls SuspendApp: error line, suspended state, event to the server.
    template <class... TPieces>
    bool Suspend(const TPieces&... p_pieces) const
    {
        SuspendApp(m_strClass, m_strMethod, Join(p_pieces...));
        return false;
    }

  private:
    static std::string_view AsPiece(std::string_view p_strText) { return p_strText; }
    template <std::floating_point T>
    static std::string AsPiece(T p_fValue)
    {
        return DoubleAsText(p_fValue);
    }
    template <std::integral T>
    static std::string AsPiece(T p_nValue)
    {
        return std::to_string(p_nValue);
    }
    template <class... TPieces>
    static std::string Join(const TPieces&... p_pieces)
    {
        std::string strLine;
        (strLine.append(AsPiece(p_pieces)), ...);
        return strLine;
    }

    CTraceOMA* m_pTrace;
    std::string_view m_strClass;
    std::string_view m_strMethod;
};

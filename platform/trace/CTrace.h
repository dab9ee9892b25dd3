#pragma once
#include "CTraceHelper.h"
#include <functional>
#include <string>
#include <string_view>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// The process-wide part of the trace facility: where lines go, and which levels and areas are on. Lines go to stderr
/// and, with -TFILE:path, to a rotating file: UTC date and time with ms, level, area, text.
class CTrace
{
  public:
    /// Call once per process, first. A second call has no effect.
    static void Init();
    /// Call once per process, last: flushes and closes. Helpers stay valid, their lines are dropped.
    static void Exit();
    /// Removes the trace options from the command line: -ERROR, -WARNING, -INFO, -DATA (each level includes the ones
    /// before it), -TFILE:path, in any case. A level may name one area (-INFO:area, a prefix); the level then applies
    /// to the areas that start with it, and the others keep the general level. Default level: warning. Unknown text is
    /// left unchanged.
    static void CheckTraceArg(int p_nArgc, wchar_t* p_ppArgv[]);
    /// Creates the helper of an area if it does not exist yet.
    static void CreateTraceHelper(const std::string& p_strName);
    /// @return the helper of an area, null if there is none. The facility keeps it until the end of the process.
    static CTraceHelper* GetInstancePtr(const std::string& p_strName);

    // ---- test seam ----
    /// Receives every emitted line, instead of stderr and file. An empty function restores these.
    using Sink = std::function<void(ETraceLevel p_eLevel, std::string_view p_strArea, std::string_view p_strText)>;
    static void SetSink(Sink p_fnSink);
    /// General level for all areas.
    static void SetLevel(ETraceLevel p_eLevel);
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

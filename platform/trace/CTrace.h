#pragma once
#include "CTraceHelper.h"
#include <functional>
#include <string>
#include <string_view>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// Process-wide side of the trace facility: where lines go, which levels and areas are on.
/// Lines go to stderr and, with -TFILE:path, to a rotating file: UTC date and time with ms, level, area, text.
class CTrace
{
  public:
    /// Once per process, first. A second call is harmless.
    static void Init();
    /// Once per process, last: flushes and closes. Helpers stay valid, their lines are dropped.
    static void Exit();
    /// Takes the trace options off the command line: -ERROR, -WARNING, -INFO, -DATA (each level includes the ones
    /// before it), -TFILE:path, any case. A level may name one area (-INFO:area, a prefix); the level then holds for
    /// the areas that begin so, and the others keep the general one. Default level: warning. Unknown text is left alone.
    static void CheckTraceArg(int p_nArgc, wchar_t* p_ppArgv[]);
    /// Makes the helper of an area if it does not exist yet.
    static void CreateTraceHelper(const std::string& p_strName);
    /// @return the helper of an area, null if none was made. The facility keeps it to the end of the process.
    static CTraceHelper* GetInstancePtr(const std::string& p_strName);

    // ---- test seam ----
    /// Receives every line that is emitted, instead of stderr and file. An empty function returns to those.
    using Sink = std::function<void(ETraceLevel p_eLevel, std::string_view p_strArea, std::string_view p_strText)>;
    static void SetSink(Sink p_fnSink);
    /// General level for all areas.
    static void SetLevel(ETraceLevel p_eLevel);
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

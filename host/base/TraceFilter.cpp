#include "host/base/TraceFilter.h"

std::int32_t g_nTraceFilterId = 0;
bool g_bTraceInfoAll = false;
bool g_bTraceDataAll = false;
std::array<bool, 5> g_vecbTraceInfo{};
std::array<bool, 10> g_vecbTraceData{};

#pragma once
#include <atomic>
#include <functional>

/// Stands in for the object graph of a pass: no instance, so that only the event thread runs.
namespace StubGraph
{
/// Called in CreateBaseOMA and CreateDataOMA; their result is that of the call. Empty: true.
inline std::function<bool()> g_fnCreateBase;
inline std::function<bool()> g_fnCreateData;
inline std::atomic<int> g_nPasses{0};  ///< passes begun
inline std::atomic<int> g_nCleaned{0}; ///< passes cleaned up

void Reset();
} // namespace StubGraph

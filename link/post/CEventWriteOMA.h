#pragma once
#include "link/post/CEventWrite.h"
#include <memory>

/// The event writer of a pass; there is one for each pass.
class CEventWriteOMA : public CEventWrite
{
  public:
    CEventWriteOMA(unsigned long p_hConn, CTraceOMA* p_pTrace);
};

/// Created during the set-up of a pass, cleared during its clean-up, when no other thread of the pass is running. Test
/// it before posting.
extern std::unique_ptr<CEventWriteOMA> g_pEventWrite;

#pragma once
#include "link/post/CEventWrite.h"
#include <memory>

/// The one event writer of a pass.
class CEventWriteOMA : public CEventWrite
{
  public:
    CEventWriteOMA(unsigned long p_hConn, CTraceOMA* p_pTrace);
};

/// Made in the set-up of a pass, cleared by its clean-up, while no other thread of the pass lives. Every poster tests it.
extern std::unique_ptr<CEventWriteOMA> g_pEventWrite;

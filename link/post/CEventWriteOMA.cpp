#include "link/post/CEventWriteOMA.h"

std::unique_ptr<CEventWriteOMA> g_pEventWrite;

CEventWriteOMA::CEventWriteOMA(unsigned long p_hConn, CTraceOMA* p_pTrace)
    : CEventWrite(p_hConn, p_pTrace, "CEventWriteOMA")
{
}

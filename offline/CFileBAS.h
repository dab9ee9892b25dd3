#pragma once
#include "host/base/CTraceOMA.h"
#include <string>

/// A text file, given by its path. An object belongs to one thread. It writes no messages; the caller reports errors.
class CFileBAS
{
  public:
    CFileBAS(std::wstring p_wstrPath, CTraceOMA* p_pTrace);
    virtual bool Open() = 0;
    virtual bool Close() = 0;
    virtual ~CFileBAS() = default;
    CFileBAS(const CFileBAS&) = delete;
    CFileBAS& operator=(const CFileBAS&) = delete;

    void SetTrace(CTraceOMA* p_pTrace) { m_pTrace = p_pTrace; }

  protected:
    std::wstring m_wstrPath;
    CTraceOMA* m_pTrace;
};

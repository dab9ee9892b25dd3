#pragma once
#include "offline/CReadFile.h"
#include <complex>
#include <cstdint>
#include <string>
#include <vector>

/// Measured signal from a recorded file: read once at start-up, handed out one sample a pass, in a ring.
/// Threads  ReadData on the main thread before the jobs start; the rest on the one job of the offline mode.
class CReadFileMeas : public CReadFile
{
  public:
    CReadFileMeas(const std::wstring& p_wstrPath, bool p_bVoltAngle, const std::vector<std::int32_t>& p_vecnColVolt,
                  const std::vector<std::int32_t>& p_vecnColCurr, const std::string& p_strStart,
                  const std::string& p_strStop, CTraceOMA* p_pTrace);

    bool ReadData();
    /// Sample to hand out next; 0.0 when there is none.
    double GetActData() const;
    bool IncrDataCntr();
    std::size_t GetNoOfData() const { return m_vecData.size(); }

  private:
    bool m_bVoltAngle;
    std::vector<std::int32_t> m_vecnColVolt;
    std::vector<std::int32_t> m_vecnColCurr;
    std::string m_strStart;
    std::string m_strStop;
    std::vector<double> m_vecData;  ///< one sample for each accepted row
    unsigned m_nData = 0;
};

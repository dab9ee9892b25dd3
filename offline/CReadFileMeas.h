#pragma once
#include "offline/CReadFile.h"
#include <atomic>
#include <complex>
#include <cstdint>
#include <string>
#include <vector>

class CMethodTrace;

/// Measured signal from a recorded file, read once at start-up. Each pass takes one sample; after the last comes the
/// first.
///
/// File     one header line, then one record for each line, with fields separated by ';'. Field 0 is the time stamp
///          text. A phasor consists of the field of its column (counted from 1) with the magnitude, and the next field
///          with the angle in degrees. A missing or non-numeric field gives 0.0. Intended: an empty line is a record of
///          zeros.
/// Threads  ReadData on the main thread before the jobs start; everything else on the one job of the offline mode. If
///          several jobs use one reader, they share its samples; each sample is intact.
class CReadFileMeas : public CReadFile
{
  public:
    /// @param p_vecnColVolt, p_vecnColCurr column numbers of the two PMUs; 0 means unused.
    /// @param p_strStart, p_strStop parts of the time stamps of the first and last record, both included.
    CReadFileMeas(const std::wstring& p_wstrPath, bool p_bVoltAngle, const std::vector<std::int32_t>& p_vecnColVolt,
                  const std::vector<std::int32_t>& p_vecnColCurr, const std::string& p_strStart,
                  const std::string& p_strStop, CTraceOMA* p_pTrace);

    /// On failure no sample is kept. On success a warning gives the number of samples and the time range they cover.
    bool ReadData();
    /// The next sample; 0.0 if there is none.
    double GetActData() const;
    bool IncrDataCntr();
    std::size_t GetNoOfData() const { return m_vecData.size(); }
    /// Stops using a trace area that is about to be freed.
    void ForgetTrace(const CTraceOMA* p_pTrace);

  private:
    using VecPhasor = std::vector<std::complex<double>>;
    /// A column to read, and the PMU that its phasor belongs to.
    struct SColumn
    {
        std::int32_t nColumn;
        bool bVolt;
    };

    bool DoSort(const std::vector<std::int32_t>& p_vecnVolt, const std::vector<std::int32_t>& p_vecnCurr,
                std::vector<SColumn>& r_vecColumn) const;
    bool ReadRecords(const std::vector<SColumn>& p_vecColumn, const CMethodTrace& p_trace);
    bool AddRecord(const std::vector<SColumn>& p_vecColumn, VecPhasor& r_vecVolt, VecPhasor& r_vecCurr);
    /// @return the first field of which only a part is a number; 0: none.
    std::int64_t ExtractPhasors(const std::vector<SColumn>& p_vecColumn, VecPhasor& r_vecVolt,
                                VecPhasor& r_vecCurr) const;
    void TellCut(std::int64_t p_nField);
    bool CalcActivePower(const VecPhasor& p_vecVolt, const VecPhasor& p_vecCurr, double* p_pfP) const;
    bool CalcVoltAngle(const VecPhasor& p_vec1st, const VecPhasor& p_vec2nd, double* p_pfAngle_deg) const;
    bool PhasorsToPosSequ(const VecPhasor& p_vecPhasor, std::complex<double>* p_pcplx) const;

    bool m_bVoltAngle;
    std::vector<std::int32_t> m_vecnColVolt;
    std::vector<std::int32_t> m_vecnColCurr;
    std::string m_strStart;
    std::string m_strStop;
    std::size_t m_nLine = 0;             ///< number of the current line in the file, from 1
    bool m_bCutTold = false;             ///< a partly read field has been reported
    std::string m_strFirst;              ///< time stamps of the first
    std::string m_strLast;               ///< and the last accepted record
    std::vector<double> m_vecData;       ///< one sample for each accepted row
    std::atomic<std::size_t> m_nData{0}; ///< index of the next sample
};

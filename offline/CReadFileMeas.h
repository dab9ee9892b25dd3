#pragma once
#include "offline/CReadFile.h"
#include <atomic>
#include <complex>
#include <cstdint>
#include <string>
#include <vector>

class CMethodTrace;

/// Measured signal from a recorded file: read once at start-up, handed out one sample a pass, in a ring.
///
/// File     one header line, then one record a line, fields separated by ';'. Field 0 is the time stamp text; a phasor is
///          the field of its column (counted from 1) with the magnitude, and the next one with the angle in degrees.
///          A field that is missing or no number reads as 0.0; an empty line is a record of zeros (kept as it stands).
/// Threads  ReadData on the main thread before the jobs start; the rest on the one job of the offline mode. Several jobs
///          with one reader share its samples among them, each sample is whole.
class CReadFileMeas : public CReadFile
{
  public:
    /// @param p_vecnColVolt, p_vecnColCurr column numbers of the two PMUs; 0 means unused.
    /// @param p_strStart, p_strStop parts of the time stamps of the first and the last record; both are included.
    CReadFileMeas(const std::wstring& p_wstrPath, bool p_bVoltAngle, const std::vector<std::int32_t>& p_vecnColVolt,
                  const std::vector<std::int32_t>& p_vecnColCurr, const std::string& p_strStart,
                  const std::string& p_strStop, CTraceOMA* p_pTrace);

    /// On false no sample is kept. Otherwise a warning says how many there are and from when to when.
    bool ReadData();
    /// Sample to hand out next; 0.0 when there is none.
    double GetActData() const;
    bool IncrDataCntr();
    std::size_t GetNoOfData() const { return m_vecData.size(); }
    /// Lets go of a trace area that is about to be freed.
    void ForgetTrace(const CTraceOMA* p_pTrace);

  private:
    using VecPhasor = std::vector<std::complex<double>>;
    /// A column to read and the list that its phasor belongs to.
    struct SColumn
    {
        std::int32_t nColumn;
        bool bVolt;
    };

    bool DoSort(const std::vector<std::int32_t>& p_vecnVolt, const std::vector<std::int32_t>& p_vecnCurr,
                std::vector<SColumn>& r_vecColumn) const;
    bool ReadRecords(const std::vector<SColumn>& p_vecColumn, const CMethodTrace& p_trace);
    bool AddRecord(const std::vector<SColumn>& p_vecColumn, VecPhasor& r_vecVolt, VecPhasor& r_vecCurr);
    /// @return the first field of which only a part has been read as a number; 0: none.
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
    std::size_t m_nLine = 0;             ///< of the file, from 1: the one that is being read
    bool m_bCutTold = false;             ///< a field that was read in part has been named
    std::string m_strFirst;              ///< time stamps of the first and
    std::string m_strLast;               ///< the last record taken
    std::vector<double> m_vecData;       ///< one sample for each accepted row
    std::atomic<std::size_t> m_nData{0}; ///< the sample to hand out next
};

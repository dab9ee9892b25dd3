#pragma once
#include "host/base/CTraceOMA.h"
#include "host/shell/CShellBAS.h"
#include "spectrum/data/CPeakOMA.h"
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// All offline, study and diagnostic settings of the command line. The process has one object, created before anything
/// else. After parsing it is read-only and any thread may use it.
class CShellOMA : public CShellBAS
{
  public:
    CShellOMA();

    /// Parses the whole command line. @param p_pTrace for study peaks, may be null. @return false after SuspendApp.
    bool ExtractCmdLinePars(int p_nArgc, wchar_t* p_ppArgv[], CTraceOMA* p_pTrace);
    /// Second pass. Always true: a malformed number gives 0 or its leading part, unknown text is ignored.
    bool ExtractCmdLineParsOMA(int p_nArgc, wchar_t* p_ppArgv[], CTraceOMA* p_pTrace);
    void PrintUsage() const;

    std::wstring GetMeasFile() const { return m_wstrMeasFile; }
    bool IsMeasFile() const { return m_bMeasFile; }
    bool IsStudy() const { return m_bStudy; }
    std::int32_t GetNoMaxHS() const { return m_nMaxHS; }
    const std::vector<bool>& GetSpecFlags() const { return m_vecbSpec; }
    std::vector<std::unique_ptr<CPeakOMA>>* GetStudyPeaks() const { return m_pvecpStudyPeak.get(); }
    double GetNoise() const { return m_fNoise; }
    double GetRange() const { return m_fRange_s; }
    double GetShift() const { return m_fShift; }
    bool IsLMA() const { return m_bLMA; }
    bool IsFileFFT() const { return m_bFileFFT; }
    bool IsFilePSM() const { return m_bFilePSM; }
    std::int32_t GetCsvCycles() const { return m_nCsvCycles; }
    double GetDampCorr() const { return m_fDampCorr; }
    bool IsVoltAngle() const { return m_bVoltAngle; }
    const std::vector<std::int32_t>& GetColsVolt() const { return m_vecnColVolt; }
    const std::vector<std::int32_t>& GetColsCurr() const { return m_vecnColCurr; }
    std::string GetStart() const { return m_strStart; }
    std::string GetStop() const { return m_strStop; }

  private:
    /// An option: its name, its group and what to do with the text after its name.
    struct SRow;
    /// The options of the second pass. Rows are tried from top to bottom; the first match takes the argument. A row
    /// whose group has been used no longer matches, so a second option of a group continues down the table.
    std::vector<SRow> Rows(CTraceOMA* p_pTrace);

    std::int32_t m_nMaxHS = 8;    ///< -nmaxhs: number of newest half cycles that are used, at least 4
    std::vector<bool> m_vecbSpec; ///< -spec: in order of the configuration file
    std::unique_ptr<std::vector<std::unique_ptr<CPeakOMA>>> m_pvecpStudyPeak; ///< -peak:
    double m_fMinFreq_Hz = -1.0;                                              ///< -minfreq: stored, but has no effect
    double m_fMaxFreq_Hz = -1.0;                                              ///< -maxfreq: stored, but has no effect
    bool m_bLMA = false;                                                      ///< -lma
    bool m_bFileFFT = false;                                                  ///< -file:fft
    bool m_bFilePSM = false;                                                  ///< -file:psm
    std::int32_t m_nCsvCycles = 0;                                            ///< -csv: number of rows; 0: no file
    double m_fDampCorr = 1.0;                                                 ///< -dampcorr:
    bool m_bMeasFile = false;                                                 ///< -measfile:
    std::wstring m_wstrMeasFile;
    bool m_bVoltAngle = false;               ///< kind of the columns; the last option wins
    std::vector<std::int32_t> m_vecnColVolt; ///< -voltage:, -volt1:
    std::vector<std::int32_t> m_vecnColCurr; ///< -current:, -volt2:
    std::string m_strStart;                  ///< -start:
    std::string m_strStop;                   ///< -stop:
    bool m_bStudy = false;                   ///< -study
    double m_fNoise = 0.0;                   ///< -noise:
    double m_fRange_s = 0.0;                 ///< -range:
    double m_fShift = 0.0;                   ///< -shift:
    bool m_bRawMagn = false;                 ///< -rawmagn: stored, but has no effect
    bool m_bRawDamp = false;                 ///< -rawdamp: stored, but has no effect
};

/// The shell of the process; null outside RunApplication.
extern std::unique_ptr<CShellOMA> g_pShell;

#pragma once
#include "host/base/CTraceOMA.h"
#include <cstdint>
#include <valarray>

/// One spectral peak of one pass, or one oscillation of the study signal (-peak:).
/// Threads  one job thread; a study peak is read-only after start-up.
/// Errors   one trace line, and false or -1.0.
class CPeak
{
  public:
    explicit CPeak(CTraceOMA* p_pTrace) : m_pTrace(p_pTrace) {}

    /// Damping ratio from the width of the spectral peak; used for the trace and the study signal. z = 1 / sqrt(q^2 +
    /// 1) with q = 2 f / FWHM (resonance curve), with the sign of m_fNegDamp, times m_fDampCorr.
    bool CalcDamp(double* p_pfDamp) const;
    /// The inverse: sets and returns m_fFWHM_Hz = 2 f / sqrt(1/z^2 - 1). @return -1.0, with nothing set, for |z| = 1.
    double CalcFWHM(double p_fDamp);
    /// Spectral magnitude: sum of the amplitudes from one FWHM below to one FWHM above the frequency. -1.0 on error.
    double CalcMagn(const std::valarray<double>& p_vecAmpl, double p_fFreqStep_Hz) const;
    double CalcMagn(const std::valarray<double>& p_vecAmpl, double p_fFreqStep_Hz, double p_fBeg_Hz,
                    double p_fEnd_Hz) const;
    /// m_fFreq_Hz + p_fSign * m_fFWHM_Hz, at least 0.0.
    double GetLimit(double p_fSign) const;
    double GetFreqBeg() const { return GetLimit(-1.0); }
    double GetFreqEnd() const { return GetLimit(1.0); }

    double GetMagn() const { return m_fMagn; }
    double GetDamp() const { return m_fDamp; }
    double GetFreq() const { return m_fFreq_Hz; }
    double GetFWHM() const { return m_fFWHM_Hz; }
    double GetAmpl() const { return m_fAmpl; }
    double GetNegDamp() const { return m_fNegDamp; }
    double GetDampCorr() const { return m_fDampCorr; }
    std::int32_t GetGridQual() const { return m_eGridQual; }
    double GetOffset() const { return m_fOffset_s; }
    void SetMagn(double p_fMagn) { m_fMagn = p_fMagn; }
    void SetDamp(double p_fDamp) { m_fDamp = p_fDamp; }
    void SetFreq(double p_fFreq_Hz) { m_fFreq_Hz = p_fFreq_Hz; }
    void SetFWHM(double p_fFWHM_Hz) { m_fFWHM_Hz = p_fFWHM_Hz; }
    void SetAmpl(double p_fAmpl) { m_fAmpl = p_fAmpl; }
    void SetNegDamp(double p_fNegDamp) { m_fNegDamp = p_fNegDamp; }
    void SetDampCorr(double p_fDampCorr) { m_fDampCorr = p_fDampCorr; }
    void SetGridQual(std::int32_t p_eGridQual) { m_eGridQual = p_eGridQual; }
    void SetOffset(double p_fOffset_s) { m_fOffset_s = p_fOffset_s; }

  protected:
    double m_fMagn = -1.0; ///< magnitude from the time domain, W or degrees
    double m_fDamp = 0.0;  ///< damping ratio from the time domain; negative: decaying
    double m_fFreq_Hz = -1.0;
    double m_fFWHM_Hz = -1.0;     ///< full width at half maximum of the spectral peak
    double m_fAmpl = -1.0;        ///< fitted height of the spectral peak
    double m_fNegDamp = 0.0;      ///< 1.0 if the time-domain ratio was negative, else 0.0; gives CalcDamp its sign
    double m_fDampCorr = 1.0;     ///< factor of -dampcorr:
    std::int32_t m_eGridQual = 2; ///< grid quality of the job in this pass
    double m_fOffset_s = -1.0;    ///< start of a study peak
    CTraceOMA* m_pTrace;          ///< not owned, may be null
};

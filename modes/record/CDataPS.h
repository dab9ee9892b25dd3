#pragma once
#include "host/base/CTraceOMA.h"
#include "host/base/TextOMA.h"
#include <cstdint>
#include <valarray>

/// Observation of one mode by one spectrum band in one PS cycle. It has value semantics: the history stores copies.
/// -1.0 marks a missing value. A negative damping ratio means a decaying swing, 0 and above one that does not decay.
class CDataPS
{
  public:
    /// All values -1.0, quality INVALID.
    void Reset() { *this = CDataPS(); }

    double GetFreq() const { return m_fFreq_Hz; }
    double GetMagn() const { return m_fMagn; }
    double GetDamp() const { return m_fDamp; }
    std::int32_t GetQual() const { return m_eQual; }
    void SetFreq(double p_fFreq_Hz) { m_fFreq_Hz = p_fFreq_Hz; }
    void SetMagn(double p_fMagn) { m_fMagn = p_fMagn; }
    void SetDamp(double p_fDamp) { m_fDamp = p_fDamp; }
    void SetQual(std::int32_t p_eQual) { m_eQual = p_eQual; }

    /// Damping ratio from the mean of the rates (1/s) starting at index p_nStart.
    static bool DampTriple(const std::valarray<double>& p_vecAtten, unsigned p_nStart, double p_fFreq_Hz,
                           CTraceOMA* p_pTrace, double& r_fDamp);
    /// Same for two values; p_fVal1 is the later extremum. Currently unused.
    static bool DampForTupel(double p_fVal1, double p_fVal2, double p_fFreq_Hz, CTraceOMA* p_pTrace, double& r_fDamp);
    /// rad/s
    static double AngFreq(double p_fFreq_Hz) { return 6.283185307179586 * p_fFreq_Hz; }
    /// z = a / sqrt(w^2 + a^2): growth rate in 1/s to damping ratio. Every such conversion uses this function.
    static double DampRatio(double p_fFreq_Hz, double p_fAtten);
    /// Name used by the evaluation in the time domain.
    static double DampFromDecay(double p_fFreq_Hz, double p_fAtten) { return DampRatio(p_fFreq_Hz, p_fAtten); }
    /// The inverse. Currently unused.
    static double AttenFromDamp(double p_fFreq_Hz, double p_fDamp);

  private:
    double m_fFreq_Hz = -1.0;
    double m_fMagn = -1.0; ///< W or degrees
    double m_fDamp = -1.0;
    [[maybe_unused]] double m_fSpare1 = -1.0;
    [[maybe_unused]] double m_fSpare2 = -1.0;
    std::int32_t m_eQual = eQualInvalid;
};

#pragma once
#include "modes/track/CPSM.h"
#include "unit/link/output/OutputTest.h"
#include <memory>

/// The three bands of a job, its limits, and peaks as an evaluation would produce them.
class ModeTest : public OutputTest
{
  protected:
    ModeTest()
    {
        AddBand(LR, 0.8, 3.0);
        AddBand(MR, 0.2, 0.8);
        AddBand(HR, 0.05, 0.2);
    }
    void AddBand(std::int32_t p_eReso, double p_fBeg_Hz, double p_fEnd_Hz)
    {
        m_vecpSpec.push_back(std::make_unique<CSpec>(true, p_eReso, 256, p_fBeg_Hz, p_fEnd_Hz, 1, &m_trace));
    }
    /// Disables a band, as -spec does.
    void UnuseBand(std::int32_t p_eReso)
    {
        auto& pSpec = m_vecpSpec[static_cast<std::size_t>(p_eReso)];
        pSpec = std::make_unique<CSpec>(false, p_eReso, 256, pSpec->GetFreqBeg(), pSpec->GetFreqEnd(), 1, &m_trace);
    }
    CPeakOMA Peak(std::int32_t p_eReso, double p_fFreq_Hz, std::int32_t p_eQual = 0, double p_fMagn = 150.0,
                  double p_fDamp = -0.075)
    {
        CPeakOMA peak(&m_trace);
        peak.m_eReso = p_eReso;
        peak.SetFreq(p_fFreq_Hz);
        peak.SetGridQual(p_eQual);
        peak.SetMagn(p_fMagn);
        peak.SetDamp(p_fDamp);
        return peak;
    }
    static bool Add(CPSM& p_psm, const CPeakOMA& p_peak, const CTime& p_time)
    {
        return p_psm.AddPeak(&p_peak, std::valarray<double>(), 0.0, &p_time);
    }

    VecSpec m_vecpSpec;
    /// Level 5 for magnitude 150 and damping -0.075.
    CDOE m_doe{std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{100.0, 200.0}),
               std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{-0.1, -0.05})};
};

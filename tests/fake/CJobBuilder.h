#pragma once
#include "job/CJobOMA.h"
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// Settings of a job for a test or benchmark; the defaults suit most of them.
struct SJobSettings
{
    std::string strName = "JOB";
    std::uint32_t nId = 500;
    std::int32_t eJobMode = 0;
    std::vector<std::uint32_t> vecnSamples = {64, 128, 256}; ///< of the bands, highest frequencies first; 0: unused
    std::vector<double> vecfFreqEnd_Hz = {3.0, 0.8, 0.2};
    double fFreqBeg_Hz = 0.05; ///< lower limit of the lowest band
    double fMagnWarn = 100.0;
    double fMagnAlarm = 200.0;
    std::vector<std::pair<double, double>> vecMode_Hz = {{0.2, 0.8}, {0.8, 3.0}};
    std::uint32_t nInstance = 1; ///< connection for the modes
    std::uint32_t nUnitId = 31;  ///< virtual PMU of the measurement channel
    std::uint32_t nOutputRefId = 32;
    std::int32_t nRepRate = 1; ///< PS cycles a second; -n: one every n seconds
    double fCycle_s = 0.02;    ///< 0.0: set later by the read callback
    CReadFileMeas* pReadFile = nullptr;
};

/// Creates a job as the construction of a pass does, but without thread, handles and PMUs.
class CJobBuilder
{
  public:
    static constexpr std::uint32_t s_nIdModeFirst = 601;
    static constexpr std::uint32_t s_nIdModeUnitFirst = 801;
    static constexpr std::uint32_t s_nChanFirst = 9010; ///< four for each mode; the modes are ten apart

    static std::unique_ptr<CJobOMA> Make(const SJobSettings& p_settings)
    {
        auto pvecpSpec = std::make_unique<VecSpec>();
        for (std::size_t i = 0; i < 3; ++i)
            pvecpSpec->push_back(std::make_unique<CSpec>(
                p_settings.vecnSamples[i] > 0, static_cast<std::int32_t>(i), p_settings.vecnSamples[i],
                i < 2 ? p_settings.vecfFreqEnd_Hz[i + 1] : p_settings.fFreqBeg_Hz, p_settings.vecfFreqEnd_Hz[i],
                p_settings.nId, nullptr));
        auto pDOE = std::make_unique<CDOE>(
            std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{p_settings.fMagnWarn, p_settings.fMagnAlarm}),
            std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{-0.05, -0.03}));
        auto pJob = std::make_unique<CJobOMA>(p_settings.strName, p_settings.nId, true, p_settings.eJobMode,
                                              std::move(pvecpSpec), p_settings.nUnitId, p_settings.nOutputRefId, 10,
                                              p_settings.nRepRate, std::move(pDOE),
                                              std::make_unique<CTraceOMA>(p_settings.strName), p_settings.pReadFile);
        if (p_settings.fCycle_s > 0.0)
        {
            pJob->m_fCycle_s = p_settings.fCycle_s;
            for (const auto& pProc : *pJob->m_pvecpProc)
                pProc->SetDeltaT(p_settings.fCycle_s);
        }
        AddModes(*pJob, p_settings);
        return pJob;
    }

  private:
    static void AddModes(CJobOMA& r_job, const SJobSettings& p_settings)
    {
        std::uint32_t nMode = 0;
        for (const auto& [fMin_Hz, fMax_Hz] : p_settings.vecMode_Hz)
        {
            const unsigned long nChan = s_nChanFirst + 10 * nMode;
            auto pMode = std::make_unique<CPsmOut>(
                p_settings.eJobMode == 0, p_settings.nInstance, s_nIdModeFirst + nMode, s_nIdModeUnitFirst + nMode,
                std::vector<unsigned long>{nChan, nChan + 1, nChan + 2, nChan + 3}, p_settings.nRepRate, fMin_Hz,
                fMax_Hz, 1, r_job.m_pvecpSpec.get(), 10, r_job.m_pDOE.get(),
                std::make_unique<CTraceOMA>(p_settings.strName + "_1"));
            pMode->SetCounters(r_job.NoOfCyclesInactive());
            r_job.m_pvecpPsmOut->push_back(std::move(pMode));
            ++nMode;
        }
    }
};

#pragma once
#include "vds/base/ISource.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

/// What the simulator plays: a small grid in steady state, the swings superimposed on it, and the data faults. Read
/// from a JSON file, checked as a whole, constant afterwards. All times are seconds from the start.
struct CScenario
{
    static constexpr double g_fNoEnd = std::numeric_limits<double>::infinity();

    struct SPlace
    {
        std::string strName;
        double fVoltage_V = 0.0; ///< phase to ground
        double fAngle_deg = 0.0; ///< in steady state
    };
    /// A line between two places; its current depends only on their voltages.
    struct SLine
    {
        std::string strName;
        std::size_t iFrom = 0;
        std::size_t iTo = 0;
        double fReactance_Ohm = 0.0;
    };
    /// One measured phasor: a phase voltage of a place, or its current from a place into a line.
    struct SPhasor
    {
        unsigned long nId = 0;
        unsigned nPhase = 0; ///< 0, 1, 2: phase angle -0, -120, -240 degrees
        bool bCurrent = false;
        std::size_t iPlace = 0;
        std::size_t iFarPlace = 0;   ///< other end of the line, for a current
        double fReactance_Ohm = 0.0; ///< for a current
    };
    /// A damped sinusoid of the angles. From fEnd_s on it continues with fDampingAfterEnd, or is gone (NaN).
    struct SSwing
    {
        std::string strName;
        double fFreq_Hz = 0.0;
        double fDamping = 0.0; ///< damping ratio; negative: decays, positive: grows
        double fStart_s = 0.0;
        double fEnd_s = g_fNoEnd;
        double fDampingAfterEnd = std::numeric_limits<double>::quiet_NaN();
        double fAmplitude_deg = 0.0; ///< at the start, at a place with shape 1
        double fPhase_deg = 0.0;
        std::vector<double> vecShape; ///< by place; 0: not involved
    };
    /// A place that runs at another frequency for a while, as after a split of the grid.
    struct SDrift
    {
        std::size_t iPlace = 0;
        double fFrom_s = 0.0;
        double fTo_s = g_fNoEnd;
        double fFreq_Hz = 0.0; ///< offset from the frequency of the other places
    };
    /// State word of some phasors for a time span.
    struct SInvalid
    {
        std::vector<std::size_t> vecPhasor; ///< indices into m_vecPhasor
        double fFrom_s = 0.0;
        double fTo_s = g_fNoEnd;
        std::uint64_t nState = g_nStateNoSample;
    };
    /// For a time span, no samples of some phasors, or no cycles at all.
    struct SGap
    {
        std::vector<std::size_t> vecPhasor; ///< empty: whole cycles are missing
        double fFrom_s = 0.0;
        double fTo_s = 0.0;
    };
    /// A cycle that is delivered again with the same time stamp.
    struct SRepeat
    {
        double fAt_s = 0.0;
        std::uint32_t nCount = 1;
    };
    /// Time stamps that are wrong by fBy_s for nCycles cycles.
    struct SJump
    {
        double fAt_s = 0.0;
        double fBy_s = 0.0;
        std::uint64_t nCycles = std::numeric_limits<std::uint64_t>::max();
    };
    struct SEvent
    {
        double fAt_s = 0.0;
        SSourceEvent event;
    };

    /// @return false with one line in r_strError that names the file, the member and what was expected.
    bool Load(const std::string& p_strPath, std::string& r_strError);

    std::string m_strName;
    std::int64_t m_nStartTicks = 0; ///< on a whole second
    double m_fDuration_s = 0.0;
    std::int32_t m_nRate = 0; ///< cycles per second, or -n for one every n seconds
    std::uint64_t m_nSeed = 1;
    double m_fFreqOffset_Hz = 0.0;  ///< offset of the whole grid from the nominal frequency: all angles rotate at it
    double m_fNoiseMagn = 0.0;      ///< standard deviation, as a fraction of the magnitude
    double m_fNoiseAngle_deg = 0.0; ///< standard deviation
    std::vector<SPlace> m_vecPlace;
    std::vector<SLine> m_vecLine;
    std::vector<SPhasor> m_vecPhasor;
    std::vector<SSwing> m_vecSwing;
    std::vector<SDrift> m_vecDrift;
    std::vector<SInvalid> m_vecInvalid;
    std::vector<SGap> m_vecGap;
    std::vector<SRepeat> m_vecRepeat;
    std::vector<SJump> m_vecJump;
    std::vector<SEvent> m_vecEvent; ///< in order of time
};

/// Exponential rate in 1/s of a swing with this frequency and damping ratio: the inverse of ratio = a / sqrt((2 pi f)^2
/// + a^2).
double DecayRate(double p_fFreq_Hz, double p_fDamping);

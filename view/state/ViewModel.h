#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
class CConfiguration;
}

struct SViewMode
{
    std::uint64_t nId = 0; ///< element id
    std::string strName;   ///< "0.20 to 0.80 Hz"
    double fMin_Hz = 0.0;
    double fMax_Hz = 0.0;
};

struct SViewJob
{
    std::uint64_t nId = 0; ///< element id
    std::string strName;
    std::string strInstance;
    bool bActive = true; ///< it and its instance
    bool bPower = true;
    bool bUsesGrid = false; ///< heeds network splits
    double fRate_Hz = 50.0; ///< of the actual value
    double fPass_s = 1.0;
    std::vector<double> vecfWindow_s; ///< shortest first
    double fMagnWarn = 0.0;           ///< W or degrees
    double fMagnAlarm = 0.0;
    double fDampWarn = 0.0;
    double fDampAlarm = 0.0;
    int nMinLevel = 4; ///< the least severe one that is posted
    std::vector<SViewMode> vecMode;

    const char* Unit() const { return bPower ? "W" : "\u00b0"; }
    double Window_s() const { return vecfWindow_s.empty() ? 0.0 : vecfWindow_s.back(); }
};

/// What the configuration says of jobs and modes. Does not change while the program runs.
struct SViewModel
{
    static constexpr int g_nActualValue = -1;
    /// Where the value of an output channel belongs.
    struct SPlace
    {
        std::size_t iJob = 0;
        int iMode = g_nActualValue;
        int iQuantity = 0; ///< 0 frequency, 1 magnitude, 2 damping ratio, 3 degree of exposure
    };
    /// Number of a mode among all.
    struct SModePlace
    {
        std::size_t iJob = 0;
        std::size_t iMode = 0;
    };
    std::vector<SViewJob> vecJob;
    std::unordered_map<std::uint64_t, SPlace> mapChannel;  ///< by data point
    std::unordered_map<std::uint64_t, SModePlace> mapMode; ///< by element id; the first one of several
    std::unordered_map<std::uint64_t, std::size_t> mapJob; ///< by element id
    std::string strAddr;
    unsigned nPort = 0;
};

SViewModel MakeViewModel(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration& p_config);

/// "Critical Power Swing" and so on, 0 to 4.
const char* LevelText(int p_nLevel);
/// 1 to 4 for the key of a swing event, else 0.
int LevelOfKey(int p_eKey);

/// Second estimates of recorded actual values, for accuracy.py. Reads lines from standard input:
///   job RATE MIN_HZ MAX_HZ     a new job with one mode, active power
///   v TICKS VALUE QUALITY      one actual value
///   e STANDING                 1: the mode stands; prints the estimate as of now, one JSON object a line
#include "refine/CRefine.h"
#include <iostream>
#include <memory>
#include <string>

namespace
{
void Print(const SEstimate& p_e)
{
    const SSwing& s = p_e.aSwing[0];
    std::cout << "{\"time\":" << p_e.nTime << ",\"swings\":" << p_e.nSwings << ",\"freq\":" << s.freq_Hz.fValue
              << ",\"freq_dev\":" << s.freq_Hz.fDev << ",\"ratio\":" << s.ratio.fValue
              << ",\"ratio_dev\":" << s.ratio.fDev << ",\"ampl\":" << s.ampl.fValue
              << ",\"verdict\":" << static_cast<int>(p_e.eVerdict) << "}\n";
}
} // namespace

int main()
{
    std::cout.precision(12);
    std::unique_ptr<CRefine> pRefine;
    std::string strWord;
    while (std::cin >> strWord)
    {
        if (strWord == "job")
        {
            int nRate = 0;
            CRefine::SMode mode{};
            std::cin >> nRate >> mode.fMin_Hz >> mode.fMax_Hz;
            pRefine = std::make_unique<CRefine>(nRate, false, std::vector<CRefine::SMode>{mode});
        }
        else if (strWord == "v" && pRefine)
        {
            std::int64_t nTime = 0;
            double fValue = 0.0;
            unsigned nQuality = 0;
            std::cin >> nTime >> fValue >> nQuality;
            pRefine->AddSample(nTime, fValue, nQuality);
        }
        else if (strWord == "e" && pRefine)
        {
            int nStanding = 0;
            std::cin >> nStanding;
            pRefine->SetStanding(0, nStanding != 0);
            Print(pRefine->Estimate(0));
        }
        else
        {
            std::cerr << "accuracy_replay: \"" << strWord << "\" is not understood\n";
            return 1;
        }
    }
    return 0;
}

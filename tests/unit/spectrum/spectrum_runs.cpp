#include "SpectrumBench.h"
#include "fake/CaptureTrace.h"
#include <cstdio>
#include <fstream>
#include <iostream>

// Runs the evaluations described by its input, one on each line, and writes their results for second_implementation.py.
// A line holds: number of samples, spacing, upper band limit, largest frequency, lowest magnitude limit, kind of fit,
// -nmaxhs:, -dampcorr:, then the samples. Numbers are hexadecimal.

namespace
{
class CRuns : public SpectrumBench
{
  public:
    void Play(std::istream& r_input)
    {
        for (std::string strLine; std::getline(r_input, strLine);)
            PlayLine(strLine);
    }

  private:
    void TestBody() override {}
    void PlayLine(const std::string& p_strLine)
    {
        std::vector<double> vecfNumber;
        const char* pszRest = p_strLine.c_str();
        for (char* pszEnd = nullptr;; pszRest = pszEnd)
        {
            const double fNumber = std::strtod(pszRest, &pszEnd);
            if (pszEnd == pszRest)
                break;
            vecfNumber.push_back(fNumber);
        }
        const auto fnOption = [&](const wchar_t* p_pszName, std::size_t p_nPlace)
        { return p_pszName + std::to_wstring(vecfNumber.at(p_nPlace)); };
        Options({L"-nmaxhs:" + std::to_wstring(static_cast<int>(vecfNumber.at(6))), fnOption(L"-dampcorr:", 7)});
        g_vecbTraceData[3] = g_vecbTraceData[4] = g_vecbTraceData[7] = g_bTraceDataAll = true;
        m_doe = CDOE(std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{vecfNumber[4], 2.0 * vecfNumber[4]}),
                     std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{-0.05, -0.03}));
        MakeProc(static_cast<std::uint32_t>(vecfNumber[0]), vecfNumber[2], vecfNumber[1]);
        m_deqMeas.Clear();
        Feed({&vecfNumber[8], vecfNumber.size() - 8});
        const CaptureTrace capture;
        const CProcOMA::VecPeak vecpPeak = Run(vecfNumber[3], static_cast<int>(vecfNumber[5]));
        for (const std::string& strTraced : capture.Lines())
            std::printf("trace %s\n", strTraced.c_str());
        for (const auto& pPeak : vecpPeak)
        {
            double fDampFreq = -1.0;
            pPeak->CalcDamp(&fDampFreq);
            std::printf("peak %d %d %a %a %a %a %a %a\n", pPeak->m_eReso, pPeak->GetGridQual(), pPeak->GetFreq(),
                        pPeak->GetFWHM(), pPeak->GetAmpl(), pPeak->GetMagn(), pPeak->GetDamp(), fDampFreq);
        }
        std::printf("spectrum %a", m_pProc->GetFreqStep());
        for (const double fAmpl : m_pProc->GetAmpl())
            std::printf(" %a", fAmpl);
        std::printf("\n");
    }
};
} // namespace

int main(int p_nArgs, char** p_ppszArg)
{
    std::ifstream file(p_nArgs > 1 ? p_ppszArg[1] : "");
    CRuns().Play(file);
    return 0;
}

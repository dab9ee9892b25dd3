#include "host/shell/CShellOMA.h"
#include "FileName.h"
#include "host/base/ApplicationControl.h"
#include "host/shell/TextNumber.h"
#include <algorithm>
#include <array>
#include <boost/algorithm/string/case_conv.hpp>
#include <functional>
#include <iostream>
#include <string_view>

namespace
{
constexpr std::string_view g_strClassShell = "CShellOMA";
constexpr std::int32_t g_nMaxHSMin = 4;
constexpr int g_nColumns = 3;    ///< phases of a -voltage: or -current: list
constexpr int g_nPeakValues = 4; ///< values of -peak:

/// Result of the first pass.
enum EParsBAS : int
{
    eParsNoArgs = 0,
    eParsNoConfig = 1,
    eParsConfigMissing = 2,
    eParsConfigOnly = 3,
    eParsMore = 4
};

/// Groups of the option table: of the rows in a group one is used, and only once. eAlways has no such limit.
enum EGroup : std::size_t
{
    eAlways,
    eMaxHS,
    eMinFreq,
    eMaxFreq,
    eLMA,
    eFileFFT,
    eFilePSM,
    eCsv,
    eDampCorr,
    eMeasFile,
    eStart,
    eStop,
    eColsVolt,
    eColsCurr,
    eStudy,
    eNoise,
    eRange,
    eShift,
    eRawMagn,
    eRawDamp,
    eGroups
};

/// Removes and returns the text up to the first comma. Without a comma it returns the whole text and removes nothing,
/// so the last number of a list that is too short repeats.
std::wstring TakeToken(std::wstring* p_pwstrList)
{
    const std::size_t nComma = p_pwstrList->find(L',');
    if (nComma == std::wstring::npos)
        return *p_pwstrList;
    std::wstring wstrToken = p_pwstrList->substr(0, nComma);
    p_pwstrList->erase(0, nComma + 1);
    return wstrToken;
}

void AppendColumns(std::wstring p_wstrList, std::vector<std::int32_t>* p_pvecnCol)
{
    for (int n = 0; n < g_nColumns; ++n)
        p_pvecnCol->push_back(IntFromText(TakeToken(&p_wstrList)));
}

std::unique_ptr<CPeakOMA> StudyPeak(std::wstring p_wstrValues, CTraceOMA* p_pTrace)
{
    std::array<double, g_nPeakValues> vecfValue{};
    for (double& fValue : vecfValue)
        fValue = DoubleFromText(TakeToken(&p_wstrValues));
    const auto [fFreq_Hz, fMagn, fDamp, fOffset_s] = vecfValue;

    auto pPeak = std::make_unique<CPeakOMA>(p_pTrace);
    pPeak->SetFreq(fFreq_Hz);
    pPeak->SetMagn(fMagn);
    pPeak->SetAmpl(fMagn); // the study signal reads the amplitude
    pPeak->CalcFWHM(fDamp);
    pPeak->SetNegDamp(fDamp < 0.0 ? 1.0 : 0.0);
    pPeak->SetOffset(fOffset_s);
    return pPeak;
}

constexpr std::wstring_view g_wstrUsage =
    L"call of OMA application: \n"
    L"\n"
    L"OMA -xml:[config.path] [-[trace option]:[text] [TFILE:[trace file path]] [-job] [-study] [-fft:[fft data file]]\n"
    L"\n"
    L"options:\n"
    L"  -nMaxHS:[4,5,...]      : no.of IFFT sin. half cycles to be used for magn./damp.ratio calc.\n"
    L"  -spec:[1,2,3]          : index of FFT to be omitted\n"
    L"  -noOfFFT               : no.of FFTs per job [Hz]\n"
    L"  -factorFFT             : FFT noOfSamples multiplier\n"
    L"  -minFreq               : min. PS frequency [Hz]\n"
    L"  -maxFreq               : max. PS frequency [Hz]\n"
    L"  -file:fft              : save FFT input/output data to file c:\\[job name]_fft.dat\n"
    L"  -file:psm              : save once (ext.) power swing data to file c:\\[job name]_psm.dat\n"
    L"  -csv:[no.of PSM cycles]: save continuously power swing results to c:\\[job name].csv\n"
    L"  -lma                   : iterative data fit based on Levenberg-Marquardt algorithm\n"
    L"  [trace options]        : tracer (see below)\n"
    L"  -TFILE:[path]          : write trace data to specified file\n"
    L"  -dampcorr:[corr.value] : damping factor correctio value (default: 1.0)\n"
    L"  -study                 : use study data for FFT input (instead of simulated/RT PMU data)\n"
    L"  [study options]        : (only if '-study' option is selected, details see below)\n"
    L"\n"
    L"trace options (multiples allowed):\n"
    L"  -ERROR  : errors only are traced\n"
    L"  -WARNING: errors/warnings are traced\n"
    L"  -INFO   : errors/warnings/info are traced\n"
    L"  -DATA   : errors/warnings/info/data are traced\n"
    L"\n"
    L"trace areas:\n"
    L"  OMA_Main\n"
    L"  [OMA instance name] (see config.file)\n"
    L"\n"
    L"  [OMA job name] (see config.file)\n"
    L"study options:\n"
    L"  -peak :[frequency[Hz]],[magnitude[VA -or- deg]],[damping],[offset[s]]: PS mode peak data\n"
    L"  -noise:[magnitude]                                                   : noise added to peaks\n"
    L"  -range:[time range]                                                  : study signal repetition time range [s]\n"
    L"  -shift:[shift factor]                                                : rel.time shift (0...1)\n"
    L"\n";
} // namespace

std::unique_ptr<CShellOMA> g_pShell;

CShellOMA::CShellOMA()
    : m_vecbSpec(3, true), m_pvecpStudyPeak(std::make_unique<std::vector<std::unique_ptr<CPeakOMA>>>())
{
}

bool CShellOMA::ExtractCmdLinePars(int p_nArgc, wchar_t* p_ppArgv[], CTraceOMA* p_pTrace)
{
    constexpr std::string_view strMethod = "ExtractCmdLinePars";
    const auto Refuse = [strMethod](std::string_view p_strText)
    {
        SuspendApp(g_strClassShell, strMethod, p_strText);
        return false;
    };
    const auto Caught = [strMethod, p_pTrace](std::string_view p_strText)
    {
        if (p_pTrace)
            p_pTrace->TraceError(g_strClassShell, strMethod, p_strText);
        return false;
    };
    try
    {
        switch (ExtractCmdLineParsBAS(p_nArgc, p_ppArgv))
        {
        case eParsNoArgs:
            return Refuse("No command line arguments (missing program name)");
        case eParsNoConfig:
            PrintUsage();
            return Refuse("Missing (at least) KESTREL config.file name");
        case eParsConfigMissing:
            return Refuse("Specified KESTREL config.file does not exist");
        case eParsConfigOnly:
            return true;
        case eParsMore:
            return ExtractCmdLineParsOMA(p_nArgc, p_ppArgv, p_pTrace);
        default:
            return Refuse("Invalid 'case'");
        }
    }
    catch (const char* pText)
    {
        return Caught(pText);
    }
    catch (const std::exception& error)
    {
        return Caught(error.what());
    }
}

struct CShellOMA::SRow
{
    std::wstring_view wstrOption;
    EGroup eGroup;
    std::function<void(const std::wstring& p_wstrRest)> fnTake;
};

std::vector<CShellOMA::SRow> CShellOMA::Rows(CTraceOMA* p_pTrace)
{
    const auto SetFlag = [](bool* p_pbFlag) { return [p_pbFlag](const std::wstring&) { *p_pbFlag = true; }; };
    const auto SetDouble = [](double* p_pfValue)
    { return [p_pfValue](const std::wstring& p_wstrRest) { *p_pfValue = DoubleFromText(p_wstrRest); }; };
    const auto SetText = [](std::string* p_pstrText)
    { return [p_pstrText](const std::wstring& p_wstrRest) { *p_pstrText = NarrowText(p_wstrRest); }; };
    const auto SetColumns = [this](std::vector<std::int32_t>* p_pvecnCol, bool p_bVoltAngle)
    {
        return [this, p_pvecnCol, p_bVoltAngle](const std::wstring& p_wstrRest)
        {
            m_bVoltAngle = p_bVoltAngle;
            AppendColumns(p_wstrRest, p_pvecnCol);
        };
    };
    // Intended: the option has no colon, so "-spec2" omits a band, while "-spec:2" reads as 0 and omits none.
    const auto OmitSpec = [this](const std::wstring& p_wstrRest)
    {
        const std::int32_t nSpec = IntFromText(p_wstrRest);
        if (nSpec >= 1 && nSpec <= static_cast<std::int32_t>(m_vecbSpec.size()))
            m_vecbSpec[static_cast<std::size_t>(nSpec - 1)] = false;
    };
    return {
        {L"-nmaxhs:", eMaxHS,
         [this](const std::wstring& p_wstrRest) { m_nMaxHS = std::max(IntFromText(p_wstrRest), g_nMaxHSMin); }},
        {L"-spec", eAlways, OmitSpec},
        {L"-minfreq:", eMinFreq, SetDouble(&m_fMinFreq_Hz)},
        {L"-maxfreq:", eMaxFreq, SetDouble(&m_fMaxFreq_Hz)},
        {L"-lma", eLMA, SetFlag(&m_bLMA)},
        {L"-file:fft", eFileFFT, SetFlag(&m_bFileFFT)},
        {L"-file:psm", eFilePSM, SetFlag(&m_bFilePSM)},
        {L"-csv:", eCsv, [this](const std::wstring& p_wstrRest) { m_nCsvCycles = IntFromText(p_wstrRest); }},
        {L"-dampcorr:", eDampCorr, SetDouble(&m_fDampCorr)},
        {L"-measfile:", eMeasFile,
         [this](const std::wstring& p_wstrRest)
         {
             m_wstrMeasFile = p_wstrRest;
             m_bMeasFile = true;
         }},
        {L"-start:", eStart, SetText(&m_strStart)},
        {L"-stop:", eStop, SetText(&m_strStop)},
        {L"-voltage:", eColsVolt, SetColumns(&m_vecnColVolt, false)},
        {L"-volt1:", eColsVolt, SetColumns(&m_vecnColVolt, true)},
        {L"-current:", eColsCurr, SetColumns(&m_vecnColCurr, false)},
        {L"-volt2:", eColsCurr, SetColumns(&m_vecnColCurr, true)},
        {L"-study", eStudy, SetFlag(&m_bStudy)},
        {L"-noise:", eNoise, SetDouble(&m_fNoise)},
        {L"-range:", eRange, SetDouble(&m_fRange_s)},
        {L"-shift:", eShift, SetDouble(&m_fShift)},
        {L"-peak:", eAlways,
         [this, p_pTrace](const std::wstring& p_wstrRest)
         { m_pvecpStudyPeak->push_back(StudyPeak(p_wstrRest, p_pTrace)); }},
        {L"-rawmagn", eRawMagn, SetFlag(&m_bRawMagn)},
        {L"-rawdamp", eRawDamp, SetFlag(&m_bRawDamp)},
    };
}

bool CShellOMA::ExtractCmdLineParsOMA(int p_nArgc, wchar_t* p_ppArgv[], CTraceOMA* p_pTrace)
{
    const std::vector<SRow> vecRow = Rows(p_pTrace);
    std::array<bool, eGroups> vecbTaken{};
    for (int n = 1; n < p_nArgc && p_ppArgv; ++n)
    {
        const std::wstring wstrGiven = p_ppArgv[n] ? p_ppArgv[n] : L"";
        const std::wstring wstrArg = boost::algorithm::to_lower_copy(wstrGiven);
        const auto itRow = std::find_if(vecRow.begin(), vecRow.end(),
                                        [&](const SRow& p_row)
                                        { return !vecbTaken[p_row.eGroup] && wstrArg.starts_with(p_row.wstrOption); });
        if (itRow == vecRow.end())
            continue;
        const std::wstring wstrRest = wstrArg.substr(itRow->wstrOption.size());
        if (itRow->eGroup == eMeasFile)
        {
            FileNameRemember(wstrGiven.substr(itRow->wstrOption.size()));
            if (!FileCanBeRead(wstrRest))
            {
                // Intended: suspends, yet returns true: the caller still runs one last pass, with the server as source.
                SuspendApp(g_strClassShell, "ExtractCmdLineParsOMA", "Specified meas.data CSV file does not exist");
                return true;
            }
        }
        vecbTaken[itRow->eGroup] = itRow->eGroup != eAlways;
        itRow->fnTake(wstrRest);
    }
    return true;
}

void CShellOMA::PrintUsage() const
{
    std::wcout << g_wstrUsage << std::flush;
}

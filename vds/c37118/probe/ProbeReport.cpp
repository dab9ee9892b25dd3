#include "vds/c37118/probe/ProbeReport.h"
#include "vds/base/Options.h"
#include "vds/base/ParseNumber.h"
#include "vds/c37118/codec/DecodeFrame.h"
#include "vds/c37118/input/CStreamSet.h"
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <optional>
#include <stdexcept>

namespace
{
// Ids of the configuration: two units per PMU (voltages, currents), up to 99 data points per unit.
constexpr std::size_t g_nPmusMax = 50;
constexpr std::size_t g_nPhasorsMax = 99;

unsigned long UnitId(const CProbe& p_probe, std::size_t p_nPmu, bool p_bCurrent)
{
    return p_probe.Stream().nStreamId * 100UL + 2 * p_nPmu + (p_bCurrent ? 1 : 0);
}
unsigned long DatapointId(const CProbe& p_probe, std::size_t p_nPmu, std::size_t p_nPhasor)
{
    const bool bCurrent = p_probe.Reader().Config().vecPmu[p_nPmu].vecPhasor[p_nPhasor].bCurrent;
    return UnitId(p_probe, p_nPmu, bCurrent) * 100UL + p_nPhasor + 1;
}

template <class... TArgs>
std::string Format(const char* p_pFormat, TArgs... p_args)
{
    std::array<char, 400> text{};
    std::snprintf(text.data(), text.size(), p_pFormat, p_args...);
    return text.data();
}

// Written without libxml2: its writer puts every element on a line of its own and writes '>' in names as &gt;, while these
// pieces are laid out for a reader who pastes them.

/// Text as the value of an attribute.
std::string Xml(const std::string& p_strText)
{
    std::string strXml;
    for (const char c : Printable(p_strText))
    {
        switch (c)
        {
        case '&':
            strXml += "&amp;";
            break;
        case '<':
            strXml += "&lt;";
            break;
        case '"':
            strXml += "&quot;";
            break;
        default:
            strXml += c;
        }
    }
    return strXml;
}

std::string ClockText(unsigned p_nQuality)
{
    static constexpr std::array<const char*, 16> texts = {
        "locked",        "within 1 ns",   "within 10 ns",  "within 100 ns", "within 1 us", "within 10 us",
        "within 100 us", "within 1 ms",   "within 10 ms",  "within 100 ms", "within 1 s",  "within 10 s",
        "reserved code", "reserved code", "reserved code", "failed"};
    return std::to_string(p_nQuality) + " (" + texts[p_nQuality & 0xFU] + ")";
}

std::string RateText(std::int32_t p_nRate)
{
    return p_nRate > 0 ? std::to_string(p_nRate) + " frames per second"
                       : "one frame every " + std::to_string(-p_nRate) + " s";
}

std::string PhasorText(const SPmuConfig& p_pmu, const SPhasorConfig& p_phasor, const std::complex<double>* p_pValue)
{
    const std::string strName = Printable(p_phasor.strName);
    std::string strText = Format("  %-16.60s %s", strName.c_str(), p_phasor.bCurrent ? "current" : "voltage");
    if (!p_pmu.bPhasorFloat)
        strText += Format(", %g %s per count", p_phasor.fScale, p_phasor.bCurrent ? "A" : "V");
    if (p_pValue && std::isfinite(std::abs(*p_pValue)))
        strText += Format(": %.6g %s at %.2f degrees", std::abs(*p_pValue), p_phasor.bCurrent ? "A" : "V",
                          std::arg(*p_pValue) * 180.0 / std::numbers::pi);
    else if (p_pValue)
        strText += ": no value";
    return strText + "\n";
}

std::string PmuText(const SPmuConfig& p_pmu, const SPmuWatch* p_pWatch, std::uint64_t p_nFrames)
{
    std::string strText =
        Format("PMU %u '%s': nominal frequency %.0f Hz, %zu phasors (%s, %s), %zu analogs, %zu digital words\n",
               unsigned{p_pmu.nIdCode}, Printable(p_pmu.strStation).substr(0, 100).c_str(), p_pmu.Nominal_Hz(),
               p_pmu.vecPhasor.size(), p_pmu.bPhasorFloat ? "floating point" : "integer",
               p_pmu.bPolar ? "polar" : "rectangular", p_pmu.vecAnalog.size(), p_pmu.vecDigital.size());
    for (std::size_t i = 0; i < p_pmu.vecPhasor.size(); ++i)
        strText += PhasorText(p_pmu, p_pmu.vecPhasor[i],
                              p_pWatch && i < p_pWatch->last.vecPhasor.size() ? &p_pWatch->last.vecPhasor[i] : nullptr);
    if (p_pWatch)
        strText +=
            Format("  frequency %.3f Hz; without data error in %llu of %llu frames, synchronisation lost in %llu\n",
                   double{p_pWatch->last.fFreq_Hz}, static_cast<unsigned long long>(p_pWatch->nGood),
                   static_cast<unsigned long long>(p_nFrames), static_cast<unsigned long long>(p_pWatch->nSyncLost));
    return strText;
}

std::string StreamXml(const CProbe& p_probe)
{
    const SStreamConfig& stream = p_probe.Stream();
    const bool bUdp = stream.eTransport == ETransport::eUdp;
    const SConfigFrame& config = p_probe.Reader().Config();
    std::string strXml = "    <Synchrophasors>\n      <Stream Name=\"" +
                         Xml("stream" + std::to_string(stream.nStreamId)) + "\" Host=\"" + Xml(stream.strHost) + "\" " +
                         (bUdp ? "UdpPort" : "Port") + "=\"" + std::to_string(bUdp ? stream.nUdpPort : stream.nPort) +
                         "\" Transport=\"" + (bUdp ? "udp" : "tcp") + "\" StreamId=\"" +
                         std::to_string(stream.nStreamId) + "\"";
    const bool bOffGrid = p_probe.Reader().m_counters.nOffGrid > 0;
    strXml += bOffGrid ? " RoundToGrid=\"true\">\n" : ">\n";
    for (std::size_t i = 0; i < std::min(config.vecPmu.size(), g_nPmusMax); ++i)
    {
        const SPmuConfig& pmu = config.vecPmu[i];
        for (std::size_t j = 0; j < std::min(pmu.vecPhasor.size(), g_nPhasorsMax); ++j)
            strXml += "        <Phasor Pmu=\"" + std::to_string(pmu.nIdCode) + "\" Name=\"" +
                      Xml(pmu.vecPhasor[j].strName) + "\" Datapoint=\"" + std::to_string(DatapointId(p_probe, i, j)) +
                      "\"/>\n";
    }
    return strXml + "      </Stream>\n    </Synchrophasors>\n";
}

std::string UnitXml(const CProbe& p_probe, std::size_t p_nPmu, bool p_bCurrent)
{
    const SConfigFrame& config = p_probe.Reader().Config();
    const SPmuConfig& pmu = config.vecPmu[p_nPmu];
    std::string strPoints;
    for (std::size_t i = 0; i < std::min(pmu.vecPhasor.size(), g_nPhasorsMax); ++i)
    {
        if (pmu.vecPhasor[i].bCurrent == p_bCurrent)
            strPoints += "      <Datapoint Id=\"" + std::to_string(DatapointId(p_probe, p_nPmu, i)) + "\" Name=\"" +
                         Xml(pmu.vecPhasor[i].strName) + "\"/>\n";
    }
    if (strPoints.empty())
        return {};
    return "    <MeasurementUnit Id=\"" + std::to_string(UnitId(p_probe, p_nPmu, p_bCurrent)) + "\" Name=\"" +
           Xml(pmu.strStation + (p_bCurrent ? " current" : " voltage")) + "\" ReportingRate=\"" +
           std::to_string(config.nDataRate) + "\">\n" + strPoints + "    </MeasurementUnit>\n";
}

std::string UnitsXml(const CProbe& p_probe)
{
    std::string strXml;
    for (std::size_t i = 0; i < std::min(p_probe.Reader().Config().vecPmu.size(), g_nPmusMax); ++i)
        strXml += UnitXml(p_probe, i, false) + UnitXml(p_probe, i, true);
    return strXml;
}

/// First phasor of a kind.
struct SPick
{
    std::size_t nPmu = 0;
    std::size_t nPhasor = 0;
};
std::optional<SPick> Pick(const CProbe& p_probe, std::size_t p_nPmu, bool p_bCurrent)
{
    const std::vector<SPhasorConfig>& vecPhasor = p_probe.Reader().Config().vecPmu[p_nPmu].vecPhasor;
    for (std::size_t i = 0; i < std::min(vecPhasor.size(), g_nPhasorsMax); ++i)
    {
        if (vecPhasor[i].bCurrent == p_bCurrent)
            return SPick{p_nPmu, i};
    }
    return std::nullopt;
}

/// A round number, at least the apparent power of two phasors and at least 10 MW.
double NominalPower(const CProbe& p_probe, const SPick& p_voltage, const SPick& p_current)
{
    double fPower = 0.0;
    if (p_voltage.nPmu < p_probe.Pmus().size())
    {
        const std::vector<std::complex<double>>& vecValue = p_probe.Pmus()[p_voltage.nPmu].last.vecPhasor;
        fPower = std::abs(vecValue[p_voltage.nPhasor]) * std::abs(vecValue[p_current.nPhasor]);
    }
    if (!(fPower > 1e7 && fPower < 1e13))
        return 1e7;
    return std::pow(10.0, std::ceil(std::log10(fPower)));
}

std::string InputXml(const CProbe& p_probe, const SPick& p_pick, const char* p_pSignal)
{
    return std::string("            <InputGroup SignalType=\"") + p_pSignal + "\"><Input PhaseType=\"0\" RefID=\"" +
           std::to_string(DatapointId(p_probe, p_pick.nPmu, p_pick.nPhasor)) + "\"/></InputGroup>\n";
}

/// Base length of the transforms: the smallest power of two of at least 8 s of samples.
unsigned BaseLength(std::int32_t p_nRate)
{
    unsigned nLength = 16;
    while (p_nRate > 0 && nLength < 8U * static_cast<unsigned>(p_nRate) && nLength < 4096)
        nLength *= 2;
    return nLength;
}

std::string JobXml(const CProbe& p_probe, bool p_bPower, const SPick& p_first, const SPick& p_second)
{
    static constexpr std::array<const char*, 4> bands = {"0.05", "0.2", "0.8", "3.0"};
    std::string strXml =
        std::string("        <Job Name=\"") + (p_bPower ? "POWER" : "ANGLE") +
        "\" Id=\"500\" IsActive=\"true\" JobMode=\"" + (p_bPower ? "active-power" : "vpad") +
        "\" OutputRefId=\"700\">\n" +
        Format("          <PSMagnitude Nominal=\"%.0f\" PSMagnitudeWarning=\"0.05\" "
               "PSMagnitudeAlarm=\"0.1\"/>\n",
               p_bPower ? NominalPower(p_probe, p_first, p_second) : 30.0) +
        "          <PSDampingRatio PSDampingRatioWarning=\"-0.05\" PSDampingRatioAlarm=\"-0.03\"/>\n"
        "          <PSEvents><PSEvent Type=\"critical\" IsActive=\"true\"/>"
        "<PSEvent Type=\"distinct\" IsActive=\"true\"/>"
        "<PSEvent Type=\"notified\" IsActive=\"true\"/></PSEvents>\n" +
        Format("          <SpectralDataSets NoOfSamples=\"%u\">\n", BaseLength(p_probe.Reader().Config().nDataRate));
    for (const int i : {2, 1, 0})
        strXml += Format("            <SpectralDataSet SamplesMultiplier=\"%d\" LowerCutOffFrequency=\"%s\" "
                         "UpperCutOffFrequency=\"%s\"/>\n",
                         1 << (2 * (2 - i)), bands[i], bands[i + 1]);
    strXml += "          </SpectralDataSets>\n          <PSModes NoOfSamples=\"10\" ReportingRate=\"1\">\n";
    for (const int i : {2, 1, 0})
        strXml +=
            Format("            <PSMode Id=\"60%d\" MinFrequency=\"%s\" MaxFrequency=\"%s\"><Outputs>"
                   "<Output PhysType=\"frequency\" RefID=\"90%d0\"/><Output PhysType=\"magnitude\" RefID=\"90%d1\"/>"
                   "<Output PhysType=\"damping-ratio\" RefID=\"90%d2\"/>"
                   "<Output PhysType=\"degree-of-exposure\" RefID=\"90%d3\"/></Outputs></PSMode>\n",
                   i + 1, bands[i], bands[i + 1], i + 1, i + 1, i + 1, i + 1);
    return strXml + "          </PSModes>\n          <InputGroups>\n" + InputXml(p_probe, p_first, "voltage") +
           InputXml(p_probe, p_second, p_bPower ? "current" : "voltage") + "          </InputGroups>\n        </Job>\n";
}

std::string OutputUnitsXml(std::int32_t p_nRate)
{
    std::string strXml = Format("    <MeasurementUnit Id=\"800\" Name=\"Actual value\" ReportingRate=\"%d\">"
                                "<Datapoint Id=\"700\"/></MeasurementUnit>\n",
                                static_cast<int>(p_nRate));
    for (int i = 1; i <= 3; ++i)
        strXml +=
            Format("    <MeasurementUnit Id=\"80%d\" Name=\"Mode %d\" ReportingRate=\"1\"><Datapoint Id=\"90%d0\"/>"
                   "<Datapoint Id=\"90%d1\"/><Datapoint Id=\"90%d2\"/><Datapoint Id=\"90%d3\"/></MeasurementUnit>\n",
                   i, i, i, i, i, i);
    return strXml;
}

struct SProbeCommand
{
    std::string strHost;
    std::uint16_t nPort = 4712;
    std::uint16_t nStreamId = 0;
    bool bUdp = false;
    double fSeconds = 10.0;
    std::string strXml;
};

/// HOST[:PORT][/ID]; an IPv6 address with a port is in brackets.
void ParseDevice(std::string p_strText, SProbeCommand& r_command)
{
    const std::size_t nSlash = p_strText.find('/');
    if (nSlash != std::string::npos)
    {
        r_command.nStreamId =
            static_cast<std::uint16_t>(ParseNumber<unsigned>("stream ID", p_strText.substr(nSlash + 1), 1, 65534));
        p_strText.erase(nSlash);
    }
    const std::size_t nColon = p_strText.rfind(':');
    const bool bManyColons = p_strText.find(':') != nColon;
    if (nColon != std::string::npos && nColon > 0 && (!bManyColons || p_strText[nColon - 1] == ']'))
    {
        r_command.nPort =
            static_cast<std::uint16_t>(ParseNumber<unsigned>("port", p_strText.substr(nColon + 1), 1, 65535));
        p_strText.erase(nColon);
    }
    if (p_strText.size() > 2 && p_strText.front() == '[' && p_strText.back() == ']')
        p_strText = p_strText.substr(1, p_strText.size() - 2);
    if (p_strText.empty())
        throw std::runtime_error("device: expected HOST:PORT or HOST:PORT/ID");
    r_command.strHost = p_strText;
}

SProbeCommand ParseProbe(const std::vector<std::string>& p_vecstrArg)
{
    SProbeCommand command;
    for (const auto& [strOption, strValue] : ReadArguments(p_vecstrArg, {{"udp"}, {"seconds", "xml"}}))
    {
        if (strOption == "udp")
            command.bUdp = true;
        else if (strOption == "seconds")
            command.fSeconds = ParseNumber<double>("option '--seconds'", strValue, 0.1, 3600.0);
        else if (strOption == "xml")
            command.strXml = strValue;
        else if (!command.strHost.empty())
            throw std::runtime_error("probe: '" + strValue + "' is not expected");
        else
            ParseDevice(strValue, command);
    }
    if (command.strHost.empty())
        throw std::runtime_error("probe: expected HOST:PORT[/ID] [--udp] [--seconds N] [--xml FILE]");
    return command;
}

void WriteConfiguration(const CProbe& p_probe, const std::string& p_strPath)
{
    const std::string strXml = ProbeConfiguration(p_probe);
    if (strXml.empty())
        throw std::runtime_error("no configuration for '" + p_strPath +
                                 "': expected a PMU with voltage and current, or two PMUs with voltage");
    if (std::filesystem::exists(p_strPath))
        throw std::runtime_error("'" + p_strPath + "' exists: expected the name of a new file");
    std::ofstream file(p_strPath, std::ios::binary);
    file << strXml;
    if (!file.flush())
        throw std::runtime_error("'" + p_strPath + "' cannot be written");
    std::printf("\n%s is a complete configuration with one job. Next: vds -xml:%s and oma -xml:%s\n", p_strPath.c_str(),
                p_strPath.c_str(), p_strPath.c_str());
}
} // namespace

std::string ProbeText(const CProbe& p_probe)
{
    const SConfigFrame& config = p_probe.Reader().Config();
    const SStreamCounters& counters = p_probe.Reader().m_counters;
    std::string strText =
        Format("stream %u: %zu %s, %s, time base 1/%u s, version %u\n", unsigned{p_probe.Stream().nStreamId},
               config.vecPmu.size(), config.vecPmu.size() == 1 ? "PMU" : "PMUs", RateText(config.nDataRate).c_str(),
               unsigned{config.nTimeBase}, unsigned{config.head.nVersion});
    for (std::size_t i = 0; i < config.vecPmu.size(); ++i)
        strText += PmuText(config.vecPmu[i], i < p_probe.Pmus().size() ? &p_probe.Pmus()[i] : nullptr,
                           p_probe.Reader().DataFrames());
    strText += Format("in %.1f s: ", p_probe.Watched_s()) + CountersText(counters) + "; " +
               std::to_string(counters.nLost) + " lost, " +
               std::to_string(counters.nCrcErrors + counters.nLengthMismatches) + " in error\n";
    if (p_probe.Reader().DataFrames() > 0)
        strText += "clock quality at worst " + ClockText(p_probe.WorstClock()) + "\n";
    if (!p_probe.Loss().empty())
        strText += "the connection was lost: " + p_probe.Loss() + "\n";
    if (counters.nOffGrid > 0)
        strText += "time stamps are off the grid: RoundToGrid is needed\n";
    return strText;
}

std::string ProbePieces(const CProbe& p_probe)
{
    return "  for the element VDS:\n" + StreamXml(p_probe) + "  for the element Datapoints:\n" + UnitsXml(p_probe);
}

std::string ProbeConfiguration(const CProbe& p_probe)
{
    const SConfigFrame& config = p_probe.Reader().Config();
    std::optional<SPick> first;
    std::optional<SPick> second;
    bool bPower = false;
    for (std::size_t i = 0; i < std::min(config.vecPmu.size(), g_nPmusMax) && !bPower; ++i)
    {
        const std::optional<SPick> voltage = Pick(p_probe, i, false);
        const std::optional<SPick> current = Pick(p_probe, i, true);
        bPower = voltage && current;
        if (bPower)
        {
            first = voltage;
            second = current;
        }
        else if (voltage && !second)
            (first ? second : first) = voltage;
    }
    if (!second)
        return {};
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Configuration>\n"
           "  <VDS IPAddr=\"127.0.0.1\" Port=\"47120\" PortApplicationData=\"47121\">\n" +
           StreamXml(p_probe) + "  </VDS>\n  <Datapoints>\n" + UnitsXml(p_probe) + OutputUnitsXml(config.nDataRate) +
           "  </Datapoints>\n  <OMAs Name=\"OMA\" Id=\"900\">\n"
           "    <OMA Name=\"GRID\" Id=\"901\" IsActive=\"true\" InputMode=\"maximum\" TimeoutInMs=\"5000\">\n"
           "      <Jobs>\n" +
           JobXml(p_probe, bPower, *first, *second) + "      </Jobs>\n    </OMA>\n  </OMAs>\n</Configuration>\n";
}

int RunProbe(const std::vector<std::string>& p_vecstrArg)
{
    try
    {
        const SProbeCommand command = ParseProbe(p_vecstrArg);
        CProbe probe(command.strHost, command.nPort, command.nStreamId, command.bUdp);
        probe.Run(std::chrono::milliseconds(std::lround(command.fSeconds * 1000.0)));
        std::printf("%s\n%s", ProbeText(probe).c_str(), ProbePieces(probe).c_str());
        if (!command.strXml.empty())
            WriteConfiguration(probe, command.strXml);
        return std::fflush(stdout) == 0 ? 0 : 1;
    }
    catch (const std::exception& ex)
    {
        std::fprintf(stderr, "vdsctl: %s\n", ex.what());
        return 1;
    }
}

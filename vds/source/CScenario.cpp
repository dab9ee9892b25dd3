#include "vds/source/CScenario.h"

#include "vds/base/IsoTime.h"

#include <boost/json.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numbers>
#include <set>
#include <sstream>
#include <stdexcept>

namespace json = boost::json;

namespace
{
/// A fault in the file. Thrown within this file only: Load turns it into its error text.
struct SFault : std::runtime_error
{
    SFault(const std::string& p_strPath, const std::string& p_strWhat)
        : std::runtime_error(p_strPath.empty() ? p_strWhat : p_strPath + ": " + p_strWhat)
    {
    }
};

constexpr double g_fInf = std::numeric_limits<double>::infinity();

std::string NumberText(double p_fValue)
{
    std::ostringstream text;
    text << p_fValue;
    return text.str();
}

/// A JSON object with its path for messages. It records which members were read: End rejects all others.
class CMembers
{
  public:
    CMembers(const json::value& p_value, std::string p_strPath) : m_strPath(std::move(p_strPath))
    {
        m_pObject = p_value.if_object();
        if (m_pObject == nullptr)
        {
            throw SFault(m_strPath, "expected an object {...}");
        }
    }

    std::string Path(std::string_view p_strName) const
    {
        return (m_strPath.empty() ? "" : m_strPath + ".") + std::string(p_strName);
    }

    [[noreturn]] void Fault(std::string_view p_strName, const std::string& p_strWhat) const
    {
        throw SFault(Path(p_strName), p_strWhat);
    }

    /// Null if the member is missing.
    const json::value* Find(std::string_view p_strName)
    {
        m_setKnown.insert(std::string(p_strName));
        return m_pObject->if_contains(p_strName);
    }

    bool Has(std::string_view p_strName) { return Find(p_strName) != nullptr; }

    const json::value& Get(std::string_view p_strName)
    {
        const json::value* pValue = Find(p_strName);
        if (pValue == nullptr)
        {
            Fault(p_strName, "missing");
        }
        return *pValue;
    }

    double Number(std::string_view p_strName, double p_fMin, double p_fMax)
    {
        const json::value& value = Get(p_strName);
        const double fValue = value.is_number() ? value.to_number<double>() : std::nan("");
        if (!(fValue >= p_fMin && fValue <= p_fMax))
        {
            std::string strRange = "expected a number";
            strRange += p_fMin > -g_fInf ? ", not below " + NumberText(p_fMin) : "";
            strRange += p_fMax < g_fInf ? ", not above " + NumberText(p_fMax) : "";
            Fault(p_strName, strRange + ", found " + json::serialize(value));
        }
        return fValue;
    }

    double Number(std::string_view p_strName, double p_fMin, double p_fMax, double p_fDefault)
    {
        return Has(p_strName) ? Number(p_strName, p_fMin, p_fMax) : p_fDefault;
    }

    std::int64_t Whole(std::string_view p_strName, std::int64_t p_nMin, std::int64_t p_nMax)
    {
        const json::value& value = Get(p_strName);
        boost::system::error_code error;
        const auto nValue = value.is_number() ? value.to_number<std::int64_t>(error) : 0;
        if (!value.is_number() || error || nValue < p_nMin || nValue > p_nMax)
        {
            Fault(p_strName, "expected a whole number from " + std::to_string(p_nMin) + " to " +
                                 std::to_string(p_nMax) + ", found " + json::serialize(value));
        }
        return nValue;
    }

    std::string Text(std::string_view p_strName)
    {
        const json::value& value = Get(p_strName);
        if (!value.is_string() || value.get_string().empty())
        {
            Fault(p_strName, "expected a string, found " + json::serialize(value));
        }
        return std::string(value.get_string());
    }

    std::string Text(std::string_view p_strName, const std::string& p_strDefault)
    {
        return Has(p_strName) ? Text(p_strName) : p_strDefault;
    }

    /// Calls p_read(value, path) for each element of a list; a missing list counts as empty.
    template <typename TRead>
    void Each(std::string_view p_strName, TRead p_read)
    {
        const json::value* pValue = Find(p_strName);
        if (pValue == nullptr)
        {
            return;
        }
        if (!pValue->is_array())
        {
            Fault(p_strName, "expected a list [...]");
        }
        std::size_t iElement = 0;
        for (const json::value& element : pValue->get_array())
        {
            p_read(element, Path(p_strName) + "[" + std::to_string(iElement++) + "]");
        }
    }

    const json::object& Object() const { return *m_pObject; }

    /// Call after the last member was read.
    void End() const
    {
        for (const auto& member : *m_pObject)
        {
            if (!m_setKnown.contains(std::string(member.key())))
            {
                Fault(std::string_view(member.key().data(), member.key().size()), "unknown member");
            }
        }
    }

  private:
    const json::object* m_pObject = nullptr;
    std::string m_strPath;
    std::set<std::string> m_setKnown;
};

/// Reads the tree into the scenario; the order of the steps follows the references between the lists.
class CReader
{
  public:
    explicit CReader(CScenario& r_scenario) : m_scen(r_scenario) {}

    void Read(const json::value& p_root)
    {
        CMembers top(p_root, "");
        ReadHead(top);
        top.Each("places", [this](const json::value& v, const std::string& p) { ReadPlace(v, p); });
        top.Each("lines", [this](const json::value& v, const std::string& p) { ReadLine(v, p); });
        top.Each("pmus", [this](const json::value& v, const std::string& p) { ReadPmu(v, p); });
        top.Each("swings", [this](const json::value& v, const std::string& p) { ReadSwing(v, p); });
        top.Each("drifts", [this](const json::value& v, const std::string& p) { ReadDrift(v, p); });
        top.Each("invalid", [this](const json::value& v, const std::string& p) { ReadInvalid(v, p); });
        top.Each("gaps", [this](const json::value& v, const std::string& p) { ReadGap(v, p); });
        top.Each("repeats", [this](const json::value& v, const std::string& p) { ReadRepeat(v, p); });
        top.Each("jumps", [this](const json::value& v, const std::string& p) { ReadJump(v, p); });
        top.Each("events", [this](const json::value& v, const std::string& p) { ReadEvent(v, p); });
        top.End();
        if (m_scen.m_vecPhasor.empty())
        {
            top.Fault("pmus", "expected a list with at least one PMU");
        }
        std::stable_sort(m_scen.m_vecEvent.begin(), m_scen.m_vecEvent.end(),
                         [](const auto& a, const auto& b) { return a.fAt_s < b.fAt_s; });
    }

  private:
    static constexpr double g_fMaxTime_s = 1e8;

    void ReadHead(CMembers& r_top)
    {
        m_scen.m_strName = r_top.Text("name", "");
        const auto nStart = TicksFromIso(r_top.Text("start"));
        if (!nStart || *nStart % g_nTicksPerSec != 0)
        {
            r_top.Fault("start", "expected a UTC time on a whole second such as 2026-03-05T10:00:00Z");
        }
        m_scen.m_nStartTicks = *nStart;
        m_scen.m_nRate = static_cast<std::int32_t>(r_top.Whole("rate", -3600, 1000));
        if (m_scen.m_nRate == 0)
        {
            r_top.Fault("rate", "expected cycles per second, or -n for one every n seconds; not 0");
        }
        m_scen.m_fDuration_s = r_top.Number("duration_s", 1e-3, g_fMaxTime_s);
        m_scen.m_nSeed = static_cast<std::uint64_t>(
            r_top.Has("seed") ? r_top.Whole("seed", 0, std::numeric_limits<std::int64_t>::max()) : 1);
        m_scen.m_fFreqOffset_Hz = r_top.Number("frequency_offset_hz", -10.0, 10.0, 0.0);
        if (const json::value* pNoise = r_top.Find("noise"))
        {
            CMembers noise(*pNoise, "noise");
            m_scen.m_fNoiseMagn = noise.Number("magnitude_percent", 0.0, 100.0, 0.0) / 100.0;
            m_scen.m_fNoiseAngle_deg = noise.Number("angle_deg", 0.0, 180.0, 0.0);
            noise.End();
        }
    }

    void ReadPlace(const json::value& p_value, const std::string& p_strPath)
    {
        CMembers in(p_value, p_strPath);
        CScenario::SPlace place;
        place.strName = in.Text("name");
        if (FindByName(m_scen.m_vecPlace, place.strName) != m_scen.m_vecPlace.size())
        {
            in.Fault("name", "a place \"" + place.strName + "\" exists already");
        }
        place.fVoltage_V = in.Number("voltage_V", 0.0, 1e7);
        place.fAngle_deg = in.Number("angle_deg", -360.0, 360.0);
        in.End();
        m_scen.m_vecPlace.push_back(place);
    }

    void ReadLine(const json::value& p_value, const std::string& p_strPath)
    {
        CMembers in(p_value, p_strPath);
        CScenario::SLine line;
        line.strName = in.Text("name");
        if (FindByName(m_scen.m_vecLine, line.strName) != m_scen.m_vecLine.size())
        {
            in.Fault("name", "a line \"" + line.strName + "\" exists already");
        }
        line.iFrom = Place(in, "from");
        line.iTo = Place(in, "to");
        if (line.iFrom == line.iTo)
        {
            in.Fault("to", "expected a place other than that of from");
        }
        line.fReactance_Ohm = in.Number("reactance_Ohm", 1e-3, 1e6);
        in.End();
        m_scen.m_vecLine.push_back(line);
    }

    /// The voltage of a place, or the current from a place into one of its lines.
    void ReadPmu(const json::value& p_value, const std::string& p_strPath)
    {
        CMembers in(p_value, p_strPath);
        CScenario::SPhasor phasor;
        phasor.iPlace = Place(in, "place");
        if (in.Has("line"))
        {
            const CScenario::SLine& line = m_scen.m_vecLine[Named(in, "line", m_scen.m_vecLine, "a line")];
            if (phasor.iPlace != line.iFrom && phasor.iPlace != line.iTo)
            {
                in.Fault("line", "\"" + line.strName + "\" does not end at the place of this PMU");
            }
            phasor.bCurrent = true;
            phasor.iFarPlace = phasor.iPlace == line.iFrom ? line.iTo : line.iFrom;
            phasor.fReactance_Ohm = line.fReactance_Ohm;
        }
        CMembers phases(in.Get("phases"), in.Path("phases"));
        for (const auto* strPhase : {"L1", "L2", "L3"})
        {
            if (phases.Has(strPhase))
            {
                AddPhasor(phases, strPhase, phasor);
            }
            ++phasor.nPhase;
        }
        phases.End();
        if (phases.Object().empty())
        {
            in.Fault("phases", "expected one or more of L1, L2 and L3 with a datapoint id");
        }
        in.End();
    }

    void AddPhasor(CMembers& r_phases, const char* p_strPhase, CScenario::SPhasor p_phasor)
    {
        p_phasor.nId = static_cast<unsigned long>(r_phases.Whole(p_strPhase, 1, 0x7ffffffe));
        if (FindPhasor(p_phasor.nId) != m_scen.m_vecPhasor.size())
        {
            r_phases.Fault(p_strPhase, "datapoint " + std::to_string(p_phasor.nId) + " is used twice");
        }
        m_scen.m_vecPhasor.push_back(p_phasor);
    }

    void ReadSwing(const json::value& p_value, const std::string& p_strPath)
    {
        CMembers in(p_value, p_strPath);
        CScenario::SSwing swing;
        swing.strName = in.Text("name", "");
        swing.fFreq_Hz = in.Number("frequency_hz", 1e-4, 500.0);
        swing.fDamping = in.Number("damping", -0.99, 0.99);
        swing.fStart_s = in.Number("start_s", 0.0, g_fMaxTime_s);
        swing.fEnd_s = in.Number("end_s", swing.fStart_s, g_fMaxTime_s, CScenario::g_fNoEnd);
        if (in.Has("damping_after_end"))
        {
            if (!std::isfinite(swing.fEnd_s))
            {
                in.Fault("damping_after_end", "expected only together with end_s");
            }
            swing.fDampingAfterEnd = in.Number("damping_after_end", -0.99, 0.0);
        }
        swing.fAmplitude_deg = in.Number("amplitude_deg", 0.0, 180.0);
        swing.fPhase_deg = in.Number("phase_deg", -360.0, 360.0, 0.0);
        swing.vecShape.assign(m_scen.m_vecPlace.size(), 0.0);
        CMembers shape(in.Get("shape"), in.Path("shape"));
        for (const auto& member : shape.Object())
        {
            const std::string strPlace(member.key());
            const std::size_t iPlace = FindByName(m_scen.m_vecPlace, strPlace);
            if (iPlace == m_scen.m_vecPlace.size())
            {
                shape.Fault(strPlace, "no such place");
            }
            swing.vecShape[iPlace] = shape.Number(strPlace, -1.0, 1.0);
        }
        in.End();

        // A growing swing must remain a swing: beyond half a turn the angles would only wrap around.
        const double fLast_s = std::min(swing.fEnd_s, m_scen.m_fDuration_s) - swing.fStart_s;
        const double fLargest_deg =
            swing.fAmplitude_deg *
            std::exp(std::max(0.0, DecayRate(swing.fFreq_Hz, swing.fDamping) * std::max(0.0, fLast_s)));
        if (!(fLargest_deg <= 180.0))
        {
            in.Fault("damping", "the swing would grow to " + NumberText(fLargest_deg) +
                                    " degrees, expected an end_s before it reaches 180 degrees");
        }
        m_scen.m_vecSwing.push_back(std::move(swing));
    }

    void ReadDrift(const json::value& p_value, const std::string& p_strPath)
    {
        CMembers in(p_value, p_strPath);
        CScenario::SDrift drift;
        drift.iPlace = Place(in, "place");
        ReadSpan(in, drift.fFrom_s, drift.fTo_s);
        drift.fFreq_Hz = in.Number("frequency_hz", -10.0, 10.0);
        in.End();
        m_scen.m_vecDrift.push_back(drift);
    }

    void ReadInvalid(const json::value& p_value, const std::string& p_strPath)
    {
        CMembers in(p_value, p_strPath);
        CScenario::SInvalid invalid;
        invalid.vecPhasor = Phasors(in);
        ReadSpan(in, invalid.fFrom_s, invalid.fTo_s);
        if (in.Has("state"))
        {
            const std::string strState = in.Text("state");
            std::size_t nUsed = 0;
            if (strState.find_first_not_of("0123456789abcdefABCDEFxX") == std::string::npos)
            {
                try
                {
                    invalid.nState = std::stoull(strState, &nUsed, 0);
                }
                catch (const std::exception&)
                {
                    nUsed = 0;
                }
            }
            if (nUsed != strState.size())
            {
                in.Fault("state", "expected a 64-bit state word as a string such as \"0x2000\"");
            }
        }
        in.End();
        m_scen.m_vecInvalid.push_back(invalid);
    }

    void ReadGap(const json::value& p_value, const std::string& p_strPath)
    {
        CMembers in(p_value, p_strPath);
        CScenario::SGap gap;
        if (in.Has("ids"))
        {
            gap.vecPhasor = Phasors(in);
        }
        ReadSpan(in, gap.fFrom_s, gap.fTo_s);
        in.End();
        m_scen.m_vecGap.push_back(gap);
    }

    void ReadRepeat(const json::value& p_value, const std::string& p_strPath)
    {
        CMembers in(p_value, p_strPath);
        CScenario::SRepeat repeat;
        repeat.fAt_s = in.Number("at_s", 0.0, g_fMaxTime_s);
        repeat.nCount = static_cast<std::uint32_t>(in.Has("count") ? in.Whole("count", 1, 1'000'000) : 1);
        in.End();
        m_scen.m_vecRepeat.push_back(repeat);
    }

    void ReadJump(const json::value& p_value, const std::string& p_strPath)
    {
        CMembers in(p_value, p_strPath);
        CScenario::SJump jump;
        jump.fAt_s = in.Number("at_s", 0.0, g_fMaxTime_s);
        jump.fBy_s = in.Number("by_s", -g_fMaxTime_s, g_fMaxTime_s);
        if (in.Has("cycles"))
        {
            jump.nCycles = static_cast<std::uint64_t>(in.Whole("cycles", 1, std::numeric_limits<std::int64_t>::max()));
        }
        in.End();
        m_scen.m_vecJump.push_back(jump);
    }

    void ReadEvent(const json::value& p_value, const std::string& p_strPath)
    {
        CMembers in(p_value, p_strPath);
        CScenario::SEvent event;
        event.fAt_s = in.Number("at_s", 0.0, g_fMaxTime_s);
        event.event.eKey = static_cast<std::int32_t>(in.Whole("key", 0, 1'000'000));
        const std::string strTrans = in.Text("transition");
        if (strTrans != "APP" && strTrans != "DIS")
        {
            in.Fault("transition", "expected \"APP\" or \"DIS\", found \"" + strTrans + "\"");
        }
        event.event.eTrans = strTrans == "APP" ? 1 : 0;
        event.event.eElemType = static_cast<std::int32_t>(in.Whole("element_type", 0, 255));
        event.event.nElemId = static_cast<std::uint64_t>(in.Whole("element_id", 0, 0xffffffff));
        event.event.strText = in.Text("text", "");
        in.End();
        m_scen.m_vecEvent.push_back(std::move(event));
    }

    void ReadSpan(CMembers& r_in, double& r_fFrom_s, double& r_fTo_s)
    {
        r_fFrom_s = r_in.Number("from_s", 0.0, g_fMaxTime_s);
        r_fTo_s = r_in.Number("to_s", r_fFrom_s, g_fMaxTime_s);
    }

    std::vector<std::size_t> Phasors(CMembers& r_in)
    {
        std::vector<std::size_t> vecIdx;
        r_in.Get("ids");
        r_in.Each("ids",
                  [&](const json::value& p_value, const std::string& p_strPath)
                  {
                      const std::int64_t* pnId = p_value.if_int64();
                      const std::size_t iPhasor =
                          pnId == nullptr ? m_scen.m_vecPhasor.size() : FindPhasor(static_cast<unsigned long>(*pnId));
                      if (iPhasor == m_scen.m_vecPhasor.size())
                      {
                          throw SFault(p_strPath,
                                       "expected the datapoint id of a PMU above, found " + json::serialize(p_value));
                      }
                      vecIdx.push_back(iPhasor);
                  });
        if (vecIdx.empty())
        {
            r_in.Fault("ids", "expected at least one datapoint id");
        }
        return vecIdx;
    }

    template <typename TItem>
    static std::size_t FindByName(const std::vector<TItem>& p_vec, const std::string& p_strName)
    {
        return static_cast<std::size_t>(
            std::find_if(p_vec.begin(), p_vec.end(), [&](const TItem& p_item) { return p_item.strName == p_strName; }) -
            p_vec.begin());
    }

    std::size_t FindPhasor(unsigned long p_nId) const
    {
        const auto& vec = m_scen.m_vecPhasor;
        return static_cast<std::size_t>(
            std::find_if(vec.begin(), vec.end(), [&](const auto& p_item) { return p_item.nId == p_nId; }) -
            vec.begin());
    }

    template <typename TItem>
    static std::size_t Named(CMembers& r_in, std::string_view p_strMember, const std::vector<TItem>& p_vec,
                             const char* p_strKind)
    {
        const std::string strName = r_in.Text(p_strMember);
        const std::size_t iItem = FindByName(p_vec, strName);
        if (iItem == p_vec.size())
        {
            r_in.Fault(p_strMember, std::string("expected the name of ") + p_strKind + ", found \"" + strName + "\"");
        }
        return iItem;
    }

    std::size_t Place(CMembers& r_in, std::string_view p_strMember)
    {
        return Named(r_in, p_strMember, m_scen.m_vecPlace, "a place");
    }

    CScenario& m_scen;
};

/// "line 3, column 7" of a position in a text.
std::string LineAndColumn(const std::string& p_strText, std::size_t p_nPos)
{
    const std::string strBefore = p_strText.substr(0, p_nPos);
    const auto nLine = std::count(strBefore.begin(), strBefore.end(), '\n') + 1;
    const std::size_t iLineStart = strBefore.rfind('\n') + 1; // npos + 1 is 0
    return "line " + std::to_string(nLine) + ", column " + std::to_string(p_nPos - iLineStart + 1);
}

json::value ParseJson(const std::string& p_strText)
{
    json::stream_parser parser;
    boost::system::error_code error;
    const std::size_t nPos = parser.write_some(p_strText.data(), p_strText.size(), error);
    const bool bRest = !error && p_strText.find_first_not_of(" \t\r\n", nPos) != std::string::npos;
    if (!error && !bRest)
    {
        parser.finish(error);
    }
    if (error || bRest)
    {
        throw SFault("", LineAndColumn(p_strText, nPos) + ": expected valid JSON" +
                             (error ? ", found: " + error.message() : " to end here"));
    }
    return parser.release();
}
} // namespace

double DecayRate(double p_fFreq_Hz, double p_fDamping)
{
    return 2.0 * std::numbers::pi * p_fFreq_Hz * p_fDamping / std::sqrt(1.0 - p_fDamping * p_fDamping);
}

bool CScenario::Load(const std::string& p_strPath, std::string& r_strError)
{
    *this = CScenario{};
    std::ifstream file(p_strPath, std::ios::binary);
    std::ostringstream text;
    if (!file.is_open() || !(text << file.rdbuf()))
    {
        r_strError = p_strPath + ": the scenario cannot be opened for reading, or it is empty";
        return false;
    }
    try
    {
        CReader(*this).Read(ParseJson(text.str()));
        return true;
    }
    catch (const std::exception& fault)
    {
        r_strError = p_strPath + ": " + fault.what();
        return false;
    }
}

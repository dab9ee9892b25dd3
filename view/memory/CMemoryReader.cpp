#include "view/memory/CMemoryReader.h"
#include "view/memory/CCurveBuilder.h"
#include "view/state/ViewTime.h"
#include <algorithm>
#include <cmath>
#include <numbers>

namespace
{
/// Passes that are read at most for one curve; beyond that the minutes have to do.
constexpr double g_fMaxPasses = 400'000;
constexpr std::int64_t g_nMaxFull_ms = 3'600'000; ///< range in which samples at full rate are looked for
constexpr std::int64_t g_nRecord_ticks = 11 * 10'000'000LL;
constexpr std::size_t g_nMaxNeighbours = 50;

/// All reads of one answer see the same state of the file.
class CSnapshot
{
  public:
    explicit CSnapshot(CDatabase& r_db) : m_db(r_db) { m_db.Exec("BEGIN"); }
    ~CSnapshot() { sqlite3_exec(m_db.Handle(), "COMMIT", nullptr, nullptr, nullptr); }
    CSnapshot(const CSnapshot&) = delete;
    CSnapshot& operator=(const CSnapshot&) = delete;

  private:
    CDatabase& m_db;
};
} // namespace

CMemoryReader::CMemoryReader(const CMemory& p_memory, const SViewModel& p_model)
    : m_memory(p_memory), m_model(p_model), m_db(p_memory.File(), CDatabase::eReadOnly)
{
    m_db.Exec("PRAGMA cache_size=-32768");
}

// ---- courses of modes ----

CMemoryReader::TPassList CMemoryReader::Passes(std::int64_t p_nSeries, const SRange& p_range)
{
    const CSnapshot snapshot(m_db);
    std::map<std::int64_t, TPass> mapPass;
    CStatement get(m_db, "SELECT minute, data FROM pass_minute WHERE series=? AND minute BETWEEN ? AND ?");
    get.Bind(p_nSeries, MinuteOf(p_range.nFrom_ms), MinuteOf(p_range.nTo_ms));
    while (get.Step())
    {
        TPassMinute mapMinute;
        DecodePasses(get.Blob(1), mapMinute);
        for (const auto& [nMs, pass] : mapMinute)
            mapPass.insert_or_assign(mapPass.end(), get.Integer(0) * g_nMinute_ms + nMs, pass);
    }
    CStatement recent(m_db, "SELECT time_ms, freq, magn, damp, doe FROM pass_recent WHERE series=?");
    recent.Bind(p_nSeries);
    while (recent.Step())
    {
        TPass& pass = mapPass[recent.Integer(0)];
        for (int i = 0; i < 4; ++i)
            pass[static_cast<std::size_t>(i)] = static_cast<float>(recent.Real(1 + i));
    }
    return {mapPass.lower_bound(p_range.nFrom_ms), mapPass.upper_bound(p_range.nTo_ms)};
}

SCurve CMemoryReader::Course(const SModeRef& p_mode, const SRange& p_range, std::size_t p_nPoints)
{
    const std::int64_t nSeries = m_memory.SeriesOf(p_mode.iJob, p_mode.iMode);
    const double fPass_ms = m_model.vecJob[p_mode.iJob].fPass_s * 1000.0;
    const double fPasses = static_cast<double>(p_range.nTo_ms - p_range.nFrom_ms) / fPass_ms;
    const std::int64_t nWidth_ms = BucketWidth_ms(p_range, p_nPoints, 1);
    const bool bFew = fPasses <= 2.0 * static_cast<double>(p_nPoints);
    if (!bFew && (nWidth_ms >= g_nMinute_ms || fPasses > g_fMaxPasses))
        return MinuteCourse(nSeries, p_range, p_nPoints);
    const TPassList lstPass = Passes(nSeries, p_range);
    if (!bFew)
    {
        CCurveBuilder builder(p_range, nWidth_ms, 4);
        for (const auto& [nTime_ms, pass] : lstPass)
            for (std::size_t i = 0; i < 4; ++i)
                builder.Add(nTime_ms, i, pass[i], pass[i], pass[i]);
        return builder.Take(SCurve::eBucket);
    }
    SCurve curve;
    curve.vecColumn.resize(4);
    std::int64_t nLast_ms = 0;
    const auto fnAdd = [&](std::int64_t p_nTime_ms, const TPass& p_pass)
    {
        curve.vecnTime_ms.push_back(p_nTime_ms);
        for (std::size_t i = 0; i < 4; ++i)
            curve.vecColumn[i].vecfMean.push_back(p_pass[i]);
    };
    for (const auto& [nTime_ms, pass] : lstPass)
    {
        // A pass that is missing is a gap in the curve.
        constexpr auto fNone = static_cast<float>(g_fNoValue);
        if (nLast_ms != 0 && static_cast<double>(nTime_ms - nLast_ms) > 1.5 * fPass_ms)
            fnAdd(nLast_ms + static_cast<std::int64_t>(fPass_ms), {fNone, fNone, fNone, fNone});
        fnAdd(nTime_ms, pass);
        nLast_ms = nTime_ms;
    }
    return curve;
}

SCurve CMemoryReader::MinuteCourse(std::int64_t p_nSeries, const SRange& p_range, std::size_t p_nPoints)
{
    CCurveBuilder builder(p_range, BucketWidth_ms(p_range, p_nPoints, g_nMinute_ms), 4);
    CStatement get(m_db, "SELECT minute, freq_min, freq, freq_max, magn_min, magn, magn_max, damp_min, damp, damp_max, "
                         "doe_min, doe, doe_max FROM mode_minute WHERE series=? AND minute BETWEEN ? AND ?");
    get.Bind(p_nSeries, MinuteOf(p_range.nFrom_ms), MinuteOf(p_range.nTo_ms));
    while (get.Step())
        for (int i = 0; i < 4; ++i)
            builder.Add(get.Integer(0) * g_nMinute_ms, static_cast<std::size_t>(i), get.Real(1 + 3 * i),
                        get.Real(2 + 3 * i), get.Real(3 + 3 * i));
    return builder.Take(SCurve::eMinute);
}

// ---- actual values ----

std::vector<SSample> CMemoryReader::Samples(std::size_t p_iJob, const SRange& p_range)
{
    const std::int64_t nFrom = TicksFromMs(p_range.nFrom_ms);
    const std::int64_t nTo = TicksFromMs(p_range.nTo_ms);
    CStatement get(m_db, "SELECT begin, data FROM value_record WHERE job=? AND begin BETWEEN ? AND ?");
    get.Bind(m_model.vecJob[p_iJob].nId, nFrom - g_nRecord_ticks, nTo);
    std::vector<SSample> vecSample;
    while (get.Step())
        DecodeSamples(get.Integer(0), get.Blob(1), vecSample);
    std::erase_if(vecSample, [&](const SSample& p_sample) { return p_sample.nTicks < nFrom || p_sample.nTicks > nTo; });
    return vecSample;
}

SCurve CMemoryReader::Values(std::size_t p_iJob, const SRange& p_range, std::size_t p_nPoints)
{
    std::vector<SSample> vecSample;
    if (p_range.nTo_ms - p_range.nFrom_ms <= g_nMaxFull_ms)
        vecSample = Samples(p_iJob, p_range);
    if (vecSample.empty())
        return MinuteValues(p_iJob, p_range, p_nPoints == 0 ? 5000 : p_nPoints);
    if (p_nPoints != 0 && vecSample.size() > 2 * p_nPoints)
    {
        CCurveBuilder builder(p_range, BucketWidth_ms(p_range, p_nPoints, 1), 1);
        for (const SSample& sample : vecSample)
            builder.Add(MsFromTicks(sample.nTicks), 0, sample.fValue, sample.fValue, sample.fValue);
        return builder.Take(SCurve::eBucket);
    }
    SCurve curve;
    curve.vecColumn.resize(1);
    const double fPeriod_ms = 1000.0 / m_model.vecJob[p_iJob].fRate_Hz;
    for (const SSample& sample : vecSample)
    {
        const std::int64_t nTime_ms = MsFromTicks(sample.nTicks);
        if (!curve.vecnTime_ms.empty() &&
            static_cast<double>(nTime_ms - curve.vecnTime_ms.back()) > 1.5 * fPeriod_ms + 1.0)
        {
            curve.vecnTime_ms.push_back(curve.vecnTime_ms.back() + static_cast<std::int64_t>(fPeriod_ms));
            curve.vecColumn[0].vecfMean.push_back(g_fNoValue);
        }
        curve.vecnTime_ms.push_back(nTime_ms);
        curve.vecColumn[0].vecfMean.push_back(sample.fValue);
    }
    return curve;
}

SCurve CMemoryReader::MinuteValues(std::size_t p_iJob, const SRange& p_range, std::size_t p_nPoints)
{
    CCurveBuilder builder(p_range, BucketWidth_ms(p_range, p_nPoints, g_nMinute_ms), 1);
    CStatement get(m_db, "SELECT minute, min, sum / n, max FROM value_minute WHERE job=? AND minute BETWEEN ? AND ? "
                         "AND n > 0");
    get.Bind(m_model.vecJob[p_iJob].nId, MinuteOf(p_range.nFrom_ms), MinuteOf(p_range.nTo_ms));
    while (get.Step())
        builder.Add(get.Integer(0) * g_nMinute_ms, 0, get.Real(1), get.Real(2), get.Real(3));
    return builder.Take(SCurve::eMinute);
}

// ---- events ----

std::vector<SViewEvent> CMemoryReader::Events(const SEventFilter& p_filter)
{
    std::string strWhere = "1";
    std::vector<std::int64_t> vecnValue;
    const auto fnAnd = [&](const char* p_pCondition, const std::optional<std::int64_t>& p_nValue)
    {
        if (!p_nValue)
            return;
        strWhere += std::string(" AND ") + p_pCondition;
        vecnValue.push_back(*p_nValue);
    };
    fnAnd("id < ?", p_filter.nBefore);
    fnAnd("(end_ms = -1 OR end_ms >= ?)", p_filter.nFrom_ms);
    fnAnd("begin_ms <= ?", p_filter.nTo_ms);
    fnAnd("known = 1 AND job = ?", p_filter.nJob);
    fnAnd("known = 1 AND mode = ?", p_filter.nMode);
    fnAnd("worst >= ?", p_filter.nMinLevel);
    fnAnd("kind = ?", p_filter.nKind);
    if (p_filter.bStanding)
        strWhere += *p_filter.bStanding ? " AND end_ms = -1" : " AND end_ms <> -1";
    if (p_filter.bAcknowledged)
        strWhere += *p_filter.bAcknowledged ? " AND ack_by <> ''" : " AND ack_by = ''";
    if (p_filter.bJobs)
    {
        strWhere += " AND known = 1 AND job IN (";
        for (std::size_t i = 0; i < p_filter.vecnJob.size(); ++i)
            strWhere += (i == 0 ? "" : ",") + std::to_string(p_filter.vecnJob[i]);
        strWhere += ")";
    }
    return ReadEvents(m_db, strWhere, "id DESC LIMIT " + std::to_string(p_filter.nLimit),
                      [&](CStatement& r_get)
                      {
                          for (std::size_t i = 0; i < vecnValue.size(); ++i)
                              r_get.BindOne(static_cast<int>(i) + 1, vecnValue[i]);
                      });
}

std::vector<SViewStep> CMemoryReader::Steps(std::int64_t p_nEvent)
{
    CStatement get(m_db,
                   "SELECT ticks, app, key, level, text, freq, magn, damp, doe FROM step WHERE event=? ORDER BY id "
                   "LIMIT 10000");
    get.Bind(p_nEvent);
    std::vector<SViewStep> vecStep;
    while (get.Step())
        vecStep.push_back({get.Integer(0), MsFromTicks(get.Integer(0)), get.Integer(1) != 0,
                           static_cast<int>(get.Integer(2)), static_cast<int>(get.Integer(3)), get.Text(4), get.Real(5),
                           get.Real(6), get.Real(7), get.Real(8)});
    return vecStep;
}

std::vector<SNote> CMemoryReader::Notes(std::int64_t p_nEvent)
{
    CStatement get(m_db, "SELECT id, by, time_ms, text FROM note WHERE event=? ORDER BY id");
    get.Bind(p_nEvent);
    std::vector<SNote> vecNote;
    while (get.Step())
        vecNote.push_back({get.Integer(0), get.Text(1), get.Integer(2), get.Text(3)});
    return vecNote;
}

std::vector<CMemoryReader::SBlind> CMemoryReader::Blind(const SRange& p_range)
{
    CStatement get(m_db,
                   "SELECT begin_ms, end_ms, text FROM blind WHERE begin_ms <= ? AND (end_ms = -1 OR end_ms >= ?) "
                   "ORDER BY begin_ms LIMIT 1000");
    get.Bind(p_range.nTo_ms, p_range.nFrom_ms);
    std::vector<SBlind> vecBlind;
    while (get.Step())
        vecBlind.push_back({get.Integer(0), get.Integer(1), get.Text(2)});
    return vecBlind;
}

std::int64_t CMemoryReader::Oldest_ms()
{
    std::int64_t nMinute = 0;
    CStatement get(m_db, "SELECT min(minute) FROM value_minute WHERE job=?");
    for (const SViewJob& job : m_model.vecJob)
    {
        get.Bind(job.nId).Step();
        const std::int64_t nOldest = get.Integer(0);
        nMinute = nMinute == 0 || (nOldest != 0 && nOldest < nMinute) ? nOldest : nMinute;
    }
    return nMinute * g_nMinute_ms;
}

// ---- neighbours ----

std::vector<SNeighbour> CMemoryReader::Neighbours(const SViewEvent& p_event)
{
    std::vector<SNeighbour> vecNeighbour;
    const auto itOwn = m_model.mapJob.find(p_event.nJob);
    if (!p_event.bMode || itOwn == m_model.mapJob.end() || std::isnan(p_event.fFreq_Hz))
        return vecNeighbour;
    // Spectra of seconds tell frequencies apart no better than that.
    const double fNear_Hz = std::max(0.1 * p_event.fFreq_Hz, 0.03);
    const SRange range{p_event.nWorst_ms - 15000, p_event.nWorst_ms + 15000};
    for (std::size_t iJob = 0; iJob < m_model.vecJob.size(); ++iJob)
        for (std::size_t iMode = 0; iMode < m_model.vecJob[iJob].vecMode.size(); ++iMode)
        {
            const SViewMode& mode = m_model.vecJob[iJob].vecMode[iMode];
            if (iJob == itOwn->second || (mode.fMax_Hz != 0.0 && (p_event.fFreq_Hz > mode.fMax_Hz + fNear_Hz ||
                                                                  p_event.fFreq_Hz < mode.fMin_Hz - fNear_Hz)))
                continue;
            SNeighbour neighbour{{iJob, iMode}};
            std::int64_t nNearest_ms = range.nTo_ms;
            for (const auto& [nTime_ms, pass] : Passes(m_memory.SeriesOf(iJob, iMode), range))
            {
                const std::int64_t nAway_ms = std::abs(nTime_ms - p_event.nWorst_ms);
                if (std::fabs(pass[0] - p_event.fFreq_Hz) > fNear_Hz || nAway_ms > nNearest_ms)
                    continue;
                nNearest_ms = nAway_ms;
                neighbour.fFreq_Hz = pass[0];
                neighbour.fMagn = pass[1];
            }
            if (neighbour.fFreq_Hz != 0.0)
                vecNeighbour.push_back(neighbour);
        }
    // Jobs of one unit compare; the strongest come first.
    std::stable_sort(vecNeighbour.begin(), vecNeighbour.end(),
                     [](const SNeighbour& p_one, const SNeighbour& p_two) { return p_one.fMagn > p_two.fMagn; });
    vecNeighbour.resize(std::min(vecNeighbour.size(), g_nMaxNeighbours));
    for (SNeighbour& neighbour : vecNeighbour)
        neighbour.fPhase_deg = Phase_deg(itOwn->second, neighbour.mode.iJob, p_event.fFreq_Hz, p_event.nWorst_ms);
    return vecNeighbour;
}

double CMemoryReader::Phase_deg(std::size_t p_iJob, std::size_t p_iOther, double p_fFreq_Hz, std::int64_t p_nAt_ms)
{
    const auto nHalf_ms = static_cast<std::int64_t>(std::clamp(2000.0 / p_fFreq_Hz, 1000.0, 30000.0));
    const SRange range{p_nAt_ms - nHalf_ms, p_nAt_ms + nHalf_ms};
    const std::int64_t nOrigin = TicksFromMs(p_nAt_ms);
    const double fPhase = PhaseOf_deg(Samples(p_iOther, range), p_fFreq_Hz, nOrigin) -
                          PhaseOf_deg(Samples(p_iJob, range), p_fFreq_Hz, nOrigin);
    return std::isnan(fPhase) ? fPhase : std::remainder(fPhase, 360.0);
}

double PhaseOf_deg(const std::vector<SSample>& p_vecSample, double p_fFreq_Hz, std::int64_t p_nOrigin)
{
    double fMean = 0.0;
    std::size_t nCount = 0;
    for (const SSample& sample : p_vecSample)
        if (!std::isnan(sample.fValue))
        {
            fMean += sample.fValue;
            ++nCount;
        }
    const double fSpan_s =
        p_vecSample.empty() ? 0.0 : static_cast<double>(p_vecSample.back().nTicks - p_vecSample.front().nTicks) / 1e7;
    if (nCount < 16 || fSpan_s * p_fFreq_Hz < 1.0)
        return g_fNoValue;
    fMean /= static_cast<double>(nCount);
    double fRe = 0.0;
    double fIm = 0.0;
    for (const SSample& sample : p_vecSample)
    {
        if (std::isnan(sample.fValue))
            continue;
        const double fTime_s = static_cast<double>(sample.nTicks - p_nOrigin) / 1e7;
        const double fAngle = 2.0 * std::numbers::pi * p_fFreq_Hz * fTime_s;
        fRe += (sample.fValue - fMean) * std::cos(fAngle);
        fIm -= (sample.fValue - fMean) * std::sin(fAngle);
    }
    return std::atan2(fIm, fRe) * 180.0 / std::numbers::pi;
}

#include "modes/record/CDOE.h"
#include "host/base/CMethodTrace.h"

namespace
{
constexpr std::string_view g_strClass = "CDOE";
constexpr unsigned g_nLevels = 12;
constexpr double g_fThreshFactor = 0.4;

/// Violation level by magnitude zone (row) and damping zone (column).
constexpr int g_vecLevel[3][4] = {{0, 2, 4, 6}, {1, 5, 8, 9}, {3, 7, 10, 11}};

/// Zone of a damping ratio. A limit itself belongs to the zone above it.
unsigned DampZone(double p_fDamp, double p_fWarn, double p_fAlarm)
{
    if (p_fDamp < p_fWarn)
        return 0;
    if (p_fDamp < p_fAlarm)
        return 1;
    return p_fDamp < 0.0 ? 2 : 3;
}

bool IsWithin(double p_fDOE, double p_fBeg, double p_fEnd)
{
    return p_fBeg <= p_fDOE && p_fDOE < p_fEnd;
}
} // namespace

CDOE::CDOE(std::unique_ptr<VecLimit> p_pvecLimitMagn, std::unique_ptr<VecLimit> p_pvecLimitDamp)
    : m_pvecLimitMagn(std::move(p_pvecLimitMagn)), m_pvecLimitDamp(std::move(p_pvecLimitDamp))
{
}

bool CDOE::CheckLimits(const CMethodTrace& p_trace) const
{
    if (!m_pvecLimitMagn || m_pvecLimitMagn->size() < 2)
        return p_trace.BadPointer("m_pvecLimitMagn");
    if (!m_pvecLimitDamp || m_pvecLimitDamp->size() < 2)
        return p_trace.BadPointer("m_pvecLimitDamp");
    return true;
}

bool CDOE::Calc(double p_fMagn, double p_fDamp, CTraceOMA* p_pTrace, double& r_fDOE) const
{
    const CMethodTrace trace(p_pTrace, g_strClass, "Calc");
    if (!CheckLimits(trace))
        return false;
    const double fMagnWarn = (*m_pvecLimitMagn)[0];
    const double fMagnAlarm = (*m_pvecLimitMagn)[1];
    const double fDampWarn = (*m_pvecLimitDamp)[0];
    const double fDampAlarm = (*m_pvecLimitDamp)[1];

    unsigned nRow = 2;
    double fkMagn = (p_fMagn - fMagnAlarm) / p_fMagn;
    if (p_fMagn < fMagnWarn)
    {
        nRow = 0;
        fkMagn = p_fMagn / fMagnWarn;
    }
    else if (p_fMagn < fMagnAlarm)
    {
        nRow = 1;
        fkMagn = (p_fMagn - fMagnWarn) / (fMagnAlarm - fMagnWarn);
    }
    if (fkMagn < 0.0 || fkMagn > 1.0)
        return trace.Error("Invalid #fkMagn# value: ", fkMagn);

    const unsigned nColumn = DampZone(p_fDamp, fDampWarn, fDampAlarm);
    double fkDamp = p_fDamp / (p_fDamp - fDampAlarm);
    if (nColumn == 0)
        fkDamp = fDampWarn / p_fDamp;
    else if (nColumn == 1)
        fkDamp = (p_fDamp - fDampWarn) / (fDampAlarm - fDampWarn);
    else if (nColumn == 2)
        fkDamp = (p_fDamp - fDampAlarm) / -fDampAlarm;
    if (fkDamp < 0.0 || fkDamp > 1.0)
        return trace.Error("Invalid #fkDamp# value: ", fkDamp);

    r_fDOE = g_vecLevel[nRow][nColumn] + fkMagn * fkDamp;
    if (!CheckDoeVsMagn(p_fMagn, p_fDamp, r_fDOE, p_pTrace) || !CheckDoeVsDamp(p_fMagn, p_fDamp, r_fDOE, p_pTrace))
        return false;
    if (!(r_fDOE > 0.0) || r_fDOE >= g_nLevels)
        return trace.Error("Invalid #r_fDOE# value: ", r_fDOE);
    return true;
}

bool CDOE::RetrveViolLevel(double p_fDOE, CTraceOMA* p_pTrace, unsigned& r_nLevel) const
{
    const CMethodTrace trace(p_pTrace, g_strClass, "RetrveViolLevel");
    // Truncates towards 0, so values between -1 and 0 give level 0.
    if (p_fDOE > -1.0 && p_fDOE < g_nLevels)
    {
        r_nLevel = static_cast<unsigned>(static_cast<int>(p_fDOE));
        return true;
    }
    r_nLevel = g_nLevels;
    return trace.Error("Invalid #p_fDOE# value: ", p_fDOE);
}

bool CDOE::CheckDoeVsMagn(double p_fMagn, double p_fDamp, double p_fDOE, CTraceOMA* p_pTrace) const
{
    const CMethodTrace trace(p_pTrace, g_strClass, "CheckDoeVsMagn");
    if (!CheckLimits(trace))
        return false;
    const double fWarn = (*m_pvecLimitMagn)[0];
    const double fAlarm = (*m_pvecLimitMagn)[1];
    const bool bDamped = p_fDamp < 0.0;
    if (p_fMagn < fWarn)
    {
        if (bDamped ? p_fDOE < 5.0 : IsWithin(p_fDOE, 6.0, 7.0))
            return true;
        return trace.Error("DOE [", p_fDOE, "] does not reflect magn. [", p_fMagn, "] being below warn.limit [", fWarn,
                           "]");
    }
    if (p_fMagn < fAlarm)
    {
        if (bDamped ? p_fDOE < 9.0 : IsWithin(p_fDOE, 9.0, 10.0))
            return true;
        return trace.Error("DOE [", p_fDOE, "] does not reflect magn. [", p_fMagn, "] being below alarm limit [",
                           fAlarm, "]");
    }
    if (bDamped ? p_fDOE < 11.0 : IsWithin(p_fDOE, 11.0, 12.0))
        return true;
    return trace.Error("DOE [", p_fDOE, "] does not reflect magn. [", p_fMagn, "] of damped signal");
}

bool CDOE::CheckDoeVsDamp(double p_fMagn, double p_fDamp, double p_fDOE, CTraceOMA* p_pTrace) const
{
    const CMethodTrace trace(p_pTrace, g_strClass, "CheckDoeVsDamp");
    if (!CheckLimits(trace))
        return false;
    const double fDampWarn = (*m_pvecLimitDamp)[0];
    const double fDampAlarm = (*m_pvecLimitDamp)[1];
    // Intended: a magnitude exactly on a limit belongs to the lower row here, but to the upper one in Calc. Calc
    // therefore fails for it.
    unsigned nRow = 2;
    if (p_fMagn <= (*m_pvecLimitMagn)[0])
        nRow = 0;
    else if (p_fMagn <= (*m_pvecLimitMagn)[1])
        nRow = 1;
    const unsigned nColumn = DampZone(p_fDamp, fDampWarn, fDampAlarm);
    const double fLevel = g_vecLevel[nRow][nColumn];
    if (IsWithin(p_fDOE, fLevel, fLevel + 1.0))
        return true;

    constexpr std::string_view vecRow[] = {"and magn. below warn.limit", "and magn. between warn. and alarm limit",
                                           "and magn. above alarm limit"};
    switch (nColumn)
    {
    case 0:
        return trace.Error("DOE [", p_fDOE, "] does not reflect damp.ratio [", p_fDamp, "] below warn.limit [",
                           fDampWarn, "] ", vecRow[nRow]);
    case 1:
        return trace.Error("DOE [", p_fDOE, "] does not reflect damp.ratio [", p_fDamp, "] being below  alarm limit [",
                           fDampAlarm, "]");
    case 2:
        return trace.Error("DOE [", p_fDOE, "] does not reflect damp.ratio [", p_fDamp, "] being below 0");
    default:
        return trace.Error("DOE [", p_fDOE, "] does not reflect damp.ratio [", p_fDamp,
                           "] of signal below magn. alarm limit");
    }
}

bool CDOE::IsPSmagnAboveThresh(double p_fMagn, double& r_fThresh) const
{
    if (!m_pvecLimitMagn || m_pvecLimitMagn->empty())
        return false;
    r_fThresh = g_fThreshFactor * m_pvecLimitMagn->front();
    return r_fThresh <= p_fMagn;
}

/// Many noise realisations of signals with known truth through CRefine; one JSON object a line and case, for accuracy.py.
///   accuracy_montecarlo [REALISATIONS [ONLY_CLASS]]
/// SNR is A^2 / 2 over the variance of the noise of one sample (the full band of the rate), A the amplitude at the onset; of
/// a growing swing that of the second evaluation, so that the numbers are about a swing of that size.
#include "refine/CRefine.h"
#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <numbers>
#include <random>
#include <string>

namespace
{
constexpr double TWO_PI = 2.0 * std::numbers::pi;
constexpr std::int64_t START = 638452296000000000;

struct SCase
{
    std::string strClass;
    double fFreq_Hz, fRatio, fSnr_dB;
    int nRate = 50;
    double fPeriods = 4.0;
    double fSecond_Hz = 0.0; ///< a second swing of 0.7 of the amplitude
    double fHarmonic = 0.0;  ///< second harmonic, part of the amplitude
    double fColour = 0.0;    ///< pole of first-order noise that has the SNR's power; 0: white
    double fStep = 0.0;      ///< step of the mean in the middle of the evaluation
    double fRamp = 0.0;      ///< 1/s, from the onset on
    double fLost = 0.0;      ///< part of the samples
    bool bHole = false;      ///< a period's half is missing
    double fSoft_s = 0.0;    ///< the swing sets in over that time
    bool bAgain = false;     ///< excited anew after the first 4 periods
    bool bSwing = true;
};

struct SRow
{
    std::vector<double> vecFreq, vecRatio, vecAmpl, vecOnset_s, vecLatency,
        vecMs; ///< errors, the first two over their bounds
    double fBoundFreq = 0.0, fBoundRatio = 0.0, fBiasFreq = 0.0, fBiasRatio = 0.0;
    int nRuns = 0, nKnown = 0, nInFreq = 0, nInRatio = 0, nInAmpl = 0, nOnset = 0, nInOnset = 0, nBoth = 0;
    int nGrowing = 0, nDecaying = 0, nSteady = 0, nForced = 0,
        nNatural = 0; ///< runs in which it was said at least once
};

/// Processor time of this thread: other work on the machine does not count.
double Now_ms()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return 1e3 * static_cast<double>(now.tv_sec) + 1e-6 * static_cast<double>(now.tv_nsec);
}

double Rate(double p_fFreq_Hz, double p_fRatio)
{
    return TWO_PI * p_fFreq_Hz * p_fRatio / std::sqrt(1.0 - p_fRatio * p_fRatio);
}

/// Cramer-Rao bound of frequency and ratio from samples at p_nRate over p_fSpan_s since the onset with amplitude 1 and this
/// phase; amplitude, phase and mean unknown.
std::pair<double, double> Bound(const SCase& p_case, double p_fSpan_s, double p_fPhase, double p_fVar)
{
    const auto n = static_cast<Eigen::Index>(p_fSpan_s * p_case.nRate);
    const double w = TWO_PI * p_case.fFreq_Hz, s = Rate(p_case.fFreq_Hz, p_case.fRatio);
    Eigen::MatrixXd mat(n, 5);
    for (Eigen::Index i = 0; i < n; ++i)
    {
        const double t = static_cast<double>(i) / p_case.nRate, e = std::exp(s * t), c = std::cos(w * t + p_fPhase),
                     d = std::sin(w * t + p_fPhase);
        mat.row(i) << e * c, -e * d, t * e * c, -t * e * d, 1.0;
    }
    const Eigen::MatrixXd matCov = (mat.transpose() * mat).inverse() * p_fVar;
    return {std::sqrt(matCov(3, 3)) / TWO_PI, std::sqrt(matCov(2, 2)) / w};
}

double Signal(const SCase& p_case, double p_fAge_s, double p_fPhase, double p_fPhase2)
{
    if (p_fAge_s < 0.0 || !p_case.bSwing)
        return 0.0;
    const double w = TWO_PI * p_case.fFreq_Hz, s = Rate(p_case.fFreq_Hz, p_case.fRatio),
                 fAgain_s = 4.0 / p_case.fFreq_Hz;
    double f = std::exp(s * p_fAge_s) * std::cos(w * p_fAge_s + p_fPhase);
    if (p_case.fSecond_Hz > 0.0)
        f += 0.7 * std::exp(s * p_fAge_s) * std::cos(TWO_PI * p_case.fSecond_Hz * p_fAge_s + p_fPhase2);
    f += p_case.fHarmonic * std::cos(2.0 * (w * p_fAge_s + p_fPhase));
    if (p_case.bAgain && p_fAge_s > fAgain_s)
        f = std::exp(s * (p_fAge_s - fAgain_s)) * std::cos(w * (p_fAge_s - fAgain_s) + p_fPhase2);
    if (p_fAge_s < p_case.fSoft_s)
        f *= 0.5 - 0.5 * std::cos(std::numbers::pi * p_fAge_s / p_case.fSoft_s);
    return f;
}

int RightVerdict(const SCase& p_case)
{
    return static_cast<int>(std::abs(p_case.fRatio) <= CSwingEstimator::STEADY ? EVerdict::eSteady
                            : p_case.fRatio < 0.0                              ? EVerdict::eDecaying
                                                                               : EVerdict::eGrowing);
}

void Evaluate(const SCase& p_case, const SEstimate& p_e, double p_fOnset_s, double p_fPhase, double p_fVar, SRow& r_row)
{
    const double fAge_s = static_cast<double>(p_e.nTime - START) / 1e7 - p_fOnset_s;
    const auto [fBoundFreq, fBoundRatio] = Bound(p_case, std::min(fAge_s, 60.0), p_fPhase, p_fVar);
    if (!p_e.IsKnown())
        return;
    ++r_row.nKnown;
    const bool bOther = p_case.fSecond_Hz > 0.0 && p_e.nSwings == 2 &&
                        std::abs(p_e.aSwing[1].freq_Hz.fValue - p_case.fFreq_Hz) <
                            std::abs(p_e.aSwing[0].freq_Hz.fValue - p_case.fFreq_Hz);
    const SSwing& swing = p_e.aSwing[bOther];
    r_row.nBoth += p_e.nSwings == 2;
    const double fFreq = swing.freq_Hz.fValue - p_case.fFreq_Hz, fRatio = swing.ratio.fValue - p_case.fRatio;
    const double fSince_s = p_case.bAgain ? fAge_s - 4.0 / p_case.fFreq_Hz : fAge_s;
    const double fAmpl = std::exp(Rate(p_case.fFreq_Hz, p_case.fRatio) * fSince_s);
    r_row.vecFreq.push_back(fFreq / fBoundFreq);
    r_row.vecRatio.push_back(fRatio / fBoundRatio);
    r_row.vecAmpl.push_back(swing.ampl.fValue / fAmpl - 1.0);
    r_row.fBoundFreq = fBoundFreq;
    r_row.fBoundRatio = fBoundRatio;
    r_row.fBiasFreq += fFreq;
    r_row.fBiasRatio += fRatio;
    r_row.nInFreq += std::abs(fFreq) < 2.0 * swing.freq_Hz.fDev;
    r_row.nInRatio += std::abs(fRatio) < 2.0 * swing.ratio.fDev;
    r_row.nInAmpl += std::abs(swing.ampl.fValue - fAmpl) < 2.0 * swing.ampl.fDev;
    if (p_e.bOnset)
    {
        const double fOnset = static_cast<double>(p_e.nOnset - START) / 1e7 - p_fOnset_s - (fAge_s - fSince_s);
        ++r_row.nOnset;
        r_row.vecOnset_s.push_back(fOnset);
        r_row.nInOnset += std::abs(fOnset) < 2.0 * p_e.fOnsetDev_s;
    }
}

void RunOnce(const SCase& p_case, std::mt19937_64& r_rng, SRow& r_row)
{
    std::normal_distribution<double> normal;
    std::uniform_real_distribution<double> uniform;
    const double lo = p_case.fFreq_Hz < 0.2 ? 0.05 : p_case.fFreq_Hz < 0.8 ? 0.2 : 0.8;
    const double hi = p_case.fFreq_Hz < 0.2 ? 0.2 : p_case.fFreq_Hz < 0.8 ? 0.8 : 3.0;
    CRefine refine(p_case.nRate, false, {{lo, hi}});
    const double fOnset_s = 30.0 + uniform(r_rng), fPhase = TWO_PI * uniform(r_rng), fPhase2 = TWO_PI * uniform(r_rng);
    const double fTotal_s = p_case.fPeriods / p_case.fFreq_Hz, fVar = 0.5 * std::pow(10.0, -0.1 * p_case.fSnr_dB);
    const double fInnovation = std::sqrt(fVar * (1.0 - p_case.fColour * p_case.fColour));
    double fNoise = std::sqrt(fVar) * normal(r_rng), fNext_s = fOnset_s + 1.0;
    bool abSaid[4] = {}, abOrigin[3] = {}, bRight = false;
    for (std::int64_t i = 0;; ++i)
    {
        const double t = static_cast<double>(i) / p_case.nRate, fAge_s = t - fOnset_s;
        fNoise = p_case.fColour * fNoise + fInnovation * normal(r_rng);
        double f = 300.0 + fNoise + Signal(p_case, fAge_s, fPhase, fPhase2);
        f += fAge_s > 0.0 ? p_case.fRamp * fAge_s : 0.0;
        f += fAge_s > 0.5 * fTotal_s ? p_case.fStep : 0.0;
        const bool bHole = p_case.bHole && std::abs(fAge_s - 0.5 * fTotal_s) < 0.25 / p_case.fFreq_Hz;
        const bool bLost = bHole || uniform(r_rng) < p_case.fLost;
        refine.AddSample(START + std::llround(t * 1e7), bLost ? 1e6 : f, bLost ? 2 : 0);
        const bool bEnd = fAge_s >= fTotal_s;
        if (t < fNext_s && !bEnd)
            continue;
        fNext_s += 1.0;
        const double fBegin_ms = Now_ms();
        const SEstimate e = refine.Estimate(0);
        r_row.vecMs.push_back(Now_ms() - fBegin_ms);
        abSaid[static_cast<int>(e.eVerdict)] = true;
        abOrigin[static_cast<int>(e.eOrigin)] = true;
        if (!bRight && p_case.bSwing && static_cast<int>(e.eVerdict) == RightVerdict(p_case))
        {
            bRight = true;
            r_row.vecLatency.push_back(fAge_s * p_case.fFreq_Hz);
        }
        if (!bEnd)
            continue;
        Evaluate(p_case, e, fOnset_s, fPhase, fVar, r_row);
        break;
    }
    ++r_row.nRuns;
    r_row.nDecaying += abSaid[1];
    r_row.nSteady += abSaid[2];
    r_row.nGrowing += abSaid[3];
    r_row.nNatural += abOrigin[1];
    r_row.nForced += abOrigin[2];
}

double Rms(const std::vector<double>& p_vec)
{
    double f = 0.0;
    for (const double x : p_vec)
        f += x * x;
    return p_vec.empty() ? -1.0 : std::sqrt(f / static_cast<double>(p_vec.size()));
}

double Quantile(std::vector<double> p_vec, double p_fPart)
{
    if (p_vec.empty())
        return -1.0;
    const auto n = std::min(p_vec.size() - 1, static_cast<std::size_t>(p_fPart * static_cast<double>(p_vec.size())));
    std::nth_element(p_vec.begin(), p_vec.begin() + static_cast<long>(n), p_vec.end());
    return p_vec[n];
}

void Print(const SCase& c, const SRow& r)
{
    const double n = std::max(1, r.nKnown), fAll = std::max(1, r.nRuns);
    const double fRight = static_cast<double>(r.vecLatency.size()) / fAll;
    std::printf(
        "{\"class\":\"%s\",\"freq\":%g,\"ratio\":%g,\"snr\":%g,\"rate\":%d,\"periods\":%g,\"runs\":%d,\"known\":%.4f,"
        "\"both\":%.4f,\"f_rms\":%.3f,\"f_bound\":%.3g,\"f_bias\":%.3g,\"f_cov\":%.4f,\"z_rms\":%.3f,\"z_bound\":%.3g,"
        "\"z_bias\":%.3g,\"z_cov\":%.4f,\"a_rms\":%.4f,\"a_cov\":%.4f,\"onset_rms\":%.3f,\"onset_cov\":%.4f,",
        c.strClass.c_str(), c.fFreq_Hz, c.fRatio, c.fSnr_dB, c.nRate, c.fPeriods, r.nRuns, r.nKnown / fAll, r.nBoth / n,
        Rms(r.vecFreq), r.fBoundFreq, r.fBiasFreq / n, r.nInFreq / n, Rms(r.vecRatio), r.fBoundRatio, r.fBiasRatio / n,
        r.nInRatio / n, Rms(r.vecAmpl), r.nInAmpl / n, Rms(r.vecOnset_s), r.nInOnset / std::max(1.0, 1.0 * r.nOnset));
    std::printf(
        "\"right\":%.4f,\"latency\":%.2f,\"decaying\":%d,\"steady\":%d,\"growing\":%d,\"natural\":%d,\"forced\":%d,"
        "\"ms\":%.3f,\"ms_99\":%.3f}\n",
        fRight, fRight > 0.5 ? Quantile(r.vecLatency, 0.5 / fRight) : -1.0, r.nDecaying, r.nSteady, r.nGrowing,
        r.nNatural, r.nForced, Quantile(r.vecMs, 0.5), Quantile(r.vecMs, 0.99));
    std::fflush(stdout);
}

std::vector<SCase> Cases()
{
    std::vector<SCase> vec;
    for (const double fFreq : {0.12, 0.4, 0.9, 1.7})
        for (const double fRatio : {-0.1, -0.03, -0.01, 0.0, 0.005, 0.02})
            vec.push_back({"onset", fFreq, fRatio, 20.0});
    for (const double fSnr : {0.0, 10.0, 30.0, 40.0})
        for (const double fRatio : {-0.03, 0.0, 0.02})
            vec.push_back({"onset, other SNR", 0.4, fRatio, fSnr});
    for (const int nRate : {10, 25, 60})
        vec.push_back({"onset, other rate", 0.4, -0.03, 20.0, nRate});
    for (const double fPeriods : {2.0, 8.0, 16.0})
        vec.push_back({"onset, other span", 0.4, -0.03, 20.0, 50, fPeriods});
    for (const double fRatio : {-0.03, 0.0, 0.02})
    {
        SCase c{"", 0.4, fRatio, 20.0, 50, 8.0};
        const auto Add = [&](const char* p_pName, const std::function<void(SCase&)>& p_change)
        {
            SCase other = c;
            other.strClass = p_pName;
            p_change(other);
            vec.push_back(other);
        };
        Add("two swings 0.05 Hz apart", [](SCase& r) { r.fSecond_Hz = 0.45; });
        Add("two swings 0.05 Hz apart, 16 periods",
            [](SCase& r)
            {
                r.fSecond_Hz = 0.45;
                r.fPeriods = 16.0;
            });
        Add("coloured noise", [](SCase& r) { r.fColour = 0.98; });
        Add("step of the mean", [](SCase& r) { r.fStep = 0.5; });
        Add("ramp from the onset", [](SCase& r) { r.fRamp = 0.1; });
        Add("5 % of samples lost", [](SCase& r) { r.fLost = 0.05; });
        Add("half a period missing", [](SCase& r) { r.bHole = true; });
        Add("soft onset, 1 s", [](SCase& r) { r.fSoft_s = 1.0; });
        Add("soft onset, 4 s", [](SCase& r) { r.fSoft_s = 4.0; });
        Add("excited again", [](SCase& r) { r.bAgain = true; });
    }
    vec.push_back({"forced, second harmonic 0.1", 0.4, 0.0, 20.0, 50, 16.0, 0.0, 0.1});
    vec.push_back({"forced, sinusoidal", 0.4, 0.0, 20.0, 50, 16.0});
    for (const char* pName : {"none", "step", "ramp", "coloured noise alone"})
    {
        SCase c{pName, 0.4, 0.0, 20.0, 50, 8.0};
        c.bSwing = false;
        c.fStep = std::string(pName) == "step" ? 1.0 : 0.0;
        c.fRamp = std::string(pName) == "ramp" ? 0.1 : 0.0;
        c.fColour = std::string(pName) == "coloured noise alone" ? 0.98 : 0.0;
        vec.push_back(c);
    }
    return vec;
}

/// Ambient: a damped resonance that noise drives, drift and measurement noise of 0.3 of its deviation.
void Ambient(double p_fFreq_Hz, double p_fRatio, double p_fMinutes, int p_nRuns)
{
    std::mt19937_64 rng(static_cast<unsigned>(1000.0 * p_fFreq_Hz - 1000.0 * p_fRatio + p_fMinutes));
    std::normal_distribution<double> normal;
    const double s = Rate(p_fFreq_Hz, p_fRatio);
    const std::complex<double> turn = std::exp(std::complex<double>(s, TWO_PI * p_fFreq_Hz) / 50.0);
    const double fDrive = std::sqrt(1.0 - std::norm(turn));
    const double lo = p_fFreq_Hz < 0.2   ? 0.05
                      : p_fFreq_Hz < 0.8 ? 0.2
                                         : 0.8,
                 hi = p_fFreq_Hz < 0.2   ? 0.2
                      : p_fFreq_Hz < 0.8 ? 0.8
                                         : 3.0;
    std::vector<double> vecFreq, vecRatio, vecMs;
    double fBias = 0.0;
    int nInFreq = 0, nInRatio = 0;
    for (int r = 0; r < p_nRuns; ++r)
    {
        CRefine refine(50, false, {{lo, hi}});
        std::complex<double> state = 0.0;
        double fDrift = 300.0;
        for (int i = 0; i < 3000; ++i)
            state = state * turn + fDrive * normal(rng);
        for (std::int64_t i = 0; i < static_cast<std::int64_t>(p_fMinutes * 3000.0); ++i)
        {
            state = state * turn + fDrive * normal(rng);
            fDrift += 0.002 * normal(rng);
            refine.AddSample(START + i * 200000, fDrift + state.imag() + 0.2 * normal(rng), 0);
        }
        const double fBegin_ms = Now_ms();
        const SAmbient a = refine.Ambient(0);
        vecMs.push_back(Now_ms() - fBegin_ms);
        if (!a.IsKnown())
            continue;
        vecFreq.push_back(a.freq_Hz.fValue - p_fFreq_Hz);
        vecRatio.push_back(a.ratio.fValue - p_fRatio);
        fBias += vecRatio.back();
        nInFreq += std::abs(vecFreq.back()) < 2.0 * a.freq_Hz.fDev;
        nInRatio += std::abs(vecRatio.back()) < 2.0 * a.ratio.fDev;
    }
    const double n = std::max<double>(1.0, static_cast<double>(vecRatio.size()));
    std::printf(
        "{\"class\":\"ambient\",\"freq\":%g,\"ratio\":%g,\"minutes\":%g,\"runs\":%d,\"known\":%.4f,\"f_rms\":%.5f,"
        "\"f_cov\":%.4f,\"z_rms\":%.5f,\"z_bound\":%.5f,\"z_bias\":%.5f,\"z_cov\":%.4f,\"ms\":%.3f}\n",
        p_fFreq_Hz, p_fRatio, p_fMinutes, p_nRuns, n / p_nRuns, Rms(vecFreq), nInFreq / n, Rms(vecRatio),
        std::sqrt(-s / (60.0 * p_fMinutes)) / (TWO_PI * p_fFreq_Hz), fBias / n, nInRatio / n, Quantile(vecMs, 0.5));
    std::fflush(stdout);
}
} // namespace

int main(int p_nArg, char** p_ppArg)
{
    const int nRuns = p_nArg > 1 ? std::max(1, std::atoi(p_ppArg[1])) : 1000;
    const std::string strOnly = p_nArg > 2 ? p_ppArg[2] : "";
    unsigned nSeed = 1;
    for (const SCase& c : Cases())
    {
        ++nSeed;
        if (!strOnly.empty() && c.strClass.find(strOnly) == std::string::npos)
            continue;
        std::mt19937_64 rng(nSeed);
        SRow row;
        const int nThese = c.strClass == "onset" ? nRuns : std::max(1, nRuns / 4);
        for (int i = 0; i < nThese; ++i)
            RunOnce(c, rng, row);
        Print(c, row);
    }
    if (strOnly.empty() || strOnly == "ambient")
        for (const auto& [fFreq, fRatio, fMinutes] : {std::tuple{0.4, -0.05, 20.0},
                                                      {0.4, -0.05, 10.0},
                                                      {0.4, -0.02, 20.0},
                                                      {0.4, -0.1, 20.0},
                                                      {0.12, -0.05, 20.0},
                                                      {1.2, -0.05, 20.0}})
            Ambient(fFreq, fRatio, fMinutes, std::max(1, nRuns / 5));
    return 0;
}

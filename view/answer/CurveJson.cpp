#include "view/answer/CurveJson.h"
#include "view/state/StateJson.h"
#include <string>

namespace json = boost::json;

namespace
{
json::array Numbers(const std::vector<double>& p_vecfValue)
{
    json::array numbers;
    numbers.reserve(p_vecfValue.size());
    for (const double fValue : p_vecfValue)
        numbers.push_back(JsonNumberOrNull(fValue));
    return numbers;
}

json::array Times(const SCurve& p_curve)
{
    return json::array(p_curve.vecnTime_ms.begin(), p_curve.vecnTime_ms.end());
}
} // namespace

json::object CourseJson(const SViewModel& p_model, const SModeRef& p_mode, const SCurve& p_curve)
{
    constexpr const char* ppResolution[] = {"pass", "bucket", "minute"};
    constexpr const char* ppColumn[] = {"frequency_Hz", "magnitude", "damping_ratio", "exposure"};
    const SViewJob& job = p_model.vecJob[p_mode.iJob];
    const SViewMode& mode = job.vecMode[p_mode.iMode];
    json::object course = {{"job", job.nId},           {"mode", mode.nId},
                           {"job_name", job.strName},  {"mode_name", mode.strName},
                           {"unit", job.Unit()},       {"resolution", ppResolution[p_curve.eResolution]},
                           {"time_ms", Times(p_curve)}};
    for (std::size_t i = 0; i < 4; ++i)
    {
        const std::string strName = ppColumn[i];
        course[strName] = Numbers(p_curve.vecColumn[i].vecfMean);
        course[strName + "_min"] = Numbers(p_curve.vecColumn[i].vecfMin);
        course[strName + "_max"] = Numbers(p_curve.vecColumn[i].vecfMax);
    }
    return course;
}

json::object ValuesJson(const SViewJob& p_job, const SCurve& p_curve)
{
    constexpr const char* ppResolution[] = {"full", "bucket", "minute"};
    return {{"job", p_job.nId},
            {"unit", p_job.Unit()},
            {"resolution", ppResolution[p_curve.eResolution]},
            {"time_ms", Times(p_curve)},
            {"mean", Numbers(p_curve.vecColumn[0].vecfMean)},
            {"min", Numbers(p_curve.vecColumn[0].vecfMin)},
            {"max", Numbers(p_curve.vecColumn[0].vecfMax)}};
}

json::object StepJson(const SViewStep& p_step)
{
    return {{"time_ms", p_step.nTime_ms},
            {"transition", p_step.bApp ? "APP" : "DIS"},
            {"level", p_step.nLevel},
            {"text", p_step.strText},
            {"frequency_Hz", JsonNumberOrNull(p_step.fFreq_Hz)},
            {"magnitude", JsonNumberOrNull(p_step.fMagn)},
            {"damping_ratio", JsonNumberOrNull(p_step.fDamp)},
            {"exposure", JsonNumberOrNull(p_step.fDOE)}};
}

json::object NoteJson(const SNote& p_note)
{
    return {{"id", p_note.nId}, {"by", p_note.strBy}, {"time_ms", p_note.nTime_ms}, {"text", p_note.strText}};
}

json::object NeighbourJson(const SViewModel& p_model, const SNeighbour& p_neighbour)
{
    const SViewJob& job = p_model.vecJob[p_neighbour.mode.iJob];
    const SViewMode& mode = job.vecMode[p_neighbour.mode.iMode];
    return {{"job", job.nId},
            {"job_name", job.strName},
            {"mode", mode.nId},
            {"mode_name", mode.strName},
            {"unit", job.Unit()},
            {"frequency_Hz", JsonNumberOrNull(p_neighbour.fFreq_Hz)},
            {"magnitude", JsonNumberOrNull(p_neighbour.fMagn)},
            {"phase_deg", JsonNumberOrNull(p_neighbour.fPhase_deg)}};
}

json::object BlindJson(const CMemoryReader::SBlind& p_blind)
{
    return {{"job", nullptr},
            {"begin_ms", p_blind.nBegin_ms},
            {"end_ms", p_blind.nEnd_ms == -1 ? json::value() : json::value(p_blind.nEnd_ms)},
            {"text", p_blind.strText}};
}

#include "view/notice/Notice.h"
#include "view/notice/SendMqtt.h"
#include "view/notice/SendWeb.h"
#include "view/state/StateJson.h"

namespace json = boost::json;
namespace Runtime = Norvik::Energy::Kestrel::VDS::Runtime;

json::object NoticeBody(const SViewModel& p_model, const SViewEvent& p_event, const char* p_pWhat, int p_nLevel,
                        std::int64_t p_nNow_ms)
{
    const json::object event = EventJson(p_model, p_event);
    json::object body = {{"what", p_pWhat},
                         {"time_ms", p_nNow_ms},
                         {"level", p_nLevel},
                         {"level_text", LevelText(p_nLevel)},
                         {"event", event.at("id")}};
    for (const char* pName : {"job", "job_name", "mode", "mode_name", "level_worst", "begin_ms", "end_ms",
                              "frequency_Hz", "magnitude_max", "unit", "damping_ratio_max", "exposure_max"})
        body[pName] = event.at(pName);
    return body;
}

bool IsLike(const char* p_pName, const char* p_pPattern)
{
    // The last star takes one character more whenever what follows it does not fit.
    const char* pStar = nullptr;
    const char* pAfter = nullptr;
    while (*p_pName != '\0')
    {
        if (*p_pPattern == '*')
        {
            pStar = ++p_pPattern;
            pAfter = p_pName;
        }
        else if (*p_pPattern == '?' || *p_pPattern == *p_pName)
        {
            ++p_pPattern;
            ++p_pName;
        }
        else if (pStar)
        {
            p_pPattern = pStar;
            p_pName = ++pAfter;
        }
        else
            return false;
    }
    while (*p_pPattern == '*')
        ++p_pPattern;
    return *p_pPattern == '\0';
}

void SendNotice(const Runtime::CReceiverConfig& p_receiver, const SNotice& p_notice)
{
    if (p_receiver.Kind() == Runtime::eReceiverWebhook)
        SendWebhook(p_receiver, p_notice);
    else if (p_receiver.Kind() == Runtime::eReceiverEmail)
        SendEmail(p_receiver, p_notice);
    else
        SendMqtt(p_receiver, p_notice);
}

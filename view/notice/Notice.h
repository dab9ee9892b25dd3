#pragma once
#include "CView.h"
#include "view/state/ViewEvent.h"
#include "view/state/ViewModel.h"
#include <boost/json.hpp>
#include <cstdint>
#include <string>

/// What a receiver is told, ready to go.
struct SNotice
{
    std::int64_t nId = 0; ///< of the queue: the same for each try
    std::string strTopic; ///< "501/612", of job and mode
    std::string strBody;  ///< JSON
};

/// @param p_pWhat raised, changed, cleared or test.
boost::json::object NoticeBody(const SViewModel& p_model, const SViewEvent& p_event, const char* p_pWhat, int p_nLevel,
                               std::int64_t p_nNow_ms);
/// Whether a name fits a pattern with * and ?.
bool IsLike(const char* p_pName, const char* p_pPattern);

/// Sends one notice and waits for its acceptance, at most some ten seconds. @throws std::runtime_error with the reason.
void SendNotice(const Norvik::Energy::Kestrel::VDS::Runtime::CReceiverConfig& p_receiver, const SNotice& p_notice);

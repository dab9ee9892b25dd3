#pragma once
#include "view/notice/Notice.h"

/// By libmosquitto: retained, QoS 1, under the receiver's topic and that of the notice.
void SendMqtt(const Norvik::Energy::Kestrel::VDS::Runtime::CReceiverConfig& p_receiver, const SNotice& p_notice);

#pragma once
#include <cstdint>

/// Whom the event of a suspension belongs to, and the connection that it goes out on; missing values are 0. Without an
/// element type nothing is posted. The first call makes suspensions reach the server. Any thread.
void SetEventContext(std::int32_t p_eElemType);
void SetEventContext(std::int32_t p_eElemType, unsigned long p_hSocket);
void SetEventContext(std::int32_t p_eElemType, unsigned long p_hSocket, unsigned long p_nElemId);

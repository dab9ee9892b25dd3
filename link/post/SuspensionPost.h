#pragma once
#include <cstdint>

/// Sets the element that suspension events belong to, and the connection they are sent on; missing values are 0.
/// Without an element type nothing is posted. The first call installs the hook of the suspensions. Any thread.
void SetEventContext(std::int32_t p_eElemType);
void SetEventContext(std::int32_t p_eElemType, unsigned long p_hSocket);
void SetEventContext(std::int32_t p_eElemType, unsigned long p_hSocket, unsigned long p_nElemId);

#pragma once
#include <cstdint>
#include <string>
#include <string_view>

/// Every failure that the code cannot get past ends here: one error line, the suspended state (only from the running
/// one), and an event to the server. Once for each call: several failures in a row give several events. Any thread.

/// Line class"::"method"(): "text"!" and so on (a blank behind the colon here).
void SuspendApp(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText);
void SuspendApp(std::string_view p_strMethod, std::string_view p_strText);
/// The same with control 0: a warning line only. Nobody calls these at present.
void RestartApp(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText);
void RestartApp(std::string_view p_strMethod, std::string_view p_strText);
/// @param p_nControl 0 restart, 1 suspend, 2 stop, else invalid. p_strFull goes to the trace, p_strShort to the event.
void ApplicationControl(int p_nControl, std::string_view p_strFull, const std::string& p_strShort);

/// Whom the event of a suspension belongs to; missing values are 0.
void SetEventContext(std::int32_t p_eElemType);
void SetEventContext(std::int32_t p_eElemType, unsigned long p_hSocket);
void SetEventContext(std::int32_t p_eElemType, unsigned long p_hSocket, unsigned long p_nElemId);

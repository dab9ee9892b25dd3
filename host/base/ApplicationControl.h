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

/// Called with the short text of each suspension, after its line and the change of the state, by the thread that
/// suspends: the way to the server, which this room does not know. Null: none.
using TOnSuspension = void (*)(const std::string& p_strShort);
void SetOnSuspension(TOnSuspension p_pfnOnSuspension);

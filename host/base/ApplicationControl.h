#pragma once
#include <cstdint>
#include <string>
#include <string_view>

/// Every failure that ends the application's work is reported here: one error line, the suspended state (entered only
/// from the running state) and an event to the server. Each call posts its own event, so several failures in a row give
/// several events. Any thread.

/// Line: class"::"method"(): "text"!" and so on (here with a blank after the colon).
void SuspendApp(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText);
void SuspendApp(std::string_view p_strMethod, std::string_view p_strText);
/// Same with control 0, which only writes a warning line. Currently unused.
void RestartApp(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText);
void RestartApp(std::string_view p_strMethod, std::string_view p_strText);
/// @param p_nControl 0 restart, 1 suspend, 2 stop, else invalid. p_strFull goes to the trace, p_strShort to the event.
void ApplicationControl(int p_nControl, std::string_view p_strFull, const std::string& p_strShort);

/// Called with the short text of each suspension, by the thread that suspends, after the line is written and the state
/// has changed. It forwards the text to the server, which this room does not know. Null: no hook.
using TOnSuspension = void (*)(const std::string& p_strShort);
void SetOnSuspension(TOnSuspension p_pfnOnSuspension);

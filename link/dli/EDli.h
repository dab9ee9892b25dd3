#pragma once
#include <cstdint>
#include <stdexcept>
#include <string>

// Enumerations of the link to the phasor data server, with the values used on the wire.

namespace Norvik::Energy::Kestrel
{
/// Who an event or a connection belongs to. Other values occur in received events and are ignored.
enum EElementType : std::int32_t
{
    eElemPlatform = 0, ///< a restart event from the platform applies to every application
    eElemNTM = 2,      ///< source of island and zone states
    eElemOMA = 3       ///< this application
};
} // namespace Norvik::Energy::Kestrel

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
enum ETransition : std::int32_t
{
    eDIS = 0, ///< the condition has ended
    eAPP = 1  ///< the condition has begun
};

/// What an event reports.
enum EIncidenceKey : std::int32_t
{
    eIkNone = 0,
    eIkRestart = 7,
    eIkServiceStopNTM = 4001,
    eIkZoneValid = 4003,
    eIkZoneSuspect = 4004,
    eIkSubzone = 4005,
    eIkZoneSecond = 4006,
    eIkServiceStopOMA = 4201,
    eIkNoPhasorData = 4202,
    eIkPsUndampedCritical = 4203,
    eIkPsCritical = 4204,
    eIkPsDistinct = 4205,
    eIkPsNotified = 4206
};

/// Rate in Hz, transmitted unchanged.
enum ESampleRate : std::int32_t
{
};

/// First argument of every Status callback.
enum EStatus : unsigned long
{
    eDisconnected = 0,
    eConnected = 1,
    eStatus2 = 2,
    eNotConnected = 3,
    eLinkDown = 4,
    eReqFinished = 5,
    eStatus7 = 7,
    eStatus8 = 8,
    eReqCycle = 9,      ///< lAddInfo: actual cycle time in ms
    eWriteResponse = 10 ///< lReqNum: virtual PMU id; lAddInfo: 0 or an error
};

/// Exception thrown by the library; what() holds the text.
class CDliError : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

/// Opens a connection to the server. The library keeps it alive and reconnects automatically; the callbacks are
/// informed of loss and recovery through Status. @return its handle, 0 on failure (nothing listens at that address).
/// @throws CDliError if the address or port is invalid.
unsigned long Init(EElementType p_eElem, const std::string& p_strName, const std::string& p_strIPAddr,
                   unsigned int p_nPort);
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

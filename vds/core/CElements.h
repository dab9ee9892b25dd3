#pragma once
#include "vds/core/CEventStore.h"
#include <cstdint>
#include <set>
#include <vector>

/// The order to start again: it is never kept active.
bool IsRestart(const SEvent& p_event);
/// An order is executed once by each client that it concerns: a restart (key 7), the stop of an application.
bool IsOrder(const SEvent& p_event);
/// The incident that an application has stopped: 4201 for type 3, 4001 for type 2.
bool IsStop(const SEvent& p_event);

/// The elements that a client has declared, and what they imply for the events it receives.
class CElements
{
  public:
    /// @param p_vecnId the application first, then its instances, jobs and modes.
    void Declare(std::int32_t p_eElemType, const std::vector<std::uint64_t>& p_vecnId);
    bool IsDeclared() const { return !m_setnId.empty(); }
    /// Element id of the application; 0 if nothing has been declared.
    std::uint64_t Application() const { return m_nApplication; }
    /// @return true if the event's element is one of these.
    bool Has(const SEvent& p_event) const;
    /// @return true if the event is about one of these elements, or was posted by this application.
    bool IsOwn(const SEvent& p_event) const;
    /// @return true if the client must receive the event no matter which other clients are connected: the event is of
    /// another kind of client or concerns this client, or the client has declared no elements.
    bool Hears(const SEvent& p_event) const;
    /// @return true if the event reports the start of this application.
    bool IsStart(const SEvent& p_event) const;
    /// @return true if the (active) event was left by an earlier run of the application that is starting.
    bool IsLeftOver(const SEvent& p_event) const;

  private:
    std::int32_t m_eElemType = 0;
    std::uint64_t m_nApplication = 0;
    std::set<std::uint64_t> m_setnId;
};

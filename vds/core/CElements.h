#pragma once
#include "vds/core/CEventStore.h"
#include <cstdint>
#include <set>
#include <vector>

/// The order to start again: it does not stand.
bool IsRestart(const SEvent& p_event);
/// An order is carried out once by each client that it concerns: a restart (key 7), the stop of an application.
bool IsOrder(const SEvent& p_event);
/// The incident that an application has stopped: 4201 of type 3, 4001 of type 2.
bool IsStop(const SEvent& p_event);

/// The elements that a client speaks for, as it has declared them, and which events follow from that.
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
    /// @return true if the event is about one of these elements, or this application has posted it.
    bool IsOwn(const SEvent& p_event) const;
    /// @return true if the client has to hear of it whoever else is there: it is of another kind of client, it is this
    /// one's own, or the client has not declared whom it speaks for.
    bool Hears(const SEvent& p_event) const;
    /// @return true if the event is the start of this application.
    bool IsStart(const SEvent& p_event) const;
    /// @return true if the event, which stands, was left by an earlier life of the application that starts.
    bool IsLeftOver(const SEvent& p_event) const;

  private:
    std::int32_t m_eElemType = 0;
    std::uint64_t m_nApplication = 0;
    std::set<std::uint64_t> m_setnId;
};

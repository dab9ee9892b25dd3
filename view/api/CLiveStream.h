#pragma once
#include "view/api/Http.h"
#include "view/state/StateJson.h"
#include <functional>

/// The live stream of one browser: first all, then what has changed since. Whatever a slow one has missed is in its next
/// piece; nothing is kept for it.
class CLiveStream : public ILiveSource
{
  public:
    /// @param p_vecTrace jobs whose actual value is wanted. @param p_fnOpen whether its user is still signed in.
    CLiveStream(const CViewState& p_state, const std::vector<std::size_t>& p_vecTrace, std::int64_t p_nTrace_ms,
                std::function<bool()> p_fnOpen);
    std::string Next() override;
    bool IsOpen() override { return m_fnOpen(); }

  private:
    const CViewState& m_state;
    const std::function<bool()> m_fnOpen;
    SLiveCursor m_cursor;
    bool m_bFirst = true;
};

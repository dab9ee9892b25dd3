#pragma once
#include <cstdint>

/// Whether the data of a stream keeps coming, and can be read: looks from time to time at what has been counted. Frames
/// that do not fit the configuration are data, too: a new one has been asked for.
///
/// Threads  one. The time is handed in, in s.
class CDataWatch
{
  public:
    enum EVerdict
    {
        eComes,
        eQuiet,     ///< nothing since the look before
        eSilent,    ///< for the second time
        eUnreadable ///< comes, but no configuration has fitted for 20 s
    };
    void Begin(std::uint64_t p_nRead, std::uint64_t p_nMisfits, double p_fNow_s)
    {
        m_nRead = p_nRead;
        m_nMisfits = p_nMisfits;
        m_nQuiet = 0;
        m_fReadable_s = p_fNow_s;
    }
    bool HasBegun(std::uint64_t p_nRead) const { return p_nRead != m_nRead; }
    /// @param p_nRead frames that were read, p_nMisfits that did not fit; p_bSure the layout is beyond doubt.
    EVerdict Look(std::uint64_t p_nRead, std::uint64_t p_nMisfits, bool p_bSure, double p_fNow_s)
    {
        const bool bCame = p_nRead != m_nRead || p_nMisfits != m_nMisfits;
        if (p_nRead != m_nRead && p_bSure)
            m_fReadable_s = p_fNow_s;
        m_nRead = p_nRead;
        m_nMisfits = p_nMisfits;
        m_nQuiet = bCame ? 0 : m_nQuiet + 1;
        if (bCame)
            return p_fNow_s - m_fReadable_s > g_fUnreadableMost_s ? eUnreadable : eComes;
        return m_nQuiet == 2 ? eSilent : eQuiet;
    }

  private:
    static constexpr double g_fUnreadableMost_s = 20.0;

    std::uint64_t m_nRead = 0;
    std::uint64_t m_nMisfits = 0;
    unsigned m_nQuiet = 0; ///< looks without news
    double m_fReadable_s = 0.0;
};

#pragma once
#include "link/output/CVdsOut.h"
#include "link/output/CVdsOutCbPS.h"
#include <string>
#include <string_view>

/// Writes the four swing values of a mode, once a PS cycle, on the job's thread.
/// Owner    the mode; the destructor removes the callback from the library first.
class CVdsOutPS : public CVdsOut
{
  public:
    CVdsOutPS(unsigned long p_hConn, std::uint32_t p_nVirtualPmuId, const std::vector<unsigned long>& p_vecnChanId,
              std::int32_t p_nCycleRate, CTraceOMA* p_pTrace);
    ~CVdsOutPS() override;

    bool DoWritePS(const CTime* p_pActTime, double p_fFreq_Hz, double p_fMagn, double p_fDamp, double p_fDOE,
                   std::int32_t p_eQual);
    /// Last index whose name matches, ignoring case; 4 if none does. Intended: the table of names has one entry for
    /// indices 2 and 3 together and an empty fourth one, so neither of these two quantities is found by its own name.
    static unsigned GetChannelIndex(const std::string& p_strName);
    /// Unit of a channel: 0 frequency, 1 magnitude, 2 damping ratio, 3 degree of exposure. Empty for other indices.
    static std::string_view GetUnit(bool p_bPower, unsigned p_nIndex);
    CVdsOutCbPS* GetCB() const { return m_pCB.get(); }

  private:
    /// Sets quality and stamp of each channel. @return false if the time cannot be converted.
    bool StampChannels(const CTime& p_actTime, std::int32_t p_eQual);
    /// Reports PS cycles that are missing between the last value and this one.
    void CheckGap(const CTime& p_actTime);

    std::unique_ptr<CVdsOutCbPS> m_pCB;
};

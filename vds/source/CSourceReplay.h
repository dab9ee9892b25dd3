#pragma once
#include "vds/base/ISource.h"

#include <cstdint>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

/// Plays a recording: a text file with ';' as separator, one header line, and one line per cycle.
///
/// Owner    the server, one thread.
/// Data     the file is read line by line and never loaded as a whole. ISO time stamps with seven digits
///          are used unchanged; others are moved onto the grid of the rate if they are within half a millisecond
///          of it. Stamps that jump, repeat or go back are passed on unchanged.
/// Errors   one line that names file, line, column and what was expected; the source then ends.
class CSourceReplay : public ISource
{
  public:
    /// Opens the file, reads the header and derives the rate from the distances of the first time stamps.
    /// @param p_nStartTicks time of second 0 for a file with times in seconds.
    /// @return false with the reason in Error().
    bool Open(const std::string& p_strPath, std::int64_t p_nStartTicks);

    const std::vector<unsigned long>& Ids() const override { return m_vecnId; }
    std::int32_t Rate() const override { return m_nRate; }
    bool Next(SSourceCycle& r_cycle) override;
    bool Rewind() override;
    const std::string& Error() const override { return m_strError; }

  private:
    struct SColumn
    {
        std::string strName;
        std::size_t iSample = 0; ///< index of the datapoint in m_vecnId; not used for the time
        enum EKind
        {
            eTime,
            eMagn,
            eAngle,
            eState
        } eKind = eTime;
    };

    bool ReadLine();
    bool ReadHeader();
    bool AddColumn(std::string_view p_strName);
    bool FindRate();
    bool ParseLine(SSourceCycle& r_cycle);
    bool ParseField(const SColumn& p_column, std::string_view p_strText, SSourceCycle& r_cycle);
    bool ParseTime(std::string_view p_strText, std::int64_t& r_nTicks) const;
    std::int64_t SnapToGrid(std::int64_t p_nTicks) const;
    bool Fail(const std::string& p_strWhat);
    bool FailAt(std::size_t p_iColumn, const std::string& p_strName, const std::string& p_strWhat);

    std::string m_strPath;
    std::ifstream m_file;
    std::int64_t m_nStartTicks = 0;
    std::int32_t m_nRate = 0; ///< 0 while the rate is unknown: no stamp is moved then
    std::vector<unsigned long> m_vecnId;
    std::vector<SColumn> m_vecColumn;
    std::string m_strLine;     ///< the newest line, without its end
    std::uint64_t m_nLine = 0; ///< its number, from 1
    std::string m_strError;
};

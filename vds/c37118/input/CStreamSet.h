#pragma once
#include "vds/c37118/input/CStreamReader.h"
#include <memory>

/// All configured streams with their concentrator: the common part of a live source and a capture.
class CStreamSet
{
  public:
    explicit CStreamSet(SSynchrophasorConfig p_config);
    CStreamSet(const CStreamSet&) = delete;
    CStreamSet& operator=(const CStreamSet&) = delete;

    /// Receives the messages for the operator; may be set later.
    CStreamReader::TLine m_fnLine;

    const SSynchrophasorConfig& Config() const { return m_config; }
    const std::vector<unsigned long>& Ids() const { return m_vecnId; }
    std::vector<std::unique_ptr<CStreamReader>>& Readers() { return m_vecpReader; }
    CConcentrator& Concentrator() { return m_concentrator; }
    /// One line per stream with its counters.
    std::vector<std::string> Summary() const;
    std::vector<SStreamHealth> Health() const;

  private:
    const SSynchrophasorConfig m_config;
    std::vector<unsigned long> m_vecnId;
    CConcentrator m_concentrator;
    std::vector<std::unique_ptr<CStreamReader>> m_vecpReader;
};

/// The counters as text; those that are 0 are omitted, except for the data frames.
std::string CountersText(const SStreamCounters& p_counters);

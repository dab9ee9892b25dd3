#pragma once
#include <memory>
#include <string>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
class CConfiguration;

/// Reader of the configuration file. Parses it, checks it against the built-in schema, and keeps the tree for
/// CConfiguration::CreateInstance.
class CXMLConfiguration
{
  public:
    CXMLConfiguration();
    virtual ~CXMLConfiguration();
    CXMLConfiguration(const CXMLConfiguration&) = delete;
    CXMLConfiguration& operator=(const CXMLConfiguration&) = delete;

    /// @param p_strSchema path of a schema; empty: the built-in one.
    /// @return 0 on success. Otherwise one line per fault is traced (area "Config", error) and kept in Faults(): file,
    /// line, element and what was expected.
    int Read(const std::string& p_strPath, const std::string& p_strSchema);
    const std::string& Faults() const { return m_strFaults; }

  private:
    friend class CConfiguration;
    std::unique_ptr<CConfiguration> m_pTree; ///< until CreateInstance takes it
    std::string m_strFaults;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

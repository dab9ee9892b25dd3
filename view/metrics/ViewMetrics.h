#pragma once
#include "view/state/CViewState.h"
#include <string>
#include <string_view>
#include <vector>

// The text form of Prometheus.

/// Writes families of metrics, each with its help and type once.
class CMetricText
{
  public:
    explicit CMetricText(std::string& r_strText) : m_strText(r_strText) {}
    void Family(std::string_view p_strName, std::string_view p_strType, std::string_view p_strHelp);
    using TLabels = std::vector<std::pair<std::string, std::string>>;
    /// A sample of the family begun last. @param p_strSuffix such as "_sum".
    void Sample(double p_fValue, const TLabels& p_vecLabel = {}, std::string_view p_strSuffix = {});
    /// A family with one sample.
    void Single(std::string_view p_strName, std::string_view p_strType, std::string_view p_strHelp, double p_fValue);

  private:
    std::string& m_strText;
    std::string m_strName;
};

std::string StateMetrics(const CViewState::SView& p_view);

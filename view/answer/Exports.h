#pragma once
#include "view/memory/CMemoryReader.h"
#include <string>
#include <vector>

/// What is known of one event, at full rate.
struct SEventRecord
{
    SViewEvent event;
    std::size_t iJob = 0;
    std::size_t iMode = 0;
    std::vector<SSample> vecSample;
    SCurve course; ///< passes
    std::vector<SViewStep> vecStep;
};

std::string TrendsCsv(const SViewModel& p_model, const std::vector<SModeRef>& p_vecMode,
                      const std::vector<SCurve>& p_vecCurve);
std::string ValuesCsv(const SViewJob& p_job, const SCurve& p_curve);
std::string EventsCsv(const SViewModel& p_model, const std::vector<SViewEvent>& p_vecEvent);
/// The actual values; at each the mode's values of the pass before it.
std::string RecordCsv(const SViewModel& p_model, const SEventRecord& p_record);
/// COMTRADE of 2013 in one file, with data of type FLOAT32.
std::string RecordComtrade(const SViewModel& p_model, const SEventRecord& p_record);

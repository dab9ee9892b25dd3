#pragma once
#include "view/api/CApi.h"
#include "view/memory/CMemoryReader.h"
#include <string>
#include <vector>

// What the parameters of a request ask for. @throws CApiError

const SViewJob& JobOf(const SViewModel& p_model, const SHttpRequest& p_request, std::size_t& r_iJob);
/// "501:611,501:612".
std::vector<SModeRef> ModesOf(const SViewModel& p_model, const SHttpRequest& p_request);
/// @param p_nNow_ms end where no range is given, which is p_nDefault_ms long then.
SRange RangeOf(const SHttpRequest& p_request, std::int64_t p_nNow_ms, std::int64_t p_nDefault_ms);
SEventFilter FilterOf(const SViewModel& p_model, const SHttpRequest& p_request);
std::size_t PointsOf(const SHttpRequest& p_request);
/// The number after a prefix, up to a suffix. @return -1 if the path is another one.
std::int64_t IdOfPath(const std::string& p_strPath, std::string_view p_strPrefix, std::string_view p_strSuffix);

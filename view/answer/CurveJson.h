#pragma once
#include "view/memory/CMemoryReader.h"
#include <boost/json.hpp>

// Curves and records as the interface describes them (openapi.json).

boost::json::object CourseJson(const SViewModel& p_model, const SModeRef& p_mode, const SCurve& p_curve);
boost::json::object ValuesJson(const SViewJob& p_job, const SCurve& p_curve);
boost::json::object StepJson(const SViewStep& p_step);
boost::json::object NoteJson(const SNote& p_note);
boost::json::object NeighbourJson(const SViewModel& p_model, const SNeighbour& p_neighbour);
boost::json::object BlindJson(const CMemoryReader::SBlind& p_blind);

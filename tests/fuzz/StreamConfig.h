#pragma once
#include "vds/config/SynchrophasorConfig.h"

/// The stream used by the seeds.
inline SSynchrophasorConfig FuzzStreams(bool p_bRoundToGrid)
{
    SSynchrophasorConfig config;
    SStreamConfig& stream = config.vecStream.emplace_back();
    stream.strName = "north";
    stream.nStreamId = 60;
    stream.bRoundToGrid = p_bRoundToGrid;
    stream.vecPhasor = {{61, "VA1", 1011}, {62, "V1PM", 1012}, {0, "IA1", 1021}};
    return config;
}

#pragma once
#include <array>
#include <cstdint>

/// A rate of the link and its cycle time as transmitted: truncated to whole milliseconds.
struct SCycleTime
{
    std::uint32_t nTime_ms;
    std::uint32_t nRate_Hz;
};

/// All rates of 1 Hz and above that the link supports.
constexpr std::array<SCycleTime, 13> g_arrCycleTime = {{{16, 60},
                                                        {20, 50},
                                                        {33, 30},
                                                        {40, 25},
                                                        {50, 20},
                                                        {66, 15},
                                                        {83, 12},
                                                        {100, 10},
                                                        {166, 6},
                                                        {200, 5},
                                                        {250, 4},
                                                        {333, 3},
                                                        {1000, 1}}};

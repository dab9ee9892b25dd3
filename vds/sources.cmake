# Where the server's samples come from: recordings and the simulator.
oma_library(vds_sources
            SOURCES ${CMAKE_CURRENT_LIST_DIR}/CLineLimit.cpp
                    ${CMAKE_CURRENT_LIST_DIR}/CScenario.cpp
                    ${CMAKE_CURRENT_LIST_DIR}/CSourceReplay.cpp
                    ${CMAKE_CURRENT_LIST_DIR}/CSourceSimulator.cpp
                    ${CMAKE_CURRENT_LIST_DIR}/IsoTime.cpp
            PRIVATE Boost::json)
target_include_directories(vds_sources PUBLIC ${PROJECT_SOURCE_DIR})

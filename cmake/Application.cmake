# The application, layer by layer. Folders follow the subsystems; the libraries follow the use: each links only what
# stands above it here, so the link lines show which class may know which.
function(oma_layer p_strName)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    list(TRANSFORM ARG_SOURCES REPLACE "(.+)" "${PROJECT_SOURCE_DIR}/\\1.cpp")
    oma_library(${p_strName} SOURCES ${ARG_SOURCES} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
    target_include_directories(${p_strName} PUBLIC ${PROJECT_SOURCE_DIR})
endfunction()

# Trace, time, state, and the event post that a suspension needs.
oma_layer(oma_base
    SOURCES host/CTraceOMA host/TextOMA host/CTime host/AppState host/CHeartbeat host/TraceFilter host/ApplicationControl
            link/CEventWrite link/CEventWriteOMA
    PUBLIC platform_sync platform_clock platform_trace dli_records)

# Command line and the peak record that it fills.
oma_layer(oma_shell
    SOURCES spectrum/CPeak host/TextNumber host/CShellBAS host/CShellOMA
    PUBLIC oma_base platform_files PRIVATE platform_console)

# Files, transforms, fits: from a block of samples to rated peaks.
oma_layer(oma_spectrum
    SOURCES offline/CFileBAS offline/CReadFile offline/CWriteFile offline/CStudyOMA
            spectrum/CFit spectrum/CFitLSQ spectrum/CFitLsqOMA spectrum/CFitLMA spectrum/CFitLmaOMA
            spectrum/CFFT spectrum/CMathBAS spectrum/ManyNumbers spectrum/CProc spectrum/CProcOMA spectrum/CProcOMA_Damp
            modes/CDataPS modes/CDOE modes/CSpec
    PUBLIC oma_shell platform_files PRIVATE platform_dft)

# Nobody asks for errno after a square root: thousands of them are then taken side by side, with the same digits.
set_source_files_properties(${PROJECT_SOURCE_DIR}/spectrum/ManyNumbers.cpp PROPERTIES COMPILE_OPTIONS -fno-math-errno)

# Output channels, swing events and the modes that use them.
oma_layer(oma_modes
    SOURCES link/CVdsOut link/CVdsOutMeas link/CVdsOutPS link/CVdsOutCb link/CVdsOutCbMeas link/CVdsOutCbPS
            link/CChannelOut link/CEventDataOMA
            modes/CSpecDyn modes/CPSM modes/CPsmOut
    PUBLIC oma_spectrum)

# One monitored signal with its worker.
oma_layer(oma_job
    SOURCES job/CPmu job/CJob job/CJobOMA job/CJobOMA_Thread job/CJobOMA_Worker job/CJobOMA_ActValue
            job/CJobOMA_Assign job/CJobOMA_Files
            offline/CReadFileMeas
    PUBLIC oma_modes Boost::thread Boost::chrono)

# Sessions on the server: samples and events in.
oma_layer(oma_link
    SOURCES link/CVds link/CVdsOMA link/CVdsCb link/CVdsCbOMA
            link/CEventReadOMA link/CEventReadCb link/CEventReadCbOMA
    PUBLIC oma_job platform_config PRIVATE platform_column)

# The cycle of passes: builds the graph, runs it, throws it away.
oma_layer(oma_host
    SOURCES host/ObjectGraph host/ObjectGraphJob host/Threads host/RunApplication host/ServiceControl
    PUBLIC oma_link PRIVATE platform_service)

# The same steps for a file that nobody runs.
oma_layer(oma_check
    SOURCES host/CConfigCheck host/CConfigCheck_System host/CConfigCheck_Warnings
    PUBLIC oma_host)

# Settings that every target shares, and the two functions by which targets are made.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release)
endif()

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)

find_package(Threads REQUIRED)
find_package(Boost 1.81 REQUIRED COMPONENTS chrono thread json program_options)

# Results are reproducible to the digit: no contraction of floating-point operations.
add_library(oma_build INTERFACE)
target_compile_options(oma_build INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
                                           -Werror -ffp-contract=off
                                           # g++ 12 sees overlaps in operator+ of strings that are none
                                           $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
target_compile_definitions(oma_build INTERFACE BOOST_THREAD_VERSION=4)
configure_file(${CMAKE_CURRENT_LIST_DIR}/Version.h.in ${PROJECT_BINARY_DIR}/include/Version.h @ONLY)
target_include_directories(oma_build INTERFACE ${PROJECT_BINARY_DIR}/include)
target_link_libraries(oma_build INTERFACE Threads::Threads)
if(OMA_FUZZ)
    # Needs clang. Warnings are judged by the normal compiler: here they are no errors.
    set(OMA_SANITIZE "address,undefined")
    target_compile_options(oma_build INTERFACE -fsanitize=fuzzer-no-link -Wno-error)
endif()
if(OMA_SANITIZE)
    target_compile_options(oma_build INTERFACE -fsanitize=${OMA_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(oma_build INTERFACE -fsanitize=${OMA_SANITIZE})
    if(OMA_SANITIZE MATCHES "undefined")
        target_compile_options(oma_build INTERFACE -fno-sanitize-recover=all)
    endif()
    if(OMA_SANITIZE MATCHES "thread")
        # g++ 12 warns that atomic fences are not seen by the thread sanitizer; only Boost.Asio uses one.
        target_compile_options(oma_build INTERFACE -Wno-tsan)
    endif()
endif()

# A static library of this project: oma_library(NAME SOURCES ... [PUBLIC libs] [PRIVATE libs])
function(oma_library p_strName)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    add_library(${p_strName} STATIC ${ARG_SOURCES})
    target_link_libraries(${p_strName} PUBLIC ${ARG_PUBLIC} PRIVATE oma_build ${ARG_PRIVATE})
endfunction()

# The library of a room of the application or the server; its headers are included by their path from the root.
function(oma_room p_strName)
    oma_library(${p_strName} ${ARGN})
    target_include_directories(${p_strName} PUBLIC ${PROJECT_SOURCE_DIR})
endfunction()

# A test program on GoogleTest, one ctest case for each test: oma_test(NAME SOURCES ... LIBS ... LABEL unit)
function(oma_test p_strName)
    cmake_parse_arguments(ARG "" "LABEL;TIMEOUT" "SOURCES;LIBS" ${ARGN})
    add_executable(${p_strName} ${ARG_SOURCES})
    target_include_directories(${p_strName} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${p_strName} PRIVATE oma_build ${ARG_LIBS} GTest::gmock GTest::gtest_main)
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    gtest_discover_tests(${p_strName} DISCOVERY_TIMEOUT 60
                         PROPERTIES LABELS ${ARG_LABEL} TIMEOUT ${ARG_TIMEOUT})
endfunction()

#include <benchmark/benchmark.h>
#include <fstream>
#include <string>

/// Processor model as reported by the system; empty if unknown.
static std::string CpuModel()
{
    std::ifstream stream("/proc/cpuinfo");
    for (std::string strLine; std::getline(stream, strLine);)
        if (strLine.starts_with("model name"))
            return strLine.substr(strLine.find(':') + 2);
    return {};
}

int main(int p_nArgc, char** p_ppArgv)
{
    benchmark::AddCustomContext("cpu", CpuModel());
    benchmark::AddCustomContext("build", OMA_BENCH_BUILD);
    benchmark::Initialize(&p_nArgc, p_ppArgv);
    if (benchmark::ReportUnrecognizedArguments(p_nArgc, p_ppArgv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

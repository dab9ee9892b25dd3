#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* p_pData, std::size_t p_nSize);

/// Runs each file of the given folders. @return 0 if there is at least one; a fault ends the process.
int main(int p_nArgc, char* p_ppArgv[])
{
    int nRun = 0;
    for (int n = 1; n < p_nArgc; ++n)
    {
        for (const auto& entry : std::filesystem::directory_iterator(p_ppArgv[n]))
        {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string strData{std::istreambuf_iterator<char>(file), {}};
            std::printf("%s\n", entry.path().c_str());
            std::fflush(stdout);
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(strData.data()), strData.size());
            ++nRun;
        }
    }
    std::printf("%d inputs\n", nRun);
    return nRun > 0 ? 0 : 1;
}

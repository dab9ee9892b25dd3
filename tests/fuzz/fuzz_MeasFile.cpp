#include "CTrace.h"
#include "FileName.h"
#include "offline/CReadFileMeas.h"
#include "tests/fuzz/Input.h"

/// Byte 0: 1 angle difference, 2 three phases; bytes 1 and 2: first columns; lines 1 and 2: first and last record. Then
/// the file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* p_pData, std::size_t p_nSize)
{
    using namespace Norvik::Energy::Kestrel::VDS::Runtime;
    if (p_nSize < 3)
        return 0;
    CTrace::SetSink([](auto...) {});
    std::istringstream stream(std::string(reinterpret_cast<const char*>(p_pData) + 3, p_nSize - 3));
    std::string strStart, strStop;
    std::getline(stream, strStart);
    std::getline(stream, strStop);
    const std::string strFile{std::istreambuf_iterator<char>(stream), {}};
    const CInputFile file(reinterpret_cast<const std::uint8_t*>(strFile.data()), strFile.size());
    const auto fnColumns = [nPhases = (p_pData[0] & 2U) != 0 ? 3 : 1](std::int32_t p_nFirst)
    {
        std::vector<std::int32_t> vecnColumn;
        for (int n = 0; n < nPhases; ++n)
            vecnColumn.push_back(p_nFirst - 64 + 2 * n);
        return vecnColumn;
    };
    CTraceOMA trace("OMA_Fuzz");
    CReadFileMeas reader(WideText(file.Path()), (p_pData[0] & 1U) != 0, fnColumns(p_pData[1]), fnColumns(p_pData[2]),
                         strStart, strStop, &trace);
    reader.ReadData();
    for (int n = 0; n < 3; ++n)
    {
        reader.GetActData();
        reader.IncrDataCntr();
    }
    return 0;
}

#include "FileName.h"
#include "fake/TempDir.h"
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace
{
/// A separate folder for each test, which is also the one for "c:\".
struct FileName : testing::Test
{
    FileName() { setenv("OMA_RESULT_DIR", dir.c_str(), 1); }
    ~FileName() override { unsetenv("OMA_RESULT_DIR"); }
    std::wstring Make(const std::string& p_strName) const
    {
        fs::create_directories((dir / p_strName).parent_path());
        std::ofstream(dir / p_strName) << p_strName;
        return WideText((dir / p_strName).string());
    }
    std::wstring Name(const std::string& p_strName) const { return WideText((dir / p_strName).string()); }
    CTempDir tempDir;
    fs::path dir = tempDir.Path();
};
} // namespace

TEST_F(FileName, ExactNameGoesBeforeOneThatDiffersInCase)
{
    Make("data.CSV");
    EXPECT_EQ(FileNameForReading(Name("DATA.csv")), dir / "data.CSV");
    Make("DATA.csv");
    EXPECT_EQ(FileNameForReading(Name("DATA.csv")), dir / "DATA.csv");
    EXPECT_EQ(FileNameForReading(L"c:\\dAtA.csv"), dir / "DATA.csv") << "of several, the first by name";
}

TEST_F(FileName, FoldersMayDifferInCaseToo)
{
    Make("Sub/Deep/File.xml");
    EXPECT_EQ(FileNameForReading(Name("sub/deep/file.xml")), dir / "Sub/Deep/File.xml");
    // The file is not in the folder of the exact name but in the other one.
    fs::create_directories(dir / "sub/deep");
    EXPECT_EQ(FileNameForReading(Name("sub/deep/file.xml")), dir / "Sub/Deep/File.xml");
}

TEST_F(FileName, TheFileThatTheUserNamedIsOpenedThoughItsNameWasLowered)
{
    const std::wstring wstrGiven = Make("Named.xml");
    Make("named.xml");
    const std::wstring wstrLower = Name("named.xml");
    EXPECT_EQ(FileNameForReading(wstrLower), dir / "named.xml");
    FileNameRemember(wstrGiven);
    // The folder of this test has capitals, unlike the lower-cased path.
    std::wstring wstrStored = wstrGiven;
    for (wchar_t& c : wstrStored)
        c = c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c;
    EXPECT_EQ(FileNameForReading(wstrStored), dir / "Named.xml");
    fs::remove(dir / "Named.xml");
    EXPECT_EQ(FileNameForReading(wstrStored), dir / "named.xml");
}

TEST_F(FileName, AResultLiesInItsFolderWhateverItsNameHolds)
{
    const std::pair<std::wstring, std::string> names[] = {
        {L"c:\\OMA_NORTH.csv", "OMA_NORTH.csv"},
        {L"c:\\OMA_Nord Süd: 1..2.csv", "OMA_Nord Süd: 1..2.csv"},
        {L"c:\\OMA_/../../../etc/x\\y_FFT.dat", "OMA__.._.._.._etc_x_y_FFT.dat"},
        {L"c:\\OMA_a\nb\x7f.csv", "OMA_a_b_.csv"},
        {L"c:\\" + std::wstring(300, L'x') + L"_PsmExt.dat", std::string(244, 'x') + "_PsmExt.dat"}};
    for (const auto& [wstrName, strFile] : names)
    {
        EXPECT_EQ(FileNameForResult(wstrName), dir / strFile);
        EXPECT_TRUE(std::ofstream(FileNameForResult(wstrName)).is_open()) << strFile;
    }
    const std::string strWide = FileNameForResult(L"c:\\" + std::wstring(255, L'\u00fc') + L".csv").filename().string();
    EXPECT_TRUE(strWide.size() <= 255 && strWide.ends_with("\u00fc.csv")) << strWide;
    EXPECT_EQ(FileNameForResult(Name("sub/x.csv")), dir / "sub/x.csv") << "no drive: unchanged";
}

TEST(Text, ConvertsUtf8BothWaysAndMarksWhatFitsNothing)
{
    for (const std::string& strText : {std::string("plain"), std::string("Größe °"), std::string("€ \xF0\x9F\x98\x80")})
        EXPECT_EQ(NarrowText(WideText(strText)), strText);
    EXPECT_EQ(WideText("Größe"), L"Gr\u00F6\u00DFe");
    const std::pair<std::string, std::wstring> broken[] = {
        {"a\xFF"
         "b",
         L"a?b"},
        {"\xC3", L"?"},
        {"\xC0\x80", L"??"},          // overlong encoding
        {"\xED\xA0\x80", L"???"},     // half of a surrogate pair
        {"\xF4\x90\x80\x80", L"????"} // above the last code point
    };
    for (const auto& [strText, wstrText] : broken)
        EXPECT_EQ(WideText(strText), wstrText);
    EXPECT_EQ(NarrowText(std::wstring{static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000), L'x'}), "??x");
}

#include "CXMLConfiguration.h"
#include "CConfigBuilder.h"
#include "CConfiguration.h"
#include "CFaults.h"
#include "CSchema.h"
#include "CTrace.h"
#include "FileName.h"
#include "OmaXsd.h"
#include "StartTags.h"
#include "XmlPtr.h"
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
namespace
{
/// Far above any real system; prevents a wrong file from exhausting the memory.
constexpr std::size_t g_nMaxFile_bytes = 16U * 1024U * 1024U;

bool ReadWholeFile(const std::filesystem::path& p_path, std::string& r_strText, CFaults& r_faults)
{
    std::error_code error;
    const bool bFolder = std::filesystem::is_directory(p_path, error);
    errno = 0;
    std::ifstream file(p_path, std::ios::binary);
    if (bFolder || !file)
    {
        const int nError = errno;
        const std::string strWhy = bFolder ? "it is a folder" : nError != 0 ? std::strerror(nError) : "no such file";
        r_faults.Add(0, {}, {}, "cannot be opened, expected a configuration file: " + strWhy);
        return false;
    }
    r_strText.clear();
    std::array<char, 65536> piece;
    while (r_strText.size() <= g_nMaxFile_bytes && (file.read(piece.data(), piece.size()), file.gcount() > 0))
        r_strText.append(piece.data(), static_cast<std::size_t>(file.gcount()));
    if (file.bad())
        r_faults.Add(0, {}, {}, "cannot be read");
    else if (r_strText.size() > g_nMaxFile_bytes)
        r_faults.Add(0, {}, {}, "too large, expected at most " + std::to_string(g_nMaxFile_bytes) + " bytes");
    else if (r_strText.empty())
        r_faults.Add(0, {}, {}, "empty, expected element Configuration");
    return !r_faults.Any();
}

struct SParse
{
    CFaults* pFaults;
    xmlParserCtxt* pParser;
    bool bStopped = false;
};

/// No document type: it is not needed, and its entities can expand without limit.
void OnDocType(void* p_pParser, const xmlChar*, const xmlChar*, const xmlChar*)
{
    auto* pParser = static_cast<xmlParserCtxt*>(p_pParser);
    auto* pParse = static_cast<SParse*>(pParser->_private);
    pParse->pFaults->Add(xmlSAX2GetLineNumber(pParser), {}, {},
                         "a document type is not allowed, expected Configuration");
    pParse->bStopped = true;
    xmlStopParser(pParser);
}

void OnParseError(void* p_pParser, const xmlError* p_pError)
{
    auto* pParser = static_cast<xmlParserCtxt*>(p_pParser);
    auto* pParse = static_cast<SParse*>(pParser->_private);
    if (!p_pError || pParse->bStopped || p_pError->level < XML_ERR_ERROR)
        return;
    const std::string strElement = pParser->name ? reinterpret_cast<const char*>(pParser->name) : "";
    std::string strText = p_pError->message ? p_pError->message : "";
    while (!strText.empty() && (strText.back() == '\n' || strText.back() == ' '))
        strText.pop_back();
    pParse->pFaults->Add(p_pError->line, strElement, {}, "expected well-formed XML: " + strText);
    // Errors after the first one are unreliable.
    pParse->bStopped = true;
    xmlStopParser(pParser);
}

XmlDocPtr Parse(const std::string& p_strText, CFaults& r_faults)
{
    const XmlParserPtr pParser(xmlNewParserCtxt());
    if (!pParser)
    {
        r_faults.Add(0, {}, {}, "not enough memory to read it");
        return nullptr;
    }
    SParse parse{&r_faults, pParser.get()};
    pParser->_private = &parse;
    pParser->sax->internalSubset = OnDocType;
    pParser->sax->serror = [](void* p_pParser, auto p_pError) { OnParseError(p_pParser, p_pError); };
    XmlDocPtr pDoc(xmlCtxtReadMemory(pParser.get(), p_strText.data(), static_cast<int>(p_strText.size()), nullptr,
                                     nullptr, XML_PARSE_NONET | XML_PARSE_BIG_LINES | XML_PARSE_NOCDATA));
    if (!pDoc && !r_faults.Any())
        r_faults.Add(0, {}, {}, "expected well-formed XML");
    return r_faults.Any() ? nullptr : std::move(pDoc);
}

void TraceFaults(const std::string& p_strFaults)
{
    CTrace::CreateTraceHelper("Config");
    CTraceHelper* pTrace = CTrace::GetInstancePtr("Config");
    if (!pTrace || !pTrace->Error().IsActive())
        return;
    std::size_t nBegin = 0;
    while (nBegin < p_strFaults.size())
    {
        const std::size_t nEnd = p_strFaults.find('\n', nBegin);
        pTrace->Error() << std::string_view(p_strFaults).substr(nBegin, nEnd - nBegin) << TEnd;
        nBegin = nEnd == std::string::npos ? nEnd : nEnd + 1;
    }
}

/// The built-in schema, parsed once.
const CSchema& BuiltInSchema()
{
    static CFaults s_faults({});
    static const CSchema s_schema(g_strOmaXsd, s_faults);
    return s_schema;
}

std::unique_ptr<CConfiguration> ReadTree(const std::filesystem::path& p_path, const CSchema& p_schema,
                                         CFaults& r_faults)
{
    std::string strText;
    if (!ReadWholeFile(p_path, strText, r_faults))
        return nullptr;
    if (!CheckStartTags(strText, r_faults))
        return nullptr;
    const XmlDocPtr pDoc = Parse(strText, r_faults);
    if (!pDoc)
        return nullptr;
    if (!p_schema.Check(pDoc.get(), r_faults))
        return nullptr;
    auto pTree = CConfigBuilder(r_faults, p_path.parent_path()).Build(xmlDocGetRootElement(pDoc.get()));
    return r_faults.Any() ? nullptr : std::move(pTree);
}
} // namespace

CXMLConfiguration::CXMLConfiguration() = default;
CXMLConfiguration::~CXMLConfiguration() = default;

int CXMLConfiguration::Read(const std::string& p_strPath, const std::string& p_strSchema)
{
    static const bool s_bInit = []
    {
        xmlInitParser();
        return true;
    }();
    static_cast<void>(s_bInit);

    m_pTree.reset();
    const std::filesystem::path path = FileNameForReading(WideText(p_strPath));
    CFaults faults(path.empty() ? p_strPath : path.string());
    std::optional<CSchema> schema; // replaces the built-in one
    m_strFaults.clear();
    if (!p_strSchema.empty())
    {
        const std::filesystem::path pathSchema = FileNameForReading(WideText(p_strSchema));
        CFaults faultsSchema(pathSchema.string());
        if (std::string strSchema; ReadWholeFile(pathSchema, strSchema, faultsSchema))
            schema.emplace(strSchema, faultsSchema);
        m_strFaults = faultsSchema.Text();
    }
    if (m_strFaults.empty())
    {
        m_pTree = ReadTree(path, schema ? *schema : BuiltInSchema(), faults);
        m_strFaults = faults.Text();
    }
    TraceFaults(m_strFaults);
    return m_pTree ? 0 : 1;
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

#pragma once
#include "CFaults.h"
#include "XmlPtr.h"
#include <map>
#include <string>
#include <string_view>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// The required form of a file, and the messages for violations.
class CSchema
{
  public:
    /// @param p_strSchema text of the schema; faults of the schema are added to r_faults.
    CSchema(std::string_view p_strSchema, CFaults& r_faults);

    /// @return false if at least one fault was found.
    bool Check(xmlDoc* p_pDoc, CFaults& r_faults) const;

  private:
    struct SCheck
    {
        const CSchema* pSchema;
        CFaults* pFaults;
        const xmlNode* pNodeLast = nullptr; ///< a value may violate several facets: one complaint
        std::string strAttributeLast;
    };
    static void OnError(void* p_pCheck, const xmlError* p_pError);
    void Complain(SCheck& r_check, const xmlError& p_error) const;
    void CollectTypes(const xmlNode* p_pSchema);
    /// p_pElement an xs:element of the schema. p_strPath the names of its ancestors, each followed by '/'.
    void CollectElement(const xmlNode* p_pElement, const std::string& p_strPath,
                        const std::map<std::string, const xmlNode*>& p_mapComplex);
    void CollectContent(const xmlNode* p_pNode, const std::string& p_strPath,
                        const std::map<std::string, const xmlNode*>& p_mapComplex);
    std::string Expected(const std::string& p_strPath, const std::string& p_strAttribute) const;
    std::string KnownAttributes(const std::string& p_strPath) const;

    XmlDocPtr m_pDoc;
    XmlSchemaPtr m_pSchema;
    std::string m_strRoot;
    std::map<std::string, std::string> m_mapExpected;                       ///< type -> description of its values
    std::map<std::string, std::map<std::string, std::string>> m_mapElement; ///< path -> attribute -> type
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

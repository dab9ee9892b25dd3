#pragma once
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlschemas.h>
#include <memory>
#include <string>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// Owners of objects created by libxml2.
template <auto fnFree>
struct SXmlFree
{
    template <class T>
    void operator()(T* p_pObject) const
    {
        fnFree(p_pObject);
    }
};
using XmlDocPtr = std::unique_ptr<xmlDoc, SXmlFree<xmlFreeDoc>>;
using XmlParserPtr = std::unique_ptr<xmlParserCtxt, SXmlFree<xmlFreeParserCtxt>>;
using XmlSchemaPtr = std::unique_ptr<xmlSchema, SXmlFree<xmlSchemaFree>>;
using XmlSchemaParserPtr = std::unique_ptr<xmlSchemaParserCtxt, SXmlFree<xmlSchemaFreeParserCtxt>>;
using XmlSchemaValidPtr = std::unique_ptr<xmlSchemaValidCtxt, SXmlFree<xmlSchemaFreeValidCtxt>>;

inline const xmlChar* XmlText(const char* p_pText)
{
    return reinterpret_cast<const xmlChar*>(p_pText);
}
inline std::string NameOf(const xmlNode* p_pNode)
{
    return p_pNode && p_pNode->name ? reinterpret_cast<const char*>(p_pNode->name) : "";
}
inline bool IsElement(const xmlNode* p_pNode, std::string_view p_strName)
{
    return p_pNode->type == XML_ELEMENT_NODE && NameOf(p_pNode) == p_strName;
}
/// Value of an attribute, empty if it is missing; r_bFound distinguishes the two.
inline std::string AttributeOf(const xmlNode* p_pNode, const char* p_pName, bool* p_pbFound = nullptr)
{
    const std::unique_ptr<xmlChar, decltype(xmlFree)> pValue(xmlGetNoNsProp(p_pNode, XmlText(p_pName)), xmlFree);
    if (p_pbFound)
        *p_pbFound = pValue != nullptr;
    return pValue ? reinterpret_cast<const char*>(pValue.get()) : "";
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime

#pragma once
#include "view/api/Http.h"
#include <map>
#include <string>

/// The files of the page, read once at the start: so no request reaches the file system.
class CPageFiles
{
  public:
    /// An empty or missing folder is told by the page itself.
    explicit CPageFiles(const std::string& p_strFolder);
    /// Unknown paths without a dot are views of the page.
    SHttpResponse Get(const SHttpRequest& p_request) const;
    std::size_t Count() const { return m_mapFile.size(); }

  private:
    struct SFile
    {
        std::string strType;
        std::string strBody;
        std::string strZipped; ///< empty: there is none
        std::string strTag;
    };
    std::map<std::string, SFile> m_mapFile; ///< by path, "/app.js"
};

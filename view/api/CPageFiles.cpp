#include "view/api/CPageFiles.h"
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

namespace fs = std::filesystem;

namespace
{
constexpr std::uintmax_t g_nMaxFile = 16U << 20U;
constexpr std::size_t g_nMaxFiles = 1000;

std::string TypeOf(const std::string& p_strExtension)
{
    static const std::map<std::string, std::string> mapType = {{".html", "text/html; charset=utf-8"},
                                                               {".js", "text/javascript; charset=utf-8"},
                                                               {".css", "text/css; charset=utf-8"},
                                                               {".svg", "image/svg+xml"},
                                                               {".png", "image/png"},
                                                               {".ico", "image/x-icon"},
                                                               {".json", "application/json"},
                                                               {".webmanifest", "application/manifest+json"},
                                                               {".woff2", "font/woff2"},
                                                               {".txt", "text/plain; charset=utf-8"}};
    const auto it = mapType.find(p_strExtension);
    return it == mapType.end() ? "" : it->second;
}

std::string Content(const fs::path& p_path)
{
    std::ifstream file(p_path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return std::move(text).str();
}
} // namespace

CPageFiles::CPageFiles(const std::string& p_strFolder)
{
    std::error_code ec;
    fs::recursive_directory_iterator it(p_strFolder, ec);
    for (; !ec && it != fs::recursive_directory_iterator() && m_mapFile.size() < g_nMaxFiles; it.increment(ec))
    {
        const std::string strType = TypeOf(it->path().extension().string());
        if (strType.empty() || !it->is_regular_file(ec) || it->file_size(ec) > g_nMaxFile)
            continue;
        SFile& file = m_mapFile["/" + fs::relative(it->path(), p_strFolder, ec).generic_string()];
        file.strType = strType;
        file.strBody = Content(it->path());
        fs::path pathZipped = it->path();
        pathZipped += ".gz";
        if (fs::is_regular_file(pathZipped, ec))
            file.strZipped = Content(pathZipped);
        file.strTag = '"' + std::to_string(std::hash<std::string>()(file.strBody)) + '"';
    }
}

SHttpResponse CPageFiles::Get(const SHttpRequest& p_request) const
{
    SHttpResponse response;
    auto it = m_mapFile.find(p_request.strPath);
    if (it == m_mapFile.end() && p_request.strPath.find('.') == std::string::npos)
        it = m_mapFile.find("/index.html");
    if (it == m_mapFile.end())
    {
        response.nStatus = 404;
        response.strType = "text/plain; charset=utf-8";
        response.strBody = m_mapFile.empty() ? "The page is not installed; the interface is at /api/v1.\n"
                                             : "There is no such page.\n";
        return response;
    }
    const SFile& file = it->second;
    response.strType = file.strType;
    response.vecHeader = {{"ETag", file.strTag}, {"Cache-Control", "no-cache"}, {"Vary", "Accept-Encoding"}};
    if (p_request.Header("if-none-match") == file.strTag)
    {
        response.nStatus = 304;
        return response;
    }
    const bool bZipped =
        !file.strZipped.empty() && p_request.Header("accept-encoding").find("gzip") != std::string::npos;
    if (bZipped)
        response.vecHeader.emplace_back("Content-Encoding", "gzip");
    response.strBody = bZipped ? file.strZipped : file.strBody;
    return response;
}

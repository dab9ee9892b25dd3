#include "view/memory/CDatabase.h"
#include <cmath>
#include <limits>

CDatabase::CDatabase(const std::string& p_strFile, EMode p_eMode) : m_strFile(p_strFile)
{
    const int nFlags = p_eMode == eReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    const int nCode = sqlite3_open_v2(p_strFile.c_str(), &m_pDb, nFlags | SQLITE_OPEN_NOMUTEX, nullptr);
    if (nCode != SQLITE_OK)
    {
        const std::string strText = m_pDb ? sqlite3_errmsg(m_pDb) : sqlite3_errstr(nCode);
        sqlite3_close_v2(m_pDb);
        throw CDatabaseError(nCode, "file '" + p_strFile + "': " + strText);
    }
    sqlite3_extended_result_codes(m_pDb, 1);
    sqlite3_busy_timeout(m_pDb, 5000);
}

CDatabase::~CDatabase()
{
    sqlite3_close_v2(m_pDb);
}

void CDatabase::Fail(int p_nCode) const
{
    throw CDatabaseError(p_nCode, "file '" + m_strFile + "': " + sqlite3_errmsg(m_pDb));
}

void CDatabase::Exec(const std::string& p_strSql)
{
    const int nCode = sqlite3_exec(m_pDb, p_strSql.c_str(), nullptr, nullptr, nullptr);
    if (nCode != SQLITE_OK)
        Fail(nCode);
}

std::int64_t CDatabase::Integer(const std::string& p_strSql)
{
    CStatement statement(*this, p_strSql);
    return statement.Step() ? statement.Integer(0) : 0;
}

CStatement::CStatement(const CDatabase& p_db, const std::string& p_strSql) : m_db(p_db)
{
    Check(
        sqlite3_prepare_v2(p_db.Handle(), p_strSql.c_str(), static_cast<int>(p_strSql.size()), &m_pStatement, nullptr));
}

CStatement::~CStatement()
{
    sqlite3_finalize(m_pStatement);
}

void CStatement::Check(int p_nCode) const
{
    if (p_nCode != SQLITE_OK)
        m_db.Fail(p_nCode);
}

void CStatement::Reset()
{
    sqlite3_reset(m_pStatement); // repeats the error of the step before, which has been thrown
}

bool CStatement::Step()
{
    const int nCode = sqlite3_step(m_pStatement);
    if (nCode != SQLITE_ROW && nCode != SQLITE_DONE)
        m_db.Fail(nCode);
    return nCode == SQLITE_ROW;
}

void CStatement::BindOne(int p_nPlace, std::int64_t p_nValue)
{
    Check(sqlite3_bind_int64(m_pStatement, p_nPlace, p_nValue));
}

void CStatement::BindOne(int p_nPlace, double p_fValue)
{
    Check(std::isnan(p_fValue) ? sqlite3_bind_null(m_pStatement, p_nPlace)
                               : sqlite3_bind_double(m_pStatement, p_nPlace, p_fValue));
}

void CStatement::BindOne(int p_nPlace, std::string_view p_strValue)
{
    Check(sqlite3_bind_text(m_pStatement, p_nPlace, p_strValue.data(), static_cast<int>(p_strValue.size()),
                            SQLITE_TRANSIENT));
}

void CStatement::BindOne(int p_nPlace, std::span<const char> p_blob)
{
    Check(sqlite3_bind_blob(m_pStatement, p_nPlace, p_blob.data(), static_cast<int>(p_blob.size()), SQLITE_TRANSIENT));
}

double CStatement::Real(int p_nColumn) const
{
    if (sqlite3_column_type(m_pStatement, p_nColumn) == SQLITE_NULL)
        return std::numeric_limits<double>::quiet_NaN();
    return sqlite3_column_double(m_pStatement, p_nColumn);
}

std::string CStatement::Text(int p_nColumn) const
{
    const auto* pText = reinterpret_cast<const char*>(sqlite3_column_text(m_pStatement, p_nColumn));
    return pText ? std::string(pText, static_cast<std::size_t>(sqlite3_column_bytes(m_pStatement, p_nColumn))) : "";
}

std::span<const char> CStatement::Blob(int p_nColumn) const
{
    const auto* pData = static_cast<const char*>(sqlite3_column_blob(m_pStatement, p_nColumn));
    return {pData, pData ? static_cast<std::size_t>(sqlite3_column_bytes(m_pStatement, p_nColumn)) : 0};
}

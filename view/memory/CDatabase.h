#pragma once
#include <cstdint>
#include <span>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// What SQLite complains about. Its code tells a full disk from a broken file.
class CDatabaseError : public std::runtime_error
{
  public:
    CDatabaseError(int p_nCode, const std::string& p_strText) : std::runtime_error(p_strText), m_nCode(p_nCode) {}
    int Code() const { return m_nCode & 0xFF; }

  private:
    int m_nCode;
};

/// One connection to the file. Threads: one at a time.
class CDatabase
{
  public:
    enum EMode
    {
        eReadWrite,
        eReadOnly
    };
    CDatabase(const std::string& p_strFile, EMode p_eMode);
    ~CDatabase();
    CDatabase(const CDatabase&) = delete;
    CDatabase& operator=(const CDatabase&) = delete;

    void Exec(const std::string& p_strSql);
    /// First column of the first row; 0 if there is none.
    std::int64_t Integer(const std::string& p_strSql);
    sqlite3* Handle() const { return m_pDb; }
    [[noreturn]] void Fail(int p_nCode) const;

  private:
    sqlite3* m_pDb = nullptr;
    std::string m_strFile;
};

/// A prepared statement. Parameters are bound in their order; text and blobs have to live until the next Reset.
class CStatement
{
  public:
    CStatement(const CDatabase& p_db, const std::string& p_strSql);
    ~CStatement();
    CStatement(const CStatement&) = delete;
    CStatement& operator=(const CStatement&) = delete;

    template <class... TValues>
    CStatement& Bind(const TValues&... p_values)
    {
        Reset();
        int nPlace = 0;
        (BindOne(++nPlace, p_values), ...);
        return *this;
    }
    void Reset();
    /// @return whether there is a row.
    bool Step();
    /// For statements without rows.
    void Run()
    {
        Step();
        Reset();
    }

    void BindOne(int p_nPlace, std::int64_t p_nValue);
    void BindOne(int p_nPlace, int p_nValue) { BindOne(p_nPlace, static_cast<std::int64_t>(p_nValue)); }
    void BindOne(int p_nPlace, std::uint64_t p_nValue) { BindOne(p_nPlace, static_cast<std::int64_t>(p_nValue)); }
    void BindOne(int p_nPlace, bool p_bValue) { BindOne(p_nPlace, static_cast<std::int64_t>(p_bValue)); }
    /// NaN is NULL.
    void BindOne(int p_nPlace, double p_fValue);
    void BindOne(int p_nPlace, std::string_view p_strValue);
    void BindOne(int p_nPlace, const std::string& p_strValue) { BindOne(p_nPlace, std::string_view(p_strValue)); }
    void BindOne(int p_nPlace, std::span<const char> p_blob);

    std::int64_t Integer(int p_nColumn) const { return sqlite3_column_int64(m_pStatement, p_nColumn); }
    /// NaN for NULL.
    double Real(int p_nColumn) const;
    std::string Text(int p_nColumn) const;
    std::span<const char> Blob(int p_nColumn) const;

  private:
    void Check(int p_nCode) const;

    const CDatabase& m_db;
    sqlite3_stmt* m_pStatement = nullptr;
};

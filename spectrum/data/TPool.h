#pragma once
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

/// A pool of working memory in pieces of several sizes. There are only as many pieces as are in use at the same time.
/// The piece used last is lent first, because it is most likely still in the processor's cache. T is constructed from
/// its size. A returned piece is not cleared.
/// Threads  any. A loan must not outlive its pool.
template <class T>
class TPool
{
  public:
    struct SReturn
    {
        void operator()(T* p_pPiece) const { pPool->Return(nSize, std::unique_ptr<T>(p_pPiece)); }
        TPool* pPool;
        std::size_t nSize;
    };
    using Loan = std::unique_ptr<T, SReturn>;

    Loan Lend(std::size_t p_nSize)
    {
        std::unique_ptr<T> pPiece = Take(p_nSize);
        if (!pPiece)
            pPiece = std::make_unique<T>(p_nSize);
        return Loan(pPiece.release(), SReturn{this, p_nSize});
    }

  private:
    static constexpr std::size_t g_nKeep = 16; ///< unused pieces of one size that are kept

    std::unique_ptr<T> Take(std::size_t p_nSize)
    {
        const std::lock_guard lock(m_mtx);
        std::vector<std::unique_ptr<T>>& vecpFree = m_mapFree[p_nSize];
        vecpFree.reserve(g_nKeep); // so that returning a piece cannot throw
        if (vecpFree.empty())
            return nullptr;
        std::unique_ptr<T> pPiece = std::move(vecpFree.back());
        vecpFree.pop_back();
        return pPiece;
    }
    void Return(std::size_t p_nSize, std::unique_ptr<T> p_pPiece)
    {
        const std::lock_guard lock(m_mtx);
        std::vector<std::unique_ptr<T>>& vecpFree = m_mapFree[p_nSize];
        if (vecpFree.size() < g_nKeep)
            vecpFree.push_back(std::move(p_pPiece));
    }

    std::mutex m_mtx;
    std::map<std::size_t, std::vector<std::unique_ptr<T>>> m_mapFree;
};

#include "platform/dli/CGate.h"

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
namespace
{
/// The gate that this thread is inside: a lane calls one object at a time.
thread_local const CGate* t_pInside = nullptr;
thread_local bool t_bClosing = false;
} // namespace

bool CGate::Enter()
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    if (m_bClosed)
        return false;
    ++m_nInside;
    t_pInside = this;
    t_bClosing = false;
    return true;
}

void CGate::Leave()
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    --m_nInside;
    if (t_bClosing)
        --m_nClosing;
    t_pInside = nullptr;
    t_bClosing = false;
    m_cv.notify_all();
}

void CGate::Close()
{
    std::unique_lock<std::mutex> lock(m_mtx);
    m_bClosed = true;
    if (t_pInside != this)
    {
        m_cv.wait(lock, [this] { return m_nInside == 0; });
        return;
    }
    if (!t_bClosing)
    {
        t_bClosing = true;
        ++m_nClosing;
        m_cv.notify_all();
    }
    m_cv.wait(lock, [this] { return m_nInside == m_nClosing; });
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli

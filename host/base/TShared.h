#pragma once
#include <atomic>

/// A value that two threads access under a handshake of flags. It reads, writes and copies like a plain value, and
/// remains free of data races if the handshake is abandoned after its time limit. Access is acquire and release only;
/// there is no order between several such values. Use std::atomic for a flag that decides what a thread does.
template <class T>
class TShared
{
  public:
    TShared(T p_value = T{}) : m_value(p_value) {}
    TShared(const TShared& p_other) : m_value(p_other.Get()) {}
    TShared& operator=(const TShared& p_other)
    {
        m_value.store(p_other.Get(), std::memory_order_release);
        return *this;
    }
    TShared& operator=(T p_value)
    {
        m_value.store(p_value, std::memory_order_release);
        return *this;
    }
    operator T() const { return Get(); }
    T Get() const { return m_value.load(std::memory_order_acquire); }

  private:
    std::atomic<T> m_value;
};

#pragma once
#include <atomic>

/// A plain word that two threads touch under a handshake of flags. Reads and writes like the word itself, can be
/// copied with its record, and stays free of a data race also where the handshake is given up after its time limit. Such words are not ordered among
/// each other beyond that (release and acquire): a flag that threads decide by is a std::atomic.
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

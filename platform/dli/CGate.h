#pragma once
#include <condition_variable>
#include <mutex>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
/// Guards one callback object and tracks the calls inside it.
class CGate
{
  public:
    /// @return false once the gate is closed: the object must not be called. True: call Leave after the call.
    bool Enter();
    void Leave();
    /// Closes permanently and waits until no call is inside. On a thread that is itself inside, it does not wait for
    /// its own call or for others that are also closing.
    void Close();

  private:
    std::mutex m_mtx;
    std::condition_variable m_cv;
    bool m_bClosed = false;
    unsigned m_nInside = 0;
    unsigned m_nClosing = 0; ///< number of those inside that have called Close
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli

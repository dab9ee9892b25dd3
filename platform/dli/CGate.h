#pragma once
#include <condition_variable>
#include <mutex>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
/// Stands in front of one callback object and knows the calls that are inside it.
class CGate
{
  public:
    /// @return false once the gate has been closed: the object must not be called. True: Leave after the call.
    bool Enter();
    void Leave();
    /// Closes for good and waits until no call is inside. On a thread that is itself inside, its own call and others
    /// that are closing too are not waited for.
    void Close();

  private:
    std::mutex m_mtx;
    std::condition_variable m_cv;
    bool m_bClosed = false;
    unsigned m_nInside = 0;
    unsigned m_nClosing = 0; ///< of those inside, the ones that have called Close
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli

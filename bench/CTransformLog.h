#pragma once
#include <cstddef>
#include <fftw3.h>
#include <memory>
#include <vector>

/// Records the system's calls of FFTW by intercepting them.
struct STransform
{
    int nLength;
    bool bInverse;
    bool operator==(const STransform&) const = default;
};

/// One call: the transform, its plan, its input and its output.
struct SCall
{
    STransform transform;
    fftw_plan pPlan;
    double* pfFrom;
    double* pfTo;
};

/// Clears the log and starts recording; plans are known if they were made after the start of the process.
void StartTransformLog();
/// Stops recording and returns the calls in order.
std::vector<SCall> StopTransformLog();
/// Time spent in the recorded transforms, us.
double TransformLog_us();

/// Refills the input buffers: repeated transforms of the same data would overflow.
void Fill(const std::vector<SCall>& p_vecCall);
/// Repeats the recorded transforms with FFTW alone, on the same plans and buffers. The buffers must still exist, as
/// they do in the system's pools until the next pass.
void Repeat(const std::vector<SCall>& p_vecCall);

/// The same transforms with FFTW alone, on its own buffers, with plans found by measuring.
class CTransforms
{
  public:
    explicit CTransforms(const std::vector<SCall>& p_vecCall);
    const std::vector<SCall>& Calls() const { return m_vecCall; }

  private:
    struct SFree
    {
        void operator()(double* p_pfData) const { fftw_free(p_pfData); }
        void operator()(fftw_plan_s* p_pPlan) const { fftw_destroy_plan(p_pPlan); }
    };
    using BufferPtr = std::unique_ptr<double, SFree>;
    struct SBuffers
    {
        int nLength;
        BufferPtr pfFrom;
        BufferPtr pfTo;
    };
    const SBuffers& Buffers(int p_nLength);
    fftw_plan Plan(const STransform& p_transform, const SBuffers& p_buffers);

    /// Two buffers per length, one plan per length and direction, as in the system.
    std::vector<SBuffers> m_vecBuffers;
    std::vector<std::pair<STransform, std::unique_ptr<fftw_plan_s, SFree>>> m_vecPlan;
    std::vector<SCall> m_vecCall;
};

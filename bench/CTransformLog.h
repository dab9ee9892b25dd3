#pragma once
#include <cstddef>
#include <fftw3.h>
#include <memory>
#include <vector>

/// Which transforms the system asks FFTW for: the calls are noted on their way to the library.
struct STransform
{
    int nLength;
    bool bInverse;
    bool operator==(const STransform&) const = default;
};

/// One call: what is transformed by which plan, from where and to where.
struct SCall
{
    STransform transform;
    fftw_plan pPlan;
    double* pfFrom;
    double* pfTo;
};

/// Forgets what has been noted and notes from now on; plans are known if they were made after the start of the process.
void StartTransformLog();
/// Ends the notes and answers them in their order.
std::vector<SCall> StopTransformLog();
/// Time that the transforms have taken while they were noted, us.
double TransformLog_us();

/// Fresh numbers where the calls take theirs from: what is transformed again and again would leave the range of numbers.
void Fill(const std::vector<SCall>& p_vecCall);
/// The same transforms once more by FFTW alone, on the same plans and buffers. Those must still be there, as they are in
/// the system's pools until the next pass.
void Repeat(const std::vector<SCall>& p_vecCall);

/// The same transforms done by FFTW alone on buffers of its own, by plans that it has found by trying.
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

    /// Two buffers for each length, a plan for each length and direction, as in the system.
    std::vector<SBuffers> m_vecBuffers;
    std::vector<std::pair<STransform, std::unique_ptr<fftw_plan_s, SFree>>> m_vecPlan;
    std::vector<SCall> m_vecCall;
};

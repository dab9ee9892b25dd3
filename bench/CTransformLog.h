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

/// Forgets what has been noted and notes from now on; plans are known if they were made after the start of the process.
void StartTransformLog();
/// Ends the notes and answers them in their order.
std::vector<STransform> StopTransformLog();
/// Time that the transforms have taken while they were noted, us.
double TransformLog_us();

/// The same transforms done by FFTW alone, from one buffer into another, on plans and buffers that are ready.
class CTransforms
{
  public:
    /// @param p_nFlags planning flags of FFTW.
    CTransforms(const std::vector<STransform>& p_vecTransform, unsigned p_nFlags);
    /// Fresh numbers into all buffers: what is transformed again and again would leave the range of numbers.
    void Fill();
    void Run() const;

  private:
    struct SFree
    {
        void operator()(double* p_pfData) const { fftw_free(p_pfData); }
        void operator()(fftw_plan_s* p_pPlan) const { fftw_destroy_plan(p_pPlan); }
    };
    struct SStep
    {
        STransform transform;
        double* pfFrom;
        double* pfTo;
        fftw_plan pPlan;
    };
    using BufferPtr = std::unique_ptr<double, SFree>;
    struct SBuffers
    {
        int nLength;
        BufferPtr pfFrom;
        BufferPtr pfTo;
    };
    const SBuffers& Buffers(int p_nLength);
    fftw_plan Plan(const STransform& p_transform, const SBuffers& p_buffers, unsigned p_nFlags);

    /// Two buffers for each length, a plan for each length and direction, as in the system.
    std::vector<SBuffers> m_vecBuffers;
    std::vector<std::pair<STransform, std::unique_ptr<fftw_plan_s, SFree>>> m_vecPlan;
    std::vector<SStep> m_vecStep;
};

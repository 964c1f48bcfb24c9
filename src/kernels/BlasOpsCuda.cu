#include "kernels/BlasOpsImpl.h"

// Device instantiations; the host side lives in the family's .cpp.
namespace velmo {

template struct BlasOpsImpl<int, int, spm::Cuda>;
template struct BlasOpsImpl<int, long, spm::Cuda>;
template struct BlasOpsImpl<long, int, spm::Cuda>;
template struct BlasOpsImpl<long, long, spm::Cuda>;
template struct BlasOpsImpl<float, int, spm::Cuda>;
template struct BlasOpsImpl<float, long, spm::Cuda>;
template struct BlasOpsImpl<double, int, spm::Cuda>;
template struct BlasOpsImpl<double, long, spm::Cuda>;
template struct BlasOpsImpl<Complex<float>, int, spm::Cuda>;
template struct BlasOpsImpl<Complex<float>, long, spm::Cuda>;
template struct BlasOpsImpl<Complex<double>, int, spm::Cuda>;
template struct BlasOpsImpl<Complex<double>, long, spm::Cuda>;

template struct MixedBlasOpsImpl<double, float, int, spm::Cuda>;
template struct MixedBlasOpsImpl<double, float, long, spm::Cuda>;
template struct MixedBlasOpsImpl<float, double, int, spm::Cuda>;
template struct MixedBlasOpsImpl<float, double, long, spm::Cuda>;
template struct MixedBlasOpsImpl<Complex<double>, Complex<float>, int, spm::Cuda>;
template struct MixedBlasOpsImpl<Complex<double>, Complex<float>, long, spm::Cuda>;
template struct MixedBlasOpsImpl<Complex<float>, Complex<double>, int, spm::Cuda>;
template struct MixedBlasOpsImpl<Complex<float>, Complex<double>, long, spm::Cuda>;

}  // namespace velmo

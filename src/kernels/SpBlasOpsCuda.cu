#include "kernels/SpBlasOpsImpl.h"

// Device instantiations; the host side lives in the family's .cpp.
namespace velmo {

template struct SpBlasOpsImpl<int, int, spm::Cuda>;
template struct SpBlasOpsImpl<int, long, spm::Cuda>;
template struct SpBlasOpsImpl<long, int, spm::Cuda>;
template struct SpBlasOpsImpl<long, long, spm::Cuda>;
template struct SpBlasOpsImpl<float, int, spm::Cuda>;
template struct SpBlasOpsImpl<float, long, spm::Cuda>;
template struct SpBlasOpsImpl<double, int, spm::Cuda>;
template struct SpBlasOpsImpl<double, long, spm::Cuda>;
template struct SpBlasOpsImpl<Complex<float>, int, spm::Cuda>;
template struct SpBlasOpsImpl<Complex<float>, long, spm::Cuda>;
template struct SpBlasOpsImpl<Complex<double>, int, spm::Cuda>;
template struct SpBlasOpsImpl<Complex<double>, long, spm::Cuda>;

}  // namespace velmo
